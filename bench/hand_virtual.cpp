// The hand-written encoders and decoders on TProtocol, compiled without
// sight of any concrete protocol (see the end of hand_codec.h).
#include "hand_codec.h"

namespace bench {
namespace hand {

using ::apache::thrift::protocol::TProtocol;

#define BENCH_HAND_INSTANCE(R)                                    \
  template uint32_t encode<TProtocol>(TProtocol&, const yol::R&); \
  template uint32_t decode<TProtocol>(TProtocol&, yol::R&);
BENCH_HAND_INSTANCE(stFeatures)
BENCH_HAND_INSTANCE(stCellularInfo)
BENCH_HAND_INSTANCE(stJobCreateExt)
BENCH_HAND_INSTANCE(Yol_FT_GetHistoryIndex_result)
#undef BENCH_HAND_INSTANCE

}  // namespace hand
}  // namespace bench

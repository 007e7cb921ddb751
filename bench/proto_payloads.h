// The large and list payloads copied field for field into their Protocol
// Buffers form (yol_bench.proto).
#ifndef THRIFTYOL_BENCH_PROTO_PAYLOADS_H
#define THRIFTYOL_BENCH_PROTO_PAYLOADS_H

#include <thriftyol/service/Yol.h>
#include <thriftyol/types/yol_types.h>

#include "yol_bench.pb.h"

namespace bench {

yolbench::stJobCreateExt toProto(const yol::stJobCreateExt& job);
yolbench::FileHistoryList toProto(const yol::Yol_FT_GetHistoryIndex_result& history);

}  // namespace bench

#endif  // THRIFTYOL_BENCH_PROTO_PAYLOADS_H

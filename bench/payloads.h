// The four payloads that the benchmarks encode, decode and send: a small
// record, a medium one with every field set, a large job-creation request
// and a long list result. Built once, deterministically.
#ifndef THRIFTYOL_BENCH_PAYLOADS_H
#define THRIFTYOL_BENCH_PAYLOADS_H

#include <string>

#include <thriftyol/service/Yol.h>
#include <thriftyol/types/yol_types.h>

namespace bench {

// Sizes of the large and list payloads.
constexpr int kBoundaries = 10;
constexpr int kPointsPerBoundary = 1000;
constexpr int kFlags = 100;
constexpr int kProducts = 20;
constexpr int kIngredientsPerProduct = 5;
constexpr int kHistoryEntries = 10000;

// stFeatures: two required scalars.
yol::stFeatures smallPayload();

// stCellularInfo with all eighteen fields set.
yol::stCellularInfo mediumPayload();

// stJobCreateExt with every component set: a field of kBoundaries
// boundaries of kPointsPerBoundary points each and kFlags flags, and
// kProducts products, each with map, carrier and kIngredientsPerProduct
// ingredients. Identifiers are 36-character GUIDs, as in real requests.
yol::stJobCreateExt largePayload();

// The reply of FT_GetHistoryIndex carrying kHistoryEntries entries, every
// field set, with GUIDs, file names and timestamps of realistic length.
yol::Yol_FT_GetHistoryIndex_result listPayload();

// A GUID-shaped text (36 characters) that differs for every seed.
std::string guid(int seed);

}  // namespace bench

#endif  // THRIFTYOL_BENCH_PAYLOADS_H

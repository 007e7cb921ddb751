#include "payloads.h"

#include <cstdio>

#include <thriftyol/testing/yol_samples.h>

namespace bench {

using yol::testing::fill;

std::string guid(int seed) {
  const auto x = static_cast<unsigned>(seed) * 2654435761u;
  char text[40];
  std::snprintf(text, sizeof text, "%08x-%04x-4%03x-8%03x-%012x", x, seed & 0xffff,
                (x >> 8) & 0xfff, (x >> 20) & 0xfff, static_cast<unsigned>(seed));
  return text;
}

yol::stFeatures smallPayload() {
  yol::stFeatures features;
  fill(features, 1);
  return features;
}

yol::stCellularInfo mediumPayload() {
  yol::stCellularInfo info;
  fill(info, 2);
  return info;
}

namespace {

yol::stJobFieldBoundary boundary(int b) {
  yol::stJobFieldBoundary ring;
  ring.__set_sType(b == 0 ? "exterior" : "interior");
  std::vector<yol::stJobBoundaryCoordinate> points(kPointsPerBoundary);
  for (int i = 0; i < kPointsPerBoundary; ++i) {
    points[i].Latitude = 52.1 + b * 0.01 + i * 1.3e-6;
    points[i].Longitude = 8.7 + b * 0.01 - i * 2.1e-6;
  }
  ring.__set_stExterior(points);
  return ring;
}

yol::stJobProductInfo product(int p) {
  yol::stJobProductInfo product;
  fill(product, 1000 + p);
  product.sGUID = guid(1000 + p);
  product.stRxMap.sGUID = guid(2000 + p);
  product.stCarrier.sGUID = guid(3000 + p);
  product.stIngredients.resize(kIngredientsPerProduct);
  for (int i = 0; i < kIngredientsPerProduct; ++i) {
    fill(product.stIngredients[i], 4000 + p * 100 + i);
    product.stIngredients[i].sGUID = guid(4000 + p * 100 + i);
  }
  return product;
}

}  // namespace

yol::stJobCreateExt largePayload() {
  yol::stJobCreateExt job;
  fill(job, 3);
  job.stJob.sGUID = guid(10);
  job.stGrower.sGUID = guid(11);
  job.stFarm.sGUID = guid(12);
  job.stField.sGUID = guid(13);
  job.stBoundary.sGUID = guid(14);

  job.stField.stBoundaries.clear();
  for (int b = 0; b < kBoundaries; ++b) {
    job.stField.stBoundaries.push_back(boundary(b));
  }
  job.stField.stFlags.resize(kFlags);
  for (int f = 0; f < kFlags; ++f) {
    fill(job.stField.stFlags[f], 500 + f);
  }
  job.stProducts.clear();
  for (int p = 0; p < kProducts; ++p) {
    job.stProducts.push_back(product(p));
  }
  return job;
}

yol::Yol_FT_GetHistoryIndex_result listPayload() {
  yol::Yol_FT_GetHistoryIndex_result result;
  result.success.resize(kHistoryEntries);
  for (int i = 0; i < kHistoryEntries; ++i) {
    yol::stFileHistory& entry = result.success[i];
    fill(entry, i);
    entry.index = i;
    entry.id = guid(i);
    entry.name = "field_" + std::to_string(i) + "_as-applied.zip";
    entry.date = "2024-05-17T08:" + std::to_string(10 + i % 50) + ":42.123Z";
  }
  result.__isset.success = true;
  return result;
}

}  // namespace bench

// The heap that a decoded value owns, found by walking it: every vector's
// capacity() * sizeof(element), every string's buffer when it lives outside
// the string object (capacity() + 1 bytes), and what the elements own in
// turn. The value itself is not counted: it lives where its owner put it.
#ifndef THRIFTYOL_BENCH_OBJECT_SIZE_H
#define THRIFTYOL_BENCH_OBJECT_SIZE_H

#include <cstddef>
#include <string>
#include <vector>

#include <thriftyol/service/Yol.h>
#include <thriftyol/types/yol_types.h>

namespace bench {

inline std::size_t heapBytes(const std::string& s) {
  const char* const self = reinterpret_cast<const char*>(&s);
  const bool inside = s.data() >= self && s.data() < self + sizeof s;
  return inside ? 0 : s.capacity() + 1;
}

// Declared first so that the list walker below finds every record.
std::size_t heapBytes(const yol::stJobComponentInfo& r);
std::size_t heapBytes(const yol::stJobUserInfo& r);
std::size_t heapBytes(const yol::stGrowerComponentInfo& r);
std::size_t heapBytes(const yol::stFarmComponentInfo& r);
std::size_t heapBytes(const yol::stJobBoundaryCoordinate& r);
std::size_t heapBytes(const yol::stFlag& r);
std::size_t heapBytes(const yol::stJobFieldBoundary& r);
std::size_t heapBytes(const yol::stFieldComponentInfo& r);
std::size_t heapBytes(const yol::stBoundaryComponentInfo& r);
std::size_t heapBytes(const yol::stIngredientInfo& r);
std::size_t heapBytes(const yol::stCarrierInfo& r);
std::size_t heapBytes(const yol::stJobMapInfo& r);
std::size_t heapBytes(const yol::stJobProductInfo& r);
std::size_t heapBytes(const yol::stJobCreateExt& r);
std::size_t heapBytes(const yol::stFileHistory& r);
std::size_t heapBytes(const yol::Yol_FT_GetHistoryIndex_result& r);

template <class T>
std::size_t heapBytes(const std::vector<T>& list) {
  std::size_t n = list.capacity() * sizeof(T);
  for (const T& element : list) {
    n += heapBytes(element);
  }
  return n;
}

inline std::size_t heapBytes(const yol::stJobComponentInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName);
}

inline std::size_t heapBytes(const yol::stJobUserInfo& r) {
  return heapBytes(r.sAPIPartnerID) + heapBytes(r.sFirstName) + heapBytes(r.sMiddleName) +
         heapBytes(r.sLastName) + heapBytes(r.sPhoneNumber) + heapBytes(r.sMobileNumber) +
         heapBytes(r.sFaxNumber) + heapBytes(r.sEmail) + heapBytes(r.sAddress) +
         heapBytes(r.sAddress2) + heapBytes(r.sCity) + heapBytes(r.sCounty) + heapBytes(r.sRegion) +
         heapBytes(r.sPostalCode) + heapBytes(r.sCountry) + heapBytes(r.sComments);
}

inline std::size_t heapBytes(const yol::stGrowerComponentInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.sExternalID) +
         heapBytes(r.stUserInfo);
}

inline std::size_t heapBytes(const yol::stFarmComponentInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.stUserInfo);
}

inline std::size_t heapBytes(const yol::stJobBoundaryCoordinate&) { return 0; }

inline std::size_t heapBytes(const yol::stFlag& r) { return heapBytes(r.sType); }

inline std::size_t heapBytes(const yol::stJobFieldBoundary& r) {
  return heapBytes(r.sType) + heapBytes(r.stExterior);
}

inline std::size_t heapBytes(const yol::stFieldComponentInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.stUserInfo) +
         heapBytes(r.stBoundaries) + heapBytes(r.stFlags);
}

inline std::size_t heapBytes(const yol::stBoundaryComponentInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName);
}

inline std::size_t heapBytes(const yol::stIngredientInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.sUnits) + heapBytes(r.sAPIPartnerID);
}

inline std::size_t heapBytes(const yol::stCarrierInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.sAPIPartnerID);
}

inline std::size_t heapBytes(const yol::stJobMapInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.sColumn);
}

inline std::size_t heapBytes(const yol::stJobProductInfo& r) {
  return heapBytes(r.sGUID) + heapBytes(r.sName) + heapBytes(r.sUnits) + heapBytes(r.stRxMap) +
         heapBytes(r.stIngredients) + heapBytes(r.stCarrier);
}

inline std::size_t heapBytes(const yol::stJobCreateExt& r) {
  return heapBytes(r.stJob) + heapBytes(r.stGrower) + heapBytes(r.stFarm) + heapBytes(r.stField) +
         heapBytes(r.stBoundary) + heapBytes(r.stProducts);
}

inline std::size_t heapBytes(const yol::stFileHistory& r) {
  return heapBytes(r.id) + heapBytes(r.name) + heapBytes(r.date);
}

inline std::size_t heapBytes(const yol::Yol_FT_GetHistoryIndex_result& r) {
  return heapBytes(r.success);
}

}  // namespace bench

#endif  // THRIFTYOL_BENCH_OBJECT_SIZE_H

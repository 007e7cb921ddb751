// The floors that our generated encoders and decoders are measured against:
// the shortest straightforward code that makes the same protocol calls for
// the benchmark payloads' records, written by hand.
//
// Every function is a template on the protocol type P. With
// P = TProtocol each call goes through the protocol's virtual interface,
// exactly as our records do; with P = TBinaryProtocolT<TMemoryBuffer> (or
// the compact one) the calls bind directly to the runtime's template and
// inline into the caller.
//
// The encoders write the same calls, names, ids and values as our records,
// without the output depth bookkeeping. The decoders match fields by id and
// wire type, skip everything else, set the presence flags, check required
// fields, and size each list once from its announced count.
#ifndef THRIFTYOL_BENCH_HAND_CODEC_H
#define THRIFTYOL_BENCH_HAND_CODEC_H

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <thrift/protocol/TProtocol.h>
#include <thrift/protocol/TProtocolException.h>

#include <thriftyol/service/Yol.h>
#include <thriftyol/types/yol_types.h>

namespace bench {
namespace hand {

using ::apache::thrift::protocol::T_BOOL;
using ::apache::thrift::protocol::T_DOUBLE;
using ::apache::thrift::protocol::T_I32;
using ::apache::thrift::protocol::T_LIST;
using ::apache::thrift::protocol::T_STOP;
using ::apache::thrift::protocol::T_STRING;
using ::apache::thrift::protocol::T_STRUCT;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::protocol::TType;

// The records reached from the payloads, so that nested calls resolve
// whatever the order of the definitions below.
#define BENCH_HAND_RECORD(R)              \
  template <class P>                      \
  uint32_t encode(P& p, const yol::R& r); \
  template <class P>                      \
  uint32_t decode(P& p, yol::R& r);
BENCH_HAND_RECORD(stFeatures)
BENCH_HAND_RECORD(stCellularInfo)
BENCH_HAND_RECORD(stJobComponentInfo)
BENCH_HAND_RECORD(stJobUserInfo)
BENCH_HAND_RECORD(stGrowerComponentInfo)
BENCH_HAND_RECORD(stFarmComponentInfo)
BENCH_HAND_RECORD(stJobBoundaryCoordinate)
BENCH_HAND_RECORD(stJobFlagCoordinate)
BENCH_HAND_RECORD(stFlag)
BENCH_HAND_RECORD(stJobFieldBoundary)
BENCH_HAND_RECORD(stFieldComponentInfo)
BENCH_HAND_RECORD(stBoundaryComponentInfo)
BENCH_HAND_RECORD(stIngredientInfo)
BENCH_HAND_RECORD(stCarrierInfo)
BENCH_HAND_RECORD(stJobMapInfo)
BENCH_HAND_RECORD(stJobProductInfo)
BENCH_HAND_RECORD(stJobCreateExt)
BENCH_HAND_RECORD(stFileHistory)
BENCH_HAND_RECORD(Yol_FT_GetHistoryIndex_result)
#undef BENCH_HAND_RECORD

// --- Values --------------------------------------------------------------

template <class T>
constexpr TType wireType() {
  if constexpr (std::is_same_v<T, bool>) {
    return T_BOOL;
  } else if constexpr (std::is_same_v<T, int32_t> || std::is_enum_v<T>) {
    return T_I32;
  } else if constexpr (std::is_same_v<T, double>) {
    return T_DOUBLE;
  } else if constexpr (std::is_same_v<T, std::string>) {
    return T_STRING;
  } else {
    return T_STRUCT;
  }
}

template <class P, class T>
uint32_t writeValue(P& p, const T& v) {
  if constexpr (std::is_same_v<T, bool>) {
    return p.writeBool(v);
  } else if constexpr (std::is_same_v<T, int32_t>) {
    return p.writeI32(v);
  } else if constexpr (std::is_enum_v<T>) {
    return p.writeI32(static_cast<int32_t>(v));
  } else if constexpr (std::is_same_v<T, double>) {
    return p.writeDouble(v);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return p.writeString(v);
  } else {
    return encode(p, v);
  }
}

template <class P, class T>
uint32_t readValue(P& p, T& v) {
  if constexpr (std::is_same_v<T, bool>) {
    return p.readBool(v);
  } else if constexpr (std::is_same_v<T, int32_t>) {
    return p.readI32(v);
  } else if constexpr (std::is_enum_v<T>) {
    int32_t raw;
    const uint32_t n = p.readI32(raw);
    v = static_cast<T>(raw);
    return n;
  } else if constexpr (std::is_same_v<T, double>) {
    return p.readDouble(v);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return p.readString(v);
  } else {
    return decode(p, v);
  }
}

// --- Writing -------------------------------------------------------------

// One field: header, value, end.
template <class P, class T>
uint32_t put(P& p, const char* name, int16_t id, const T& v) {
  uint32_t n = p.writeFieldBegin(name, wireType<T>(), id);
  n += writeValue(p, v);
  return n + p.writeFieldEnd();
}

// One list field of records.
template <class P, class T>
uint32_t put(P& p, const char* name, int16_t id, const std::vector<T>& list) {
  uint32_t n = p.writeFieldBegin(name, T_LIST, id);
  n += p.writeListBegin(wireType<T>(), static_cast<uint32_t>(list.size()));
  for (const T& element : list) {
    n += writeValue(p, element);
  }
  n += p.writeListEnd();
  return n + p.writeFieldEnd();
}

template <class P>
uint32_t finish(P& p) {
  const uint32_t n = p.writeFieldStop();
  return n + p.writeStructEnd();
}

// --- Reading -------------------------------------------------------------

// Reads a struct, handing each field's id and type to `field`, which reads
// or skips the value and returns the bytes it consumed.
template <class P, class F>
uint32_t readStruct(P& p, F&& field) {
  std::string name;
  TType type;
  int16_t id;
  uint32_t n = p.readStructBegin(name);
  for (;;) {
    n += p.readFieldBegin(name, type, id);
    if (type == T_STOP) {
      break;
    }
    n += field(id, type);
    n += p.readFieldEnd();
  }
  return n + p.readStructEnd();
}

// A field value of the expected wire type, or a skip.
template <class P, class T>
uint32_t get(P& p, TType type, T& v, bool& seen) {
  if (type != wireType<T>()) {
    return p.skip(type);
  }
  const uint32_t n = readValue(p, v);
  seen = true;
  return n;
}

template <class P, class T>
uint32_t get(P& p, TType type, std::vector<T>& list, bool& seen) {
  if (type != T_LIST) {
    return p.skip(type);
  }
  TType etype;
  uint32_t size;
  uint32_t n = p.readListBegin(etype, size);
  list.clear();
  list.resize(size);
  for (T& element : list) {
    n += readValue(p, element);
  }
  n += p.readListEnd();
  seen = true;
  return n;
}

inline void require(bool seen) {
  if (!seen) {
    throw TProtocolException(TProtocolException::INVALID_DATA);
  }
}

// --- Records -------------------------------------------------------------

template <class P>
uint32_t encode(P& p, const yol::stFeatures& r) {
  uint32_t n = p.writeStructBegin("stFeatures");
  n += put(p, "feature", 1, r.feature);
  n += put(p, "enabled", 2, r.enabled);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stFeatures& r) {
  bool feature = false;
  bool enabled = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.feature, feature);
      case 2: return get(p, t, r.enabled, enabled);
      default: return p.skip(t);
    }
  });
  require(feature && enabled);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stCellularInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stCellularInfo");
  n += put(p, "model", 1, r.model);
  if (is.modemid) n += put(p, "modemid", 2, r.modemid);
  if (is.rssi) n += put(p, "rssi", 3, r.rssi);
  if (is.firmware) n += put(p, "firmware", 4, r.firmware);
  if (is.ip) n += put(p, "ip", 5, r.ip);
  if (is.roaming) n += put(p, "roaming", 6, r.roaming);
  if (is.phone_number) n += put(p, "phone_number", 7, r.phone_number);
  if (is.network_type) n += put(p, "network_type", 8, r.network_type);
  if (is.apn) n += put(p, "apn", 9, r.apn);
  if (is.sim_id) n += put(p, "sim_id", 10, r.sim_id);
  if (is.age_of_data) n += put(p, "age_of_data", 11, r.age_of_data);
  if (is.gps_mode) n += put(p, "gps_mode", 12, r.gps_mode);
  if (is.current_bands) n += put(p, "current_bands", 13, r.current_bands);
  if (is.device_type) n += put(p, "device_type", 14, r.device_type);
  if (is.modem_state) n += put(p, "modem_state", 15, r.modem_state);
  if (is.modem_error) n += put(p, "modem_error", 16, r.modem_error);
  if (is.modem_lte_registration_state)
    n += put(p, "modem_lte_registration_state", 17, r.modem_lte_registration_state);
  if (is.modem_sim_subscription_state)
    n += put(p, "modem_sim_subscription_state", 18, r.modem_sim_subscription_state);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stCellularInfo& r) {
  auto& is = r.__isset;
  bool model = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.model, model);
      case 2: return get(p, t, r.modemid, is.modemid);
      case 3: return get(p, t, r.rssi, is.rssi);
      case 4: return get(p, t, r.firmware, is.firmware);
      case 5: return get(p, t, r.ip, is.ip);
      case 6: return get(p, t, r.roaming, is.roaming);
      case 7: return get(p, t, r.phone_number, is.phone_number);
      case 8: return get(p, t, r.network_type, is.network_type);
      case 9: return get(p, t, r.apn, is.apn);
      case 10: return get(p, t, r.sim_id, is.sim_id);
      case 11: return get(p, t, r.age_of_data, is.age_of_data);
      case 12: return get(p, t, r.gps_mode, is.gps_mode);
      case 13: return get(p, t, r.current_bands, is.current_bands);
      case 14: return get(p, t, r.device_type, is.device_type);
      case 15: return get(p, t, r.modem_state, is.modem_state);
      case 16: return get(p, t, r.modem_error, is.modem_error);
      case 17: return get(p, t, r.modem_lte_registration_state, is.modem_lte_registration_state);
      case 18: return get(p, t, r.modem_sim_subscription_state, is.modem_sim_subscription_state);
      default: return p.skip(t);
    }
  });
  require(model);
  return n;
}

// stJobComponentInfo and stBoundaryComponentInfo have the same two fields.
template <class P, class R>
uint32_t encodeComponent(P& p, const char* record, const R& r) {
  uint32_t n = p.writeStructBegin(record);
  n += put(p, "sGUID", 1, r.sGUID);
  if (r.__isset.sName) n += put(p, "sName", 2, r.sName);
  return n + finish(p);
}

template <class P, class R>
uint32_t decodeComponent(P& p, R& r) {
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, r.__isset.sName);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stJobComponentInfo& r) {
  return encodeComponent(p, "stJobComponentInfo", r);
}

template <class P>
uint32_t decode(P& p, yol::stJobComponentInfo& r) {
  return decodeComponent(p, r);
}

template <class P>
uint32_t encode(P& p, const yol::stJobUserInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stJobUserInfo");
  if (is.sAPIPartnerID) n += put(p, "sAPIPartnerID", 1, r.sAPIPartnerID);
  if (is.sFirstName) n += put(p, "sFirstName", 2, r.sFirstName);
  if (is.sMiddleName) n += put(p, "sMiddleName", 3, r.sMiddleName);
  if (is.sLastName) n += put(p, "sLastName", 4, r.sLastName);
  if (is.sPhoneNumber) n += put(p, "sPhoneNumber", 5, r.sPhoneNumber);
  if (is.sMobileNumber) n += put(p, "sMobileNumber", 6, r.sMobileNumber);
  if (is.sFaxNumber) n += put(p, "sFaxNumber", 7, r.sFaxNumber);
  if (is.sEmail) n += put(p, "sEmail", 8, r.sEmail);
  if (is.sAddress) n += put(p, "sAddress", 9, r.sAddress);
  if (is.sAddress2) n += put(p, "sAddress2", 10, r.sAddress2);
  if (is.sCity) n += put(p, "sCity", 11, r.sCity);
  if (is.sCounty) n += put(p, "sCounty", 12, r.sCounty);
  if (is.sRegion) n += put(p, "sRegion", 13, r.sRegion);
  if (is.sPostalCode) n += put(p, "sPostalCode", 14, r.sPostalCode);
  if (is.sCountry) n += put(p, "sCountry", 15, r.sCountry);
  if (is.sComments) n += put(p, "sComments", 16, r.sComments);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stJobUserInfo& r) {
  auto& is = r.__isset;
  return readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sAPIPartnerID, is.sAPIPartnerID);
      case 2: return get(p, t, r.sFirstName, is.sFirstName);
      case 3: return get(p, t, r.sMiddleName, is.sMiddleName);
      case 4: return get(p, t, r.sLastName, is.sLastName);
      case 5: return get(p, t, r.sPhoneNumber, is.sPhoneNumber);
      case 6: return get(p, t, r.sMobileNumber, is.sMobileNumber);
      case 7: return get(p, t, r.sFaxNumber, is.sFaxNumber);
      case 8: return get(p, t, r.sEmail, is.sEmail);
      case 9: return get(p, t, r.sAddress, is.sAddress);
      case 10: return get(p, t, r.sAddress2, is.sAddress2);
      case 11: return get(p, t, r.sCity, is.sCity);
      case 12: return get(p, t, r.sCounty, is.sCounty);
      case 13: return get(p, t, r.sRegion, is.sRegion);
      case 14: return get(p, t, r.sPostalCode, is.sPostalCode);
      case 15: return get(p, t, r.sCountry, is.sCountry);
      case 16: return get(p, t, r.sComments, is.sComments);
      default: return p.skip(t);
    }
  });
}

template <class P>
uint32_t encode(P& p, const yol::stGrowerComponentInfo& r) {
  uint32_t n = p.writeStructBegin("stGrowerComponentInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (r.__isset.sName) n += put(p, "sName", 2, r.sName);
  if (r.__isset.sExternalID) n += put(p, "sExternalID", 3, r.sExternalID);
  if (r.__isset.stUserInfo) n += put(p, "stUserInfo", 4, r.stUserInfo);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stGrowerComponentInfo& r) {
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, r.__isset.sName);
      case 3: return get(p, t, r.sExternalID, r.__isset.sExternalID);
      case 4: return get(p, t, r.stUserInfo, r.__isset.stUserInfo);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stFarmComponentInfo& r) {
  uint32_t n = p.writeStructBegin("stFarmComponentInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (r.__isset.sName) n += put(p, "sName", 2, r.sName);
  if (r.__isset.stUserInfo) n += put(p, "stUserInfo", 3, r.stUserInfo);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stFarmComponentInfo& r) {
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, r.__isset.sName);
      case 3: return get(p, t, r.stUserInfo, r.__isset.stUserInfo);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

// stJobBoundaryCoordinate and stJobFlagCoordinate: two required doubles.
template <class P, class R>
uint32_t encodeCoordinate(P& p, const char* record, const R& r) {
  uint32_t n = p.writeStructBegin(record);
  n += put(p, "Latitude", 1, r.Latitude);
  n += put(p, "Longitude", 2, r.Longitude);
  return n + finish(p);
}

template <class P, class R>
uint32_t decodeCoordinate(P& p, R& r) {
  bool latitude = false;
  bool longitude = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.Latitude, latitude);
      case 2: return get(p, t, r.Longitude, longitude);
      default: return p.skip(t);
    }
  });
  require(latitude && longitude);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stJobBoundaryCoordinate& r) {
  return encodeCoordinate(p, "stJobBoundaryCoordinate", r);
}

template <class P>
uint32_t decode(P& p, yol::stJobBoundaryCoordinate& r) {
  return decodeCoordinate(p, r);
}

template <class P>
uint32_t encode(P& p, const yol::stJobFlagCoordinate& r) {
  return encodeCoordinate(p, "stJobFlagCoordinate", r);
}

template <class P>
uint32_t decode(P& p, yol::stJobFlagCoordinate& r) {
  return decodeCoordinate(p, r);
}

template <class P>
uint32_t encode(P& p, const yol::stFlag& r) {
  uint32_t n = p.writeStructBegin("stFlag");
  if (r.__isset.sType) n += put(p, "sType", 1, r.sType);
  if (r.__isset.stCoordinate) n += put(p, "stCoordinate", 2, r.stCoordinate);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stFlag& r) {
  return readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sType, r.__isset.sType);
      case 2: return get(p, t, r.stCoordinate, r.__isset.stCoordinate);
      default: return p.skip(t);
    }
  });
}

template <class P>
uint32_t encode(P& p, const yol::stJobFieldBoundary& r) {
  uint32_t n = p.writeStructBegin("stJobFieldBoundary");
  if (r.__isset.sType) n += put(p, "sType", 1, r.sType);
  if (r.__isset.stExterior) n += put(p, "stExterior", 2, r.stExterior);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stJobFieldBoundary& r) {
  return readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sType, r.__isset.sType);
      case 2: return get(p, t, r.stExterior, r.__isset.stExterior);
      default: return p.skip(t);
    }
  });
}

template <class P>
uint32_t encode(P& p, const yol::stFieldComponentInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stFieldComponentInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (is.sName) n += put(p, "sName", 2, r.sName);
  if (is.Size) n += put(p, "Size", 3, r.Size);
  if (is.stUserInfo) n += put(p, "stUserInfo", 4, r.stUserInfo);
  if (is.stBoundaries) n += put(p, "stBoundaries", 5, r.stBoundaries);
  if (is.stFlags) n += put(p, "stFlags", 6, r.stFlags);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stFieldComponentInfo& r) {
  auto& is = r.__isset;
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, is.sName);
      case 3: return get(p, t, r.Size, is.Size);
      case 4: return get(p, t, r.stUserInfo, is.stUserInfo);
      case 5: return get(p, t, r.stBoundaries, is.stBoundaries);
      case 6: return get(p, t, r.stFlags, is.stFlags);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stBoundaryComponentInfo& r) {
  return encodeComponent(p, "stBoundaryComponentInfo", r);
}

template <class P>
uint32_t decode(P& p, yol::stBoundaryComponentInfo& r) {
  return decodeComponent(p, r);
}

template <class P>
uint32_t encode(P& p, const yol::stIngredientInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stIngredientInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (is.sName) n += put(p, "sName", 2, r.sName);
  if (is.ddi) n += put(p, "ddi", 3, r.ddi);
  if (is.quantity) n += put(p, "quantity", 4, r.quantity);
  if (is.sUnits) n += put(p, "sUnits", 5, r.sUnits);
  if (is.sAPIPartnerID) n += put(p, "sAPIPartnerID", 6, r.sAPIPartnerID);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stIngredientInfo& r) {
  auto& is = r.__isset;
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, is.sName);
      case 3: return get(p, t, r.ddi, is.ddi);
      case 4: return get(p, t, r.quantity, is.quantity);
      case 5: return get(p, t, r.sUnits, is.sUnits);
      case 6: return get(p, t, r.sAPIPartnerID, is.sAPIPartnerID);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stCarrierInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stCarrierInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (is.sName) n += put(p, "sName", 2, r.sName);
  if (is.quantity) n += put(p, "quantity", 3, r.quantity);
  if (is.agxId) n += put(p, "agxId", 4, r.agxId);
  if (is.sAPIPartnerID) n += put(p, "sAPIPartnerID", 5, r.sAPIPartnerID);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stCarrierInfo& r) {
  auto& is = r.__isset;
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, is.sName);
      case 3: return get(p, t, r.quantity, is.quantity);
      case 4: return get(p, t, r.agxId, is.agxId);
      case 5: return get(p, t, r.sAPIPartnerID, is.sAPIPartnerID);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stJobMapInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stJobMapInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (is.sName) n += put(p, "sName", 2, r.sName);
  if (is.sColumn) n += put(p, "sColumn", 3, r.sColumn);
  if (is.DefaultRate) n += put(p, "DefaultRate", 4, r.DefaultRate);
  if (is.ConversionFactor) n += put(p, "ConversionFactor", 5, r.ConversionFactor);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stJobMapInfo& r) {
  auto& is = r.__isset;
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, is.sName);
      case 3: return get(p, t, r.sColumn, is.sColumn);
      case 4: return get(p, t, r.DefaultRate, is.DefaultRate);
      case 5: return get(p, t, r.ConversionFactor, is.ConversionFactor);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stJobProductInfo& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stJobProductInfo");
  n += put(p, "sGUID", 1, r.sGUID);
  if (is.sName) n += put(p, "sName", 2, r.sName);
  if (is.mixDdi) n += put(p, "mixDdi", 3, r.mixDdi);
  if (is.productDdi) n += put(p, "productDdi", 4, r.productDdi);
  if (is.quantity) n += put(p, "quantity", 5, r.quantity);
  if (is.sUnits) n += put(p, "sUnits", 6, r.sUnits);
  if (is.TargetRate) n += put(p, "TargetRate", 7, r.TargetRate);
  if (is.stRxMap) n += put(p, "stRxMap", 8, r.stRxMap);
  if (is.stIngredients) n += put(p, "stIngredients", 9, r.stIngredients);
  if (is.stCarrier) n += put(p, "stCarrier", 10, r.stCarrier);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stJobProductInfo& r) {
  auto& is = r.__isset;
  bool guid = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.sGUID, guid);
      case 2: return get(p, t, r.sName, is.sName);
      case 3: return get(p, t, r.mixDdi, is.mixDdi);
      case 4: return get(p, t, r.productDdi, is.productDdi);
      case 5: return get(p, t, r.quantity, is.quantity);
      case 6: return get(p, t, r.sUnits, is.sUnits);
      case 7: return get(p, t, r.TargetRate, is.TargetRate);
      case 8: return get(p, t, r.stRxMap, is.stRxMap);
      case 9: return get(p, t, r.stIngredients, is.stIngredients);
      case 10: return get(p, t, r.stCarrier, is.stCarrier);
      default: return p.skip(t);
    }
  });
  require(guid);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stJobCreateExt& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stJobCreateExt");
  n += put(p, "stJob", 1, r.stJob);
  if (is.stGrower) n += put(p, "stGrower", 2, r.stGrower);
  if (is.stFarm) n += put(p, "stFarm", 3, r.stFarm);
  if (is.stField) n += put(p, "stField", 4, r.stField);
  if (is.stBoundary) n += put(p, "stBoundary", 5, r.stBoundary);
  if (is.stProducts) n += put(p, "stProducts", 6, r.stProducts);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stJobCreateExt& r) {
  auto& is = r.__isset;
  bool job = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.stJob, job);
      case 2: return get(p, t, r.stGrower, is.stGrower);
      case 3: return get(p, t, r.stFarm, is.stFarm);
      case 4: return get(p, t, r.stField, is.stField);
      case 5: return get(p, t, r.stBoundary, is.stBoundary);
      case 6: return get(p, t, r.stProducts, is.stProducts);
      default: return p.skip(t);
    }
  });
  require(job);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::stFileHistory& r) {
  const auto& is = r.__isset;
  uint32_t n = p.writeStructBegin("stFileHistory");
  n += put(p, "index", 1, r.index);
  if (is.id) n += put(p, "id", 2, r.id);
  if (is.name) n += put(p, "name", 3, r.name);
  if (is.direction) n += put(p, "direction", 4, r.direction);
  if (is.type) n += put(p, "type", 5, r.type);
  if (is.status) n += put(p, "status", 6, r.status);
  if (is.date) n += put(p, "date", 7, r.date);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::stFileHistory& r) {
  auto& is = r.__isset;
  bool index = false;
  const uint32_t n = readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    switch (id) {
      case 1: return get(p, t, r.index, index);
      case 2: return get(p, t, r.id, is.id);
      case 3: return get(p, t, r.name, is.name);
      case 4: return get(p, t, r.direction, is.direction);
      case 5: return get(p, t, r.type, is.type);
      case 6: return get(p, t, r.status, is.status);
      case 7: return get(p, t, r.date, is.date);
      default: return p.skip(t);
    }
  });
  require(index);
  return n;
}

template <class P>
uint32_t encode(P& p, const yol::Yol_FT_GetHistoryIndex_result& r) {
  uint32_t n = p.writeStructBegin("Yol_FT_GetHistoryIndex_result");
  if (r.__isset.success) n += put(p, "success", 0, r.success);
  return n + finish(p);
}

template <class P>
uint32_t decode(P& p, yol::Yol_FT_GetHistoryIndex_result& r) {
  return readStruct(p, [&](int16_t id, TType t) -> uint32_t {
    return id == 0 ? get(p, t, r.success, r.__isset.success) : p.skip(t);
  });
}

// The instances on TProtocol are compiled apart, in hand_virtual.cpp, where
// no concrete protocol is visible: there the compiler cannot guess the
// protocol behind the pointer and turn the virtual calls into inlined direct
// ones, just as it cannot in our library. Everything else may instantiate
// these templates on a concrete protocol.
#define BENCH_HAND_EXTERN(R)                                              \
  extern template uint32_t encode<::apache::thrift::protocol::TProtocol>( \
      ::apache::thrift::protocol::TProtocol&, const yol::R&);             \
  extern template uint32_t decode<::apache::thrift::protocol::TProtocol>( \
      ::apache::thrift::protocol::TProtocol&, yol::R&);
BENCH_HAND_EXTERN(stFeatures)
BENCH_HAND_EXTERN(stCellularInfo)
BENCH_HAND_EXTERN(stJobCreateExt)
BENCH_HAND_EXTERN(Yol_FT_GetHistoryIndex_result)
#undef BENCH_HAND_EXTERN

}  // namespace hand
}  // namespace bench

#endif  // THRIFTYOL_BENCH_HAND_CODEC_H

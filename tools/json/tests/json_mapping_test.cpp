// The JSON mapping: every record survives record -> JSON text -> record,
// enumerations read names and numbers, and every kind of bad input fails
// with a message that names the path and the problem.
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <thriftyol/json/yol_json.h>
#include <thriftyol/testing/yol_samples.h>

namespace yol {
namespace {

using json::JsonError;
using testing::Fields;
using testing::RecordInfo;
using testing::sample;

// The record read back from the JSON text of `record`.
template <class R>
R throughJsonText(const R& record) {
  const nlohmann::json j = record;
  return nlohmann::json::parse(j.dump()).get<R>();
}

// The message of the JsonError that reading `text` as an R raises.
template <class R>
std::string readError(const std::string& text) {
  try {
    (void)nlohmann::json::parse(text).get<R>();
  } catch (const JsonError& e) {
    return e.what();
  }
  return "no error";
}

std::set<std::string> keysOf(const nlohmann::json& j) {
  std::set<std::string> keys;
  for (const auto& item : j.items()) {
    keys.insert(item.key());
  }
  return keys;
}

template <class R>
std::set<std::string> declaredFields() {
  for (const auto& record : json::contractRecords()) {
    if (std::string(record.name) == RecordInfo<R>::name) {
      std::set<std::string> names;
      for (const auto& field : record.fields) {
        names.insert(field.name);
      }
      return names;
    }
  }
  ADD_FAILURE() << "no description of " << RecordInfo<R>::name;
  return {};
}

TEST(JsonRoundTrip, EveryRecordWithEveryFieldSet) {
  std::size_t records = 0;
  testing::for_each_record([&records](auto type) {
    using R = typename decltype(type)::type;
    ++records;
    for (int seed : {1, 40}) {
      const R record = sample<R>(seed);
      const nlohmann::json j = record;
      EXPECT_EQ(keysOf(j), declaredFields<R>()) << RecordInfo<R>::name;
      EXPECT_EQ(throughJsonText(record), record) << RecordInfo<R>::name << ": " << j.dump();
    }
  });
  EXPECT_EQ(records, 51u);
}

TEST(JsonRoundTrip, EveryRecordWithRequiredFieldsOnly) {
  testing::for_each_record([](auto type) {
    using R = typename decltype(type)::type;
    const R record = sample<R>(3, Fields::no_optionals);
    const nlohmann::json j = record;
    // Unset optional fields are left out; everything else is written.
    EXPECT_EQ(j.size(), RecordInfo<R>::field_ids.size() - RecordInfo<R>::optional_count)
        << RecordInfo<R>::name << ": " << j.dump();
    EXPECT_EQ(throughJsonText(record), record) << RecordInfo<R>::name << ": " << j.dump();
  });
}

TEST(JsonRoundTrip, ListsOfRecordsAndEnumerationsThroughTheHooks) {
  const auto devices = sample<std::vector<stCANDevice>>(5);
  const nlohmann::json j = devices;
  ASSERT_TRUE(j.is_array());
  EXPECT_EQ(j.get<std::vector<stCANDevice>>(), devices);

  const std::vector<eDataType::type> tags = {eDataType::json_DOUBLE, eDataType::json_STRING};
  const nlohmann::json tagJson = tags;
  EXPECT_EQ(tagJson.dump(), R"(["json_DOUBLE","json_STRING"])");
  EXPECT_EQ(tagJson.get<std::vector<eDataType::type>>(), tags);
}

TEST(JsonForm, NamesFieldsAndEnumMembersAsTheContractDoes) {
  stFileInfo file;
  file.id = "f-1";
  file.__set_size(-12);
  file.__set_type(eFTType::LOG_FILE);
  file.__set_persistID(true);
  stAssociation association;
  association.__set_id("job-7");
  association.__set_type(eFTAssociationType::AT_CREATE);
  file.__set_association(association);
  const nlohmann::json j = file;
  EXPECT_EQ(j.dump(),
            R"({"association":{"id":"job-7","type":"AT_CREATE"},"id":"f-1",)"
            R"("persistID":true,"size":-12,"type":"LOG_FILE"})");
}

TEST(JsonForm, DefaultFieldsAreAlwaysWrittenAndFlaggedOnlyWhenPresent) {
  const nlohmann::json written = ServiceDiscoveryError();
  EXPECT_EQ(written.dump(), R"({"status":"NOT_CONNECTED"})");

  const auto absent = nlohmann::json::parse("{}").get<ServiceDiscoveryError>();
  EXPECT_FALSE(absent.__isset.status);
  const auto present = nlohmann::json::parse(R"({"status":"INVALID_UUID"})")
                           .get<ServiceDiscoveryError>();
  EXPECT_TRUE(present.__isset.status);
  EXPECT_EQ(present.status, ServiceDiscoveryErrorStatus::INVALID_UUID);
}

TEST(JsonForm, ReadingReplacesEveryFieldOfTheTarget) {
  stFileInfo target = sample<stFileInfo>(9);
  nlohmann::json::parse(R"({"id":"only"})").get_to(target);
  stFileInfo expected;
  expected.id = "only";
  EXPECT_EQ(target, expected);
  EXPECT_FALSE(target.__isset.association);
}

TEST(JsonForm, NonFiniteDoublesTravelAsNamedStrings) {
  stGPSInfo gps;
  gps.__set_latitude(std::numeric_limits<double>::infinity());
  gps.__set_longitude(-std::numeric_limits<double>::infinity());
  gps.__set_altitude(std::numeric_limits<double>::quiet_NaN());
  gps.__set_hdop(0.1);
  const nlohmann::json j = gps;
  EXPECT_EQ(j.dump(),
            R"({"altitude":"NaN","hdop":0.1,"latitude":"Infinity","longitude":"-Infinity"})");
  const stGPSInfo back = throughJsonText(gps);
  EXPECT_TRUE(std::isinf(back.latitude) && back.latitude > 0);
  EXPECT_TRUE(std::isinf(back.longitude) && back.longitude < 0);
  EXPECT_TRUE(std::isnan(back.altitude));
  EXPECT_EQ(back.hdop, 0.1);
  EXPECT_EQ(readError<stGPSInfo>(R"({"hdop":"nan"})"), "stGPSInfo.hdop: expected a number");
}

TEST(JsonEnums, ReadMemberNamesAndAnyI32Number) {
  const auto byName = nlohmann::json::parse(R"({"feature":"RTK","enabled":true})").get<stFeatures>();
  EXPECT_EQ(byName.feature, eMGTFeature::RTK);
  const auto byNumber = nlohmann::json::parse(R"({"feature":256,"enabled":false})").get<stFeatures>();
  EXPECT_EQ(byNumber.feature, eMGTFeature::REALTIMECANMONITOR);

  // eCategory has no member 4: it travels as the number, both ways.
  const auto gap = nlohmann::json(4).get<eCategory::type>();
  EXPECT_EQ(static_cast<int>(gap), 4);
  EXPECT_EQ(nlohmann::json(gap).dump(), "4");
  EXPECT_EQ(nlohmann::json(eCellularModemState::MODEM_STATE_FAILED).dump(),
            R"("MODEM_STATE_FAILED")");
  EXPECT_EQ(nlohmann::json(-1).get<eCellularModemState::type>(),
            eCellularModemState::MODEM_STATE_FAILED);
}

TEST(JsonEnums, NamesOfOtherEnumerationsOrCasesAreNoMembers) {
  EXPECT_EQ(readError<stFeatures>(R"({"feature":"rtk","enabled":true})"),
            "stFeatures.feature: 'rtk' is not a member of eMGTFeature");
  // SYSTEM is a member of eCategory, eTelematics and eMGTFeature, not of eFTType.
  EXPECT_EQ(readError<eFTType::type>(R"("SYSTEM")"), "eFTType: 'SYSTEM' is not a member of eFTType");
  EXPECT_EQ(readError<stFileInfo>(R"({"id":"x","association":{"type":true}})"),
            "stFileInfo.association.type: expected an integer or a member of eFTAssociationType");
  EXPECT_EQ(readError<stFileInfo>(R"({"id":"x","type":1.5})"),
            "stFileInfo.type: expected an integer or a member of eFTType");
}

TEST(JsonErrors, NameThePathAndTheProblem) {
  EXPECT_EQ(readError<stCellularInfo>(R"({"model":"m","foo":1})"),
            "stCellularInfo: unknown key 'foo'");
  EXPECT_EQ(readError<stCellularInfo>(R"({"modemid":"m"})"),
            "stCellularInfo: missing required field 'model'");
  EXPECT_EQ(readError<stFeatures>("[]"), "stFeatures: expected an object");
  EXPECT_EQ(readError<stFeatures>(R"({"feature":1,"enabled":1})"),
            "stFeatures.enabled: expected true or false");
  EXPECT_EQ(readError<stFileInfo>(R"({"id":"x","name":null})"),
            "stFileInfo.name: expected a string");
  EXPECT_EQ(readError<stCANDevice>(R"({"sInterface":"can0","sID":"1","stCANSignals":{}})"),
            "stCANDevice.stCANSignals: expected an array");
  EXPECT_EQ(readError<stCANDevice>(
                R"({"sInterface":"can0","sID":"1","stCANSignals":[{},{"count":1.5}]})"),
            "stCANDevice.stCANSignals[1].count: expected an integer");
  EXPECT_EQ(readError<stJobCreate>(R"({"stJob":{"sGUID":"j"},"stProducts":[{"sGUID":"p",)"
                                   R"("stIngredients":[{"sGUID":"a"},{"sGUID":"b"},)"
                                   R"({"sGUID":"c","quantity":"lots"}]}]})"),
            "stJobCreate.stProducts[0].stIngredients[2].quantity: expected a number");
  EXPECT_EQ(readError<stJobCreate>(R"({"stJob":{"sName":"j"}})"),
            "stJobCreate.stJob: missing required field 'sGUID'");
}

TEST(JsonErrors, I32OutsideItsRange) {
  EXPECT_EQ(readError<stFileInfo>(R"({"id":"x","size":2147483648})"),
            "stFileInfo.size: 2147483648 is out of range for i32");
  EXPECT_EQ(readError<stFileInfo>(R"({"id":"x","size":-2147483649})"),
            "stFileInfo.size: -2147483649 is out of range for i32");
  EXPECT_EQ(readError<stFileInfo>(R"({"id":"x","type":4294967296})"),
            "stFileInfo.type: 4294967296 is out of range for i32");
  const auto edges = nlohmann::json::parse(R"([2147483647,-2147483648])").get<std::vector<int32_t>>();
  EXPECT_EQ(edges, (std::vector<int32_t>{std::numeric_limits<int32_t>::max(),
                                         std::numeric_limits<int32_t>::min()}));
}

TEST(JsonHelpers, ReadAnyArgumentTypeUnderAPathOfTheCallersChoice) {
  EXPECT_EQ(json::fromJson<std::vector<std::string>>(nlohmann::json::parse(R"(["a","b"])"), "sKey"),
            (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(json::fromJson<double>(nlohmann::json(3), "d"), 3.0);
  EXPECT_TRUE(json::fromJson<bool>(nlohmann::json(true), "b"));
  EXPECT_EQ(json::toJson(std::vector<eCategory::type>{eCategory::SSH}).dump(), R"(["SSH"])");
  try {
    json::fromJson<std::vector<stDTC>>(nlohmann::json::parse(R"([{"fmi":1,"oc":2}])"), "stDTCs");
    ADD_FAILURE() << "a DTC without spn was read";
  } catch (const JsonError& e) {
    EXPECT_EQ(e.path(), "stDTCs[0]");
    EXPECT_EQ(e.problem(), "missing required field 'spn'");
    EXPECT_EQ(std::string(e.what()), "stDTCs[0]: missing required field 'spn'");
  }
}

}  // namespace
}  // namespace yol

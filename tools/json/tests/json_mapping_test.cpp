// The JSON mapping against the contract's own text: every field and member
// name as declared, every record through JSON text and back, and a read
// error naming the path and the problem for each kind of bad input.
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <thriftyol/json/yol_json.h>
#include <thriftyol/testing/yol_samples.h>

namespace yol {
namespace {

using Json = nlohmann::json;
using Items = std::vector<std::vector<std::string>>;

// Each declaration of `kind` in the contract, in order: its name and the
// captures of `item` in each of its members.
std::vector<std::pair<std::string, Items>> declared(const std::string& kind,
                                                    const std::string& item) {
  std::stringstream text;
  text << std::ifstream(YOL_CONTRACT).rdbuf();
  const std::string bare =
      std::regex_replace(text.str(), std::regex(R"(/\*[\s\S]*?\*/|//[^\n]*)"), "");
  const std::regex block("\n" + kind + R"(\s+(\w+)\s*\{([^}]*)\})");
  const std::regex member(item);
  std::vector<std::pair<std::string, Items>> out;
  for (std::sregex_iterator b(bare.begin(), bare.end(), block), end; b != end; ++b) {
    const std::string body = (*b)[2];
    out.emplace_back((*b)[1], Items{});
    for (std::sregex_iterator m(body.begin(), body.end(), member); m != end; ++m) {
      out.back().second.emplace_back(m->begin() + 1, m->end());
    }
  }
  return out;
}

template <class T>
std::string readError(const std::string& text) {
  try {
    (void)Json::parse(text).get<T>();
  } catch (const json::JsonError& e) {
    return e.what();
  }
  return "no error";
}

TEST(JsonRecords, FieldNamesAreTheContractsAndEveryRecordSurvivesJsonText) {
  const auto structs =
      declared("struct", R"((\d+):\s*(?:(required|optional)\s+)?([\w<>]+)\s+(\w+))");
  std::map<std::string, Items> contract(structs.begin(), structs.end());
  std::map<std::string, Items> described;
  for (const auto& record : json::contractRecords()) {
    for (const auto& f : record.fields) {
      described[record.name].push_back({std::to_string(f.id), f.requiredness, f.type, f.name});
    }
  }
  for (auto& [name, fields] : contract) {
    for (auto& f : fields) {
      f[1] = f[1].empty() ? "default" : f[1];
    }
    EXPECT_EQ(described[name], fields) << name;
  }
  EXPECT_EQ(described.size(), contract.size());

  std::size_t records = 0;
  testing::for_each_record([&](auto type) {
    using R = typename decltype(type)::type;
    const char* name = testing::RecordInfo<R>::name;
    ++records;
    std::set<std::string> names;
    std::size_t written = 0;
    for (const auto& f : contract.at(name)) {
      names.insert(f[3]);
      written += f[1] != "optional";
    }
    const R full = testing::sample<R>(1);
    const Json j = full;
    std::set<std::string> keys;
    for (const auto& item : j.items()) {
      keys.insert(item.key());
    }
    EXPECT_EQ(keys, names) << name;
    EXPECT_EQ(Json::parse(j.dump()).get<R>(), full) << name << ": " << j.dump();
    // Unset optional fields are left out; a read replaces the whole target.
    const R bare = testing::sample<R>(2, testing::Fields::no_optionals);
    EXPECT_EQ(Json(bare).size(), written) << name;
    R target = full;
    Json::parse(Json(bare).dump()).get_to(target);
    EXPECT_EQ(target, bare) << name << ": " << Json(bare).dump();
  });
  EXPECT_EQ(records, contract.size());
}

template <class... E>
struct Enums {};
using AllEnums = Enums<
    eCategory::type, eTelematics::type, eDataType::type, eAckType::type, eOTAType::type,
    eUpdateState::type, eRemoteSupportState::type, eCellularDeviceTypes::type,
    eCellularModemState::type, eCellularLTERegistrationState::type,
    eCellularSIMSubscriptionState::type, eFTStateType::type, eFTAckType::type,
    eFTErrorType::type, eFTDirection::type, eFTType::type, eFTAssociationType::type,
    eRTKSourceType::type, eMGTFeature::type, eEULAAcceptType::type, eJoinRequestState::type,
    eJobPointType::type, ServiceDiscoveryErrorStatus::type>;

template <class... E>
void checkEnums(Enums<E...>, const std::vector<std::pair<std::string, Items>>& contract) {
  std::size_t i = 0;
  const auto check = [&](auto* tag) {
    using T = std::remove_pointer_t<decltype(tag)>;
    const auto& [name, members] = contract.at(i);
    const auto& described = json::contractEnums().at(i++);
    EXPECT_EQ(described.name, name);
    ASSERT_EQ(described.member_count, members.size()) << name;
    for (std::size_t m = 0; m < members.size(); ++m) {
      const auto value = static_cast<T>(std::stoi(members[m][1]));
      EXPECT_EQ(described.members[m].name, members[m][0]);
      EXPECT_EQ(Json(value), members[m][0]) << name;
      EXPECT_EQ(Json(members[m][0]).get<T>(), value) << name;
      EXPECT_EQ(Json(static_cast<int>(value)).get<T>(), value) << name;
    }
  };
  (check(static_cast<E*>(nullptr)), ...);
  EXPECT_EQ(i, json::contractEnums().size());
}

TEST(JsonEnums, MemberNamesAreTheContractsAndNumbersReadToo) {
  const auto inOrder = declared("enum", R"((\w+)\s*=\s*(-?\d+))");
  ASSERT_EQ(inOrder.size(), 23u);
  checkEnums(AllEnums{}, inOrder);
  // A value without a member travels as its number, both ways.
  EXPECT_EQ(Json(static_cast<eCategory::type>(4)).dump(), "4");
  EXPECT_EQ(Json(4).get<eCategory::type>(), static_cast<eCategory::type>(4));
}

TEST(JsonValues, NonFiniteDoublesTravelAsNamedStrings) {
  stGPSInfo gps;
  gps.__set_latitude(std::numeric_limits<double>::infinity());
  gps.__set_longitude(-std::numeric_limits<double>::infinity());
  gps.__set_altitude(std::numeric_limits<double>::quiet_NaN());
  const Json j = gps;
  EXPECT_EQ(j.dump(), R"({"altitude":"NaN","latitude":"Infinity","longitude":"-Infinity"})");
  const auto back = Json::parse(j.dump()).get<stGPSInfo>();
  EXPECT_TRUE(back.latitude > 0 && std::isinf(back.latitude) && back.longitude < 0 &&
              std::isinf(back.longitude) && std::isnan(back.altitude));
}

TEST(JsonErrors, NameThePathAndTheProblem) {
  using Read = std::function<std::string(const std::string&)>;
  const Read cell = readError<stCellularInfo>, features = readError<stFeatures>,
             file = readError<stFileInfo>, can = readError<stCANDevice>,
             job = readError<stJobCreate>, type = readError<eFTType::type>,
             gps = readError<stGPSInfo>;
  const std::vector<std::tuple<Read, std::string, std::string>> cases = {
      {cell, R"({"model":"m","foo":1})", "stCellularInfo: unknown key 'foo'"},
      {cell, R"({"modemid":"m"})", "stCellularInfo: missing required field 'model'"},
      {features, "[]", "stFeatures: expected an object"},
      {features, R"({"feature":1,"enabled":1})", "stFeatures.enabled: expected true or false"},
      {features, R"({"feature":"rtk","enabled":true})",
       "stFeatures.feature: 'rtk' is not a member of eMGTFeature"},
      {type, R"("SYSTEM")", "eFTType: 'SYSTEM' is not a member of eFTType"},
      {file, R"({"id":"x","type":1.5})",
       "stFileInfo.type: expected an integer or a member of eFTType"},
      {file, R"({"id":"x","association":{"type":true}})",
       "stFileInfo.association.type: expected an integer or a member of eFTAssociationType"},
      {file, R"({"id":"x","name":null})", "stFileInfo.name: expected a string"},
      {file, R"({"id":"x","size":2147483648})", "stFileInfo.size: 2147483648 is out of range for i32"},
      {file, R"({"id":"x","size":-2147483649})",
       "stFileInfo.size: -2147483649 is out of range for i32"},
      {gps, R"({"hdop":"nan"})", "stGPSInfo.hdop: expected a number"},
      {can, R"({"sInterface":"c","sID":"1","stCANSignals":{}})",
       "stCANDevice.stCANSignals: expected an array"},
      {can, R"({"sInterface":"c","sID":"1","stCANSignals":[{},{"count":1.5}]})",
       "stCANDevice.stCANSignals[1].count: expected an integer"},
      {job, R"({"stJob":{"sGUID":"j"},"stProducts":[{"sGUID":"p","stIngredients":[{"sGUID":"a"},)"
            R"({"sGUID":"c","quantity":"lots"}]}]})",
       "stJobCreate.stProducts[0].stIngredients[1].quantity: expected a number"},
      {job, R"({"stJob":{"sName":"j"}})", "stJobCreate.stJob: missing required field 'sGUID'"},
  };
  for (const auto& [read, text, message] : cases) {
    EXPECT_EQ(read(text), message) << text;
  }
  EXPECT_EQ(Json::parse("[2147483647,-2147483648]").get<std::vector<int32_t>>(),
            (std::vector<int32_t>{std::numeric_limits<int32_t>::max(),
                                  std::numeric_limits<int32_t>::min()}));
  try {
    json::fromJson<std::vector<stDTC>>(Json::parse(R"([{"fmi":1}])"), "stDTCs");
    ADD_FAILURE() << "a DTC without spn was read";
  } catch (const json::JsonError& e) {
    EXPECT_EQ(e.path() + " / " + e.problem(), "stDTCs[0] / missing required field 'spn'");
  }
}

}  // namespace
}  // namespace yol

// The JSON mapping against the contract's own text: every field and member name as declared,
// every record through JSON text and back, and errors naming the path and the problem.
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <regex>
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

// Each declaration of `kind` in the contract, in order: its name and `item`'s captures per member.
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
  const std::map<std::string, Items> contract(structs.begin(), structs.end());
  std::map<std::string, Items> described;
  for (const auto& record : json::contractRecords()) {
    for (const auto& f : record.fields) {
      const std::string req = f.requiredness;  // the contract leaves "default" unsaid
      described[record.name].push_back({std::to_string(f.id), req == "default" ? "" : req, f.type, f.name});
    }
  }
  EXPECT_EQ(described.size(), contract.size());
  EXPECT_EQ(testing::AllRecords::size, contract.size());
  testing::for_each_record([&](auto type) {
    using R = typename decltype(type)::type;
    const char* name = testing::RecordInfo<R>::name;
    EXPECT_EQ(described[name], contract.at(name)) << name;
    const R full = testing::sample<R>(1);
    const Json j = full;
    EXPECT_EQ(j.size(), contract.at(name).size()) << name;
    std::size_t written = 0;
    for (const auto& f : contract.at(name)) {
      EXPECT_TRUE(j.contains(f[3])) << name << " has no " << f[3] << ": " << j.dump();
      written += f[1] != "optional";
    }
    EXPECT_EQ(Json::parse(j.dump()).get<R>(), full) << name << ": " << j.dump();
    // Unset optional fields are left out; a read replaces the whole target.
    const R bare = testing::sample<R>(2, testing::Fields::no_optionals);
    EXPECT_EQ(Json(bare).size(), written) << name;
    R target = full;
    Json::parse(Json(bare).dump()).get_to(target);
    EXPECT_EQ(target, bare) << name << ": " << Json(bare).dump();
  });
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
    EXPECT_EQ(json::contractEnums().at(i++).member_count, members.size()) << name;
    for (std::size_t m = 0; m < members.size(); ++m) {
      const auto value = static_cast<T>(std::stoi(members[m][1]));
      EXPECT_EQ(Json(value), members[m][0]) << name;
      EXPECT_EQ(Json(members[m][0]).get<T>(), value) << name;
      EXPECT_EQ(Json(static_cast<int>(value)).get<T>(), value) << name;
    }
  };
  (check(static_cast<E*>(nullptr)), ...);
  EXPECT_EQ(i, json::contractEnums().size());
}

TEST(JsonValues, EnumMembersAreTheContractsAndNonFiniteDoublesAreNamed) {
  const auto inOrder = declared("enum", R"((\w+)\s*=\s*(-?\d+))");
  ASSERT_EQ(inOrder.size(), 23u);
  checkEnums(AllEnums{}, inOrder);
  // A value without a member travels as its number, both ways; doubles without a JSON number
  // as named strings.
  EXPECT_EQ(Json(static_cast<eCategory::type>(4)).dump(), "4");
  EXPECT_EQ(Json(4).get<eCategory::type>(), static_cast<eCategory::type>(4));
  const double inf = std::numeric_limits<double>::infinity();
  const Json j = json::toJson(std::vector<double>{inf, -inf, std::nan(""), 0.5});
  EXPECT_EQ(j.dump(), R"(["Infinity","-Infinity","NaN",0.5])");
  const auto back = json::fromJson<std::vector<double>>(Json::parse(j.dump()), "");
  EXPECT_TRUE(back[0] == inf && back[1] == -inf && std::isnan(back[2]) && back[3] == 0.5);
}

TEST(JsonErrors, NameThePathAndTheProblem) {
  const auto cell = readError<stCellularInfo>, features = readError<stFeatures>,
             file = readError<stFileInfo>, can = readError<stCANDevice>;
  const std::vector<std::tuple<decltype(cell), std::string, std::string>> cases = {
      {cell, R"({"model":"m","foo":1})", "stCellularInfo: unknown key 'foo'"},
      {cell, R"({"modemid":"m"})", "stCellularInfo: missing required field 'model'"},
      {features, "[]", "stFeatures: expected an object"},
      {features, R"({"feature":1,"enabled":1})", "stFeatures.enabled: expected true or false"},
      {features, R"({"feature":"rtk","enabled":true})",
       "stFeatures.feature: 'rtk' is not a member of eMGTFeature"},
      {readError<eFTType::type>, R"("SYSTEM")", "eFTType: 'SYSTEM' is not a member of eFTType"},
      {file, R"({"id":"x","association":{"type":true}})",
       "stFileInfo.association.type: expected an integer or a member of eFTAssociationType"},
      {file, R"({"id":"x","name":null})", "stFileInfo.name: expected a string"},
      {file, R"({"id":"x","size":2147483648})", "stFileInfo.size: 2147483648 is out of range for i32"},
      {can, R"({"sInterface":"c","sID":"1","stCANSignals":[{},{"count":1.5}]})",
       "stCANDevice.stCANSignals[1].count: expected an integer"},
  };
  for (const auto& [read, text, message] : cases) {
    EXPECT_EQ(read(text), message) << text;
  }
}

}  // namespace
}  // namespace yol

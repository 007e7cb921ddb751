// Static data of the contract: record fingerprints, enumeration arrays and
// name maps, the constants holder.
#include <gtest/gtest.h>
#include <thriftyol/testing/yol_samples.h>
#include <thriftyol/types/yol_constants.h>
#include <thriftyol/types/yol_types.h>

#include <cctype>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <type_traits>

namespace {

// Fingerprints published with the contract, by record name.
const std::map<std::string, std::string>& published_fingerprints() {
  static const std::map<std::string, std::string> fingerprints = {
      {"stUpdateType", "3368C2F81F2FEF71F11EDACDB2A3ECEF"},
      {"stUpdateStatus", "9A95A24858D154B262354F81F93C8A7D"},
      {"stRemoteSupportViewers", "EFB929595D312AC8F305D5A794CFEDA1"},
      {"stRemoteSupportStatus", "7F0288BC48D08AE42D15D5FB07A2A27F"},
      {"stCellularInfo", "85585A4901F7FEB9408D52BF92E11F37"},
      {"stAssociation", "4ED2B10931906B61ED0B1592EE860A37"},
      {"stFileInfo", "CC3B498A49D086CB10C2262628BDAEBF"},
      {"stDownloadFileInfo", "B33AE596EF78C48424CF96BCA5D1DF99"},
      {"stFileTransferStatus", "3B3D8BB29A57496131406D0317C5977F"},
      {"stPeerDevice", "081EE279E2A2170C606500B777CA7342"},
      {"stSessionInfo", "A025DF5F8AF5FB06BC5FFA1203DBA5D0"},
      {"stFileHistory", "411091829E76A87E23A19F99F719512B"},
      {"stDTC", "43F58A99F0539F0F7EC382C91460580E"},
      {"stCANSignal", "D30E5DE518A1AF149E7E99C701B79498"},
      {"stCANDevice", "884134C60DB346F2D19BEBE56F60426D"},
      {"stGPSInfo", "C181FF35E440470C442057648BE639D7"},
      {"stRTKInfo", "69E1A213D582754A432FB2779BBB4428"},
      {"stModemInfo", "18FF88D4A6AC47DD63CC33C7C507C218"},
      {"stFeatures", "7D4563655A5F82FED16B1F5CE7672F0F"},
      {"stProvision", "ADB96645AD8253C1558063461B214004"},
      {"stJobBoundaryCoordinate", "EA2086D2BB14222991D7B0497DE7B58B"},
      {"stJobFlagCoordinate", "EA2086D2BB14222991D7B0497DE7B58B"},
      {"stJobComponentInfo", "5B708A954C550ECA9C1A49D3C5CAFAB9"},
      {"stBoundaryComponentInfo", "5B708A954C550ECA9C1A49D3C5CAFAB9"},
      {"stMGTStatus", "D48CFD244689B1EBF07D3C0ED1D117A6"},
      {"stMGTCfg", "E7A96B151330359E84C0A3AC91BCBACD"},
      {"ServiceDiscoveryError", "8BBB3D0C3B370CB38F2D1340BB79F0AA"},
      {"ServiceDiscoveryFailure", "EFB929595D312AC8F305D5A794CFEDA1"},
      {"ServiceDiscoverySuccess", "ACE4F644F0FDD289DDC4EE5B83BC13C0"},
      {"ServiceDiscoveryResult", "25525FB03B312605EE7350B4D8398DA0"},
      {"stMGTError", "1DF57ACC8C692D88ABFC1907DC54873E"},
  };
  return fingerprints;
}

int hex_digit(char c) { return c <= '9' ? c - '0' : c - 'A' + 10; }

TEST(Fingerprints, MatchThePublishedOnes) {
  ASSERT_EQ(published_fingerprints().size(), 31u);
  std::set<std::string> checked;
  std::set<std::string> distinct;
  yol::testing::for_each_record([&](auto type) {
    using R = typename decltype(type)::type;
    const std::string name = yol::testing::RecordInfo<R>::name;
    SCOPED_TRACE(name);
    static_assert(std::is_same_v<decltype(R::ascii_fingerprint), const char*>);
    static_assert(sizeof(R::binary_fingerprint) == 16);

    const std::string ascii = R::ascii_fingerprint;
    ASSERT_EQ(ascii.size(), 32u);
    for (int i = 0; i < 16; ++i) {
      ASSERT_TRUE(std::isxdigit(static_cast<unsigned char>(ascii[2 * i])) && !std::islower(ascii[2 * i]));
      ASSERT_TRUE(std::isxdigit(static_cast<unsigned char>(ascii[2 * i + 1])) && !std::islower(ascii[2 * i + 1]));
      EXPECT_EQ(R::binary_fingerprint[i], hex_digit(ascii[2 * i]) * 16 + hex_digit(ascii[2 * i + 1])) << "byte " << i;
    }
    distinct.insert(ascii);
    const auto published = published_fingerprints().find(name);
    if (published != published_fingerprints().end()) {
      EXPECT_EQ(ascii, published->second);
      checked.insert(name);
    }
  });
  EXPECT_EQ(checked.size(), 31u);
  // Records that agree in field ids, optionality and types share one.
  EXPECT_LT(distinct.size(), 51u);
  EXPECT_GE(distinct.size(), 45u);
}

TEST(Enumerations, ArraysAndMapsFollowTheContract) {
  const auto& enums = yol::testing::all_enums();
  ASSERT_EQ(enums.size(), 23u);
  for (const auto& e : enums) {
    SCOPED_TRACE(e.name);
    ASSERT_EQ(e.size, e.members.size());
    EXPECT_EQ(e.names_by_value->size(), e.members.size());
    for (size_t i = 0; i < e.size; ++i) {
      EXPECT_EQ(e.values[i], e.members[i].value) << "entry " << i;
      EXPECT_STREQ(e.names[i], e.members[i].name) << "entry " << i;
      const auto found = e.names_by_value->find(e.members[i].value);
      ASSERT_NE(found, e.names_by_value->end()) << e.members[i].name;
      EXPECT_STREQ(found->second, e.members[i].name);
    }
  }
}

TEST(Enumerations, MembersKeepTheirDeclaredValuesAndNames) {
  static_assert(yol::eCellularModemState::MODEM_STATE_FAILED == -1);
  static_assert(yol::eFTType::SCOUNT_GROUP == 16);
  static_assert(yol::eFTType::CLOUD_JOB_PACKAGE == 145);
  static_assert(yol::eMGTFeature::SATELLITEMAPS == 265);
  static_assert(yol::eDataType::json_DOUBLE == 2);
  static_assert(yol::eUpdateState::update_state_idle == 0);
  static_assert(std::is_same_v<decltype(yol::_keCategoryValues), int[8]>);
  static_assert(std::is_same_v<decltype(yol::_keCategoryNames), const char* [8]>);
  static_assert(std::is_same_v<decltype(yol::_eCategory_VALUES_TO_NAMES), const std::map<int, const char*>>);

  EXPECT_STREQ(yol::_eCellularModemState_VALUES_TO_NAMES.at(-1), "MODEM_STATE_FAILED");
  EXPECT_STREQ(yol::_eCellularModemState_VALUES_TO_NAMES.at(11), "MODEM_STATE_CONNECTED");
  EXPECT_EQ(std::size(yol::_keFTTypeValues), 55u);
  EXPECT_EQ(yol::_keFTTypeValues[31], 32);
  EXPECT_STREQ(yol::_keFTTypeNames[31], "STREET_MAP");
  EXPECT_STREQ(yol::_eFTErrorType_VALUES_TO_NAMES.at(128), "UNKNOWN");
  EXPECT_EQ(yol::_eFTErrorType_VALUES_TO_NAMES.count(1), 0u);
  EXPECT_STREQ(yol::_eDataType_VALUES_TO_NAMES.at(0), "json_STRING");
  EXPECT_EQ(yol::_eTelematics_VALUES_TO_NAMES.count(0), 0u);
  EXPECT_STREQ(yol::_eTelematics_VALUES_TO_NAMES.begin()->second, "MODEM");
  EXPECT_STREQ(yol::_ServiceDiscoveryErrorStatus_VALUES_TO_NAMES.at(1), "INVALID_UUID");
}

TEST(Enumerations, HoldEveryI32) {
  // Values that no member names travel and decode unchanged; with the
  // underlying type fixed to i32, holding one is well defined.
  static_assert(std::is_same_v<std::underlying_type_t<yol::eCategory::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eTelematics::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eDataType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eAckType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eOTAType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eUpdateState::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eRemoteSupportState::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eCellularDeviceTypes::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eCellularModemState::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eCellularLTERegistrationState::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eCellularSIMSubscriptionState::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eFTStateType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eFTAckType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eFTErrorType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eFTDirection::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eFTType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eFTAssociationType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eRTKSourceType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eMGTFeature::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eEULAAcceptType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eJoinRequestState::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::eJobPointType::type>, int32_t>);
  static_assert(std::is_same_v<std::underlying_type_t<yol::ServiceDiscoveryErrorStatus::type>, int32_t>);
  yol::stRTKInfo source;
  source.__set_eType(static_cast<yol::eRTKSourceType::type>(3712));
  EXPECT_EQ(static_cast<int32_t>(source.eType), 3712);
}

TEST(Enumerations, FieldsStartAtZeroWhateverTheMembers) {
  // eFTErrorType jumps from 0 to 128, eCellularModemState starts at -1:
  // a default field holds 0 all the same.
  yol::stCellularInfo info;
  EXPECT_EQ(static_cast<int>(info.modem_state), 0);
  EXPECT_EQ(static_cast<int>(info.device_type), 0);
  yol::stFeatures features;
  EXPECT_EQ(static_cast<int>(features.feature), 0);
  EXPECT_FALSE(features.enabled);
  yol::stJobSystems systems;
  EXPECT_EQ(systems.Latitude, 0.0);
  EXPECT_EQ(systems.ParticipantID, 0);
  EXPECT_TRUE(systems.sName.empty());
}

TEST(Constants, HolderIsAnEmptyGlobal) {
  static_assert(std::is_empty_v<yol::yolConstants>);
  static_assert(std::is_same_v<decltype(yol::g_yol_constants), const yol::yolConstants>);
  const yol::yolConstants* holder = &yol::g_yol_constants;
  EXPECT_NE(holder, nullptr);
}

}  // namespace

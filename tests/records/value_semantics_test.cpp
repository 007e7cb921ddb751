// Records as values: equality by requiredness, setters and flags, swap.
#include <gtest/gtest.h>
#include <thriftyol/testing/yol_samples.h>
#include <thriftyol/types/yol_types.h>

#include <string>
#include <type_traits>
#include <vector>

#include "codec.h"

namespace {

template <class R>
class DefaultRecord : public ::testing::Test {};
TYPED_TEST_SUITE(DefaultRecord, codec::AllRecordTypes, codec::RecordName);

TYPED_TEST(DefaultRecord, HasEveryFlagClear) {
  using R = TypeParam;
  if constexpr (codec::HasIsset<R>::value) {
    const R record;
    const auto& flags = record.__isset;
    const auto* bytes = reinterpret_cast<const unsigned char*>(&flags);
    for (size_t i = 0; i < sizeof flags; ++i) {
      EXPECT_EQ(bytes[i], 0) << "flag " << i;
    }
    // One flag per optional or default field, nothing else.
    EXPECT_EQ(sizeof flags,
              yol::testing::RecordInfo<R>::field_ids.size() - yol::testing::RecordInfo<R>::required_ids.size());
  } else {
    EXPECT_EQ(yol::testing::RecordInfo<R>::required_ids.size(), yol::testing::RecordInfo<R>::field_ids.size());
  }
}

TEST(Equality, OptionalFieldsCompareByFlagThenValue) {
  yol::stCellularInfo a;
  yol::stCellularInfo b;
  a.model = b.model = "m";

  // Unset optional fields are equal whatever their members hold.
  a.rssi = "-70";
  EXPECT_EQ(a, b);
  // A flag on one side only makes them differ, even with equal members.
  b.rssi = "-70";
  b.__isset.rssi = true;
  EXPECT_NE(a, b);
  a.__isset.rssi = true;
  EXPECT_EQ(a, b);
  // Both set: the values decide.
  a.__set_rssi("-71");
  EXPECT_NE(a, b);
  // Required fields always count.
  a = b;
  a.model = "n";
  EXPECT_NE(a, b);
}

TEST(Equality, DefaultFieldsCompareByValueOnly) {
  yol::ServiceDiscoveryFailure a;
  yol::ServiceDiscoveryFailure b;
  a.error_message = b.error_message = "x";
  a.__isset.error_message = true;
  EXPECT_EQ(a, b) << "the flag of a default field is not compared";
  b.error_message = "y";
  EXPECT_NE(a, b);
}

TEST(Equality, NestedRecordsAndListsCompareDeeply) {
  auto a = yol::testing::sample<yol::stJobCreateExt>(1);
  auto b = a;
  b.stField.stFlags[1].stCoordinate.Latitude += 1;
  EXPECT_NE(a, b);
  b = a;
  b.stProducts.pop_back();
  EXPECT_NE(a, b);
  b = a;
  b.stProducts[0].stIngredients[0].__isset.quantity = false;
  EXPECT_NE(a, b);
}

TEST(Setters, SetValueAndOnlyOptionalFlags) {
  yol::stFileInfo file;
  file.__set_id("f");  // required: no flag to raise
  EXPECT_EQ(file.id, "f");
  file.__set_size(-1);
  EXPECT_EQ(file.size, -1);
  EXPECT_TRUE(file.__isset.size);
  file.__set_type(yol::eFTType::CLOUD_JOB_PACKAGE);
  EXPECT_EQ(file.type, yol::eFTType::CLOUD_JOB_PACKAGE);
  EXPECT_TRUE(file.__isset.type);
  file.__set_persistID(false);
  EXPECT_TRUE(file.__isset.persistID);
  EXPECT_FALSE(file.__isset.name);

  yol::stJobInfo job;
  const std::vector<yol::stJobPoint> points(3);
  job.__set_stPoints(points);
  EXPECT_EQ(job.stPoints.size(), 3u);
  EXPECT_TRUE(job.__isset.stPoints);
  job.__set_stEndpoint(yol::testing::sample<yol::stJobEndpoint>(1));
  EXPECT_EQ(job.stEndpoint, yol::testing::sample<yol::stJobEndpoint>(1));
  EXPECT_TRUE(job.__isset.stEndpoint);

  yol::ServiceDiscoverySuccess success;
  success.__set_urls({"u"});
  EXPECT_EQ(success.urls.size(), 1u);
  EXPECT_FALSE(success.__isset.urls) << "a default field's setter leaves its flag";

  static_assert(std::is_same_v<decltype(&yol::stFileInfo::__set_size), void (yol::stFileInfo::*)(int32_t)>);
  static_assert(std::is_same_v<decltype(&yol::stFileInfo::__set_id), void (yol::stFileInfo::*)(const std::string&)>);
  static_assert(std::is_same_v<decltype(&yol::stFileInfo::__set_type), void (yol::stFileInfo::*)(yol::eFTType::type)>);
  static_assert(
      std::is_same_v<decltype(&yol::stJobInfo::__set_stEndpoint), void (yol::stJobInfo::*)(const yol::stJobEndpoint&)>);
}

TEST(Swap, ExchangesStorageWithoutCopyingElements) {
  auto a = yol::testing::sample<yol::stCANDevice>(1);
  yol::stCANDevice b;
  b.sInterface = std::string(100, 'b');  // on the heap
  const yol::stCANSignal* signals = a.stCANSignals.data();
  const char* interface = b.sInterface.data();
  yol::swap(a, b);
  EXPECT_EQ(b.stCANSignals.data(), signals);
  EXPECT_EQ(a.sInterface.data(), interface);
  EXPECT_TRUE(b.__isset.stCANSignals);
  EXPECT_FALSE(a.__isset.stCANSignals);
  EXPECT_TRUE(a.stCANSignals.empty());
}

}  // namespace

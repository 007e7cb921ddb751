// The one-line text form of records, TypeName(field=value, ...): how each
// kind of value prints, and what the caller's stream and locale change.
#include <gtest/gtest.h>
#include <thriftyol/types/yol_types.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

template <class R>
std::string text(const R& record) {
  std::ostringstream out;
  out << record;
  return out.str();
}

std::string coordinate(double latitude, double longitude) {
  yol::stJobBoundaryCoordinate c;
  c.Latitude = latitude;
  c.Longitude = longitude;
  const std::string all = text(c);
  return all.substr(all.find('(') + 1);
}

// The texts that `print` gives under `locale` as the global locale.
template <class F>
std::string under(const std::locale& locale, F&& print) {
  const std::locale saved = std::locale::global(locale);
  const std::string texts = print();
  std::locale::global(saved);
  return texts;
}

TEST(TextForm, StringsNumbersBooleansAndEnumerations) {
  yol::stCANSignal signal;
  signal.spn = "84";  // assigned without its flag: still unset
  signal.__set_units("");
  signal.__set_value("a, b=c) d\nnext \"line\"");
  EXPECT_EQ(text(signal), "stCANSignal(spn=<null>, value=a, b=c) d\nnext \"line\", units=, time=<null>, count=<null>)");

  yol::stDTC dtc;
  dtc.spn = std::numeric_limits<int32_t>::min();
  dtc.oc = 2147483647;
  dtc.__set_inactive(true);
  EXPECT_EQ(text(dtc), "stDTC(spn=-2147483648, fmi=0, oc=2147483647, count=<null>, time=<null>, inactive=1)");

  yol::stFeatures features;
  features.feature = static_cast<yol::eMGTFeature::type>(99);
  EXPECT_EQ(text(features), "stFeatures(feature=99, enabled=0)");
  features.feature = static_cast<yol::eMGTFeature::type>(-4);
  EXPECT_EQ(text(features), "stFeatures(feature=-4, enabled=0)");
  features.feature = yol::eMGTFeature::SATELLITEMAPS;
  EXPECT_EQ(text(features), "stFeatures(feature=265, enabled=0)");
}

TEST(TextForm, DoublesUseSeventeenSignificantDigits) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(coordinate(0.1, 100.0), "Latitude=0.10000000000000001, Longitude=100)");
  EXPECT_EQ(coordinate(45.5, 1e21), "Latitude=45.5, Longitude=1e+21)");
  EXPECT_EQ(coordinate(-0.0, 5e-324), "Latitude=-0, Longitude=4.9406564584124654e-324)");
  EXPECT_EQ(coordinate(nan, std::copysign(nan, -1.0)), "Latitude=nan, Longitude=-nan)");
  EXPECT_EQ(coordinate(inf, -inf), "Latitude=inf, Longitude=-inf)");
}

TEST(TextForm, ListsAndNestedRecords) {
  yol::stCANDevice device;
  device.sInterface = "can0";
  device.__set_stCANSignals({});
  EXPECT_EQ(text(device), "stCANDevice(sInterface=can0, sID=, stCANSignals=[])");
  device.stCANSignals.resize(2);
  device.stCANSignals[0].__set_count(5);
  EXPECT_EQ(text(device),
            "stCANDevice(sInterface=can0, sID=, stCANSignals=[stCANSignal(spn=<null>, value=<null>, units=<null>, "
            "time=<null>, count=5), stCANSignal(spn=<null>, value=<null>, units=<null>, time=<null>, count=<null>)])");

  yol::ServiceDiscoverySuccess success;
  success.urls = {"a", "b, c"};
  EXPECT_EQ(text(success), "ServiceDiscoverySuccess(urls=[a, b, c])");

  yol::stFileInfo file;
  file.__set_association(yol::stAssociation());
  file.association.__set_type(yol::eFTAssociationType::AT_ASSOCIATE);
  EXPECT_EQ(text(file),
            "stFileInfo(id=, name=<null>, path=<null>, md5=<null>, size=<null>, type=<null>, persistID=<null>, "
            "association=stAssociation(id=<null>, type=0))");
}

TEST(TextForm, CallerStreamStateReachesOnlyTheOpening) {
  yol::stJobSystems systems;
  systems.ParticipantID = 255;
  systems.__set_Latitude(0.1);
  std::ostringstream out;
  out << std::hex << std::showpos << std::setprecision(3) << std::fixed << std::setw(14) << std::setfill('.')
      << systems << '|' << yol::stMGTCfg();
  EXPECT_EQ(out.str(),
            ".stJobSystems(sName=, ParticipantID=255, Status=<null>, Latitude=0.10000000000000001, "
            "Longitude=<null>, Altitude=<null>, Velocity=<null>, Direction=<null>)|stMGTCfg(PingDelay=<null>)");
}

TEST(TextForm, DecimalPointFollowsTheNumericLocale) {
  std::locale german;
  try {
    german = std::locale("de_DE.UTF-8");
  } catch (const std::runtime_error&) {
    GTEST_SKIP() << "the de_DE.UTF-8 locale is not installed on this machine "
                    "(localedef -i de_DE -f UTF-8 de_DE.UTF-8 makes it)";
  }
  yol::stJobEndpoint endpoint;
  endpoint.Port = 1234567;
  endpoint.__set_eState(static_cast<yol::eJoinRequestState::type>(-7654321));
  yol::stJobMapInfo map;
  map.__set_DefaultRate(1234567.5);
  // Integers and enumerations are grouped; doubles follow printf.
  EXPECT_EQ(under(german, [&] { return text(endpoint) + coordinate(0.1, -2.5) + text(map); }),
            "stJobEndpoint(sHost=, Port=1.234.567, ParticipantId=0, sAuthorization=<null>, eState=-7.654.321)"
            "Latitude=0,10000000000000001, Longitude=-2,5)stJobMapInfo(sGUID=, sName=<null>, sColumn=<null>, "
            "DefaultRate=1234567,5, ConversionFactor=<null>)");
  // The global locale is read afresh each time.
  EXPECT_EQ(text(endpoint),
            "stJobEndpoint(sHost=, Port=1234567, ParticipantId=0, sAuthorization=<null>, eState=-7654321)");
}

}  // namespace

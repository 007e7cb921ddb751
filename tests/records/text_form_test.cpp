// The one-line text form of records: TypeName(field=value, ...).
#include <gtest/gtest.h>
#include <thriftyol/types/yol_types.h>

#include <boost/lexical_cast.hpp>
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

yol::stJobBoundaryCoordinate coordinate(double latitude, double longitude) {
  yol::stJobBoundaryCoordinate c;
  c.Latitude = latitude;
  c.Longitude = longitude;
  return c;
}

// Sets the global locale for one scope and puts the previous one back.
class GlobalLocale {
 public:
  explicit GlobalLocale(const std::locale& locale) : saved_(std::locale::global(locale)) {}
  ~GlobalLocale() { std::locale::global(saved_); }

 private:
  std::locale saved_;
};

// Digits grouped by three with '_'.
class UnderscoreGrouping : public std::numpunct<char> {
 protected:
  char do_thousands_sep() const override { return '_'; }
  std::string do_grouping() const override { return "\3"; }
};

// Formats every long by failing, as a broken stream would.
class FailingNumbers : public std::num_put<char> {
 protected:
  iter_type do_put(iter_type, std::ios_base&, char, long) const override {
    static Rejecting sink;
    iter_type failed(&sink);
    *failed = '0';
    return failed;
  }

 private:
  struct Rejecting : std::streambuf {
    int_type overflow(int_type) override { return traits_type::eof(); }
  };
};

TEST(TextForm, OptionalFieldsPrintNullUntilTheirFlagIsSet) {
  yol::stCANDevice device;
  device.sInterface = "can0";
  device.sID = "17";
  EXPECT_EQ(text(device), "stCANDevice(sInterface=can0, sID=17, stCANSignals=<null>)");

  EXPECT_EQ(text(yol::stCANSignal()), "stCANSignal(spn=<null>, value=<null>, units=<null>, time=<null>, count=<null>)");

  yol::stCANSignal assigned;
  assigned.spn = "84";
  assigned.count = 3;
  EXPECT_EQ(text(assigned), "stCANSignal(spn=<null>, value=<null>, units=<null>, time=<null>, count=<null>)");

  yol::stCANSignal empty_set;
  empty_set.__set_spn("");
  empty_set.__set_count(0);
  EXPECT_EQ(text(empty_set), "stCANSignal(spn=, value=<null>, units=<null>, time=<null>, count=0)");
}

TEST(TextForm, StringsArePrintedVerbatim) {
  yol::stRemoteSupportViewers viewer;
  viewer.sName = "a, b=c) d\nnext \"line\"";
  EXPECT_EQ(text(viewer), "stRemoteSupportViewers(sName=a, b=c) d\nnext \"line\")");
  EXPECT_EQ(text(yol::stRemoteSupportViewers()), "stRemoteSupportViewers(sName=)");
}

TEST(TextForm, NumbersBooleansAndEnumerations) {
  yol::stDTC dtc;
  dtc.spn = std::numeric_limits<int32_t>::min();
  dtc.fmi = 0;
  dtc.oc = 2147483647;
  dtc.__set_inactive(true);
  EXPECT_EQ(text(dtc), "stDTC(spn=-2147483648, fmi=0, oc=2147483647, count=<null>, time=<null>, inactive=1)");

  yol::stFeatures features;
  features.feature = static_cast<yol::eMGTFeature::type>(99);
  EXPECT_EQ(text(features), "stFeatures(feature=99, enabled=0)");
  features.feature = yol::eMGTFeature::SATELLITEMAPS;
  features.enabled = true;
  EXPECT_EQ(text(features), "stFeatures(feature=265, enabled=1)");

  yol::stRemoteSupportStatus status;
  status.state = static_cast<yol::eRemoteSupportState::type>(-4);
  EXPECT_EQ(text(status), "stRemoteSupportStatus(session_id=, state=-4, code=<null>, sViewers=<null>)");
}

TEST(TextForm, DoublesUseSeventeenSignificantDigits) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(text(coordinate(0.1, 100.0)), "stJobBoundaryCoordinate(Latitude=0.10000000000000001, Longitude=100)");
  EXPECT_EQ(text(coordinate(45.5, 1e21)), "stJobBoundaryCoordinate(Latitude=45.5, Longitude=1e+21)");
  EXPECT_EQ(text(coordinate(-0.0, 0.0)), "stJobBoundaryCoordinate(Latitude=-0, Longitude=0)");
  EXPECT_EQ(text(coordinate(nan, std::copysign(nan, -1.0))), "stJobBoundaryCoordinate(Latitude=nan, Longitude=-nan)");
  EXPECT_EQ(text(coordinate(inf, -inf)), "stJobBoundaryCoordinate(Latitude=inf, Longitude=-inf)");
  EXPECT_EQ(text(coordinate(1.0 / 3, 5e-324)),
            "stJobBoundaryCoordinate(Latitude=0.33333333333333331, Longitude=4.9406564584124654e-324)");
}

TEST(TextForm, ListsAndNestedRecords) {
  yol::stCANDevice device;
  device.sInterface = "can0";
  device.sID = "17";
  device.__set_stCANSignals({});
  EXPECT_EQ(text(device), "stCANDevice(sInterface=can0, sID=17, stCANSignals=[])");

  yol::stCANSignal signal;
  signal.__set_count(5);
  device.stCANSignals.push_back(signal);
  EXPECT_EQ(text(device),
            "stCANDevice(sInterface=can0, sID=17, stCANSignals=[stCANSignal(spn=<null>, value=<null>, units=<null>, "
            "time=<null>, count=5)])");
  device.stCANSignals.push_back(yol::stCANSignal());
  EXPECT_EQ(text(device),
            "stCANDevice(sInterface=can0, sID=17, stCANSignals=[stCANSignal(spn=<null>, value=<null>, units=<null>, "
            "time=<null>, count=5), stCANSignal(spn=<null>, value=<null>, units=<null>, time=<null>, count=<null>)])");

  yol::ServiceDiscoverySuccess success;
  EXPECT_EQ(text(success), "ServiceDiscoverySuccess(urls=[])");
  success.urls = {"a", "b, c"};
  EXPECT_EQ(text(success), "ServiceDiscoverySuccess(urls=[a, b, c])");

  yol::stFileInfo file;
  file.id = "f1";
  yol::stAssociation association;
  association.__set_type(yol::eFTAssociationType::AT_ASSOCIATE);
  file.__set_association(association);
  EXPECT_EQ(text(file),
            "stFileInfo(id=f1, name=<null>, path=<null>, md5=<null>, size=<null>, type=<null>, persistID=<null>, "
            "association=stAssociation(id=<null>, type=0))");

  yol::ServiceDiscoveryResult result;
  result.__set_failure(yol::ServiceDiscoveryFailure());
  EXPECT_EQ(text(result),
            "ServiceDiscoveryResult(error=<null>, failure=ServiceDiscoveryFailure(error_message=), success=<null>, "
            "pending=<null>)");
}

TEST(TextForm, CallerStreamStateDoesNotReachTheValues) {
  yol::stJobSystems systems;
  systems.sName = "tractor";
  systems.ParticipantID = 255;
  systems.__set_Latitude(0.1);
  std::ostringstream out;
  out << std::hex << std::showpos << std::setprecision(3) << std::fixed << systems;
  EXPECT_EQ(out.str(),
            "stJobSystems(sName=tractor, ParticipantID=255, Status=<null>, Latitude=0.10000000000000001, "
            "Longitude=<null>, Altitude=<null>, Velocity=<null>, Direction=<null>)");
  // Insertions chain.
  std::ostringstream chained;
  chained << yol::stMGTCfg() << '|' << yol::stMGTCfg();
  EXPECT_EQ(chained.str(), "stMGTCfg(PingDelay=<null>)|stMGTCfg(PingDelay=<null>)");
}

TEST(TextForm, FieldWidthPadsOnlyTheOpening) {
  std::ostringstream out;
  out << std::setw(16) << std::setfill('.') << yol::stMGTCfg() << std::setw(3) << 'x';
  EXPECT_EQ(out.str(), ".......stMGTCfg(PingDelay=<null>)..x");
}

TEST(TextForm, GroupingGlobalLocaleGroupsIntegersAndEnumerations) {
  yol::stJobEndpoint endpoint;
  endpoint.sHost = "h";
  endpoint.Port = 1234567;
  endpoint.ParticipantId = -2147483647 - 1;
  endpoint.__set_eState(static_cast<yol::eJoinRequestState::type>(7654321));
  yol::stJobMapInfo map;
  map.sGUID = "g";
  map.__set_DefaultRate(1234567.5);
  std::string endpoint_text;
  std::string map_text;
  {
    GlobalLocale grouping(std::locale(std::locale::classic(), new UnderscoreGrouping));
    endpoint_text = text(endpoint);
    map_text = text(map);
  }
  EXPECT_EQ(endpoint_text,
            "stJobEndpoint(sHost=h, Port=1_234_567, ParticipantId=-2_147_483_648, sAuthorization=<null>, "
            "eState=7_654_321)");
  // Doubles follow the C library's numeric locale, which has no grouping.
  EXPECT_EQ(map_text,
            "stJobMapInfo(sGUID=g, sName=<null>, sColumn=<null>, DefaultRate=1234567.5, ConversionFactor=<null>)");
  // And all is back to normal afterwards.
  EXPECT_EQ(text(endpoint),
            "stJobEndpoint(sHost=h, Port=1234567, ParticipantId=-2147483648, sAuthorization=<null>, eState=7654321)");
}

TEST(TextForm, DecimalPointFollowsTheNumericLocale) {
  std::locale german;
  try {
    german = std::locale("de_DE.UTF-8");
  } catch (const std::runtime_error&) {
    GTEST_SKIP() << "the de_DE.UTF-8 locale is not installed on this machine "
                    "(localedef -i de_DE -f UTF-8 de_DE.UTF-8 makes it)";
  }
  std::string coordinate_text;
  std::string dtc_text;
  {
    GlobalLocale locale(german);
    coordinate_text = text(coordinate(0.1, -2.5));
    yol::stDTC dtc;
    dtc.spn = 1234567;
    dtc_text = text(dtc);
  }
  EXPECT_EQ(coordinate_text, "stJobBoundaryCoordinate(Latitude=0,10000000000000001, Longitude=-2,5)");
  EXPECT_EQ(dtc_text, "stDTC(spn=1.234.567, fmi=0, oc=0, count=<null>, time=<null>, inactive=<null>)");
}

TEST(TextForm, FailingValueStreamRaisesBadLexicalCast) {
  yol::stFeatures features;
  features.feature = yol::eMGTFeature::RTK;
  yol::stFileInfo file;
  file.id = "f1";
  yol::stAssociation association;
  association.__set_type(yol::eFTAssociationType::AT_CREATE);
  file.__set_association(association);

  std::ostringstream features_out;
  std::ostringstream file_out;
  {
    GlobalLocale failing(std::locale(std::locale::classic(), new FailingNumbers));
    EXPECT_THROW(features_out << features, boost::bad_lexical_cast);
    EXPECT_THROW(file_out << file, boost::bad_lexical_cast);
  }
  // What was written before the failure stays.
  EXPECT_EQ(features_out.str(), "stFeatures(feature=");
  EXPECT_EQ(file_out.str().rfind("stFileInfo(id=f1, ", 0), 0u) << file_out.str();
}

}  // namespace

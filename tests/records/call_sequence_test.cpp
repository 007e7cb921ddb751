// The exact protocol calls that records make when they write and read:
// what makes two ends interoperate, whatever the protocol.
#include <gtest/gtest.h>
#include <thriftyol/service/Yol.h>
#include <thriftyol/types/yol_types.h>

#include <string>
#include <vector>

#include "recording_protocol.h"

namespace {

using Lines = std::vector<std::string>;
using yol::testing::output_depth;
using yol::testing::RecordedBuffer;

template <class R>
Lines written(const R& record, bool with_depth = false) {
  RecordedBuffer out;
  out.protocol->log_depth(with_depth);
  record.write(out.protocol.get());
  return out.protocol->calls();
}

template <class R>
Lines read_back(const R& record, R& into) {
  RecordedBuffer out;
  record.write(out.protocol.get());
  RecordedBuffer in(out.bytes());
  into.read(in.protocol.get());
  return in.protocol->calls();
}

TEST(CallSequence, FeaturesRaiseTheDepthForTheirDurationOnly) {
  yol::stFeatures features;
  features.feature = static_cast<yol::eMGTFeature::type>(7);
  features.enabled = true;

  RecordedBuffer out;
  out.protocol->log_depth(true);
  ASSERT_EQ(output_depth(*out.protocol), 0);
  const uint32_t count = features.write(out.protocol.get());
  const Lines expected_calls = {
      "writeStructBegin stFeatures [depth 1]",
      "writeFieldBegin feature T_I32 1",
      "writeI32 7",
      "writeFieldEnd",
      "writeFieldBegin enabled T_BOOL 2",
      "writeBool true",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd [depth 1]",
  };
  EXPECT_EQ(out.protocol->calls(), expected_calls);
  EXPECT_EQ(output_depth(*out.protocol), 0);
  EXPECT_EQ(count, out.bytes().size());
}

TEST(CallSequence, RequiredAndOptionalFields) {
  yol::stCellularInfo info;
  info.model = "MX-1";
  info.__set_roaming(true);
  info.__set_age_of_data(-5);
  info.__set_modem_state(yol::eCellularModemState::MODEM_STATE_FAILED);
  info.rssi = "assigned without its flag";
  const Lines expected_writes = {
      "writeStructBegin stCellularInfo",
      "writeFieldBegin model T_STRING 1",
      "writeString \"MX-1\"",
      "writeFieldEnd",
      "writeFieldBegin roaming T_BOOL 6",
      "writeBool true",
      "writeFieldEnd",
      "writeFieldBegin age_of_data T_I32 11",
      "writeI32 -5",
      "writeFieldEnd",
      "writeFieldBegin modem_state T_I32 15",
      "writeI32 -1",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(written(info), expected_writes);

  yol::stCellularInfo decoded;
  const Lines expected_reads = {
      "readStructBegin", "readFieldBegin T_STRING 1", "readString \"MX-1\"",
      "readFieldEnd",    "readFieldBegin T_BOOL 6",   "readBool true",
      "readFieldEnd",    "readFieldBegin T_I32 11",   "readI32 -5",
      "readFieldEnd",    "readFieldBegin T_I32 15",   "readI32 -1",
      "readFieldEnd",    "readFieldBegin T_STOP",     "readStructEnd",
  };
  EXPECT_EQ(read_back(info, decoded), expected_reads);
  EXPECT_EQ(decoded.modem_state, yol::eCellularModemState::MODEM_STATE_FAILED);
  EXPECT_TRUE(decoded.__isset.roaming);
  EXPECT_FALSE(decoded.__isset.rssi);
  EXPECT_TRUE(decoded.rssi.empty());
}

TEST(CallSequence, RecordWithAllOptionalsUnsetWritesOnlyTheStop) {
  const Lines empty_result = {"writeStructBegin ServiceDiscoveryResult", "writeFieldStop", "writeStructEnd"};
  EXPECT_EQ(written(yol::ServiceDiscoveryResult()), empty_result);
  EXPECT_EQ(written(yol::stMGTCfg()), (Lines{"writeStructBegin stMGTCfg", "writeFieldStop", "writeStructEnd"}));

  // Members assigned without their flags do not travel either.
  yol::ServiceDiscoveryResult result;
  result.pending = true;
  result.error.status = yol::ServiceDiscoveryErrorStatus::INVALID_UUID;
  EXPECT_EQ(written(result), empty_result);
}

TEST(CallSequence, DefaultFieldIsAlwaysWrittenAndFlaggedOnlyByReading) {
  yol::ServiceDiscoveryError error;
  EXPECT_FALSE(error.__isset.status);
  const Lines expected_writes = {
      "writeStructBegin ServiceDiscoveryError",
      "writeFieldBegin status T_I32 1",
      "writeI32 0",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(written(error), expected_writes);

  error.__set_status(yol::ServiceDiscoveryErrorStatus::INVALID_UUID);
  EXPECT_FALSE(error.__isset.status) << "the setter of a default field leaves its flag";
  EXPECT_EQ(written(error)[2], "writeI32 1");

  yol::ServiceDiscoveryError decoded;
  read_back(error, decoded);
  EXPECT_TRUE(decoded.__isset.status) << "reading a default field raises its flag";
  EXPECT_EQ(decoded.status, yol::ServiceDiscoveryErrorStatus::INVALID_UUID);

  yol::ServiceDiscoveryFailure failure;
  failure.__set_error_message("down");
  EXPECT_FALSE(failure.__isset.error_message);
  const Lines expected_writes2 = {
      "writeStructBegin ServiceDiscoveryFailure",
      "writeFieldBegin error_message T_STRING 1",
      "writeString \"down\"",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(written(failure), expected_writes2);
}

TEST(CallSequence, NestedRecordRaisesTheDepthAgain) {
  yol::stFileInfo file;
  file.id = "f1";
  yol::stAssociation association;
  association.__set_id("a1");
  association.__set_type(yol::eFTAssociationType::AT_CREATE);
  file.__set_association(association);
  EXPECT_TRUE(file.__isset.association);
  const Lines expected_writes = {
      "writeStructBegin stFileInfo [depth 1]",
      "writeFieldBegin id T_STRING 1",
      "writeString \"f1\"",
      "writeFieldEnd",
      "writeFieldBegin association T_STRUCT 8",
      "writeStructBegin stAssociation [depth 2]",
      "writeFieldBegin id T_STRING 1",
      "writeString \"a1\"",
      "writeFieldEnd",
      "writeFieldBegin type T_I32 2",
      "writeI32 1",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd [depth 2]",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd [depth 1]",
  };
  EXPECT_EQ(written(file, true), expected_writes);

  yol::stFileInfo decoded;
  const Lines reads = read_back(file, decoded);
  const Lines expected_reads = {
      "readFieldBegin T_STRUCT 8",
      "readStructBegin",
      "readFieldBegin T_STRING 1",
      "readString \"a1\"",
      "readFieldEnd",
      "readFieldBegin T_I32 2",
      "readI32 1",
      "readFieldEnd",
      "readFieldBegin T_STOP",
      "readStructEnd",
      "readFieldEnd",
      "readFieldBegin T_STOP",
  };
  EXPECT_EQ(Lines(reads.begin() + 4, reads.begin() + 16), expected_reads);
  EXPECT_EQ(decoded, file);
}

TEST(CallSequence, ListOfStrings) {
  yol::ServiceDiscoverySuccess success;
  success.__set_urls({"https://a", "https://b"});
  const Lines expected_writes = {
      "writeStructBegin ServiceDiscoverySuccess",
      "writeFieldBegin urls T_LIST 1",
      "writeListBegin T_STRING 2",
      "writeString \"https://a\"",
      "writeString \"https://b\"",
      "writeListEnd",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(written(success), expected_writes);

  yol::ServiceDiscoverySuccess decoded;
  const Lines expected_reads = {
      "readStructBegin",
      "readFieldBegin T_LIST 1",
      "readListBegin T_STRING 2",
      "readString \"https://a\"",
      "readString \"https://b\"",
      "readListEnd",
      "readFieldEnd",
      "readFieldBegin T_STOP",
      "readStructEnd",
  };
  EXPECT_EQ(read_back(success, decoded), expected_reads);
  EXPECT_EQ(decoded.urls, success.urls);
}

TEST(CallSequence, EmptyListIsStillAList) {
  // A default list field travels even when empty and unflagged.
  const Lines urls = written(yol::ServiceDiscoverySuccess());
  EXPECT_EQ(Lines(urls.begin() + 1, urls.end() - 2),
            (Lines{"writeFieldBegin urls T_LIST 1", "writeListBegin T_STRING 0", "writeListEnd", "writeFieldEnd"}));

  yol::stCANDevice device;
  device.sInterface = "can0";
  device.sID = "17";
  device.__set_stCANSignals({});
  const Lines signals = written(device);
  const Lines expected_calls = {
      "writeFieldBegin stCANSignals T_LIST 3",
      "writeListBegin T_STRUCT 0",
      "writeListEnd",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(Lines(signals.begin() + 7, signals.end()), expected_calls);

  yol::stCANDevice decoded;
  decoded.stCANSignals.resize(3);
  read_back(device, decoded);
  EXPECT_TRUE(decoded.__isset.stCANSignals);
  EXPECT_TRUE(decoded.stCANSignals.empty());
}

TEST(CallSequence, ListOfRecords) {
  yol::stCANDevice device;
  device.sInterface = "can0";
  device.sID = "17";
  yol::stCANSignal speed;
  speed.__set_spn("84");
  speed.__set_count(3);
  yol::stCANSignal blank;
  device.__set_stCANSignals({speed, blank});
  const Lines expected_writes = {
      "writeStructBegin stCANDevice [depth 1]",
      "writeFieldBegin sInterface T_STRING 1",
      "writeString \"can0\"",
      "writeFieldEnd",
      "writeFieldBegin sID T_STRING 2",
      "writeString \"17\"",
      "writeFieldEnd",
      "writeFieldBegin stCANSignals T_LIST 3",
      "writeListBegin T_STRUCT 2",
      "writeStructBegin stCANSignal [depth 2]",
      "writeFieldBegin spn T_STRING 1",
      "writeString \"84\"",
      "writeFieldEnd",
      "writeFieldBegin count T_I32 5",
      "writeI32 3",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd [depth 2]",
      "writeStructBegin stCANSignal [depth 2]",
      "writeFieldStop",
      "writeStructEnd [depth 2]",
      "writeListEnd",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd [depth 1]",
  };
  EXPECT_EQ(written(device, true), expected_writes);

  yol::stCANDevice decoded;
  const Lines reads = read_back(device, decoded);
  EXPECT_EQ(reads[8], "readListBegin T_STRUCT 2");
  EXPECT_EQ(reads[reads.size() - 4], "readListEnd");
  EXPECT_EQ(decoded, device);
  EXPECT_TRUE(decoded.stCANSignals[0].__isset.count);
  EXPECT_FALSE(decoded.stCANSignals[1].__isset.spn);
}

TEST(CallSequence, ListOfEnumerationsTravelsAsI32) {
  // No data record holds one; the arguments of SendMsg do.
  yol::Yol_SendMsg_args args;
  args.Cat = yol::eCategory::SSH;
  args.eType = {yol::eDataType::json_DOUBLE, static_cast<yol::eDataType::type>(-9)};
  args.sKey = {"k"};
  const Lines expected_writes = {
      "writeStructBegin Yol_SendMsg_args",
      "writeFieldBegin Cat T_I32 1",
      "writeI32 8",
      "writeFieldEnd",
      "writeFieldBegin Tel T_I32 2",
      "writeI32 0",
      "writeFieldEnd",
      "writeFieldBegin eType T_LIST 3",
      "writeListBegin T_I32 2",
      "writeI32 2",
      "writeI32 -9",
      "writeListEnd",
      "writeFieldEnd",
      "writeFieldBegin sKey T_LIST 4",
      "writeListBegin T_STRING 1",
      "writeString \"k\"",
      "writeListEnd",
      "writeFieldEnd",
      "writeFieldBegin sValue T_LIST 5",
      "writeListBegin T_STRING 0",
      "writeListEnd",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(written(args), expected_writes);

  yol::Yol_SendMsg_args decoded;
  decoded.eType.assign(4, yol::eDataType::json_STRING);
  read_back(args, decoded);
  EXPECT_EQ(decoded.eType, args.eType);
  EXPECT_TRUE(decoded.__isset.eType);
  EXPECT_TRUE(decoded.__isset.sValue);
}

TEST(CallSequence, DoublesAndEveryEnumAsI32) {
  yol::stJobPoint point;
  point.eType = yol::eJobPointType::PROXIMITY;
  point.__set_Latitude(52.25);
  point.__set_Longitude(-0.1);
  const Lines expected_writes = {
      "writeStructBegin stJobPoint",
      "writeFieldBegin eType T_I32 1",
      "writeI32 1",
      "writeFieldEnd",
      "writeFieldBegin Latitude T_DOUBLE 2",
      "writeDouble 52.25",
      "writeFieldEnd",
      "writeFieldBegin Longitude T_DOUBLE 3",
      "writeDouble -0.10000000000000001",
      "writeFieldEnd",
      "writeFieldStop",
      "writeStructEnd",
  };
  EXPECT_EQ(written(point), expected_writes);
}

TEST(CallSequence, SkippedFieldsAreConsumedThroughSkip) {
  // An unknown id and a known id with the wrong type: both skipped.
  RecordedBuffer out;
  out.protocol->writeStructBegin("stMGTCfg");
  out.protocol->writeFieldBegin("x", apache::thrift::protocol::T_STRUCT, 9);
  out.protocol->writeStructBegin("X");
  out.protocol->writeFieldBegin("y", apache::thrift::protocol::T_DOUBLE, 1);
  out.protocol->writeDouble(1.5);
  out.protocol->writeFieldEnd();
  out.protocol->writeFieldStop();
  out.protocol->writeStructEnd();
  out.protocol->writeFieldEnd();
  out.protocol->writeFieldBegin("PingDelay", apache::thrift::protocol::T_STRING, 1);
  out.protocol->writeString("30");
  out.protocol->writeFieldEnd();
  out.protocol->writeFieldStop();
  out.protocol->writeStructEnd();

  RecordedBuffer in(out.bytes());
  yol::stMGTCfg cfg;
  cfg.read(in.protocol.get());
  const Lines expected_reads = {
      "readStructBegin",
      "readFieldBegin T_STRUCT 9",
      "skip T_STRUCT",
      "readStructBegin",
      "readFieldBegin T_DOUBLE 1",
      "readDouble 1.5",
      "readFieldEnd",
      "readFieldBegin T_STOP",
      "readStructEnd",
      "readFieldEnd",
      "readFieldBegin T_STRING 1",
      "skip T_STRING",
      "readBinary \"30\"",
      "readFieldEnd",
      "readFieldBegin T_STOP",
      "readStructEnd",
  };
  EXPECT_EQ(in.protocol->calls(), expected_reads);
  EXPECT_FALSE(cfg.__isset.PingDelay);
  EXPECT_EQ(cfg.PingDelay, 0);
}

}  // namespace

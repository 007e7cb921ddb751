// Decoding input that a writer of this library would not produce: missing
// or mistyped fields, unknown fields, values outside an enumeration, fields
// that arrive twice, truncated data.
#include <gtest/gtest.h>
#include <thrift/transport/TTransportException.h>
#include <thriftyol/testing/yol_samples.h>
#include <thriftyol/types/yol_types.h>

#include <string>

#include "codec.h"
#include "stream_edits.h"

namespace {

using apache::thrift::transport::TTransportException;
using codec::Protocol;
using codec::TProtocol;
using codec::TProtocolException;
namespace proto = apache::thrift::protocol;

void string_field(TProtocol& out, const char* name, int16_t id, const std::string& value) {
  out.writeFieldBegin(name, proto::T_STRING, id);
  out.writeString(value);
  out.writeFieldEnd();
}

void i32_field(TProtocol& out, const char* name, int16_t id, int32_t value) {
  out.writeFieldBegin(name, proto::T_I32, id);
  out.writeI32(value);
  out.writeFieldEnd();
}

// A whole record: begin, the fields that `fields` writes, stop, end.
template <class F>
std::string record(Protocol p, F&& fields) {
  return codec::build(p, [&](TProtocol& out) {
    out.writeStructBegin("Handmade");
    fields(out);
    out.writeFieldStop();
    out.writeStructEnd();
  });
}

TEST(Decoding, MissingRequiredFieldFailsAfterReadingTheRest) {
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    // stDTC requires spn, fmi and oc; oc is missing, fields after it arrive.
    const std::string input = record(p, [](TProtocol& out) {
      i32_field(out, "spn", 1, 520);
      i32_field(out, "fmi", 2, 4);
      i32_field(out, "count", 4, 9);
    });
    yol::stDTC dtc;
    try {
      codec::decode_into(dtc, input, p);
      ADD_FAILURE() << "decoded without oc";
    } catch (const TProtocolException& e) {
      EXPECT_EQ(e.getType(), TProtocolException::INVALID_DATA);
      EXPECT_STREQ(e.what(), TProtocolException(TProtocolException::INVALID_DATA).what());
    }
    EXPECT_EQ(dtc.spn, 520);
    EXPECT_EQ(dtc.fmi, 4);
    EXPECT_EQ(dtc.count, 9);
    EXPECT_TRUE(dtc.__isset.count);

    // With all three missing there is still one failure of the same kind.
    yol::stDTC empty;
    EXPECT_EQ(codec::protocol_error([&] { codec::decode_into(empty, record(p, [](TProtocol&) {}), p); }),
              TProtocolException::INVALID_DATA);
  }
}

TEST(Decoding, RequiredFieldWithTheWrongWireTypeCountsAsMissing) {
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    const std::string model_as_i32 = record(p, [](TProtocol& out) {
      i32_field(out, "model", 1, 7);
      string_field(out, "modemid", 2, "m-2");
    });
    yol::stCellularInfo info;
    EXPECT_EQ(codec::protocol_error([&] { codec::decode_into(info, model_as_i32, p); }),
              TProtocolException::INVALID_DATA);
    EXPECT_EQ(info.model, "");
    EXPECT_EQ(info.modemid, "m-2");

    const std::string oc_as_string = record(p, [](TProtocol& out) {
      i32_field(out, "spn", 1, 1);
      i32_field(out, "fmi", 2, 2);
      string_field(out, "oc", 3, "3");
    });
    yol::stDTC dtc;
    EXPECT_EQ(codec::protocol_error([&] { codec::decode_into(dtc, oc_as_string, p); }),
              TProtocolException::INVALID_DATA);
    EXPECT_EQ(dtc.oc, 0);
  }
}

TEST(Decoding, UnknownFieldsOfEveryWireTypeAreSkipped) {
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    const std::string input = record(p, [](TProtocol& out) {
      stream_edits::write_unknown_fields(out);
      string_field(out, "model", 1, "MX-1");
      stream_edits::write_unknown_fields(out);
      i32_field(out, "gps_mode", 12, -2);
    });
    yol::stCellularInfo info;
    const uint32_t read = codec::decode_into(info, input, p);
    EXPECT_EQ(read, input.size());
    yol::stCellularInfo expected;
    expected.model = "MX-1";
    expected.__set_gps_mode(-2);
    EXPECT_EQ(info, expected);
    EXPECT_TRUE(codec::same_flags(info, expected));
  }
}

TEST(Decoding, KnownFieldWithTheWrongWireTypeChangesNothing) {
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    const std::string input = record(p, [](TProtocol& out) {
      string_field(out, "id", 1, "f1");
      string_field(out, "size", 5, "12");                                // an i32 field
      i32_field(out, "name", 2, 12);                                     // a string field
      stream_edits::write_wrongly_typed_field(out, 8, proto::T_STRUCT);  // the association
      stream_edits::write_wrongly_typed_field(out, 7, proto::T_BOOL);    // persistID
      stream_edits::write_wrongly_typed_field(out, 3, proto::T_STRING);  // path, as a struct
    });
    yol::stFileInfo file;
    file.__set_name("kept");
    codec::decode_into(file, input, p);
    EXPECT_EQ(file.id, "f1");
    EXPECT_EQ(file.name, "kept");
    EXPECT_TRUE(file.__isset.name);
    EXPECT_FALSE(file.__isset.size);
    EXPECT_FALSE(file.__isset.association);
    EXPECT_FALSE(file.__isset.persistID);
    EXPECT_FALSE(file.__isset.path);
    EXPECT_EQ(file.size, 0);
  }
}

TEST(Decoding, EnumerationValueOutsideTheListIsKept) {
  for (const int32_t value : {12, 4, -3, 2147483647}) {
    SCOPED_TRACE(value);
    const std::string input = record(Protocol::compact, [&](TProtocol& out) {
      i32_field(out, "feature", 1, value);
      out.writeFieldBegin("enabled", proto::T_BOOL, 2);
      out.writeBool(false);
      out.writeFieldEnd();
    });
    const auto features = codec::decode<yol::stFeatures>(input, Protocol::compact);
    EXPECT_EQ(static_cast<int32_t>(features.feature), value);
    // It travels on unchanged.
    EXPECT_EQ(codec::encode(features, Protocol::compact), input);
  }
  EXPECT_EQ(yol::_eMGTFeature_VALUES_TO_NAMES.count(12), 0u);
  EXPECT_EQ(yol::_eMGTFeature_VALUES_TO_NAMES.count(4), 1u);

  const auto error = codec::decode<yol::ServiceDiscoveryError>(
      record(Protocol::binary, [](TProtocol& out) { i32_field(out, "status", 1, 2); }));
  EXPECT_EQ(static_cast<int32_t>(error.status), 2);
  EXPECT_TRUE(error.__isset.status);
  EXPECT_EQ(yol::_ServiceDiscoveryErrorStatus_VALUES_TO_NAMES.count(2), 0u);
}

TEST(Decoding, FieldArrivingTwiceTakesTheLaterValue) {
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    auto signals = [](TProtocol& out, std::initializer_list<const char*> spns) {
      out.writeFieldBegin("stCANSignals", proto::T_LIST, 3);
      out.writeListBegin(proto::T_STRUCT, static_cast<uint32_t>(spns.size()));
      for (const char* spn : spns) {
        out.writeStructBegin("stCANSignal");
        string_field(out, "spn", 1, spn);
        out.writeFieldStop();
        out.writeStructEnd();
      }
      out.writeListEnd();
      out.writeFieldEnd();
    };
    const std::string input = record(p, [&](TProtocol& out) {
      string_field(out, "sInterface", 1, "can0");
      signals(out, {"1", "2", "3"});
      string_field(out, "sID", 2, "17");
      string_field(out, "sInterface", 1, "can1");
      signals(out, {"4"});
    });
    yol::stCANDevice device;
    device.stCANSignals.resize(5);
    codec::decode_into(device, input, p);
    EXPECT_EQ(device.sInterface, "can1");
    ASSERT_EQ(device.stCANSignals.size(), 1u);
    EXPECT_EQ(device.stCANSignals[0].spn, "4");
    EXPECT_TRUE(device.stCANSignals[0].__isset.spn);

    // A nested record arriving twice is read into, not replaced.
    const std::string twice = record(p, [](TProtocol& out) {
      string_field(out, "id", 1, "f1");
      for (int round = 0; round < 2; ++round) {
        out.writeFieldBegin("association", proto::T_STRUCT, 8);
        out.writeStructBegin("stAssociation");
        if (round == 0) {
          string_field(out, "id", 1, "first");
        } else {
          i32_field(out, "type", 2, 1);
        }
        out.writeFieldStop();
        out.writeStructEnd();
        out.writeFieldEnd();
      }
    });
    const auto file = codec::decode<yol::stFileInfo>(twice, p);
    EXPECT_EQ(file.association.id, "first");
    EXPECT_EQ(file.association.type, yol::eFTAssociationType::AT_CREATE);
    EXPECT_TRUE(file.association.__isset.id);
    EXPECT_TRUE(file.association.__isset.type);
  }
}

TEST(Decoding, ReadingIntoAUsedRecordLeavesOtherFieldsAlone) {
  yol::stFileInfo file = yol::testing::sample<yol::stFileInfo>(1);
  const yol::stFileInfo before = file;
  codec::decode_into(file, record(Protocol::binary, [](TProtocol& out) {
                       string_field(out, "id", 1, "new");
                       string_field(out, "md5", 4, "");
                     }));
  EXPECT_EQ(file.id, "new");
  EXPECT_EQ(file.md5, "");
  EXPECT_TRUE(file.__isset.md5);
  file.id = before.id;
  file.md5 = before.md5;
  EXPECT_EQ(file, before);
  EXPECT_TRUE(codec::same_flags(file, before));
}

TEST(Decoding, ListHeaderElementTypeIsNotChecked) {
  // The binary protocol lets the header and the elements disagree.
  const std::string input = record(Protocol::binary, [](TProtocol& out) {
    out.writeFieldBegin("urls", proto::T_LIST, 1);
    out.writeListBegin(proto::T_BYTE, 2);
    out.writeString("u1");
    out.writeString("u2");
    out.writeListEnd();
    out.writeFieldEnd();
  });
  const auto success = codec::decode<yol::ServiceDiscoverySuccess>(input);
  EXPECT_EQ(success.urls, (std::vector<std::string>{"u1", "u2"}));
}

TEST(Decoding, TransportAndProtocolFailuresPassThrough) {
  const std::string full = codec::encode(yol::testing::sample<yol::stJobCreateExt>(1));
  // Every cut of the input fails at the transport; none is taken for a
  // shorter, complete record.
  for (size_t cut = 0; cut < full.size(); ++cut) {
    yol::stJobCreateExt job;
    EXPECT_THROW(codec::decode_into(job, full.substr(0, cut)), TTransportException) << "cut at " << cut;
  }
  // A negative string length is the protocol's to report.
  const std::string negative = record(Protocol::binary, [](TProtocol& out) {
    out.writeFieldBegin("urls", proto::T_LIST, 1);
    out.writeListBegin(proto::T_STRING, 1);
    out.writeI32(-5);
  });
  yol::ServiceDiscoverySuccess success;
  EXPECT_EQ(codec::protocol_error([&] { codec::decode_into(success, negative); }), TProtocolException::NEGATIVE_SIZE);
}

}  // namespace

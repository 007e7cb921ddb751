// Properties that every record has, checked for each of them with sample
// values in which every field differs from its default.
#include <gtest/gtest.h>
#include <thrift/TToString.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "codec.h"
#include "setters.h"

namespace {

using codec::Protocol;
using codec::TProtocolException;
using codec::Edit;
using yol::testing::Fields;
using yol::testing::RecordInfo;
using yol::testing::sample;

constexpr Fields kBothFills[] = {Fields::all, Fields::no_optionals};
const char* name(Fields f) { return f == Fields::all ? "every field" : "no optional field"; }

// What `record` writes through an Edit, and what the Edit saw; with `drop`,
// without the outermost field of that id (binary only: in the compact
// protocol a field header depends on the one before).
template <class R>
std::pair<std::string, Edit> edited(const R& record, Protocol p = Protocol::binary, bool stray = false,
                                    int16_t drop = 0) {
  std::shared_ptr<Edit> edit;
  std::string bytes = codec::build(p, [&](codec::TProtocol& out) {
    edit = std::make_shared<Edit>(std::shared_ptr<codec::TProtocol>(&out, [](codec::TProtocol*) {}), stray);
    record.write(edit.get());
  });
  for (const Edit::Field& field : edit->fields) {
    if (field.id == drop) {
      bytes.erase(field.begin, field.end - field.begin);
    }
  }
  return {std::move(bytes), *edit};
}

template <class R>
class EveryRecord : public ::testing::Test {};
TYPED_TEST_SUITE(EveryRecord, codec::AllRecordTypes, codec::RecordName);

TYPED_TEST(EveryRecord, WritesItsFieldsInIdOrder) {
  using R = TypeParam;
  const auto all = edited(sample<R>(1)).second;
  std::vector<int16_t> ids;
  for (const Edit::Field& field : all.fields) {
    ids.push_back(field.id);
  }
  EXPECT_EQ(ids, std::vector<int16_t>(RecordInfo<R>::field_ids.begin(), RecordInfo<R>::field_ids.end()));
  // Unset optional fields stay off the wire; the others are always written.
  const size_t always = ids.size() - RecordInfo<R>::optional_count;
  EXPECT_EQ(edited(sample<R>(1, Fields::no_optionals)).second.fields.size(), always);
  EXPECT_EQ(edited(R()).second.fields.size(), always);
}

TYPED_TEST(EveryRecord, RoundTripsInBothProtocols) {
  using R = TypeParam;
  for (const Protocol p : codec::kProtocols) {
    for (const Fields fields : kBothFills) {
      SCOPED_TRACE(std::string(codec::name(p)) + ", " + name(fields));
      const R original = sample<R>(3, fields);
      auto buffer = std::make_shared<codec::TMemoryBuffer>();
      const uint32_t written = original.write(codec::make_protocol(p, buffer).get());
      const std::string bytes = buffer->getBufferAsString();
      EXPECT_EQ(written, bytes.size());

      R decoded;
      EXPECT_EQ(codec::decode_into(decoded, bytes, p), written);
      EXPECT_EQ(decoded, original);
      EXPECT_TRUE(codec::same_flags(decoded, original));
      EXPECT_EQ(codec::encode(decoded, p), bytes);
    }
  }
}

TYPED_TEST(EveryRecord, SettersSetTheValueAndTheFlagOfAnOptionalField) {
  using R = TypeParam;
  const auto& setters = setters::Of<R>::all;
  ASSERT_EQ(std::size(setters), RecordInfo<R>::field_ids.size());
  const R full = sample<R>(1);
  R built;
  for (const auto& setter : setters) {
    setter.copy(built, full);
  }
  EXPECT_EQ(built, full);
  EXPECT_EQ(codec::encode(built), codec::encode(full));
}

TYPED_TEST(EveryRecord, EqualitySeesEachFieldAndEachOptionalFlag) {
  using R = TypeParam;
  const R blank;
  const R full = sample<R>(1);
  for (const auto& setter : setters::Of<R>::all) {
    SCOPED_TRACE(setter.field);
    R changed;
    setter.copy(changed, full);
    EXPECT_FALSE(changed == blank);
    EXPECT_TRUE(blank != changed);
    // The default value set through the setter: only an optional field
    // changes, by its flag, which shows on the wire.
    R flagged;
    setter.copy(flagged, blank);
    EXPECT_EQ(flagged == blank, codec::encode(flagged) == codec::encode(blank));
  }
}

TYPED_TEST(EveryRecord, CopyMoveAndSwapCarryValuesAndFlags) {
  using R = TypeParam;
  const R one = sample<R>(1);
  const R two = sample<R>(2, Fields::no_optionals);
  R copy(one);
  EXPECT_TRUE(copy == one && codec::same_flags(copy, one));
  R moved(std::move(copy));
  EXPECT_TRUE(moved == one && codec::same_flags(moved, one));
  copy = two;
  EXPECT_TRUE(copy == two && codec::same_flags(copy, two));
  yol::swap(moved, copy);
  EXPECT_TRUE(moved == two && codec::same_flags(moved, two));
  EXPECT_TRUE(copy == one && codec::same_flags(copy, one));
}

TYPED_TEST(EveryRecord, SkipsUnknownAndWronglyTypedFieldsUpToTheRecursionLimit) {
  using R = TypeParam;
  const R original = sample<R>(5);
  for (const Protocol p : codec::kProtocols) {
    SCOPED_TRACE(codec::name(p));
    const std::string bytes = edited(original, p, true).first;
    ASSERT_GT(bytes.size(), codec::encode(original, p).size());
    R decoded;
    EXPECT_EQ(codec::decode_into(decoded, bytes, p), bytes.size());
    EXPECT_EQ(decoded, original);
    EXPECT_TRUE(codec::same_flags(decoded, original));

    // An unknown field holding more records, each in the one before, than
    // the recursion limit allows.
    const std::string deep = codec::build(p, [&](codec::TProtocol& out) {
      for (int level = 0; level <= 9; ++level) {
        out.writeStructBegin("Deep");
        out.writeFieldBegin("deep", apache::thrift::protocol::T_STRUCT, 999);
      }
    });
    codec::expect_protocol_error([&] { codec::decode_into(decoded, deep, p, 8); }, TProtocolException::DEPTH_LIMIT,
                                 "TProtocolException: Exceeded depth limit");
  }
}

TYPED_TEST(EveryRecord, MissingRequiredFieldFailsTheReadAndKeepsWhatWasRead) {
  using R = TypeParam;
  const R original = sample<R>(6);
  for (const int16_t id : RecordInfo<R>::required_ids) {
    SCOPED_TRACE("without field " + std::to_string(id));
    // Only a copy under a wrong wire type arrives, which counts as missing.
    const std::string input = edited(original, Protocol::binary, true, id).first;
    R partial;
    codec::expect_protocol_error([&] { codec::decode_into(partial, input); }, TProtocolException::INVALID_DATA,
                                 "TProtocolException: Invalid data");
    EXPECT_EQ(edited(partial, Protocol::binary, false, id).first,
              edited(original, Protocol::binary, false, id).first);
  }
}

TYPED_TEST(EveryRecord, ReadingIntoAUsedRecordKeepsWhatDoesNotArrive) {
  using R = TypeParam;
  R target = sample<R>(8);
  codec::decode_into(target, codec::encode(sample<R>(9, Fields::no_optionals)));
  // Optional fields keep values and flags; the rest is overwritten.
  R expected = sample<R>(8);
  yol::testing::fill(expected, 9, Fields::no_optionals);
  EXPECT_EQ(target, expected);
  EXPECT_TRUE(codec::same_flags(target, expected));
}

TYPED_TEST(EveryRecord, WriteNeedsARecursionLimitOfItsNestingDepth) {
  using R = TypeParam;
  const R record = sample<R>(10);
  const int nesting = edited(record).second.deepest;
  // One protocol throughout: a failed write must leave its depth as it was.
  auto buffer = std::make_shared<codec::TMemoryBuffer>();
  const auto out = codec::make_protocol(Protocol::binary, buffer);
  for (int limit = 0; limit < nesting; ++limit) {
    out->setRecurisionLimit(static_cast<uint32_t>(limit));
    codec::expect_protocol_error([&] { record.write(out.get()); }, TProtocolException::DEPTH_LIMIT,
                                 "TProtocolException: Exceeded depth limit");
  }
  out->setRecurisionLimit(static_cast<uint32_t>(nesting));
  buffer->resetBuffer();
  record.write(out.get());
  EXPECT_EQ(buffer->getBufferAsString(), codec::encode(record));
}

TYPED_TEST(EveryRecord, TextFormShowsEveryFieldAndUnsetOptionalsAsNull) {
  using R = TypeParam;
  const std::string opening = std::string(RecordInfo<R>::name) + "(";
  for (const Fields fields : kBothFills) {
    SCOPED_TRACE(name(fields));
    const R record = sample<R>(1, fields);
    std::ostringstream out;
    out << record;
    const std::string text = out.str();
    EXPECT_EQ(text.rfind(opening, 0), 0u) << text;
    EXPECT_EQ(text.back(), ')');
    EXPECT_EQ(apache::thrift::to_string(record), text);
    // The outermost fields, and those printed as <null> (samples hold no
    // brackets or ", " in their strings).
    size_t printed = 1;
    size_t null = 0;
    int depth = 0;
    for (size_t i = opening.size(); i < text.size(); ++i) {
      depth += (text[i] == '(' || text[i] == '[') - (text[i] == ')' || text[i] == ']');
      printed += depth == 0 && text.compare(i, 2, ", ") == 0;
      null += depth == 0 && text.compare(i, 7, "=<null>") == 0;
    }
    EXPECT_EQ(printed, RecordInfo<R>::field_ids.size()) << text;
    EXPECT_EQ(null, fields == Fields::all ? 0 : RecordInfo<R>::optional_count) << text;
  }
}

TYPED_TEST(EveryRecord, FingerprintIsGivenInHexAndInBytes) {
  std::string hex;
  for (const uint8_t byte : TypeParam::binary_fingerprint) {
    hex += "0123456789ABCDEF"[byte >> 4];
    hex += "0123456789ABCDEF"[byte & 15];
  }
  EXPECT_EQ(TypeParam::ascii_fingerprint, hex);
}

TEST(Fingerprints, AreTheDigestsOfTheRecordsDeclarations) {
  EXPECT_STREQ(yol::stFeatures::ascii_fingerprint, "7D4563655A5F82FED16B1F5CE7672F0F");
  EXPECT_STREQ(yol::stCANDevice::ascii_fingerprint, "884134C60DB346F2D19BEBE56F60426D");
}

}  // namespace

// Properties that every record has, checked for each of them with sample
// values in which every field differs from its default.
#include <gtest/gtest.h>
#include <thrift/transport/TTransportException.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "codec.h"
#include "recording_protocol.h"
#include "stream_edits.h"

namespace {

using codec::Protocol;
using yol::testing::Fields;
using yol::testing::RecordInfo;
using yol::testing::sample;

using stream_edits::FieldFilter;

constexpr Fields kBothFills[] = {Fields::all, Fields::no_optionals};

// A protocol that writes through to `out` but that `out` keeps owning.
std::shared_ptr<codec::TProtocol> borrowed(codec::TProtocol& out) {
  return std::shared_ptr<codec::TProtocol>(&out, [](codec::TProtocol*) {});
}

// What `record` writes with one field left out, or with only that field.
template <class R>
std::string filtered(const R& record, FieldFilter::Mode mode, int16_t id, Protocol p = Protocol::binary) {
  return codec::build(p, [&](codec::TProtocol& out) {
    FieldFilter filter(borrowed(out), mode, id);
    record.write(&filter);
  });
}

const char* name(Fields f) { return f == Fields::all ? "every field" : "no optional field"; }

template <class R>
class EveryRecord : public ::testing::Test {};
TYPED_TEST_SUITE(EveryRecord, codec::AllRecordTypes, codec::RecordName);

TYPED_TEST(EveryRecord, ValueShape) {
  using R = TypeParam;
  static_assert(std::is_polymorphic_v<R>);
  static_assert(std::has_virtual_destructor_v<R>);
  static_assert(std::is_nothrow_move_constructible_v<R>);
  static_assert(std::is_nothrow_move_assignable_v<R>);
  static_assert(std::is_copy_constructible_v<R> && std::is_copy_assignable_v<R>);
  static_assert(std::is_nothrow_destructible_v<R>);

  const R original = sample<R>(1);
  R copy(original);
  EXPECT_EQ(copy, original);
  EXPECT_TRUE(codec::same_flags(copy, original));
  R assigned;
  assigned = original;
  EXPECT_EQ(assigned, original);
  R moved(std::move(copy));
  EXPECT_EQ(moved, original);
  R move_assigned;
  move_assigned = std::move(moved);
  EXPECT_EQ(move_assigned, original);
  EXPECT_TRUE(codec::same_flags(move_assigned, original));
}

TYPED_TEST(EveryRecord, EqualitySeesEveryFilledDifference) {
  using R = TypeParam;
  for (const Fields fields : kBothFills) {
    SCOPED_TRACE(name(fields));
    EXPECT_EQ(sample<R>(1, fields), sample<R>(1, fields));
    EXPECT_FALSE(sample<R>(1, fields) != sample<R>(1, fields));
    // Samples of different seeds differ in every number and string, and
    // in enumerations that have more than one member besides 0.
    if (codec::encode(sample<R>(1, fields)) != codec::encode(sample<R>(2, fields))) {
      EXPECT_NE(sample<R>(1, fields), sample<R>(2, fields));
      EXPECT_FALSE(sample<R>(1, fields) == sample<R>(2, fields));
    }
  }
  EXPECT_NE(sample<R>(1), R());
  if (RecordInfo<R>::optional_count < RecordInfo<R>::field_ids.size()) {
    EXPECT_NE(sample<R>(1, Fields::no_optionals), R());
  }
  if (RecordInfo<R>::optional_count > 0) {
    EXPECT_NE(sample<R>(1, Fields::no_optionals), sample<R>(1));
  }
}

TYPED_TEST(EveryRecord, EqualitySeesEachFieldOnItsOwn) {
  using R = TypeParam;
  // Input that lacks required fields still reads everything it holds.
  auto read_into = [](R& record, const std::string& bytes) {
    try {
      codec::decode_into(record, bytes);
    } catch (const codec::TProtocolException& e) {
      ASSERT_EQ(e.getType(), codec::TProtocolException::INVALID_DATA);
    }
  };
  const R one = sample<R>(1);
  for (const int16_t id : RecordInfo<R>::field_ids) {
    SCOPED_TRACE("field " + std::to_string(id));
    // The field takes another sample's value; nothing else changes.
    R changed = one;
    read_into(changed, filtered(sample<R>(2), FieldFilter::keep_only, id));
    if (codec::encode(changed) != codec::encode(one)) {
      EXPECT_NE(changed, one);
      EXPECT_FALSE(changed == one);
    }
    // The field is missing (an optional one unset); nothing else changes.
    R missing;
    read_into(missing, filtered(one, FieldFilter::drop, id));
    EXPECT_NE(missing, one);
    EXPECT_NE(one, missing);
  }
}

TYPED_TEST(EveryRecord, SwapExchangesValuesAndFlags) {
  using R = TypeParam;
  R a = sample<R>(1);
  R b = sample<R>(2, Fields::no_optionals);
  const R a0 = a;
  const R b0 = b;
  yol::swap(a, b);
  EXPECT_EQ(a, b0);
  EXPECT_TRUE(codec::same_flags(a, b0));
  EXPECT_EQ(b, a0);
  EXPECT_TRUE(codec::same_flags(b, a0));
}

TYPED_TEST(EveryRecord, RoundTripsThroughEveryProtocol) {
  using R = TypeParam;
  for (const Protocol p : codec::kAllProtocols) {
    for (const Fields fields : kBothFills) {
      SCOPED_TRACE(std::string(codec::name(p)) + ", " + name(fields));
      const R original = sample<R>(3, fields);

      auto buffer = std::make_shared<codec::TMemoryBuffer>();
      auto out = codec::make_protocol(p, buffer);
      const uint32_t written = original.write(out.get());
      const std::string bytes = buffer->getBufferAsString();
      EXPECT_EQ(written, bytes.size());

      R decoded;
      const uint32_t read = codec::decode_into(decoded, bytes, p);
      EXPECT_EQ(read, written);
      EXPECT_EQ(decoded, original);
      EXPECT_TRUE(codec::same_flags(decoded, original));
      EXPECT_EQ(codec::encode(decoded, p), bytes);
    }
  }
}

TYPED_TEST(EveryRecord, UnsetOptionalsStayUnsetThroughTheWire) {
  using R = TypeParam;
  // Fewer fields travel when the optional ones are unset, and none of
  // their flags come back raised.
  const R minimal = sample<R>(4, Fields::no_optionals);
  const R decoded = codec::decode<R>(codec::encode(minimal));
  EXPECT_TRUE(codec::same_flags(decoded, minimal));
  if (RecordInfo<R>::optional_count > 0) {
    EXPECT_LT(codec::encode(minimal).size(), codec::encode(sample<R>(4)).size());
  }
}

TYPED_TEST(EveryRecord, SkipsUnknownAndWronglyTypedFieldsAtEveryLevel) {
  using R = TypeParam;
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    const R original = sample<R>(5);
    const std::string bytes = codec::build(p, [&](codec::TProtocol& out) {
      stream_edits::AddStrayFields edited(borrowed(out));
      original.write(&edited);
    });
    ASSERT_GT(bytes.size(), codec::encode(original, p).size());

    R decoded;
    const uint32_t read = codec::decode_into(decoded, bytes, p);
    EXPECT_EQ(read, bytes.size());
    EXPECT_EQ(decoded, original);
    EXPECT_TRUE(codec::same_flags(decoded, original));
  }
}

TYPED_TEST(EveryRecord, MissingRequiredFieldFailsAndKeepsWhatWasRead) {
  using R = TypeParam;
  const R original = sample<R>(6);
  auto without = [](int16_t id, const R& record) { return filtered(record, FieldFilter::drop, id); };
  for (const int16_t id : RecordInfo<R>::required_ids) {
    SCOPED_TRACE("without field " + std::to_string(id));
    const std::string input = without(id, original);
    ASSERT_LT(input.size(), codec::encode(original).size());
    R partial;
    EXPECT_EQ(codec::protocol_error([&] { codec::decode_into(partial, input); }),
              codec::TProtocolException::INVALID_DATA);
    // Every other field arrived and stayed: writing what was read, again
    // without that field, gives the input back.
    EXPECT_EQ(without(id, partial), input);
  }
  if (RecordInfo<R>::required_ids.empty()) {
    // Nothing is required: even an empty record decodes.
    const std::string empty = codec::build(Protocol::binary, [](codec::TProtocol& out) {
      out.writeStructBegin("Empty");
      out.writeFieldStop();
      out.writeStructEnd();
    });
    R decoded = sample<R>(7);
    codec::decode_into(decoded, empty);
    EXPECT_EQ(decoded, sample<R>(7));
  }
}

TYPED_TEST(EveryRecord, ReadingIntoAUsedRecordKeepsWhatDoesNotArrive) {
  using R = TypeParam;
  R target = sample<R>(8);
  codec::decode_into(target, codec::encode(sample<R>(9, Fields::no_optionals)));
  // Optional fields keep their values and flags; the rest is overwritten
  // (nested records in place, lists replaced).
  R expected = sample<R>(8);
  yol::testing::fill(expected, 9, Fields::no_optionals);
  EXPECT_EQ(target, expected);
  EXPECT_TRUE(codec::same_flags(target, expected));
}

TYPED_TEST(EveryRecord, DepthLimitStopsAtTheCrossingLevelAndRestoresTheDepth) {
  using R = TypeParam;
  const R record = sample<R>(10);
  const std::string expected = codec::encode(record);
  // Raise the limit until the sample fits; each failure on the way must
  // have written nothing deeper than the limit and left the depth at 0.
  for (uint32_t limit = 0;; ++limit) {
    SCOPED_TRACE("limit " + std::to_string(limit));
    ASSERT_LT(limit, 10u);
    yol::testing::RecordedBuffer out;
    out.protocol->setRecurisionLimit(limit);
    out.protocol->log_depth(true);
    try {
      record.write(out.protocol.get());
    } catch (const codec::TProtocolException& e) {
      EXPECT_EQ(e.getType(), codec::TProtocolException::DEPTH_LIMIT);
      EXPECT_EQ(yol::testing::output_depth(*out.protocol), 0);
      const std::string too_deep = "[depth " + std::to_string(limit + 1) + "]";
      for (const std::string& line : out.protocol->calls()) {
        ASSERT_EQ(line.find(too_deep), std::string::npos) << line;
      }
      continue;
    }
    EXPECT_GE(limit, 1u);
    EXPECT_EQ(out.bytes(), expected);
    EXPECT_EQ(yol::testing::output_depth(*out.protocol), 0);
    break;
  }
}

TYPED_TEST(EveryRecord, TransportFailureAtAnyByteRestoresTheDepth) {
  using R = TypeParam;
  const R record = sample<R>(11);
  const std::string full = codec::encode(record);
  const std::string flat = codec::encode(yol::stFeatures());
  for (uint64_t failing_at = 0; failing_at < full.size(); ++failing_at) {
    SCOPED_TRACE("failing after " + std::to_string(failing_at) + " bytes");
    auto memory = std::make_shared<codec::TMemoryBuffer>();
    auto transport = std::make_shared<yol::testing::RecordingTransport>(memory);
    apache::thrift::protocol::TBinaryProtocol out(transport);
    transport->fail_writes_after(failing_at);
    EXPECT_THROW(record.write(&out), apache::thrift::transport::TTransportException);
    ASSERT_EQ(yol::testing::output_depth(out), 0);

    // The same protocol writes the next record in full.
    transport->never_fail();
    memory->resetBuffer();
    yol::stFeatures().write(&out);
    ASSERT_EQ(memory->getBufferAsString(), flat);
  }
}

TYPED_TEST(EveryRecord, PrintsItsNameAndEveryField) {
  using R = TypeParam;
  std::ostringstream full;
  full << sample<R>(1);
  const std::string text = full.str();
  const std::string opening = std::string(RecordInfo<R>::name) + "(";
  EXPECT_EQ(text.rfind(opening, 0), 0u) << text;
  EXPECT_EQ(text.back(), ')');
  EXPECT_EQ(text.find("<null>"), std::string::npos) << text;
  EXPECT_EQ(text.find('\n'), std::string::npos);

  std::ostringstream unset;
  unset << R();
  const std::string blank = unset.str();
  EXPECT_EQ(blank.rfind(opening, 0), 0u) << blank;
  // Fields are separated by ", " at the outermost level: count them.
  size_t fields = 1;
  int depth = 0;
  for (size_t i = opening.size(); i + 1 < blank.size(); ++i) {
    if (blank[i] == '(' || blank[i] == '[') ++depth;
    if (blank[i] == ')' || blank[i] == ']') --depth;
    if (depth == 0 && blank.compare(i, 2, ", ") == 0) ++fields;
  }
  EXPECT_EQ(fields, RecordInfo<R>::field_ids.size()) << blank;
}

TEST(Samples, CoverEveryRecord) {
  size_t count = 0;
  yol::testing::for_each_record([&](auto) { ++count; });
  EXPECT_EQ(count, 51u);
  EXPECT_EQ(yol::testing::AllRecords::size, 51u);
}

}  // namespace

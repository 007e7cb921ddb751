// Writing raises the protocol's output recursion depth once per record
// level: nesting past the limit fails before the record that crosses it,
// and every way out of a write, failures included, leaves the depth as it
// was, so the same protocol keeps working.
#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thriftyol/testing/yol_samples.h>
#include <thriftyol/types/yol_types.h>

#include <string>

#include "codec.h"
#include "recording_protocol.h"

namespace {

using codec::TProtocolException;
using yol::testing::output_depth;
using yol::testing::RecordedBuffer;
using yol::testing::sample;

template <class R>
void expect_limit_reached(const R& record, uint32_t limit, const std::string& last_line) {
  RecordedBuffer out;
  out.protocol->setRecurisionLimit(limit);
  EXPECT_EQ(codec::protocol_error([&] { record.write(out.protocol.get()); }), TProtocolException::DEPTH_LIMIT);
  ASSERT_FALSE(out.protocol->calls().empty());
  EXPECT_EQ(out.protocol->calls().back(), last_line) << "nothing of the record that crossed the limit";
  EXPECT_EQ(output_depth(*out.protocol), 0);
  EXPECT_EQ(out.protocol->getRecursionLimit(), limit);

  // The same protocol, with room enough, writes the record as usual.
  out.protocol->setRecurisionLimit(64);
  out.buffer->resetBuffer();
  const uint32_t written = record.write(out.protocol.get());
  EXPECT_EQ(written, out.bytes().size());
  EXPECT_EQ(out.bytes(), codec::encode(record));
  EXPECT_EQ(output_depth(*out.protocol), 0);
}

TEST(WriteDepth, NestingPastTheLimitFailsBeforeTheCrossingRecord) {
  yol::ServiceDiscoveryResult result;
  result.__set_error(yol::ServiceDiscoveryError());
  expect_limit_reached(result, 1, "writeFieldBegin error T_STRUCT 1");

  yol::stFileInfo file;
  file.id = "f";
  file.__set_association(yol::stAssociation());
  expect_limit_reached(file, 1, "writeFieldBegin association T_STRUCT 8");

  // stJobCreateExt > stGrowerComponentInfo > stJobUserInfo is three deep.
  yol::stJobCreateExt job;
  job.__set_stGrower(sample<yol::stGrowerComponentInfo>(1));
  expect_limit_reached(job, 2, "writeFieldBegin stUserInfo T_STRUCT 4");

  // Inside a list: stCANDevice > stCANSignal.
  yol::stCANDevice device;
  device.__set_stCANSignals({yol::stCANSignal()});
  expect_limit_reached(device, 1, "writeListBegin T_STRUCT 1");
}

TEST(WriteDepth, ZeroLimitRefusesEvenAFlatRecordAndWritesNothing) {
  RecordedBuffer out;
  out.protocol->setRecurisionLimit(0);
  EXPECT_EQ(codec::protocol_error([&] { sample<yol::stFeatures>(1).write(out.protocol.get()); }),
            TProtocolException::DEPTH_LIMIT);
  EXPECT_TRUE(out.protocol->calls().empty());
  EXPECT_TRUE(out.bytes().empty());
  EXPECT_EQ(output_depth(*out.protocol), 0);
}

TEST(WriteDepth, LimitEqualToTheNestingIsEnough) {
  // The deepest sample: stJobCreateExt > stFieldComponentInfo > stFlag >
  // stJobFlagCoordinate, four levels.
  const auto job = sample<yol::stJobCreateExt>(1);
  auto buffer = std::make_shared<codec::TMemoryBuffer>();
  apache::thrift::protocol::TBinaryProtocol out(buffer);
  out.setRecurisionLimit(4);
  EXPECT_NO_THROW(job.write(&out));
  EXPECT_EQ(buffer->getBufferAsString(), codec::encode(job));
  EXPECT_EQ(output_depth(out), 0);

  out.setRecurisionLimit(3);
  buffer->resetBuffer();
  EXPECT_EQ(codec::protocol_error([&] { job.write(&out); }), TProtocolException::DEPTH_LIMIT);
  EXPECT_EQ(output_depth(out), 0);
}

TEST(WriteDepth, DepthAlreadyRaisedByTheCallerCounts) {
  // A record written inside something the caller opened itself.
  auto buffer = std::make_shared<codec::TMemoryBuffer>();
  apache::thrift::protocol::TBinaryProtocol out(buffer);
  out.setRecurisionLimit(2);
  out.incrementOutputRecursionDepth();
  yol::stFileInfo file;
  file.__set_association(yol::stAssociation());
  EXPECT_EQ(codec::protocol_error([&] { file.write(&out); }), TProtocolException::DEPTH_LIMIT);
  EXPECT_EQ(output_depth(out), 1);
  EXPECT_NO_THROW(sample<yol::stFeatures>(1).write(&out));
  EXPECT_EQ(output_depth(out), 1);
}

}  // namespace

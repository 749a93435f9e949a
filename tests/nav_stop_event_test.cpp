// The navigation stop event: the Event message's bytes (with the service's
// own map layout) and the Packet around them.
#include "navreq/nav_stop_event.h"

#include <gtest/gtest.h>
#include <pb_common.h>
#include <pb_encode.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "../src/proto/normal_traj_server.pb.h"
#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"
#include "support/capture.h"
#include "support/wire.h"

namespace {

using navreq::services::ScopedClock;
using navreq::testing::LogCapture;
using wire::Hex;
using wire::Unhex;
using zv_navi_core::drive_route_req_serializer::GetNavStopActionReqData;
using zv_navi_core::drive_route_req_serializer::vbr_encode_map;
using zv_navi_core::drive_route_req_serializer::vbr_encode_string;

// 1,700,000,000,123 ms: 1,700,000,000 s = 0x6553F100, varint 80 e2 cf aa 06.
constexpr std::int64_t kClockMs = 1700000000123;
const char kTimestampField[] = "2080e2cfaa06";

// Event prefix for device "dev1": flag, then the map field (tag 0x12) with a
// bare count 1, the key "ulmid" and the value "dev1" as repeated tag-0x12 strings.
const char kFlagAndDev1Map[] =
    "0801"
    "1201"
    "1205756c6d6964"
    "120464657631";

// The Packet around a stop event: kind 2, credentials, payload list, encoding 0.
std::string StopPacket(const std::string& client_key, const std::string& device,
                       const std::string& payload_hex) {
  return wire::Int(0, 2) + wire::Struct(1, wire::Str(0, client_key) + wire::Str(1, device)) +
         wire::UBytes(2, Unhex(payload_hex)) + wire::Int(3, 0);
}

TEST(NavStopEvent, WholePacketForStopAndDev1) {
  ScopedClock clock(kClockMs);
  std::vector<char> out;
  ASSERT_EQ(GetNavStopActionReqData("stop", "dev1", "key1", out), 0);
  // Payload: 08 01 | 12 01 12 05 "ulmid" 12 04 "dev1" | 1a 04 "stop" | 20 varint;
  // duration 0 is left out. Every payload byte is one list element: 0x00 +
  // byte up to 0x7f, 0x01 0x00 + byte from 0x80.
  // clang-format off
  EXPECT_EQ(Hex(out),
            "0002"
            "1a" "06046b657931" "160464657631" "0b"
            "29" "001d"
            "0008" "0001"
            "0012" "0001" "0012" "0005" "0075" "006c" "006d" "0069" "0064" "0012" "0004" "0064" "0065"
            "0076" "0031"
            "001a" "0004" "0073" "0074" "006f" "0070"
            "0020" "010080" "0100e2" "0100cf" "0100aa" "0006"
            "3c");
  // clang-format on
}

TEST(NavStopEvent, PayloadBytes) {
  ScopedClock clock(kClockMs);
  std::vector<char> out;
  ASSERT_EQ(GetNavStopActionReqData("stop", "dev1", "key1", out), 0);
  EXPECT_EQ(Hex(out), StopPacket("key1", "dev1",
                                 "0801"
                                 "1201"
                                 "1205756c6d6964"
                                 "120464657631"
                                 "1a0473746f70"
                                 "2080e2cfaa06"));
}

TEST(NavStopEvent, EmptyTextStillWritesTheStringField) {
  ScopedClock clock(kClockMs);
  std::vector<char> out;
  ASSERT_EQ(GetNavStopActionReqData("", "dev1", "key1", out), 0);
  EXPECT_EQ(Hex(out), StopPacket("key1", "dev1", std::string(kFlagAndDev1Map) + "1a00" + kTimestampField));
}

TEST(NavStopEvent, EmptyDeviceWritesEmptyValueAndEmptyImei) {
  ScopedClock clock(kClockMs);
  std::vector<char> out;
  ASSERT_EQ(GetNavStopActionReqData("stop", "", "key1", out), 0);
  // The map value and the credentials' device are both the empty string (12 00, 16 00).
  EXPECT_EQ(Hex(out), StopPacket("key1", "",
                                 "0801"
                                 "1201"
                                 "1205756c6d6964"
                                 "1200"
                                 "1a0473746f70"
                                 "2080e2cfaa06"));
}

TEST(NavStopEvent, EmbeddedNulCutsTheTextButNotTheDevice) {
  ScopedClock clock(kClockMs);
  std::vector<char> out;
  ASSERT_EQ(GetNavStopActionReqData(std::string("st\0op", 5), std::string("d\0v", 3), "k", out), 0);
  // Text up to its NUL ("st"); the device keeps all three bytes in the map
  // and in the credentials.
  EXPECT_EQ(Hex(out), StopPacket("k", std::string("d\0v", 3),
                                 "0801"
                                 "1201"
                                 "1205756c6d6964"
                                 "1203640076"
                                 "1a027374"
                                 "2080e2cfaa06"));
}

TEST(NavStopEvent, PacketKindTwoAndPlainEncodingWithEmptyCredentials) {
  ScopedClock clock(kClockMs);
  std::vector<char> out;
  ASSERT_EQ(GetNavStopActionReqData("", "", "", out), 0);
  EXPECT_EQ(Hex(out),
            "0002"
            "1a"
            "0600"
            "1600"
            "0b" +
                wire::UBytes(2, Unhex("0801"
                                      "1201"
                                      "1205756c6d6964"
                                      "1200"
                                      "1a00"
                                      "2080e2cfaa06")) +
                "3c");
}

TEST(NavStopEvent, ReplacesPreviousOutput) {
  ScopedClock clock(kClockMs);
  std::vector<char> out = {'o', 'l', 'd'};
  ASSERT_EQ(GetNavStopActionReqData("stop", "dev1", "key1", out), 0);
  EXPECT_EQ(Hex(out),
            StopPacket("key1", "dev1", std::string(kFlagAndDev1Map) + "1a0473746f70" + kTimestampField));
}

// Payload sizes with device "dev1" and the pinned clock: 17 bytes of flag and
// map, 1 + 2 + n for a text of n bytes (128 <= n < 16384), 6 for the time.
TEST(NavStopEvent, MessageOfExactly4096BytesFits) {
  ScopedClock clock(kClockMs);
  LogCapture log;
  std::vector<char> out;
  const std::string text(4070, 'a');
  ASSERT_EQ(GetNavStopActionReqData(text, "dev1", "key1", out), 0);
  // 4070 = 0xFE6: varint e6 1f.
  EXPECT_EQ(Hex(out), StopPacket("key1", "dev1",
                                 std::string(kFlagAndDev1Map) + "1ae61f" + Hex(text) + kTimestampField));
  EXPECT_TRUE(log.lines().empty());
}

TEST(NavStopEvent, MessageOver4096BytesFailsWithLogAndLeavesOutput) {
  ScopedClock clock(kClockMs);
  LogCapture log;
  navreq::testing::StdoutCapture stdout_capture;
  std::vector<char> out = {'x', 'y', 'z'};
  EXPECT_EQ(GetNavStopActionReqData(std::string(4071, 'a'), "dev1", "key1", out), 1);
  EXPECT_EQ(Hex(out), "78797a");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"L3 E2 GetNavStopActionReqData_Failed_to_encode"});
  EXPECT_EQ(stdout_capture.text(), "");
}

TEST(NavStopEvent, DeviceTooLongForTheMessageFails) {
  ScopedClock clock(kClockMs);
  LogCapture log;
  std::vector<char> out = {'x'};
  EXPECT_EQ(GetNavStopActionReqData("stop", std::string(5000, 'd'), "key1", out), 1);
  EXPECT_EQ(Hex(out), "78");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"L3 E2 GetNavStopActionReqData_Failed_to_encode"});
}

TEST(NavStopEvent, PacketThatCannotBeWrittenGivesTwoAndEmptyOutput) {
  ScopedClock clock(kClockMs);
  LogCapture log;
  std::vector<char> out = {'x', 'y', 'z'};
  // The client key goes only into the Packet; one byte over the 100 MiB string limit.
  EXPECT_EQ(GetNavStopActionReqData("stop", "dev1", std::string(104857601, 'k'), out), 2);
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(log.lines().empty());
}

// Seconds are milliseconds / 1000 truncated toward zero; proto3 leaves a zero
// time off the wire.
std::string PayloadAt(std::int64_t ms) {
  ScopedClock clock(ms);
  std::vector<char> out;
  EXPECT_EQ(GetNavStopActionReqData("", "", "", out), 0);
  // Kind (2 bytes) and empty credentials (6 bytes) come first.
  const std::string prefix =
      "0002"
      "1a"
      "0600"
      "1600"
      "0b";
  const std::string hex = Hex(out);
  EXPECT_EQ(hex.substr(0, prefix.size()), prefix);
  return hex;
}

std::string ExpectedAt(const std::string& time_field) {
  return StopPacket("", "",
                    std::string("0801"
                                "1201"
                                "1205756c6d6964"
                                "1200"
                                "1a00") +
                        time_field);
}

TEST(NavStopEvent, ClockBelowOneSecondWritesNoTime) {
  EXPECT_EQ(PayloadAt(999), ExpectedAt(""));
  EXPECT_EQ(PayloadAt(0), ExpectedAt(""));
  EXPECT_EQ(PayloadAt(-999), ExpectedAt(""));
}

TEST(NavStopEvent, NegativeClockIsATenByteVarint) {
  // -1000 and -1500 ms are both -1 s: ten bytes of two's complement varint.
  EXPECT_EQ(PayloadAt(-1000), ExpectedAt("20ffffffffffffffffff01"));
  EXPECT_EQ(PayloadAt(-1500), ExpectedAt("20ffffffffffffffffff01"));
}

TEST(NavStopEvent, ExtremeClockValues) {
  // INT64_MAX ms -> 9223372036854775 s = 0x20C49BA5E353F7.
  EXPECT_EQ(PayloadAt(std::numeric_limits<std::int64_t>::max()), ExpectedAt("20f7a78dafba93b110"));
  // INT64_MIN ms -> -9223372036854775 s.
  EXPECT_EQ(PayloadAt(std::numeric_limits<std::int64_t>::min()), ExpectedAt("2089d8f2d0c5ecceefff01"));
  EXPECT_EQ(PayloadAt(1000), ExpectedAt("2001"));
}

// ---- the callbacks on their own ----

class EventFieldTest : public ::testing::Test {
 protected:
  // Iterator positioned on field `tag` of the Event.
  pb_field_iter_t FieldOf(pb_size_t tag) {
    pb_field_iter_t iter;
    EXPECT_TRUE(pb_field_iter_begin(&iter, kelo_nav_normal_traj_server_Event_fields, &event_));
    EXPECT_TRUE(pb_field_iter_find(&iter, tag));
    return iter;
  }
  std::string Written(const pb_ostream_t& stream) const { return Hex(buffer_, stream.bytes_written); }

  kelo_nav_normal_traj_server_Event event_ = kelo_nav_normal_traj_server_Event_init_zero;
  pb_byte_t buffer_[64] = {};
};

TEST_F(EventFieldTest, MapWritesCountThenKeyAndValueInKeyOrder) {
  std::map<std::string, std::string> entries{{"b", ""}, {"a", "1"}};
  void* arg = &entries;
  const pb_field_iter_t field = FieldOf(2);
  pb_ostream_t stream = pb_ostream_from_buffer(buffer_, sizeof buffer_);
  ASSERT_TRUE(vbr_encode_map(&stream, &field, &arg));
  EXPECT_EQ(Written(stream),
            "1202"
            "120161"
            "120131"
            "120162"
            "1200");
}

TEST_F(EventFieldTest, EmptyMapWritesTagAndZeroCount) {
  std::map<std::string, std::string> entries;
  void* arg = &entries;
  const pb_field_iter_t field = FieldOf(2);
  pb_ostream_t stream = pb_ostream_from_buffer(buffer_, sizeof buffer_);
  ASSERT_TRUE(vbr_encode_map(&stream, &field, &arg));
  EXPECT_EQ(Written(stream), "1200");
}

TEST_F(EventFieldTest, MapFailsWhenTheStreamIsFull) {
  std::map<std::string, std::string> entries{{"ulmid", "dev1"}};
  void* arg = &entries;
  const pb_field_iter_t field = FieldOf(2);
  // 10 bytes: room for 12 01 12 05 "ulmid" and one more byte, not the value.
  pb_ostream_t stream = pb_ostream_from_buffer(buffer_, 10);
  EXPECT_FALSE(vbr_encode_map(&stream, &field, &arg));
}

TEST_F(EventFieldTest, StringUsesTheFieldTagAndStopsAtNul) {
  char text[] = {'a', 'b', '\0', 'c', '\0'};
  void* arg = text;
  const pb_field_iter_t field = FieldOf(3);
  pb_ostream_t stream = pb_ostream_from_buffer(buffer_, sizeof buffer_);
  ASSERT_TRUE(vbr_encode_string(&stream, &field, &arg));
  EXPECT_EQ(Written(stream), "1a026162");
}

TEST_F(EventFieldTest, MissingArgumentsFail) {
  void* arg = nullptr;
  pb_ostream_t stream = pb_ostream_from_buffer(buffer_, sizeof buffer_);
  const pb_field_iter_t map_field = FieldOf(2);
  EXPECT_FALSE(vbr_encode_map(&stream, &map_field, &arg));
  const pb_field_iter_t string_field = FieldOf(3);
  EXPECT_FALSE(vbr_encode_string(&stream, &string_field, &arg));
  EXPECT_EQ(stream.bytes_written, 0u);
}

}  // namespace

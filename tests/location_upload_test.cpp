// The location upload: the delta-encoded report, the session identifier, the
// sequence number, the Packet around it and its failure paths.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/location_session.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/requests.h"
#include "support/capture.h"
#include "support/extra.h"
#include "support/fixes.h"
#include "support/gunzip.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::locationReportDMQ::LocationReportRequest;
using zv_navi_core::KSLocation;
using zv_navi_core::LocationUploadParam;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::SerializeKSE;
namespace drs = zv_navi_core::drive_route_req_serializer;

constexpr std::int64_t kNow = 1700000000123;   // pinned clock, ms
constexpr std::size_t kOverLimit = 104857601;  // one byte more than a string may hold

// ---- Process-wide session state: every test sets what it relies on and puts
// back what it found, so the order of tests does not matter.
struct LocationState {
  std::string session;
  std::int64_t loc_id;
  std::uint32_t sequence;
};

LocationState ReadState() {
  std::lock_guard<std::mutex> lock(drs::location_session_mutex());
  return {drs::g_session_id, drs::loc_sesstion_id, drs::report_sequence_num};
}

void WriteState(const LocationState& s) {
  std::lock_guard<std::mutex> lock(drs::location_session_mutex());
  drs::g_session_id = s.session;
  drs::loc_sesstion_id = s.loc_id;
  drs::report_sequence_num = s.sequence;
}

class LocationTest : public ::testing::Test {
 protected:
  void SetUp() override { saved_ = ReadState(); }
  void TearDown() override { WriteState(saved_); }

 private:
  LocationState saved_;
};

using navreq::testing::LonLatFix;

ReqExtraParam Extra() {
  ReqExtraParam e = navreq::testing::LetteredExtra("IMEI1", 42);
  e.alt_device_id2 = "ALT2";
  return e;
}

// SessionInfo of Extra(): tag 4 falls back to the imei, tag 12 has its own value.
std::string SessionHex(std::int64_t loc_id, std::int64_t time_s) {
  return Int(1, loc_id) + Str(2, "IMEI1") + Str(3, "") + Str(4, "IMEI1") + Str(5, "E") + Str(6, "A") +
         Str(7, "G") + Str(8, "F") + Str(9, "H") + Int(10, time_s) + Str(11, "C") + Str(12, "ALT2");
}

std::string PointHex(int d_lon, int d_lat, int d_sd, int heading, int speed, int scalar_a, std::int64_t d_ms,
                     int int_a, int d_heading, int d_speed, int int_b) {
  return Struct(0, Int(0, 1) + Int(1, d_lon) + Int(2, d_lat) + Int(3, d_sd) + Int(4, heading) +
                       Int(5, speed) + Int(6, scalar_a) + Int(7, 0) + Int(8, 0) + Int(9, d_ms) +
                       Int(10, d_ms) + Int(11, int_a) + Int(12, 0) + Int(13, d_heading) + Int(14, d_speed) +
                       Int(15, int_b) + Int(16, 0));
}

std::string ExtraDataHex(const std::string& session, const std::string& t1, const std::string& t2,
                         const std::vector<std::string>& list, const std::string& linked) {
  std::string out =
      Str(0, session) + Str(1, t1) + Str(2, t2) + List(3, static_cast<std::int64_t>(list.size()));
  for (const auto& s : list) out += Str(0, s);
  return out + Str(4, "") + Str(5, linked);
}

std::string PacketHex(const std::string& payload_raw, int encoding) {
  return Int(0, 1) + Struct(1, Str(0, "KEY") + Str(1, "IMEI1")) + UBytes(2, payload_raw) + Int(3, encoding);
}

// The payload list of a serialized Packet of Extra(), back as raw bytes.
std::string PayloadOf(const std::vector<char>& packet) {
  const std::string prefix = Unhex(Int(0, 1) + Struct(1, Str(0, "KEY") + Str(1, "IMEI1")));
  std::string raw(packet.begin(), packet.end());
  if (raw.compare(0, prefix.size(), prefix) != 0) return "bad prefix";
  std::size_t i = prefix.size();
  auto byte = [&](std::size_t k) { return static_cast<unsigned char>(raw.at(k)); };
  if (byte(i++) != 0x29) return "bad list head";
  std::uint32_t count = 0;
  const unsigned char head = byte(i++);
  const int width = head == 0x0c ? 0 : head == 0x00 ? 1 : head == 0x01 ? 2 : 4;
  for (int k = 0; k < width; ++k) count = (count << 8) | byte(i++);
  std::string out;
  for (std::uint32_t n = 0; n < count; ++n) {
    const unsigned char h = byte(i++);
    if (h == 0x0c) {
      out.push_back('\0');
    } else if (h == 0x00) {
      out.push_back(static_cast<char>(byte(i++)));
    } else {
      i += 1;  // high byte of a 16-bit element is always 0 for a byte
      out.push_back(static_cast<char>(byte(i++)));
    }
  }
  return out;
}

// F0 and F3 of the delta test are worked out field by field:
//   F0 header: 116.5 deg -> 116500000, 39.75 deg -> 39750000, scalarD 1.5f*10 = 15,
//              1700000000 s -> 1700000000000 ms; references speed 10.0f*100 = 1000, heading 90.
//   F1 (same second) and F2 (one second earlier) are dropped and do not move the references.
//   F3: 116.54 deg -> 116540000, +40000 kept to 16 bits = 40000 - 65536 = -25536; scalarD 2.0f -> 20,
//       20 - 15 = 5; heading 95.7f -> 95; speed 0.29f*100.0f rounds to 29.0f in single precision
//       (28.99999916 in double would give 28); scalarA 0.7f*10.0f = 7.0f (6.9999998 in double);
//       1 s later = 1000 ms; heading 95 - 90 = 5; speed 29 - 1000 = -971.
//   F4: back to 116.5 deg: -40000 -> 25536; 39.7501 deg -> 39750100, +100; scalarD -0.5f -> -5,
//       -5 - 20 = -25; heading -10.5f -> -10, -10 - 95 = -105; speed 0 - 29 = -29; 2 s = 2000 ms.
std::vector<KSLocation> DeltaFixes() {
  KSLocation f0 = LonLatFix(116.5, 39.75, 1700000000);
  f0.speed = 10.0f;
  f0.scalarA = 2.5f;
  f0.heading = 90.0f;
  f0.scalarD = 1.5f;
  f0.intValueA = 7;
  f0.intValueB = 8;
  KSLocation f1 = LonLatFix(117.0, 40.0, 1700000000);
  KSLocation f2 = LonLatFix(118.0, 41.0, 1699999999);
  KSLocation f3 = LonLatFix(116.54, 39.75, 1700000001);
  f3.speed = 0.29f;
  f3.scalarA = 0.7f;
  f3.heading = 95.7f;
  f3.scalarD = 2.0f;
  f3.intValueA = 9;
  f3.intValueB = 10;
  KSLocation f4 = LonLatFix(116.5, 39.7501, 1700000003);
  f4.heading = -10.5f;
  f4.scalarD = -0.5f;
  f4.intValueA = -1;
  return {f0, f1, f2, f3, f4};
}

std::string DeltaPointsHex() {
  return List(2, 2) + PointHex(-25536, 0, 5, 95, 29, 7, 1000, 9, 5, -971, 10) +
         PointHex(25536, 100, -25, -10, 0, 0, 2000, -1, -105, -29, 0);
}

std::string DeltaHeaderHex(const std::string& extra_data_hex, std::int64_t loc_id, std::int64_t sequence) {
  return Int(0, 116500000) + Int(1, 39750000) + Int(2, 15) + Int(3, 1700000000000) + Int(4, 1700000000000) +
         Int(5, 1) + Bytes(6, Unhex(extra_data_hex)) + Int(7, loc_id) + Int(8, kNow) + Int(9, sequence) +
         Int(10, 1);
}

LocationUploadParam DeltaParam() {
  LocationUploadParam p;
  p.session_id = "sess-1";
  p.extra_text1 = "x1";
  p.extra_list = {"a", "bc"};
  p.locations = DeltaFixes();
  return p;
}

std::string DeltaDmqHex() {
  const std::string extra = ExtraDataHex("sess-1", "x1", "", {"a", "bc"}, "sess-1");
  return Str(0, "IMEI1") +
         Struct(1, Struct(1, DeltaHeaderHex(extra, 1700000000000042, 7)) + DeltaPointsHex()) +
         Struct(100, SessionHex(1700000000000042, 1700000000));
}

TEST_F(LocationTest, PlainUploadWritesTheWholePacket) {
  WriteState({"sess-1", 1700000000000042, 7});
  navreq::services::ScopedClock clock(kNow);
  std::vector<char> out{'o', 'l', 'd'};
  ASSERT_EQ(drs::GetLocationUploadReqData(DeltaParam(), Extra(), out), 0);
  EXPECT_EQ(Hex(out), PacketHex(Unhex(DeltaDmqHex()), 0));
  const LocationState after = ReadState();
  EXPECT_EQ(after.session, "sess-1");
  EXPECT_EQ(after.loc_id, 1700000000000042);
  EXPECT_EQ(after.sequence, 8u);
}

TEST_F(LocationTest, GzipUploadCompressesTheSameBodyAndFlagsIt) {
  WriteState({"sess-1", 1700000000000042, 7});
  navreq::services::ScopedClock clock(kNow);
  std::string compressed_input;
  navreq::services::ScopedGzip gzip([&](std::vector<char>& in, std::vector<char>& out) {
    compressed_input.assign(in.begin(), in.end());
    out = {'\x1f', '\x8b', '\x08', '\0', 'z'};
    return true;
  });
  LocationUploadParam p = DeltaParam();
  p.gzip = true;
  std::vector<char> out;
  ASSERT_EQ(drs::GetLocationUploadReqData(p, Extra(), out), 0);
  EXPECT_EQ(Hex(compressed_input), DeltaDmqHex());
  // 0x1f -> 00 1f, 0x8b -> 01 00 8b, 0x08 -> 00 08, 0 -> 0c, 'z' -> 00 7a; tag 3 = 3.
  // clang-format off
  EXPECT_EQ(Hex(out), "0001" "1a" "06034b4559" "1605494d454931" "0b"
                      "290005" "001f" "01008b" "0008" "0c" "007a" "3003");
  // clang-format on
}

TEST_F(LocationTest, DefaultCompressorGivesAGzipStreamOfTheBody) {
  WriteState({"sess-1", 1700000000000042, 7});
  navreq::services::ScopedClock clock(kNow);
  LocationUploadParam p = DeltaParam();
  p.gzip = true;
  std::vector<char> out;
  ASSERT_EQ(drs::GetLocationUploadReqData(p, Extra(), out), 0);
  EXPECT_EQ(Hex(out).substr(Hex(out).size() - 4), "3003");
  const std::string gz = PayloadOf(out);
  EXPECT_EQ(Hex(gz.substr(0, 2)), "1f8b");
  EXPECT_EQ(Hex(navreq::testing::Gunzip(gz)), DeltaDmqHex());
}

TEST_F(LocationTest, EmptyFixListStillSendsExtraDataAndSession) {
  // A changed session makes a new identifier even without fixes; the header
  // stays at its defaults apart from the extra data; no sequence number is used.
  WriteState({"old", 5, 30});
  navreq::services::ScopedClock clock(kNow);
  navreq::ScopedSessionDigits digits([] { return 7; });
  LocationUploadParam p;
  p.session_id = "new";
  p.linked_session_id = "link";
  std::vector<char> out;
  ASSERT_EQ(drs::GetLocationUploadReqData(p, Extra(), out), 0);
  const LocationState after = ReadState();
  EXPECT_EQ(after.session, "new");
  EXPECT_EQ(after.loc_id, 1700000000123007);
  EXPECT_EQ(after.sequence, 30u);
  const std::string header = Int(0, 0) + Int(1, 0) + Int(2, 0) + Int(3, 0) + Int(4, 0) + Int(5, 0) +
                             Bytes(6, Unhex(ExtraDataHex("new", "", "", {}, "link"))) + Int(7, 0) +
                             Int(8, 0) + Int(9, 0) + Int(10, 0);
  const std::string dmq = Str(0, "IMEI1") + Struct(1, Struct(1, header) + List(2, 0)) +
                          Struct(100, SessionHex(after.loc_id, 1700000000));
  EXPECT_EQ(Hex(out), PacketHex(Unhex(dmq), 0));
  // Spelled out once by hand: tag 5 and tag 10 of the empty header are zero heads.
  // 19 bytes of extra data: 5 ("new") + 2 + 2 + 2 (empty list) + 2 + 6 ("link").
  // clang-format off
  const std::string empty_header_start = "1a" "1a" "0c" "1c" "2c" "3c" "4c" "5c" "6d00" "0013";
  EXPECT_NE(Hex(PayloadOf(out)).find(empty_header_start), std::string::npos);
  // clang-format on
}

TEST_F(LocationTest, OneFixGoesToTheHeaderOnly) {
  WriteState({"s", 99, 0});
  LocationReportRequest report;
  drs::GetLocationReportRequest(report, {LonLatFix(-116.5, 39.9999999, 100)}, 5000, 99);
  std::vector<char> bytes;
  ASSERT_TRUE(SerializeKSE(report, bytes));
  // -116.5 -> -116500000; 39.9999999 -> 39999999 (truncated, not rounded); 100 s -> 100000 ms.
  EXPECT_EQ(Hex(bytes), Struct(1, Int(0, -116500000) + Int(1, 39999999) + Int(2, 0) + Int(3, 100000) +
                                      Int(4, 100000) + Int(5, 1) + Bytes(6, std::string()) + Int(7, 99) +
                                      Int(8, 5000) + Int(9, 0) + Int(10, 1)) +
                            List(2, 0));
  EXPECT_EQ(ReadState().sequence, 1u);
}

TEST_F(LocationTest, RepeatedAndEarlierTimesAreDropped) {
  // 100 s, 100 s, 99 s, 101 s: the header holds the first, the next two are
  // dropped, 101 s is one point 1000 ms after the header's fix.
  WriteState({"s", 1, 0});
  LocationReportRequest report;
  drs::GetLocationReportRequest(
      report,
      {LonLatFix(0, 0, 100), LonLatFix(0.001, 0, 100), LonLatFix(0.002, 0, 99), LonLatFix(0.0005, 0, 101)}, 0,
      1);
  ASSERT_EQ(report.points.size(), 1u);
  std::vector<char> bytes;
  ASSERT_TRUE(SerializeKSE(report.points[0], bytes));
  // 0.0005 deg -> 500 micro-degrees from the header's 0.
  // clang-format off
  EXPECT_EQ(Hex(bytes), Int(0, 1) + Int(1, 500) + "2c" "3c" "4c" "5c" "6c" "7c" "8c" + Int(9, 1000) +
                            Int(10, 1000) + "bc" "cc" "dc" "ec" "fc0f" "fc10");
  // clang-format on
}

TEST_F(LocationTest, LongitudeStepWrapsToSixteenBits) {
  WriteState({"s", 1, 0});
  LocationReportRequest report;
  drs::GetLocationReportRequest(report, {LonLatFix(0, 0, 10), LonLatFix(0.04, 0, 11)}, 0, 1);
  ASSERT_EQ(report.points.size(), 1u);
  EXPECT_EQ(report.points[0].d_longitude, -25536);  // 40000 - 65536
  std::vector<char> bytes;
  ASSERT_TRUE(SerializeKSE(report.points[0], bytes));
  // clang-format off
  EXPECT_EQ(Hex(bytes).substr(0, 10), "0001" "119c40");
  // clang-format on
}

TEST_F(LocationTest, TimeDifferenceIsThirtyTwoBitMilliseconds) {
  // 2147484 s = 2147484000 ms, beyond int32: 2147484000 - 2^32 = -2147483296.
  WriteState({"s", 1, 0});
  LocationReportRequest report;
  drs::GetLocationReportRequest(report, {LonLatFix(0, 0, 0), LonLatFix(0, 0, 2147484)}, 0, 1);
  ASSERT_EQ(report.points.size(), 1u);
  EXPECT_EQ(report.points[0].d_time_ms, -2147483296);
  EXPECT_EQ(report.points[0].d_time_ms_again, -2147483296);
  // Absurd times wrap instead of overflowing: (2^63 - 1) * 1000 mod 2^64 is
  // -1000, -2^63 * 1000 mod 2^64 is 0, so the second is a point 1000 ms later.
  LocationReportRequest odd;
  drs::GetLocationReportRequest(odd, {LonLatFix(0, 0, INT64_MAX), LonLatFix(0, 0, INT64_MIN)}, 0, 1);
  EXPECT_EQ(odd.header.time_ms, -1000);
  ASSERT_EQ(odd.points.size(), 1u);
  EXPECT_EQ(odd.points[0].d_time_ms, 1000);
}

TEST_F(LocationTest, SequenceNumberIsUnsignedAndGoesOutAsInt32) {
  WriteState({"s", 1, 0x80000000u});
  LocationReportRequest a;
  drs::GetLocationReportRequest(a, {LonLatFix(0, 0, 1)}, 0, 1);
  EXPECT_EQ(a.header.sequence_number, INT32_MIN);
  std::vector<char> bytes;
  ASSERT_TRUE(SerializeKSE(a.header, bytes));
  EXPECT_NE(Hex(bytes).find("9280000000"), std::string::npos);
  WriteState({"s", 1, 0xFFFFFFFFu});
  LocationReportRequest b;
  drs::GetLocationReportRequest(b, {LonLatFix(0, 0, 1)}, 0, 1);
  EXPECT_EQ(b.header.sequence_number, -1);
  EXPECT_EQ(ReadState().sequence, 0u);  // wrapped
  LocationReportRequest c;
  drs::GetLocationReportRequest(c, {}, 0, 1);  // no fix: no number taken, nothing filled
  EXPECT_EQ(ReadState().sequence, 0u);
  EXPECT_EQ(c.header.field5, 0);
}

TEST_F(LocationTest, SessionsAcrossUploads) {
  WriteState({"A", 555, 10});
  int draws = 0;
  navreq::ScopedSessionDigits digits([&draws] { return ++draws == 1 ? 418 : 999; });
  ReqExtraParam e = Extra();
  LocationUploadParam p;
  p.locations = {LonLatFix(1, 2, 3)};
  std::vector<char> out;
  {
    navreq::services::ScopedClock clock(1000);
    p.session_id = "A";  // unchanged: identifier kept
    ASSERT_EQ(drs::GetLocationUploadReqData(p, e, out), 0);
    EXPECT_EQ(ReadState().loc_id, 555);
    EXPECT_EQ(ReadState().sequence, 11u);
    EXPECT_NE(Hex(PayloadOf(out)).find(Int(7, 555) + Int(8, 1000) + Int(9, 10)), std::string::npos);
  }
  std::int64_t b_id;
  {
    navreq::services::ScopedClock clock(kNow);
    p.session_id = "B";  // changed: now x 1000 + three random digits
    ASSERT_EQ(drs::GetLocationUploadReqData(p, e, out), 0);
    const LocationState s = ReadState();
    b_id = s.loc_id;
    EXPECT_EQ(s.session, "B");
    EXPECT_EQ(b_id, 1700000000123418);
    EXPECT_EQ(s.sequence, 12u);  // runs on across sessions
    const std::string dmq = Hex(PayloadOf(out));
    EXPECT_NE(dmq.find(Int(7, b_id) + Int(8, kNow) + Int(9, 11)), std::string::npos);
    EXPECT_NE(dmq.find(Struct(100, SessionHex(b_id, 1700000000))), std::string::npos);
  }
  {
    navreq::services::ScopedClock clock(kNow + 5000);
    p.locations.clear();  // an empty report takes no number
    ASSERT_EQ(drs::GetLocationUploadReqData(p, e, out), 0);
    EXPECT_EQ(ReadState().loc_id, b_id);
    EXPECT_EQ(ReadState().sequence, 12u);
    p.locations = {LonLatFix(1, 2, 3)};
    ASSERT_EQ(drs::GetLocationUploadReqData(p, e, out), 0);
    EXPECT_EQ(ReadState().loc_id, b_id);
    EXPECT_EQ(ReadState().sequence, 13u);
  }
  EXPECT_EQ(draws, 1);  // digits are drawn only for a new session
  {
    navreq::services::ScopedClock clock(2000);
    p.session_id = "A";
    ASSERT_EQ(drs::GetLocationUploadReqData(p, e, out), 0);
    EXPECT_EQ(ReadState().loc_id, 2000999);
    EXPECT_EQ(ReadState().sequence, 14u);
  }
}

TEST_F(LocationTest, EmptySessionOnFirstUploadKeepsInitialIdentifier) {
  WriteState({"", 0, 0});  // the state of a fresh process
  navreq::services::ScopedClock clock(kNow);
  LocationUploadParam p;
  p.locations = {LonLatFix(0, 0, 1)};
  std::vector<char> out;
  ASSERT_EQ(drs::GetLocationUploadReqData(p, Extra(), out), 0);
  const LocationState s = ReadState();
  EXPECT_EQ(s.session, "");
  EXPECT_EQ(s.loc_id, 0);
  EXPECT_EQ(s.sequence, 1u);
  // clang-format off
  EXPECT_NE(Hex(PayloadOf(out)).find("7c" + Int(8, kNow) + "9c" "a001"), std::string::npos);
  // clang-format on
  EXPECT_NE(Hex(PayloadOf(out)).find(Struct(100, SessionHex(0, 1700000000))), std::string::npos);
}

TEST_F(LocationTest, SessionInfoFallbacksAndRequestSeconds) {
  WriteState({"s", 77, 0});
  navreq::services::ScopedClock clock(-1500);  // -1.5 s truncates toward zero: -1
  ReqExtraParam e = Extra();
  e.alt_device_id1 = "ALT1";
  e.alt_device_id2.clear();
  LocationUploadParam p;
  p.session_id = "s";
  std::vector<char> out;
  ASSERT_EQ(drs::GetLocationUploadReqData(p, e, out), 0);
  EXPECT_NE(Hex(PayloadOf(out))
                .find(Struct(100, Int(1, 77) + Str(2, "IMEI1") + Str(3, "") + Str(4, "ALT1") + Str(5, "E") +
                                      Str(6, "A") + Str(7, "G") + Str(8, "F") + Str(9, "H") + Int(10, -1) +
                                      Str(11, "C") + Str(12, "IMEI1"))),
            std::string::npos);
}

TEST_F(LocationTest, CompressorFailurePrintsItsLine) {
  WriteState({"sess-1", 1, 3});
  navreq::services::ScopedClock clock(kNow);
  navreq::services::ScopedGzip gzip([](std::vector<char>&, std::vector<char>&) { return false; });
  LocationUploadParam p = DeltaParam();
  p.gzip = true;
  std::vector<char> out{'k'};
  navreq::testing::StdoutCapture printed;
  EXPECT_EQ(drs::GetLocationUploadReqData(p, Extra(), out), 1);
  EXPECT_EQ(printed.text(), "GZipCompress_location_buf_fail\n");
  EXPECT_EQ(Hex(out), "6b");
  EXPECT_EQ(ReadState().sequence, 4u);  // the state changes stay
}

TEST_F(LocationTest, BodyFailureWithGzipPrintsItsLine) {
  WriteState({"sess-1", 1, 3});
  navreq::services::ScopedClock clock(kNow);
  ReqExtraParam e = Extra();
  e.identity_e.assign(kOverLimit, 'e');  // only in the SessionInfo
  LocationUploadParam p = DeltaParam();
  p.gzip = true;
  std::vector<char> out{'k'};
  navreq::testing::StdoutCapture printed;
  EXPECT_EQ(drs::GetLocationUploadReqData(p, e, out), 1);
  EXPECT_EQ(printed.text(), "SerializeKSE_location_buf_fail\n");
  EXPECT_EQ(Hex(out), "6b");
}

TEST_F(LocationTest, BodyFailureWithoutGzipIsSilent) {
  WriteState({"sess-1", 1, 3});
  navreq::services::ScopedClock clock(kNow);
  ReqExtraParam e = Extra();
  e.identity_e.assign(kOverLimit, 'e');
  std::vector<char> out{'k'};
  navreq::testing::StdoutCapture printed;
  EXPECT_EQ(drs::GetLocationUploadReqData(DeltaParam(), e, out), 1);
  EXPECT_EQ(printed.text(), "");
  EXPECT_EQ(Hex(out), "6b");
  EXPECT_EQ(ReadState().sequence, 4u);
}

TEST_F(LocationTest, ExtraDataFailureIsSilent) {
  WriteState({"sess-1", 1, 3});
  navreq::services::ScopedClock clock(kNow);
  LocationUploadParam p = DeltaParam();
  p.extra_text1.assign(kOverLimit, 'x');
  p.gzip = true;
  std::vector<char> out{'k'};
  navreq::testing::StdoutCapture printed;
  EXPECT_EQ(drs::GetLocationUploadReqData(p, Extra(), out), 1);
  EXPECT_EQ(printed.text(), "");
  EXPECT_EQ(Hex(out), "6b");
}

// ---- Overlapping uploads. The engine should not start them, but if it does
// the shared state must stay whole.

// Reads the header's session identifier (tag 7) and sequence number (tag 9)
// that follow the request time (tag 8) in a plain location report.
bool HeaderNumbers(const std::string& dmq_hex, std::int64_t now_ms, std::int64_t& loc_id, std::int64_t& seq) {
  const std::string time_field = Int(8, now_ms);
  const std::size_t at = dmq_hex.find(time_field);
  if (at == std::string::npos || at < 18 || dmq_hex.compare(at - 18, 2, "73") != 0) return false;
  loc_id = static_cast<std::int64_t>(std::stoull(dmq_hex.substr(at - 16, 16), nullptr, 16));
  const std::size_t s = at + time_field.size();
  const std::string head = dmq_hex.substr(s, 2);
  const int digits = head == "9c" ? 0 : head == "90" ? 2 : head == "91" ? 4 : head == "92" ? 8 : -1;
  if (digits < 0) return false;
  seq = digits == 0 ? 0 : static_cast<std::int64_t>(std::stoull(dmq_hex.substr(s + 2, digits), nullptr, 16));
  return true;
}

class LocationConcurrency : public LocationTest {};

TEST_F(LocationConcurrency, OverlappingUploadsKeepSessionAndSequenceWhole) {
  constexpr int kThreads = 8;
  constexpr int kUploads = 40;
  constexpr std::uint32_t kFirst = 1000;
  WriteState({"", 0, kFirst});
  std::set<std::string> sessions;
  for (int t = 0; t < kThreads; ++t) sessions.insert("session-" + std::to_string(t));

  std::atomic<bool> done{false};
  std::atomic<int> torn{0};
  std::vector<std::vector<std::int64_t>> seqs(kThreads);
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> workers;
  for (int t = 0; t < kThreads; ++t) {
    workers.emplace_back([t, &seqs, &failures] {
      // Each thread has its own clock and digits, so an identifier it sees tells which
      // thread made it: a thread only ever meets identifiers of its own session.
      const std::int64_t now = 1700000000000 + t;
      navreq::services::ScopedClock clock(now);
      navreq::ScopedSessionDigits digits([t] { return 100 + t; });
      LocationUploadParam p;
      p.session_id = "session-" + std::to_string(t);
      p.locations = {LonLatFix(116.5, 39.75, 1700000000)};
      const ReqExtraParam e = Extra();
      for (int i = 0; i < kUploads; ++i) {
        std::vector<char> out;
        std::int64_t loc_id = 0;
        std::int64_t seq = 0;
        if (drs::GetLocationUploadReqData(p, e, out) != 0 ||
            !HeaderNumbers(Hex(PayloadOf(out)), now, loc_id, seq) || loc_id != now * 1000 + 100 + t) {
          ++failures[t];
          continue;
        }
        seqs[t].push_back(seq);
      }
    });
  }
  std::thread watcher([&] {
    while (!done.load()) {
      const std::string current = ReadState().session;
      if (!current.empty() && sessions.count(current) == 0) ++torn;
      std::this_thread::yield();
    }
  });
  for (auto& w : workers) w.join();
  done = true;
  watcher.join();

  EXPECT_EQ(torn.load(), 0);
  std::vector<std::int64_t> all;
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(failures[t], 0) << "thread " << t;
    all.insert(all.end(), seqs[t].begin(), seqs[t].end());
  }
  std::sort(all.begin(), all.end());
  ASSERT_EQ(all.size(), static_cast<std::size_t>(kThreads * kUploads));
  for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i], kFirst + i);  // distinct, none lost
  const LocationState s = ReadState();
  EXPECT_EQ(s.sequence, kFirst + kThreads * kUploads);
  EXPECT_EQ(sessions.count(s.session), 1u);
}

}  // namespace

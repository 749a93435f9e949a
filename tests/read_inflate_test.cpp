// The one inflater: a body is exactly one gzip member. Members are made on
// the test side with zlib directly; DecodeRequest and the walk (dump, diff,
// the inspector) must give the same verdict on each.
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/read/inflate.h"
#include "navreq/request_reader.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "reliability/realistic_inputs.h"
#include "support/gunzip.h"
#include "support/route_request.h"
#include "support/walk_capture.h"
#include "support/wire.h"

namespace {

using navreq::GunzipStatus;

using navreq::testing::GzipMember;

// One member of `size` zero bytes, deflated a MiB at a time.
std::string ZerosMember(std::size_t size) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
  const std::string mib(std::size_t{1} << 20, '\0');
  std::string out;
  char buf[65536];
  std::size_t left = size;
  int flush = Z_NO_FLUSH;
  do {
    if (z.avail_in == 0 && flush == Z_NO_FLUSH) {
      const std::size_t n = left < mib.size() ? left : mib.size();
      z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(mib.data()));
      z.avail_in = static_cast<uInt>(n);
      left -= n;
      if (left == 0) flush = Z_FINISH;
    }
    z.next_out = reinterpret_cast<Bytef*>(buf);
    z.avail_out = sizeof buf;
    const int rc = deflate(&z, flush);
    out.append(buf, sizeof buf - z.avail_out);
    if (rc == Z_STREAM_END) break;
    EXPECT_EQ(rc, Z_OK);
  } while (true);
  deflateEnd(&z);
  return out;
}

TEST(Inflate, OneMember) {
  const std::string gz = GzipMember("abc");
  std::string out;
  const navreq::GunzipResult r = navreq::Gunzip(gz, 3, out);
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_EQ(out, "abc");
  EXPECT_TRUE(r.error.empty());
  // The bound is inclusive; an empty member inflates to nothing.
  ASSERT_TRUE(navreq::Gunzip(GzipMember(""), 0, out).ok());
  EXPECT_EQ(out, "");
}

TEST(Inflate, LiteralMember) {
  // "hi" stored by hand: header (no flags, OS 3), a final stored block of
  // length 2 (02 00, complement fd ff), CRC-32 of "hi", size 2.
  const std::string gz = wire::Unhex("1f8b 0800 00000000 0003 01 0200 fdff 6869 ac2a93d8 02000000");
  std::string out;
  const navreq::GunzipResult r = navreq::Gunzip(gz, 100, out);
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_EQ(out, "hi");
  // The same with its CRC-32 changed: the trailer's check fails.
  std::string bad = gz;
  bad[bad.size() - 8] ^= 1;
  const navreq::GunzipResult b = navreq::Gunzip(bad, 100, out);
  EXPECT_EQ(b.status, GunzipStatus::kBroken);
  EXPECT_EQ(b.error, "broken gzip stream: incorrect data check");
  EXPECT_EQ(b.offset, 0u);
  EXPECT_EQ(out, "");
}

TEST(Inflate, SecondMemberIsRefusedWhereItStarts) {
  const std::string first = GzipMember("abc");
  std::string out = "stale";
  const navreq::GunzipResult r = navreq::Gunzip(first + GzipMember("def"), 100, out);
  EXPECT_EQ(r.status, GunzipStatus::kSecondMember);
  EXPECT_EQ(r.offset, first.size());
  EXPECT_EQ(r.error, "a second gzip member after the end of the gzip stream");
  EXPECT_EQ(out, "");
}

TEST(Inflate, TrailingBytesAreRefusedWhereTheyStart) {
  const std::string first = GzipMember("abc");
  std::string out;
  const navreq::GunzipResult r = navreq::Gunzip(first + wire::Unhex("00ff01"), 100, out);
  EXPECT_EQ(r.status, GunzipStatus::kBytesAfter);
  EXPECT_EQ(r.offset, first.size());
  EXPECT_EQ(r.error, "3 bytes after the end of the gzip stream");
  // A lone 1f is not the start of a member either.
  const navreq::GunzipResult one = navreq::Gunzip(first + wire::Unhex("1f"), 100, out);
  EXPECT_EQ(one.status, GunzipStatus::kBytesAfter);
  EXPECT_EQ(one.error, "1 bytes after the end of the gzip stream");
}

TEST(Inflate, EveryCutIsTruncated) {
  const std::string gz = GzipMember("a body of some length, a body of some length");
  std::string out;
  for (std::size_t cut = 0; cut < gz.size(); ++cut) {
    const navreq::GunzipResult r = navreq::Gunzip(gz.substr(0, cut), 1000, out);
    EXPECT_EQ(r.status, GunzipStatus::kCutShort) << cut;
    EXPECT_EQ(r.error, "truncated gzip stream") << cut;
  }
}

TEST(Inflate, CorruptHeaderAndData) {
  std::string out;
  // Compression method 7 does not exist.
  const navreq::GunzipResult method = navreq::Gunzip(wire::Unhex("1f8b 0700 00000000 0003 0300"), 100, out);
  EXPECT_EQ(method.status, GunzipStatus::kBroken);
  EXPECT_EQ(method.error, "broken gzip stream: unknown compression method");
  // Block type 3 is reserved.
  const navreq::GunzipResult block = navreq::Gunzip(wire::Unhex("1f8b 0800 00000000 0003 07"), 100, out);
  EXPECT_EQ(block.status, GunzipStatus::kBroken);
  EXPECT_EQ(block.error, "broken gzip stream: invalid block type");
  EXPECT_FALSE(navreq::LooksGzip(wire::Unhex("1f")));
  EXPECT_TRUE(navreq::LooksGzip(wire::Unhex("1f8b")));
}

TEST(Inflate, OverTheLimit) {
  const std::string gz = GzipMember(std::string(11, 'x'));
  std::string out;
  const navreq::GunzipResult r = navreq::Gunzip(gz, 10, out);
  EXPECT_EQ(r.status, GunzipStatus::kOverLimit);
  EXPECT_EQ(r.error, "inflates to more than 10 bytes");
  EXPECT_EQ(out, "");
  ASSERT_TRUE(navreq::Gunzip(gz, 11, out).ok());
  EXPECT_EQ(out, std::string(11, 'x'));
  const navreq::GunzipResult mib =
      navreq::Gunzip(ZerosMember((std::size_t{2} << 20) + 1), std::size_t{2} << 20, out);
  EXPECT_EQ(mib.error, "inflates to more than 2 MiB");
}

// --- DecodeRequest and the walk on the same bodies ---

using navreq::testing::RealisticRouteRequest;

// The route search with its body bytes replaced; `body_at`: where they start.
std::vector<char> WithBody(const std::string& body, std::size_t& body_at) {
  const navreq::DecodedRequest real = navreq::DecodeRequest(RealisticRouteRequest());
  EXPECT_TRUE(real.ok());
  navkse::duromap::Package package = real.package()->package;
  package.body.assign(body.begin(), body.end());
  std::vector<char> bytes;
  EXPECT_TRUE(zv_navi_core::SerializeKSE(package, bytes));
  body_at = std::string(bytes.begin(), bytes.end()).rfind(body);
  return bytes;
}

std::string PlainRouteBody() {
  const navreq::DecodedRequest real = navreq::DecodeRequest(RealisticRouteRequest());
  return navreq::testing::Gunzip(
      std::string(real.package()->package.body.begin(), real.package()->package.body.end()));
}

struct Verdict {
  navreq::DecodedRequest decoded;
  navreq::testing::VerdictSink walked;
  int status = -1;
};

Verdict Read(const std::vector<char>& bytes) {
  Verdict v;
  v.decoded = navreq::DecodeRequest(bytes);
  v.status =
      navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), v.walked).status();
  return v;
}

TEST(Inflate, DecodeRequestAndWalkAgreeOnOneMember) {
  std::size_t at = 0;
  const Verdict v = Read(WithBody(GzipMember(PlainRouteBody()), at));
  EXPECT_TRUE(v.decoded.ok());
  EXPECT_EQ(v.status, 0);
  EXPECT_TRUE(v.walked.stops.empty());
}

// A body that does not inflate: DecodeRequest's problem and the walk's stop
// have the same text and the same offset in the body's bytes.
void ExpectSameRefusal(const std::string& body, navreq::ReadProblemKind kind, std::size_t offset,
                       const std::string& error) {
  std::size_t at = 0;
  const Verdict v = Read(WithBody(body, at));
  ASSERT_EQ(v.decoded.problems.size(), 1u);
  EXPECT_EQ(v.decoded.problems[0].kind, kind);
  EXPECT_EQ(v.decoded.problems[0].path, "body");
  EXPECT_EQ(v.decoded.problems[0].offset, offset);
  EXPECT_EQ(v.decoded.problems[0].detail, error);
  EXPECT_EQ(v.status, 1);
  ASSERT_EQ(v.walked.stops.size(), 1u);
  EXPECT_EQ(v.walked.stops[0].offset, offset);
  EXPECT_EQ(v.walked.stops[0].why, "gzip stream that does not inflate: " + error);
}

TEST(Inflate, DecodeRequestAndWalkAgreeOnRefusals) {
  const std::string plain = PlainRouteBody();
  const std::string one = GzipMember(plain);
  ExpectSameRefusal(one + GzipMember(plain), navreq::ReadProblemKind::kBadGzip, one.size(),
                    "a second gzip member after the end of the gzip stream");
  ExpectSameRefusal(one + std::string(2, '\0'), navreq::ReadProblemKind::kBadGzip, one.size(),
                    "2 bytes after the end of the gzip stream");
  ExpectSameRefusal(one.substr(0, one.size() - 1), navreq::ReadProblemKind::kBadGzip, 0,
                    "truncated gzip stream");
  std::string corrupt = one;
  corrupt[corrupt.size() - 5] ^= 0x40;  // the CRC-32
  ExpectSameRefusal(corrupt, navreq::ReadProblemKind::kBadGzip, 0,
                    "broken gzip stream: incorrect data check");
}

TEST(Inflate, DecodeRequestAndWalkAgreeOverTheLimit) {
  ExpectSameRefusal(ZerosMember(navreq::kKseMaxInflatedSize + 1), navreq::ReadProblemKind::kLimitExceeded, 0,
                    "inflates to more than 256 MiB");
}

}  // namespace

// Parameter texts read as decimal integers: the reading itself, compared with
// std::stoll, and the check before a call, compared with what the refresh
// request does with the same parameters.
#include "navreq/number_texts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"

namespace {

namespace drs = zv_navi_core::drive_route_req_serializer;
using navreq::DecimalTextStatus;
using navreq::FindUnconvertibleText;
using navreq::ReadDecimalInt64;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::RouteRefreshReqParam;

// Texts at every edge of the reading: blanks, signs, digits, the range.
const std::vector<std::string> kTexts = {
    "",
    " ",
    "abc",
    "-",
    "+",
    "+-5",
    "12",
    "12ab",
    "007",
    "-0",
    " \t\n\v\f\r-7",
    "\xc2\xa0"
    "5",  // a no-break space is not whitespace here
    "0x1f",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775808",
    "-9223372036854775809",
    "99999999999999999999999999abc",
    std::string("4\0"
                "2",
                3),
};

// What std::stoll in base 10 says of `text`.
struct Stoll {
  DecimalTextStatus status;
  std::int64_t value;
};
Stoll StollOf(const std::string& text) {
  try {
    return {DecimalTextStatus::kOk, std::stoll(text, nullptr, 10)};
  } catch (const std::invalid_argument&) {
    return {DecimalTextStatus::kNoNumber, 0};
  } catch (const std::out_of_range&) {
    return {DecimalTextStatus::kOutOfRange, 0};
  }
}

TEST(DecimalText, ReadsAsTheStandardConversionDoes) {
  for (const std::string& text : kTexts) {
    const Stoll expected = StollOf(text);
    const navreq::DecimalInt64 read = ReadDecimalInt64(text);
    EXPECT_EQ(read.status, expected.status) << '"' << text << '"';
    if (expected.status == DecimalTextStatus::kOk) {
      EXPECT_EQ(read.value, expected.value) << '"' << text << '"';
    }
  }
}

TEST(DecimalText, ValuesAndStatusesAtTheEdges) {
  EXPECT_EQ(ReadDecimalInt64(" \t\n\v\f\r-7").value, -7);
  EXPECT_EQ(ReadDecimalInt64("12ab").value, 12);
  EXPECT_EQ(ReadDecimalInt64("9223372036854775807").value, INT64_MAX);
  EXPECT_EQ(ReadDecimalInt64("-9223372036854775808").value, INT64_MIN);
  EXPECT_EQ(ReadDecimalInt64("9223372036854775808").status, DecimalTextStatus::kOutOfRange);
  EXPECT_EQ(ReadDecimalInt64("-9223372036854775809").status, DecimalTextStatus::kOutOfRange);
  EXPECT_EQ(ReadDecimalInt64("\xc2\xa0"
                             "5")
                .status,
            DecimalTextStatus::kNoNumber);
  EXPECT_EQ(ReadDecimalInt64("+-5").status, DecimalTextStatus::kNoNumber);
  EXPECT_EQ(ReadDecimalInt64("").status, DecimalTextStatus::kNoNumber);
}

// A refresh of two routes, the second with `id_text`, and a bucket.
RouteRefreshReqParam Refresh(const std::string& id_text, const std::string& bucket, bool with_fix) {
  RouteRefreshReqParam p;
  p.routes.resize(2);
  p.routes[0].id_text = "1";
  p.routes[1].id_text = id_text;
  p.bucket_number_text = bucket;
  if (with_fix) p.fixes.resize(1);
  return p;
}

// Whether the refresh request throws on `p` (its output then untouched).
bool RefreshThrows(const RouteRefreshReqParam& p) {
  navreq::services::ScopedClock clock(1700000000000);
  std::vector<char> out{'x'};
  try {
    (void)drs::GetRouteRefreshReqData(p, ReqExtraParam{}, out);
  } catch (const std::invalid_argument&) {
    EXPECT_EQ(out, std::vector<char>{'x'});
    return true;
  } catch (const std::out_of_range&) {
    EXPECT_EQ(out, std::vector<char>{'x'});
    return true;
  }
  return false;
}

TEST(UnconvertibleText, FoundExactlyWhenTheRefreshThrows) {
  int found = 0;
  for (const std::string& text : kTexts) {
    for (const bool with_fix : {false, true}) {
      // The text as a route identifier, then as the bucket's number.
      for (const RouteRefreshReqParam& p : {Refresh(text, "", with_fix), Refresh("2", text, with_fix)}) {
        const bool throws = RefreshThrows(p);
        const auto problem = FindUnconvertibleText(p);
        EXPECT_EQ(problem.has_value(), throws) << '"' << text << "\" with_fix " << with_fix;
        found += problem.has_value() ? 1 : 0;
      }
    }
  }
  // Both fields refuse texts: the comparison above is not of empty answers.
  EXPECT_GT(found, 20);
}

TEST(UnconvertibleText, NamesTheFirstTextConvertedWithPathAndMessage) {
  RouteRefreshReqParam p = Refresh("abc", "xyz", true);
  auto problem = FindUnconvertibleText(p);
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->path, "routes[1].id_text");
  EXPECT_EQ(problem->status, DecimalTextStatus::kNoNumber);
  EXPECT_EQ(problem->message(), "expected decimal integer text, got \"abc\"");

  p.routes[1].id_text = "5";
  problem = FindUnconvertibleText(p);
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->path, "bucket_number_text");
  EXPECT_EQ(problem->message(), "expected decimal integer text, got \"xyz\"");

  // Without a fix the bucket is not written and its text not read.
  p.fixes.clear();
  EXPECT_FALSE(FindUnconvertibleText(p));

  p.routes[0].id_text = "99999999999999999999";
  problem = FindUnconvertibleText(p);
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->path, "routes[0].id_text");
  EXPECT_EQ(problem->status, DecimalTextStatus::kOutOfRange);
  EXPECT_EQ(problem->message(),
            "expected decimal integer text in the signed 64-bit range, got \"99999999999999999999\"");
}

TEST(UnconvertibleText, MessageIsOneLineAndShort) {
  RouteRefreshReqParam p = Refresh(std::string("a\"\\\n\x01\xff") + std::string(100, 'z'), "", false);
  const auto problem = FindUnconvertibleText(p);
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->message(), "expected decimal integer text, got \"a\\\"\\\\\\x0a\\x01\\xff" +
                                    std::string(34, 'z') + "\" (106 bytes)");
}

}  // namespace

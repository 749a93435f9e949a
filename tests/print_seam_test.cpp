// The fixed failure lines of the serializers go through one seam: standard
// output by default, a per-thread sink while a ScopedPrintSink is alive.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"
#include "support/capture.h"

namespace {

namespace drs = zv_navi_core::drive_route_req_serializer;

bool FailingGzip(std::vector<char>&, std::vector<char>&) { return false; }

TEST(PrintSeam, SinkReceivesTheLinesAndStandardOutputNothing) {
  navreq::services::ScopedGzip gzip(&FailingGzip);
  std::vector<std::string> lines;
  std::string printed;
  {
    navreq::testing::StdoutCapture stdout_capture;
    navreq::services::ScopedPrintSink sink([&lines](const std::string& line) { lines.push_back(line); });
    std::vector<char> out;
    EXPECT_EQ(drs::GetRouteReqData(zv_navi_core::DriveRouteReqParam{}, zv_navi_core::ReqExtraParam{}, out),
              1u);
    zv_navi_core::LocationUploadParam upload;
    upload.gzip = true;
    EXPECT_EQ(drs::GetLocationUploadReqData(upload, zv_navi_core::ReqExtraParam{}, out), 1);
    printed = stdout_capture.text();
  }
  EXPECT_EQ(printed, "");
  EXPECT_EQ(lines,
            (std::vector<std::string>{"GZipCompress_route_req_buf_fail", "GZipCompress_location_buf_fail"}));
}

TEST(PrintSeam, GuardsNestAndRestoreStandardOutput) {
  navreq::services::ScopedGzip gzip(&FailingGzip);
  std::vector<std::string> outer_lines;
  std::vector<std::string> inner_lines;
  std::string printed;
  {
    navreq::testing::StdoutCapture stdout_capture;
    std::vector<char> out;
    {
      navreq::services::ScopedPrintSink outer([&](const std::string& line) { outer_lines.push_back(line); });
      {
        navreq::services::ScopedPrintSink inner(
            [&](const std::string& line) { inner_lines.push_back(line); });
        (void)drs::GetRouteReqData(zv_navi_core::DriveRouteReqParam{}, zv_navi_core::ReqExtraParam{}, out);
      }
      (void)drs::GetRouteReqData(zv_navi_core::DriveRouteReqParam{}, zv_navi_core::ReqExtraParam{}, out);
    }
    (void)drs::GetRouteReqData(zv_navi_core::DriveRouteReqParam{}, zv_navi_core::ReqExtraParam{}, out);
    printed = stdout_capture.text();
  }
  EXPECT_EQ(inner_lines, std::vector<std::string>{"GZipCompress_route_req_buf_fail"});
  EXPECT_EQ(outer_lines, std::vector<std::string>{"GZipCompress_route_req_buf_fail"});
  EXPECT_EQ(printed, "GZipCompress_route_req_buf_fail\n");
}

TEST(PrintSeam, ASinkThatThrowsLosesTheLineNotTheResult) {
  navreq::services::ScopedGzip gzip(&FailingGzip);
  navreq::services::ScopedPrintSink sink([](const std::string&) { throw std::runtime_error("sink"); });
  std::vector<char> out;
  EXPECT_EQ(drs::GetRouteReqData(zv_navi_core::DriveRouteReqParam{}, zv_navi_core::ReqExtraParam{}, out), 1u);
}

}  // namespace

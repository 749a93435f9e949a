// Entry functions, one full call each (a fresh output vector per call, as the
// engine makes them), and how the route search and the location upload scale
// with the number of fixes.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_ops.h"
#include "navreq/request_reader.h"
#include "navreq/requests.h"

namespace navreq_bench {
namespace {

namespace drs = zv_navi_core::drive_route_req_serializer;

// A failing call would measure an error path: stop the run instead.
void Check(int rc, const char* what) {
  if (rc != 0) {
    std::fprintf(stderr, "bench: %s returned %d on the benchmark input\n", what, rc);
    std::exit(1);
  }
}

}  // namespace

void RegisterRequestBenchmarks(const Inputs& in) {
  {
    std::vector<char> probe;
    Check(static_cast<int>(drs::GetRouteReqData(in.route, in.extra, probe)), "GetRouteReqData");
    Register("request/route", [p = in.route, e = in.extra] {
      std::vector<char> out;
      (void)drs::GetRouteReqData(p, e, out);
      return out.size();
    });
    // Reading the same request back into records: the C++ side of the Python
    // binding's cost (make bench-python sets the two side by side).
    const navreq::DecodedRequest probe_read = navreq::DecodeRequest(probe);
    if (!probe_read.ok()) {
      std::fprintf(stderr, "bench: the route request does not read back\n");
      std::exit(1);
    }
    Register("read/decode_request/route", [bytes = probe] {
      const navreq::DecodedRequest read = navreq::DecodeRequest(bytes);
      return read.body_size;
    });
  }
  {
    std::vector<char> probe;
    Check(drs::GetRouteRefreshReqData(in.refresh, in.refresh_extra, probe), "GetRouteRefreshReqData");
    Register("request/refresh", [p = in.refresh, e = in.refresh_extra] {
      std::vector<char> out;
      (void)drs::GetRouteRefreshReqData(p, e, out);
      return out.size();
    });
  }
  {
    std::vector<char> probe;
    Check(drs::GetLocationUploadReqData(in.location, in.location_extra, probe), "GetLocationUploadReqData");
    Register("request/location", [p = in.location, e = in.location_extra] {
      std::vector<char> out;
      (void)drs::GetLocationUploadReqData(p, e, out);
      return out.size();
    });
  }
  {
    std::vector<char> probe;
    const StopEventInput& s = in.navstop;
    Check(drs::GetNavStopActionReqData(s.text, s.device_id, s.client_key, probe), "GetNavStopActionReqData");
    Register("request/navstop", [s] {
      std::vector<char> out;
      (void)drs::GetNavStopActionReqData(s.text, s.device_id, s.client_key, out);
      return out.size();
    });
  }
  {
    std::vector<char> probe;
    Check(drs::GetRoutePlus(in.plus, in.plus_extra, probe), "GetRoutePlus");
    Register("request/plus", [p = in.plus, e = in.plus_extra] {
      std::vector<char> out;
      (void)drs::GetRoutePlus(p, e, out);
      return out.size();
    });
  }
  {
    std::vector<char> probe;
    Check(drs::GetRouteSlice(in.slice, in.slice_extra, probe), "GetRouteSlice");
    Register("request/slice", [p = in.slice, e = in.slice_extra] {
      std::vector<char> out;
      (void)drs::GetRouteSlice(p, e, out);
      return out.size();
    });
  }
}

void RegisterScalingBenchmarks(const Inputs& in) {
  for (std::size_t n : {10u, 100u, 1000u, 10000u}) {
    zv_navi_core::LocationUploadParam location = in.location;
    location.locations = MakeFixes(n);
    Register(
        "scale/location/" + std::to_string(n),
        [p = std::move(location), e = in.location_extra] {
          std::vector<char> out;
          (void)drs::GetLocationUploadReqData(p, e, out);
          return out.size();
        },
        static_cast<std::int64_t>(n));
  }
  for (std::size_t n : {10u, 100u, 1000u, 10000u}) {
    // The route's own recent fixes stay; the trajectory holds n fixes.
    zv_navi_core::DriveRouteReqParam route = in.route;
    route.trajectoryFixes = MakeFixes(n, route.recentFixes.size());
    Register(
        "scale/route/" + std::to_string(n),
        [p = std::move(route), e = in.extra] {
          std::vector<char> out;
          (void)drs::GetRouteReqData(p, e, out);
          return out.size();
        },
        static_cast<std::int64_t>(n));
  }
}

}  // namespace navreq_bench

#include "inputs.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "support/fixes.h"

namespace navreq_bench {
namespace {

using navreq::testing::SearchPoint;
using nlohmann::json;
using zv_navi_core::KSLocation;

// ---- JSON -> engine records, by member name (forEachField) ----

template <class T>
struct IsVector : std::false_type {};
template <class T>
struct IsVector<std::vector<T>> : std::true_type {};

template <class T>
struct IsStringMap : std::false_type {};
template <class V>
struct IsStringMap<std::map<std::string, V>> : std::true_type {};

[[noreturn]] void Bad(const std::string& path, const char* what) {
  throw std::runtime_error(path + ": " + what);
}

template <class T>
void Read(const json& j, T& out, const std::string& path);

double ReadFloating(const json& j, const std::string& path) {
  if (j.is_number()) return j.get<double>();
  if (j.is_string()) {
    const std::string s = j.get<std::string>();
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
  }
  Bad(path, "expected a number");
}

template <class R>
void ReadRecord(const json& j, R& out, const std::string& path) {
  if (j.is_object()) {
    std::size_t known = 0;
    out.forEachField([&](const char* name, auto& member) {
      auto it = j.find(name);
      if (it == j.end()) return;
      ++known;
      Read(*it, member, path + "." + name);
    });
    if (known != j.size()) Bad(path, "unknown key");
  } else if (j.is_array()) {
    // Positional form (follow-explain controls, road links): values in member order.
    std::size_t i = 0;
    out.forEachField([&](const char* name, auto& member) {
      if (i < j.size()) Read(j[i], member, path + "." + name);
      ++i;
    });
  } else if (!std::is_same<R, zv_navi_core::PendingEntry>::value) {
    Bad(path, "expected an object");  // pending entries accept any value: only the count matters
  }
}

template <class T>
void Read(const json& j, T& out, const std::string& path) {
  if constexpr (std::is_same<T, bool>::value) {
    if (!j.is_boolean()) Bad(path, "expected true or false");
    out = j.get<bool>();
  } else if constexpr (std::is_floating_point<T>::value) {
    out = static_cast<T>(ReadFloating(j, path));
  } else if constexpr (std::is_integral<T>::value) {
    if (!j.is_number_integer()) Bad(path, "expected an integer");
    out = j.get<T>();
  } else if constexpr (std::is_same<T, std::string>::value) {
    if (!j.is_string()) Bad(path, "expected a string");
    out = j.get<std::string>();
  } else if constexpr (std::is_same<T, std::array<std::int32_t, 4>>::value) {
    if (!j.is_array() || j.size() != 4) Bad(path, "expected four integers");
    for (std::size_t i = 0; i < 4; ++i) Read(j[i], out[i], path + "[" + std::to_string(i) + "]");
  } else if constexpr (IsVector<T>::value) {
    if (!j.is_array()) Bad(path, "expected an array");
    out.clear();
    out.resize(j.size());
    for (std::size_t i = 0; i < j.size(); ++i) Read(j[i], out[i], path + "[" + std::to_string(i) + "]");
  } else if constexpr (IsStringMap<T>::value) {
    if (!j.is_object()) Bad(path, "expected an object");
    out.clear();
    for (auto it = j.begin(); it != j.end(); ++it) Read(it.value(), out[it.key()], path + "." + it.key());
  } else {
    ReadRecord(j, out, path);
  }
}

json LoadJson(const std::string& file) {
  std::ifstream in(file);
  if (!in) return json();
  return json::parse(in);
}

// ---- Built-in inputs ----

constexpr double kStartLat = 39.908692, kStartLon = 116.397477;  // Beijing
constexpr double kDestLat = 39.084158, kDestLon = 117.200983;    // Tianjin

zv_navi_core::ReqExtraParam MakeExtra() {
  zv_navi_core::ReqExtraParam e;
  e.identity_a = "navreq-bench-a";
  e.imei = "861234567890123";
  e.identity_b = "bench-b";
  e.identity_number = 1700000000123;
  e.identity_c = "bench-c";
  e.identity_d = "bench-d";
  e.api_key = "0123456789abcdef0123456789abcdef";
  e.identity_e = "bench-e";
  e.identity_f = "bench-f";
  e.identity_g = "bench-g";
  e.identity_h = "bench-h";
  e.identity_i = "bench-i";
  return e;
}

zv_navi_core::DriveRouteReqParam MakeRoute() {
  zv_navi_core::DriveRouteReqParam r;
  r.start = SearchPoint(kStartLat, kStartLon, "Tiananmen Square", "Dongcheng, Beijing", 1);
  r.destination = SearchPoint(kDestLat, kDestLon, "Tianjin Railway Station", "Hebei, Tianjin", 2);
  r.viaPoints.push_back(SearchPoint(39.538, 116.683, "Langfang", "Hebei", 3));
  r.reason = 0;
  r.reasonAngle = 135.5f;
  r.subReason = 1;
  r.routeOption52 = "car";
  r.trafficPref = 1;
  r.noHighway = 0;
  r.noToll = 1;
  r.routeOption11 = "1";
  r.routeOption14 = "route-14";
  r.routeOption22 = "22";
  r.routeOption59 = 1;
  r.rankEnabled = true;
  r.routeOption58 = 3;
  r.routeOption66 = 7;
  r.curSpeed = 16.7f;
  r.curScalarA = 12.5f;
  r.curHeading = 135.0f;
  r.curScalarC = 30.0f;
  r.planMode = 1;
  r.prefer_shortdist = 0;
  r.car_energy_type = 1;
  r.moto.moto_type = 0;
  r.order_source = 2;
  r.order_id_ = "order-0001";
  r.recentFixes = MakeFixes(10);
  r.trajectoryFixes = MakeFixes(10, 10);
  return r;
}

}  // namespace

std::vector<KSLocation> MakeFixes(std::size_t count, std::size_t first_index) {
  // Positioning noise, reproducible: a perfectly regular trace would be an
  // unrealistically easy (or, for deflate's match chains, unrealistically
  // hard) input.
  auto noise = [](std::size_t i, unsigned salt) {
    std::uint64_t z = (static_cast<std::uint64_t>(i) << 8 | salt) + 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) / 9007199254740992.0 - 0.5;  // [-0.5, 0.5)
  };
  std::vector<KSLocation> fixes(count);
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t n = first_index + k;
    const double i = static_cast<double>(n);
    fixes[k] = navreq::testing::Fix(
        kStartLat - 0.00011 * i + 0.00004 * noise(n, 1), kStartLon + 0.00013 * i + 0.00004 * noise(n, 2),
        static_cast<float>(16.7 + 3.0 * noise(n, 3)), static_cast<float>(5.5 + 5.0 * noise(n, 4)),
        static_cast<float>(135.0 + 8.0 * noise(n, 5)), static_cast<float>(30.0 + 4.0 * noise(n, 6)),
        1700000000 + static_cast<std::int64_t>(n), 3, 9, 1, static_cast<float>(1.5 + noise(n, 7)));
  }
  return fixes;
}

Inputs LoadInputs(const std::string& examples_dir) {
  Inputs in;
  in.extra = MakeExtra();
  in.route = MakeRoute();

  in.refresh_extra = in.extra;
  in.refresh.primary_text = "refresh-a";
  in.refresh.secondary_text = "refresh-b";
  in.refresh.third_text = "refresh-c";
  in.refresh.bucket_value = 5;
  in.refresh.route_param = in.route;
  in.refresh.bucket_number_text = "42";
  in.refresh.refresh_value = 1;
  in.refresh.request_number = 7;
  for (int k = 0; k < 2; ++k) {
    zv_navi_core::OneRouteTrafficReqParam one;
    one.id_text = k == 0 ? "123456789" : "123456790";
    one.num_a = 1000 + k;
    one.num_b = 20 + k;
    one.latitude = kStartLat;
    one.longitude = kStartLon;
    one.num_c = 3;
    one.num_d = 4;
    one.num_e = 5;
    one.num_f = 6;
    in.refresh.routes.push_back(one);
  }
  in.refresh.fixes = MakeFixes(10);

  in.location_extra = in.extra;
  in.location.session_id = "bench-session-0001";
  in.location.linked_session_id = "bench-link";
  in.location.extra_text1 = "x1";
  in.location.extra_text2 = "x2";
  in.location.locations = MakeFixes(60);
  in.location.gzip = false;

  in.plus_extra = in.extra;
  in.plus.slice_session_id = "plus-session";
  for (int k = 0; k < 3; ++k) {
    zv_navi_core::SliceDesc d;
    d.slice_text = "slice-" + std::to_string(k);
    d.slice_value1 = k;
    d.slice_value2 = 100 * k;
    in.plus.slices.push_back(d);
  }
  in.slice_extra = in.extra;
  in.slice.slice_session_id = in.plus.slice_session_id;
  in.slice.slices = in.plus.slices;

  in.navstop = StopEventInput{"navigation stopped by the user", "861234567890123", "bench-client-key"};

  auto load = [&](const char* kind, auto& extra, auto& param) {
    const std::string file = examples_dir + "/" + kind + ".json";
    try {
      const json j = LoadJson(file);
      if (j.is_null()) {
        in.sources.push_back(std::string(kind) + ": built-in");
        return;
      }
      std::remove_reference_t<decltype(extra)> e{};
      std::remove_reference_t<decltype(param)> p{};
      if (j.contains("extra")) Read(j.at("extra"), e, "extra");
      Read(j.at("param"), p, "param");
      extra = std::move(e);
      param = std::move(p);
      in.sources.push_back(std::string(kind) + ": " + file);
    } catch (const std::exception& ex) {
      std::fprintf(stderr, "bench inputs: %s: %s\n", file.c_str(), ex.what());
      std::exit(65);
    }
  };
  load("route", in.extra, in.route);
  load("refresh", in.refresh_extra, in.refresh);
  load("location", in.location_extra, in.location);
  load("plus", in.plus_extra, in.plus);
  load("slice", in.slice_extra, in.slice);
  {
    const std::string file = examples_dir + "/navstop.json";
    try {
      const json j = LoadJson(file);
      if (j.is_null()) {
        in.sources.push_back("navstop: built-in");
      } else {
        const json& p = j.at("param");
        in.navstop = StopEventInput{p.at("text").get<std::string>(), p.at("device_id").get<std::string>(),
                                    p.at("client_key").get<std::string>()};
        in.sources.push_back("navstop: " + file);
      }
    } catch (const std::exception& ex) {
      std::fprintf(stderr, "bench inputs: %s: %s\n", file.c_str(), ex.what());
      std::exit(65);
    }
  }
  return in;
}

}  // namespace navreq_bench

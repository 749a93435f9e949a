// Expected Kse bytes of every wire record in its default state, typed field by
// field from the server's record tables with the test-side builders of
// wire.h. Nothing here reads a record declaration of the library: a record
// test compares the library's writer against these.
//
// Naming: DefaultX() is the hex of X's fields as X's own writeTo writes them
// (no frame); wrap it in wire::Struct(tag, ...) where X is nested.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/wire.h"

namespace tables {

using wire::Bool;
using wire::Bytes;
using wire::Double;
using wire::Float;
using wire::Int;
using wire::List;
using wire::Map;
using wire::Str;
using wire::Struct;

// Expected hex typed with blanks between fields, for the reader; the blanks
// are dropped.
inline std::string Hx(const std::string& spaced) {
  std::string out;
  for (char c : spaced) {
    if (c != ' ') out.push_back(c);
  }
  return out;
}

// Bytes from hex, for filling byte fields with known content.
inline std::vector<char> FromHex(const std::string& hex) {
  const std::string raw = wire::Unhex(hex);
  return std::vector<char>(raw.begin(), raw.end());
}

// Zero integers at every tag of [from, to].
inline std::string Zeros(int from, int to) {
  std::string out;
  for (int tag = from; tag <= to; ++tag) out += Int(tag, 0);
  return out;
}

// Empty strings at every tag of [from, to].
inline std::string EmptyStrs(int from, int to) {
  std::string out;
  for (int tag = from; tag <= to; ++tag) out += Str(tag, "");
  return out;
}

// ---- Common records ------------------------------------------------------

inline std::string DefaultPoint() { return Int(0, 0) + Int(1, 0) + Int(2, 0); }

inline std::string DefaultGps() {
  return Zeros(0, 5) + Int(6, 0) + Zeros(7, 14) + Int(15, 2) + Int(16, 2) + Int(17, 0) + Int(18, 2) +
         Int(19, -1);
}

inline std::string DefaultSimplePOI() {
  return Struct(0, DefaultPoint()) + Str(1, "") + Str(2, "") + Str(3, "") + Int(4, 0) + Str(5, "") +
         Str(6, "") + Str(7, "") + Int(8, -1) + Bool(9, false) + Struct(10, DefaultPoint()) + Str(11, "") +
         Str(12, "") + Int(13, 0) + Int(14, 85) + Str(15, "") + Int(16, 0) + Str(17, "") + Int(18, -1) +
         List(19, 0) + Struct(20, DefaultPoint()) + Int(21, 0) + Bool(22, false) + Int(23, 0);
}

inline std::string DefaultTravelJamSearch() { return Int(0, 0); }

inline std::string DefaultReqLinksData() { return Int(0, 0) + List(1, 0) + Map(2, 0); }

inline std::string DefaultNavFusingControlParam() { return Bool(0, false) + Int(1, 0) + Int(2, 0); }

inline std::string DefaultBrokerReq() {
  return Str(0, "") + Str(1, "") + Bool(2, false) + Str(3, "") + Int(4, 0) + Int(5, 0) + Str(6, "");
}

inline std::string DefaultClientParam() {
  return Int(0, -1) + Str(1, "") + Str(2, "") + Zeros(3, 7) + Str(8, "") +
         Struct(9, DefaultTravelJamSearch()) + Int(10, 0) + Str(11, "") + Struct(12, DefaultReqLinksData()) +
         Zeros(13, 19) + Int(20, 1) + Int(21, 0) + Struct(22, DefaultNavFusingControlParam()) +
         Struct(23, DefaultBrokerReq()) + Zeros(24, 30) + Int(31, 0) + Str(32, "");
}

inline std::string DefaultNavEnergyModelParams() { return Int(0, 0); }

// ---- Vehicle and preference records --------------------------------------

inline std::string DefaultTruckParamsReq() {
  return Float(0, 0.0f) + Float(1, 0.0f) + Float(2, 0.0f) + Int(3, 0) + Int(4, 0) + Int(5, 0) +
         Float(6, 0.0f) + Int(7, 0) + Int(8, 0);
}

inline std::string DefaultTruckParamsReqV2() { return Zeros(0, 13); }

inline std::string DefaultMotoParamsReq() { return Int(0, 0) + Int(1, 0) + Int(2, 0); }

inline std::string DefaultEVType() { return Str(0, "") + Str(1, "") + Str(2, ""); }

inline std::string DefaultPowerConsumeModelParam() {
  return Struct(0, DefaultEVType()) + Zeros(1, 5) + Float(6, 0.0f) + Float(7, 0.0f) + Int(8, 0) +
         Bytes(9, std::string());
}

inline std::string DefaultElectricVehicleParams() {
  return Struct(0, DefaultPowerConsumeModelParam()) + Float(1, 0.0f) + Float(2, 0.0f) + Zeros(3, 7);
}

inline std::string DefaultCarSyncKeyPair() { return Str(0, "") + Str(1, ""); }

inline std::string DefaultCarSyncStringList() { return List(0, 0) + Str(1, ""); }

inline std::string DefaultPreferenceConfig() { return Zeros(0, 8) + Str(9, "") + Bool(10, false); }

inline std::string DefaultCarSyncInfo() {
  return Struct(0, DefaultCarSyncKeyPair()) + Str(1, "") + Struct(2, DefaultPreferenceConfig()) +
         Struct(3, DefaultSimplePOI()) + Struct(4, DefaultSimplePOI()) + List(5, 0) +
         Struct(6, DefaultPoint()) + Struct(7, DefaultPoint()) + Struct(8, DefaultCarSyncStringList()) +
         Int(9, 0) + Map(10, 0);
}

// ---- Guidance-plus and slice records -------------------------------------

inline std::string DefaultOriginalLink() {
  return Zeros(0, 3) + Str(4, "") + Zeros(5, 6) + Int(7, 0) + Int(8, 0) + Int(9, 0) + Zeros(10, 17) +
         Map(18, 0) + Zeros(19, 22) + Int(23, 0) + Int(24, 0) + Int(25, 0);
}

inline std::string DefaultSignalGnss() { return Zeros(0, 9) + Int(10, 0) + Struct(11, DefaultPoint()); }

inline std::string DefaultNaviPath() { return Str(0, "") + Int(1, 0) + List(2, 0) + List(3, 0); }

inline std::string DefaultMMRequest() { return List(0, 0) + Int(1, 0) + List(2, 0) + Int(3, 0); }

inline std::string DefaultUgsCloudInfo() { return Int(0, 0) + Str(1, "") + Int(2, 0) + Zeros(3, 14); }

inline std::string DefaultSliceParams() { return Str(0, "") + Int(1, 0) + Int(2, 0); }

inline std::string DefaultSliceReq() { return Str(0, "") + List(1, 0); }

// ---- Route search records -------------------------------------------------

inline std::string DefaultPhExtraInfo() {
  return Int(0, -1) + Struct(1, DefaultPoint()) + List(2, 0) + Str(3, "");
}

inline std::string DefaultLimitArea() { return List(0, 0); }

inline std::string DefaultFavoriteRoute() { return Int(0, 0) + Str(1, ""); }

inline std::string DefaultLinkingRouteMeta() {
  return Int(0, 0) + List(1, 0) + Int(2, 0) + Str(3, "") + Int(4, 0) + List(5, 0) + List(6, 0);
}

inline std::string DefaultRoadLinkName() { return Int(0, 0) + Str(1, ""); }

inline std::string DefaultFollowExplainControl() {
  return Zeros(0, 3) + Int(4, 0) + Str(5, "") + Str(6, "") + List(7, 0) + List(8, 0) + Int(9, 0);
}

inline std::string DefaultToRankLimitCityInfo() { return Int(0, 0) + List(1, 0) + List(2, 0); }

inline std::string DefaultToRankTransInfo() { return List(0, 0) + Int(1, 0) + List(2, 0) + Int(3, 0); }

// The route search body (there is no tag 12).
inline std::string DefaultCarRouteReq() {
  return Struct(0, DefaultSimplePOI()) + Struct(1, DefaultSimplePOI()) + Str(2, "") + Zeros(3, 7) +
         Str(8, "") + Int(9, 0) + Str(10, "") + Str(11, "") + Int(13, 0) + Str(14, "") + Bool(15, false) +
         List(16, 0) + Bytes(17, std::string()) + List(18, 0) + Zeros(19, 21) + Str(22, "") + Int(23, -1) +
         List(24, 0) + EmptyStrs(25, 27) + Zeros(28, 30) + Str(31, "") + Struct(32, DefaultPoint()) +
         Str(33, "") + Struct(34, DefaultPoint()) + Str(35, "") + Int(36, -1) + Int(37, -1) + Int(38, -1) +
         Int(39, 0) + Int(40, -1) + Float(41, -1.0f) + Int(42, 0) + Bool(43, false) +
         Struct(44, DefaultPhExtraInfo()) + Str(45, "") + Str(46, "") + Int(47, 0) + Bool(48, false) +
         List(49, 0) + Str(50, "") + Bool(51, false) + Str(52, "") + Str(53, "") + List(54, 0) +
         Zeros(55, 61) + Str(62, "") + Int(63, 0) + Int(64, 0) + Str(65, "") + Int(66, 0) +
         Struct(67, DefaultTruckParamsReq()) + Bool(68, false) + List(69, 0) + List(70, 0) + Map(71, 0) +
         Map(72, 0) + Int(73, 0) + Int(74, 0) + Struct(75, DefaultClientParam()) +
         Struct(76, DefaultElectricVehicleParams()) + Int(77, 0) + Int(78, 0) +
         Struct(79, DefaultFavoriteRoute()) + Struct(80, DefaultLinkingRouteMeta()) +
         Struct(81, DefaultNavEnergyModelParams()) + Struct(82, DefaultCarSyncInfo()) +
         Struct(83, DefaultTruckParamsReqV2()) + List(84, 0) + Int(85, 0) +
         Struct(86, DefaultMotoParamsReq()) + Struct(87, DefaultMMRequest());
}

// Whole fields (head included) as hex; each replaces the field of its tag.
// Defined with the head reader below.
using Replaced = std::vector<std::string>;
inline std::string With(const std::string& record_hex, const Replaced& replaced);

// The default route search body with the fields of the given tags replaced by
// the given hex (head included).
inline std::string CarRouteReqWith(const Replaced& replaced) { return With(DefaultCarRouteReq(), replaced); }

// ---- Location report and trajectory records -------------------------------

inline std::string DefaultSessionInfo() {
  return Int(1, 0) + EmptyStrs(2, 9) + Int(10, 0) + Str(11, "") + Str(12, "");
}

inline std::string DefaultNavExtraData() {
  return Str(0, "") + Str(1, "") + Str(2, "") + List(3, 0) + Str(4, "") + Str(5, "");
}

inline std::string DefaultLocationHeader() {
  return Zeros(0, 2) + Int(3, 0) + Int(4, 0) + Int(5, 0) + Bytes(6, std::string()) + Int(7, 0) + Int(8, 0) +
         Int(9, 0) + Int(10, 0);
}

inline std::string DefaultLocationPoint() { return Zeros(0, 16); }

inline std::string DefaultLocationReportRequest() { return Struct(1, DefaultLocationHeader()) + List(2, 0); }

inline std::string DefaultLocationReportRequestDMQ() {
  return Str(0, "") + Struct(1, DefaultLocationReportRequest()) + Struct(100, DefaultSessionInfo());
}

inline std::string DefaultGpsTaxi() { return Zeros(0, 5) + Int(6, 0) + EmptyStrs(7, 10); }

inline std::string DefaultGpsSpot() { return Zeros(0, 11); }

inline std::string DefaultGpsStatus() { return Int(0, 0) + Int(1, 0); }

inline std::string DefaultGpsBucket() {
  return Struct(0, DefaultGpsTaxi()) + List(1, 0) + List(2, 0) + Int(3, 0);
}

// ---- Traffic refresh records ----------------------------------------------

inline std::string DefaultOnRouteReq() {
  return Int(0, 0) + Int(1, 0) + Int(2, 0) + Int(3, 0) + Str(4, "") + Str(5, "") + Int(6, 0) + Int(7, 0) +
         Str(8, "") + Str(9, "") + Double(10, 0.0) + Double(11, 0.0) + Int(12, 0) + Str(13, "") +
         Str(14, "") + Int(15, 0) + Int(16, 0) + Int(17, 0);
}

inline std::string DefaultTrafficTimeReq() {
  return Int(0, 0) + Int(1, 0) + Int(2, -1) + Double(3, 0.0) + Double(4, 0.0) + Int(5, 2) + Int(6, 0) +
         Int(7, 0) + Str(8, "") + Str(9, "") + Int(10, 0) + Int(11, 0);
}

inline std::string DefaultDynamicReq() {
  std::string out = Int(0, 1) + Int(1, 0) + Int(2, 0);
  for (int tag = 3; tag <= 8; ++tag) out += Double(tag, 0.0);
  out += Int(9, 0) + Double(10, 0.0) + Str(11, "") + Str(12, "") + Int(13, 0) + Str(14, "") + Str(15, "");
  out += Bool(16, false) + Bool(17, false) + Bool(18, false);
  out += Zeros(19, 23) + Str(24, "") + Int(25, 0) + Str(26, "");
  return out;
}

inline std::string DefaultEnergyConsumeReq() {
  return Struct(0, DefaultPowerConsumeModelParam()) + Int(1, 0) + Int(2, 0) + Int(3, -1) + Double(4, 0.0) +
         Double(5, 0.0) + Int(6, 85) + Int(7, 10) + Float(8, 0.0f);
}

inline std::string DefaultAllOnRouteReq() {
  return Struct(0, DefaultOnRouteReq()) + Struct(1, DefaultTrafficTimeReq()) +
         Struct(2, DefaultDynamicReq()) + Struct(3, DefaultGpsBucket()) +
         Struct(4, DefaultEnergyConsumeReq());
}

inline std::string DefaultRouteCloudControl() { return Map(0, 0); }

inline std::string DefaultRouteRefreshReq() {
  return Struct(0, DefaultCarRouteReq()) + Struct(1, DefaultRouteCloudControl()) + List(2, 0);
}

inline std::string DefaultAllOnRouteReqBatch() {
  return List(0, 0) + Struct(1, DefaultGpsBucket()) + Struct(2, DefaultRouteRefreshReq()) + Str(3, "") +
         Str(4, "");
}

// ---- A small reader of field heads ----------------------------------------
//
// Lists the (tag, type) of the top-level fields of a byte string, skipping
// over every payload, nested record and container. It lets a test check the
// sequence of fields of a whole record without spelling out every nested byte.

struct FieldHead {
  int tag;
  int type;
  bool operator==(const FieldHead& o) const { return tag == o.tag && type == o.type; }
};

class HeadReader {
 public:
  explicit HeadReader(std::string bytes) : b_(std::move(bytes)) {}

  std::vector<FieldHead> topLevel() {
    std::vector<FieldHead> out;
    for (const auto& f : fields()) out.push_back(f.first);
    return out;
  }

  // Every top-level field: its head, and its bytes (head included) as hex.
  std::vector<std::pair<FieldHead, std::string>> fields() {
    std::vector<std::pair<FieldHead, std::string>> out;
    while (p_ < b_.size()) {
      const std::size_t start = p_;
      const FieldHead h = head();
      if (h.type == wire::kEnd) throw std::runtime_error("end of record at top level");
      skip(h.type);
      out.emplace_back(h, wire::Hex(b_.substr(start, p_ - start)));
    }
    return out;
  }

 private:
  unsigned byte() {
    if (p_ >= b_.size()) throw std::runtime_error("truncated");
    return static_cast<unsigned char>(b_[p_++]);
  }
  std::uint64_t be(int n) {
    std::uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | byte();
    return v;
  }
  FieldHead head() {
    const unsigned first = byte();
    const int type = static_cast<int>(first & 0x0F);
    int tag = static_cast<int>(first >> 4);
    if (tag == 15) tag = static_cast<int>(byte());
    return {tag, type};
  }
  // An integer field (a count): value by its type.
  std::int64_t integer() {
    const FieldHead h = head();
    switch (h.type) {
      case wire::kZero:
        return 0;
      case wire::kI8:
        return static_cast<std::int8_t>(be(1));
      case wire::kI16:
        return static_cast<std::int16_t>(be(2));
      case wire::kI32:
        return static_cast<std::int32_t>(be(4));
      default:
        throw std::runtime_error("count is not an integer");
    }
  }
  void field() { skip(head().type); }
  void skip(int type) {
    switch (type) {
      case wire::kI8:
        p_ += 1;
        break;
      case wire::kI16:
        p_ += 2;
        break;
      case wire::kI32:
      case wire::kF32:
        p_ += 4;
        break;
      case wire::kI64:
      case wire::kF64:
        p_ += 8;
        break;
      case wire::kStr1:
        p_ += byte();
        break;
      case wire::kStr4:
        p_ += be(4);
        break;
      case wire::kMap:
        for (std::int64_t n = integer(); n > 0; --n) {
          field();
          field();
        }
        break;
      case wire::kList:
        for (std::int64_t n = integer(); n > 0; --n) field();
        break;
      case wire::kBegin:
        for (FieldHead h = head(); h.type != wire::kEnd; h = head()) skip(h.type);
        break;
      case wire::kZero:
        break;
      case wire::kBytes:
        byte();
        p_ += static_cast<std::size_t>(integer());
        break;
      default:
        throw std::runtime_error("unexpected type code");
    }
    if (p_ > b_.size()) throw std::runtime_error("truncated payload");
  }

  std::string b_;
  std::size_t p_ = 0;
};

inline std::vector<FieldHead> TopLevelHeads(const std::vector<char>& bytes) {
  return HeadReader(std::string(bytes.begin(), bytes.end())).topLevel();
}

// A record's expected fields (no frame), e.g. DefaultSimplePOI(), with some
// fields replaced by whole fields spelled with wire.h, each at its own tag:
// one table per record, and a test states only what it changes. Of two
// replacements of one tag the later wins. A replacement that is not one whole
// field, or whose tag the record does not have, is an error in the test.
inline std::string With(const std::string& record_hex, const Replaced& replaced) {
  std::vector<int> tags;
  for (const std::string& r : replaced) {
    const auto parsed = HeadReader(wire::Unhex(r)).fields();
    if (parsed.size() != 1) throw std::invalid_argument("a replacement must be one whole field: " + r);
    tags.push_back(parsed.front().first.tag);
  }
  std::string out;
  std::size_t used = 0;
  for (const auto& field : HeadReader(wire::Unhex(record_hex)).fields()) {
    std::string bytes = field.second;
    for (std::size_t i = 0; i < replaced.size(); ++i) {
      if (tags[i] == field.first.tag) {
        bytes = replaced[i];
        ++used;
      }
    }
    out += bytes;
  }
  if (used != replaced.size()) throw std::invalid_argument("replaced tag not in the record");
  return out;
}

}  // namespace tables

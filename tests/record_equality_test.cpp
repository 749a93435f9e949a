// == and != of every wire record and every engine parameter record, as the
// record declarations generate them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "navreq/engine/params.h"
#include "navreq/records/all.h"
#include "support/change_field.h"
#include "support/random_records.h"

namespace {

float FloatOf(std::uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}
double DoubleOf(std::uint64_t bits) {
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

// A copy equals its original; changing any one field makes it differ.
template <class R>
void CheckEquality(const char* name, std::uint64_t seed) {
  SCOPED_TRACE(std::string(name) + " seed " + std::to_string(seed));
  R a;
  randrec::Filler(seed).fill(a);
  const R copy = a;
  EXPECT_TRUE(a == copy);
  EXPECT_FALSE(a != copy);
  EXPECT_TRUE(R() == R());
  std::size_t fields = 0;
  change::ForEachMember(a, [&fields](const char*, const auto&) { ++fields; });
  for (std::size_t i = 0; i < fields; ++i) {
    R b = a;
    std::size_t at = 0;
    const char* changed = nullptr;
    change::ForEachMember(b, [&](const char* field, auto& member) {
      if (at++ == i) {
        change::Change(member);
        changed = field;
      }
    });
    SCOPED_TRACE(changed);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(b == a);
  }
}

TEST(RecordEquality, EveryWireRecord) {
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
#define CHECK_RECORD_(R) CheckEquality<R>(#R, seed);
    NAVKSE_ALL_RECORDS(CHECK_RECORD_)
#undef CHECK_RECORD_
  }
}

TEST(RecordEquality, EveryEngineParameterRecord) {
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
#define CHECK_RECORD_(R) CheckEquality<R>(#R, seed);
    NAVREQ_ALL_ENGINE_RECORDS(CHECK_RECORD_)
#undef CHECK_RECORD_
  }
}

TEST(RecordEquality, FloatsCompareBitForBit) {
  navkse::routesearch::TruckParamsReq a;
  navkse::routesearch::TruckParamsReq b;
  a.field0 = 0.0f;
  b.field0 = -0.0f;
  EXPECT_NE(a, b);  // equal as values, different bits
  a.field0 = FloatOf(0x7FC00000u);
  b.field0 = FloatOf(0x7FC00000u);
  EXPECT_EQ(a, b);  // the same NaN
  b.field0 = FloatOf(0x7FA00001u);
  EXPECT_NE(a, b);  // another NaN
}

TEST(RecordEquality, DoublesCompareBitForBit) {
  navcore::KSLatLon a;
  navcore::KSLatLon b;
  a.latitude = DoubleOf(0x7FF8000000000000ull);
  b.latitude = DoubleOf(0x7FF8000000000000ull);
  EXPECT_EQ(a, b);
  b.latitude = DoubleOf(0xFFF8000000000000ull);
  EXPECT_NE(a, b);
  a.latitude = b.latitude = 0.0;
  b.longitude = -0.0;
  EXPECT_NE(a, b);
}

TEST(RecordEquality, ListsOfFloatsCompareBitForBit) {
  zv_navi_core::LocationUploadParam a;
  a.locations.resize(2);
  zv_navi_core::LocationUploadParam b = a;
  EXPECT_EQ(a, b);
  b.locations[1].speed = -0.0f;
  EXPECT_NE(a, b);
}

TEST(RecordEquality, InMemoryMembersAreNotCompared) {
  navkse::common::ClientParam a;
  navkse::common::ClientParam b;
  ASSERT_EQ(a, b);
  b.car_energy_type = 3;  // filled for the serializer, never written
  b.truck_flag = true;
  EXPECT_EQ(a, b);
}

}  // namespace

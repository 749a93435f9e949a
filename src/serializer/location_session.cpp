// The location-report session state and the random digits of its identifier.
#include "location_session.h"

#include <limits>
#include <random>
#include <utility>

#include "navreq/location_session.h"
#include "navreq/numeric.h"

namespace navreq {

namespace {

SessionDigitSource& DigitOverride() {
  thread_local SessionDigitSource current;
  return current;
}

// The engine's own draw: a fresh device reading seeds a 32-bit Mersenne
// Twister for every new identifier.
int RandomDigits() {
  std::random_device device("/dev/urandom");
  std::mt19937 generator(device());
  std::uniform_int_distribution<int> digits(0, 999);
  return digits(generator);
}

int NewSessionDigits() {
  const SessionDigitSource& source = DigitOverride();
  return source ? source() : RandomDigits();
}

}  // namespace

ScopedSessionDigits::ScopedSessionDigits(SessionDigitSource source) : previous_(std::move(DigitOverride())) {
  DigitOverride() = std::move(source);
}
ScopedSessionDigits::~ScopedSessionDigits() { DigitOverride() = std::move(previous_); }

SessionDigitSource SeededSessionDigits(std::uint64_t seed) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  constexpr std::uint64_t kAcceptBelow = kMax / 1000 * 1000;  // 2^64 is not a multiple of 1000
  return [generator = std::mt19937_64(seed)]() mutable {
    std::uint64_t x = generator();
    while (x >= kAcceptBelow) x = generator();
    return static_cast<int>(x % 1000);
  };
}

void StartFreshLocationSession() {
  namespace engine = ::zv_navi_core::drive_route_req_serializer;
  std::lock_guard<std::mutex> lock(engine::location_session_mutex());
  engine::g_session_id.clear();
  engine::loc_sesstion_id = 0;
  engine::report_sequence_num = 0;
}

}  // namespace navreq

namespace zv_navi_core {
namespace drive_route_req_serializer {

std::string g_session_id;
std::int64_t loc_sesstion_id = 0;
std::uint32_t report_sequence_num = 0;

std::mutex& location_session_mutex() {
  static std::mutex mutex;
  return mutex;
}

std::int64_t EnterLocationSessionLocked(const std::string& session, std::int64_t now_ms) {
  if (session != g_session_id) {
    const std::int64_t fresh = navreq::TimesThousandPlus(now_ms, navreq::NewSessionDigits());
    g_session_id = session;
    loc_sesstion_id = fresh;
  }
  return loc_sesstion_id;
}

std::uint32_t TakeSequenceNumberLocked() {
  return report_sequence_num++;  // unsigned: wraps at 2^32
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core

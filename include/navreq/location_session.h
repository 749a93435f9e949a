// The process-wide state of the location reports, and the seam for the random
// digits of a new session identifier.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace zv_navi_core {
namespace drive_route_req_serializer {

// Only the location upload changes these, and only while holding
// location_session_mutex(); StartFreshLocationSession() puts them back to
// their values at process start.
extern std::string g_session_id;           // last upload session seen
extern std::int64_t loc_sesstion_id;       // creation time in ms x 1000 + 3 random digits
extern std::uint32_t report_sequence_num;  // next report's sequence number
// Guards the three values above.
std::mutex& location_session_mutex();

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core

namespace navreq {

// Returns the three random decimal digits (0 to 999) of a new location session
// identifier; called once per new identifier, with location_session_mutex() held.
using SessionDigitSource = std::function<int()>;

// Replaces the digit source for the calling thread until the guard goes out of
// scope (guards nest; the innermost wins). Without one, each identifier seeds
// a 32-bit Mersenne Twister from "/dev/urandom" and draws 0 to 999 uniformly.
class ScopedSessionDigits {
 public:
  // Installs `source` for the calling thread.
  explicit ScopedSessionDigits(SessionDigitSource source);
  ~ScopedSessionDigits();
  ScopedSessionDigits(const ScopedSessionDigits&) = delete;
  ScopedSessionDigits& operator=(const ScopedSessionDigits&) = delete;

 private:
  SessionDigitSource previous_;
};

// Reproducible digits: successive outputs x of std::mt19937_64 seeded with
// `seed`, each taken as x mod 1000 after rejecting the x at or above the
// largest multiple of 1000 below 2^64 (so every digit triple is equally
// likely). The generator's output is fixed by the C++ standard and the
// reduction is plain arithmetic, so the digits are the same on every host.
[[nodiscard]] SessionDigitSource SeededSessionDigits(std::uint64_t seed);

// Starts a fresh location session, as a new engine process starts with one:
// g_session_id becomes empty, loc_sesstion_id 0 and report_sequence_num 0.
// The next upload then carries sequence number 0 and, for a non-empty
// session text, a new identifier whose digits come from the digit source in
// force at that upload (to draw the same digits again, install a new
// SeededSessionDigits source as well). Takes location_session_mutex(), so it
// is safe against concurrent uploads; the calling thread must not hold it.
void StartFreshLocationSession();

}  // namespace navreq

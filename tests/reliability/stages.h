// Matching a sequence of outcomes against the stages a request passes
// through, for the allocation-failure tests: the runs with allocation
// k = 1, 2, ... failing give one outcome each, and must split, in order, into
// stages of `min` to `max` consecutive equal outcomes.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace navreq {
namespace reliability {

constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

// A stage: `min` to `max` consecutive runs (in order of k) with this outcome.
struct Stage {
  std::string outcome;
  std::size_t min;
  std::size_t max;
};

inline Stage Exactly(std::string outcome, std::size_t n) { return Stage{std::move(outcome), n, n}; }
inline Stage AtLeastOne(std::string outcome) { return Stage{std::move(outcome), 1, kAny}; }
inline Stage AnyNumber(std::string outcome) { return Stage{std::move(outcome), 0, kAny}; }

// Whether the outcomes split into the stages, in order, each within its counts.
inline bool PassesThrough(const std::vector<std::string>& outcomes, const std::vector<Stage>& stages) {
  std::vector<char> reached(outcomes.size() + 1, 0);
  reached[0] = 1;
  for (const Stage& stage : stages) {
    std::vector<char> next(outcomes.size() + 1, 0);
    for (std::size_t start = 0; start <= outcomes.size(); ++start) {
      if (!reached[start]) continue;
      if (stage.min == 0) next[start] = 1;
      std::size_t n = 0;
      for (std::size_t j = start; j < outcomes.size() && outcomes[j] == stage.outcome && n < stage.max; ++j) {
        if (++n >= stage.min) next[j + 1] = 1;
      }
    }
    reached.swap(next);
  }
  return reached[outcomes.size()] != 0;
}

inline std::string Describe(const std::vector<std::string>& outcomes) {
  std::string text;
  for (std::size_t i = 0; i < outcomes.size();) {
    std::size_t j = i;
    while (j < outcomes.size() && outcomes[j] == outcomes[i]) ++j;
    text += "  k " + std::to_string(i + 1) + ".." + std::to_string(j) + ": " + outcomes[i] + "\n";
    i = j;
  }
  return text;
}

inline std::string Describe(const std::vector<Stage>& stages) {
  std::string text;
  for (const Stage& s : stages) {
    std::string count = std::to_string(s.min);
    if (s.max == kAny) {
      count += "+";
    } else if (s.max != s.min) {
      count += ".." + std::to_string(s.max);
    }
    text += "  " + count + " x " + s.outcome + "\n";
  }
  return text;
}

}  // namespace reliability
}  // namespace navreq

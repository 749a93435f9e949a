// `navreq batch`: many requests in one process, one answer line per input line.
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "kinds.h"
#include "navreq/engine/service_overrides.h"
#include "navreq/location_session.h"
#include "navreq/read/text.h"
#include "param_json.h"
#include "subcommands.h"
#include "tool_io.h"

namespace navreq {
namespace tool {

namespace {

using ordered_json = nlohmann::ordered_json;

// How the lines of a batch ended, for the summary line.
struct Tally {
  std::uint64_t lines = 0;
  std::uint64_t rc[3] = {0, 0, 0};
  std::uint64_t threw = 0;
  std::uint64_t invalid = 0;
};

// What one request left behind: its Log::record calls and its printed lines.
struct Capture {
  ordered_json log = ordered_json::array();
  ordered_json printed = ordered_json::array();
};

// Every answer line is built here: {"rc", "hex", "log", "printed"} and, when
// there is no result, "error".
std::string Answer(std::optional<int> rc, const std::vector<char>& bytes, Capture& capture,
                   const std::string* error) {
  ordered_json answer;
  answer["rc"] = rc ? ordered_json(*rc) : ordered_json(nullptr);
  answer["hex"] = HexOf(bytes.data(), bytes.size());
  answer["log"] = std::move(capture.log);
  answer["printed"] = std::move(capture.printed);
  if (error != nullptr) answer["error"] = *error;
  // Messages hold the engine's bytes as they are: invalid UTF-8 becomes U+FFFD.
  return answer.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

// The seeded digit source of the batch (none without --seed).
struct SessionDigits {
  std::optional<std::uint64_t> seed;
  std::unique_ptr<ScopedSessionDigits> installed;

  // Restarts the digits from the seed.
  void Restart() {
    if (!seed) return;
    installed.reset();  // the guards nest: drop the old one before the new one takes over
    installed = std::make_unique<ScopedSessionDigits>(SeededSessionDigits(*seed));
  }
};

// Runs one line and returns its answer.
std::string RunLine(const std::string& line, SessionDigits& digits, Tally& tally) {
  Capture capture;
  std::vector<char> bytes;
  std::optional<CallOutcome> outcome;
  std::string invalid;
  {
    services::ScopedLogSink log_sink([&capture](int level, int event, const std::string& message) {
      capture.log.push_back({level, event, message});
    });
    services::ScopedPrintSink print_sink(
        [&capture](const std::string& text) { capture.printed.push_back(text); });
    try {
      const json doc = ParseJsonDocument(line);
      if (!doc.is_object()) throw InputError("expected a JSON object with \"kind\", \"extra\" and \"param\"");
      const auto kind = doc.find("kind");
      if (kind == doc.end()) throw InputError("kind: missing");
      if (!kind->is_string()) throw InputError("kind: expected a string");
      std::optional<std::int64_t> now_ms;
      if (const auto now = doc.find("now_ms"); now != doc.end()) {
        std::int64_t value = 0;
        FromJson(*now, value, "now_ms");
        now_ms = value;
      }
      bool new_session = false;
      if (const auto fresh = doc.find("new_session"); fresh != doc.end())
        FromJson(*fresh, new_session, "new_session");
      const PreparedRequest request =
          PrepareFromObject(doc, kind->get<std::string>(), {"kind", "now_ms", "new_session"});
      // Only a valid line restarts the session: an invalid one changes nothing.
      if (new_session) {
        StartFreshLocationSession();
        digits.Restart();
      }
      std::unique_ptr<services::ScopedClock> clock;
      if (now_ms) clock = std::make_unique<services::ScopedClock>(*now_ms);
      outcome = Call(request, bytes);
    } catch (const std::exception& e) {  // invalid input (InputError), or no memory left to read it
      invalid = e.what();
    }
  }
  ++tally.lines;
  if (!outcome) {
    ++tally.invalid;
    bytes.clear();
    return Answer(std::nullopt, bytes, capture, &invalid);
  }
  if (outcome->threw) {
    ++tally.threw;
    return Answer(std::nullopt, bytes, capture, &outcome->what);
  }
  if (outcome->rc >= 0 && outcome->rc <= 2) ++tally.rc[outcome->rc];
  return Answer(outcome->rc, bytes, capture, nullptr);
}

}  // namespace

int RunBatch(const BatchOptions& options, std::ostream& out, std::ostream& err) {
  LineReader input;
  std::string error;
  if (!input.Open(options.input, error)) {
    err << "navreq batch: " << error << "\n";
    return kExitBadInput;
  }
  std::ofstream file;
  if (!options.output.empty()) {
    file.open(options.output, std::ios::binary | std::ios::trunc);
    if (!file) {
      err << "navreq batch: " << CannotWrite(options.output, errno) << "\n";
      return kExitCannotWrite;
    }
  }
  std::ostream& answers = options.output.empty() ? out : file;
  const std::string answers_name = options.output.empty() ? std::string("standard output") : options.output;
  SessionDigits digits{options.seed, nullptr};
  digits.Restart();

  Tally tally;
  int status = 0;
  // Each answer is flushed before the next line is read: memory stays that of
  // one line, and an interrupted batch leaves only complete answers.
  std::string line;
  while (input.Next(line, error)) {
    const std::string answer = RunLine(line, digits, tally);
    errno = 0;
    answers << answer << '\n';
    answers.flush();
    if (!answers) {
      error = CannotWrite(answers_name, errno);
      status = kExitCannotWrite;
      break;
    }
  }
  if (status == 0 && !error.empty()) status = kExitBadInput;  // the input failed part way
  if (status == 0 && file.is_open()) {
    errno = 0;
    file.close();
    if (!file) {
      error = CannotWrite(answers_name, errno);
      status = kExitCannotWrite;
    }
  }
  if (!error.empty()) err << "navreq batch: " << error << "\n";
  err << "navreq batch: " << tally.lines << " lines, " << tally.rc[0] << " rc 0, " << tally.rc[1] << " rc 1, "
      << tally.rc[2] << " rc 2, " << tally.threw << " threw, " << tally.invalid << " invalid\n";
  if (status == 0 && tally.invalid > 0) status = kExitBadInput;
  return status;
}

}  // namespace tool
}  // namespace navreq

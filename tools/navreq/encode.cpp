// `navreq encode`: one request from its parameter JSON.
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "subcommands.h"
#include "kinds.h"
#include "navreq/engine/service_overrides.h"
#include "navreq/engine/services.h"
#include "navreq/location_session.h"
#include "param_json.h"
#include "navreq/read/text.h"
#include "tool_io.h"

namespace navreq {
namespace tool {

namespace {

std::string LogLine(int level, int event, const std::string& message) {
  return "L" + std::to_string(level) + " E" + std::to_string(event) + " " + message + "\n";
}

}  // namespace

int RunEncode(const EncodeOptions& options, std::ostream& out, std::ostream& err) {
  std::string text;
  std::string error;
  if (!ReadAll(options.input, text, error)) {
    err << "navreq encode: " << error << "\n";
    return kExitBadInput;
  }
  std::unique_ptr<PreparedRequest> request;
  try {
    request = std::make_unique<PreparedRequest>(PrepareFromObject(ParseJsonDocument(text), options.kind, {}));
  } catch (const InputError& e) {
    err << "navreq encode: " << InputName(options.input) << ": " << e.what() << "\n";
    return kExitBadInput;
  }
  text = std::string();  // the parameters are read: release the document's text

  std::unique_ptr<services::ScopedClock> clock;
  if (options.now_ms) clock = std::make_unique<services::ScopedClock>(*options.now_ms);
  std::unique_ptr<ScopedSessionDigits> digits;
  if (options.seed) digits = std::make_unique<ScopedSessionDigits>(SeededSessionDigits(*options.seed));
  // With --log every line goes out as it comes. Without it, the error lines
  // are held back and shown only if the request fails: they say why.
  std::string held_back;
  services::ScopedLogSink log_sink(
      [&options, &err, &held_back](int level, int event, const std::string& message) {
        if (options.log) {
          err << LogLine(level, event, message);
        } else if (level >= zv_navi_core::kLevelError) {
          held_back += LogLine(level, event, message);
        }
      });
  // The fixed failure lines belong to the messages, never to the bytes.
  services::ScopedPrintSink print_sink([&err](const std::string& line) { err << line << "\n"; });

  std::vector<char> bytes;
  const CallOutcome outcome = Call(*request, bytes);
  if (outcome.threw || outcome.rc != 0) {
    err << held_back;
    if (outcome.threw) {
      err << "navreq encode: " << outcome.what << "\n";
      return kExitThrew;
    }
    err << "navreq encode: " << request->function << " returned " << outcome.rc << "\n";
  }

  if (!options.output.empty() && options.output != "-") {
    if (!WriteFileBytes(options.output, bytes.data(), bytes.size(), error)) {
      err << "navreq encode: " << error << "\n";
      return kExitCannotWrite;
    }
    return outcome.rc;
  }
  errno = 0;
  if (options.output == "-") {
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  } else {
    out << HexOf(bytes.data(), bytes.size()) << "\n";
  }
  out.flush();
  if (!out) {
    err << "navreq encode: " << CannotWrite("standard output", errno) << "\n";
    return kExitCannotWrite;
  }
  return outcome.rc;
}

}  // namespace tool
}  // namespace navreq

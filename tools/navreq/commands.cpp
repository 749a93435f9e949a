#include "commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "kinds.h"
#include "navreq/engine/service_overrides.h"
#include "param_json.h"
#include "text_util.h"

namespace navreq {
namespace tool {

namespace {

// The whole file, or standard input for "-". Read with stdio so that every
// failure (a directory, an I/O error) is a return value, never an exception.
bool ReadAll(const std::string& path, std::string& data, std::string& error) {
  const bool from_stdin = path == "-";
  const std::string name = from_stdin ? std::string("standard input") : path;
  std::FILE* file = from_stdin ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = "cannot read " + name + ": " + std::strerror(errno);
    return false;
  }
  data.clear();
  char chunk[65536];
  std::size_t n = 0;
  while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0) data.append(chunk, n);
  const bool failed = std::ferror(file) != 0;
  const int saved_errno = errno;
  if (!from_stdin) std::fclose(file);
  if (failed) {
    error = "cannot read " + name + ": " + std::strerror(saved_errno);
    return false;
  }
  return true;
}

bool WriteAll(const std::string& path, const char* data, std::size_t size, std::string& error) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file.write(data, static_cast<std::streamsize>(size));
  if (file) file.flush();
  if (!file) {
    error = "cannot write " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

// The entry function's result, or the exception's text.
struct CallOutcome {
  bool threw = false;
  int rc = 0;
  std::string what;
};

CallOutcome Call(const PreparedRequest& request, std::vector<char>& out) {
  CallOutcome outcome;
  try {
    outcome.rc = request.call(out);
  } catch (const std::exception& e) {
    outcome.threw = true;
    outcome.what = request.function + " threw: " + e.what();
  } catch (...) {
    outcome.threw = true;
    outcome.what = request.function + " threw a non-standard exception";
  }
  return outcome;
}

// One line of a batch, answered as one JSON object.
nlohmann::ordered_json RunBatchLine(const std::string& line) {
  nlohmann::ordered_json log = nlohmann::ordered_json::array();
  navreq::services::ScopedLogSink sink([&log](int level, int event, const std::string& message) {
    log.push_back({level, event, message});
  });
  nlohmann::ordered_json answer;
  std::vector<char> out;
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
    const PreparedRequest request = PrepareFromObject(doc, kind->get<std::string>(), {"kind", "now_ms"});
    std::unique_ptr<navreq::services::ScopedClock> clock;
    if (now_ms) clock = std::make_unique<navreq::services::ScopedClock>(*now_ms);
    const CallOutcome outcome = Call(request, out);
    if (outcome.threw) {
      answer["rc"] = nullptr;
      answer["hex"] = HexOf(out.data(), out.size());
      answer["log"] = log;
      answer["error"] = outcome.what;
      return answer;
    }
    answer["rc"] = outcome.rc;
  } catch (const std::exception& e) {  // invalid input (InputError), or no memory left for it
    answer["rc"] = nullptr;
    answer["hex"] = "";
    answer["log"] = log;
    answer["error"] = e.what();
    return answer;
  }
  answer["hex"] = HexOf(out.data(), out.size());
  answer["log"] = log;
  return answer;
}

}  // namespace

int RunEncode(const EncodeOptions& options, std::ostream& out, std::ostream& err) {
  const std::string source = options.input == "-" ? "standard input" : options.input;
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
    err << "navreq encode: " << source << ": " << e.what() << "\n";
    return kExitBadInput;
  }

  std::unique_ptr<navreq::services::ScopedClock> clock;
  if (options.now_ms) clock = std::make_unique<navreq::services::ScopedClock>(*options.now_ms);
  navreq::services::ScopedLogSink sink([&options, &err](int level, int event, const std::string& message) {
    if (options.log) err << "L" << level << " E" << event << " " << message << "\n";
  });

  std::vector<char> bytes;
  const CallOutcome outcome = Call(*request, bytes);
  if (outcome.threw) {
    err << "navreq encode: " << outcome.what << "\n";
    return kExitThrew;
  }
  if (options.output.empty()) {
    out << HexOf(bytes.data(), bytes.size()) << "\n";
    out.flush();
  } else if (!WriteAll(options.output, bytes.data(), bytes.size(), error)) {
    err << "navreq encode: " << error << "\n";
    return kExitCannotWrite;
  }
  return outcome.rc;
}

int RunBatch(const BatchOptions& options, std::ostream& out, std::ostream& err) {
  std::string text;
  std::string error;
  if (!ReadAll(options.input, text, error)) {
    err << "navreq batch: " << error << "\n";
    return kExitBadInput;
  }
  std::ofstream file;
  if (!options.output.empty()) {
    file.open(options.output, std::ios::binary | std::ios::trunc);
    if (!file) {
      err << "navreq batch: cannot write " << options.output << ": " << std::strerror(errno) << "\n";
      return kExitCannotWrite;
    }
  }
  std::ostream& sink = options.output.empty() ? out : file;

  // One answer per line, blank lines included, so that line numbers match;
  // a final newline does not open another line.
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    sink << RunBatchLine(line).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
    sink.flush();
    start = end + 1;
  }
  if (!sink) {
    err << "navreq batch: cannot write " << (options.output.empty() ? "standard output" : options.output)
        << "\n";
    return kExitCannotWrite;
  }
  return 0;
}

}  // namespace tool
}  // namespace navreq

#include "har_input.h"

#include <sys/stat.h>

#include <memory>
#include <utility>

#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "readback.h"
#include "subcommands.h"
#include "tool_io.h"

namespace navreq {
namespace tool {

namespace {

// `path` split into a file and an entry number when it ends in `#N` and no
// file has the whole name.
bool SplitEntry(const std::string& path, std::string& file, std::size_t& entry) {
  const std::size_t hash = path.rfind('#');
  if (hash == std::string::npos || hash == 0 || hash + 1 == path.size() || path.size() - hash > 10)
    return false;
  std::size_t n = 0;
  for (std::size_t i = hash + 1; i < path.size(); ++i) {
    if (path[i] < '0' || path[i] > '9') return false;
    n = n * 10 + static_cast<std::size_t>(path[i] - '0');
  }
  struct stat st {};
  if (stat(path.c_str(), &st) == 0) return false;
  file = path.substr(0, hash);
  entry = n;
  return true;
}

// The worst of two dump statuses: 1 (bytes not decoded) over 2 over 0.
int Worse(int a, int b) {
  if (a == 1 || b == 1) return 1;
  return a == 2 || b == 2 ? 2 : 0;
}

}  // namespace

std::string HarEntryLine(const HarEntry& entry) {
  std::string line = "entry " + std::to_string(entry.index) + ": " +
                     (entry.method.empty() ? "-" : entry.method) + " " +
                     (entry.url.empty() ? "-" : entry.url) + " (" + std::string(HarBodyFormName(entry.form));
  if (entry.gzip) line += ", gzip";
  if (entry.inflated_by_writer) line += ", inflated by the writer";
  return line + ")";
}

bool ReadRequestInput(const std::string& path, InputMode mode, RequestInput& input, std::string& error,
                      const std::string& raw_hint) {
  std::string file = path;
  std::size_t wanted = 0;
  const bool named = mode == InputMode::kDetect && SplitEntry(path, file, wanted);
  std::string data;
  if (!ReadAll(file, data, error)) return false;
  const std::string name = InputName(file);
  if (named || (mode == InputMode::kDetect && LooksLikeHar(data))) {
    if (!LooksLikeHar(data)) {
      error =
          path + ": #" + std::to_string(wanted) + " names a HAR entry, but " + name + " is not a HAR file";
      return false;
    }
    HarReading har = ReadHar(data);
    std::string().swap(data);
    if (!har.ok()) {
      error = name + ": " + *har.error;
      return false;
    }
    if (!named) {
      input.har = std::move(har);
      return true;
    }
    if (wanted >= har.entries.size()) {
      error = name + ": no entry " + std::to_string(wanted) + " (the HAR file has " +
              std::to_string(har.entries.size()) + " entries, from 0)";
      return false;
    }
    HarEntry& entry = har.entries[wanted];
    if (!entry.request()) {
      error = name + ": entry " + std::to_string(wanted) + " holds no request: " + entry.reason;
      return false;
    }
    input.bytes = std::move(entry.bytes);
    return true;
  }
  InputReading reading = ReadInput(std::move(data), mode);
  if (!reading.ok()) {
    error = name + ": " + reading.error->message + raw_hint;
    return false;
  }
  input.bytes = std::move(reading.bytes);
  return true;
}

int DumpHar(const HarReading& har, const DumpOptions& options, std::ostream& out, std::ostream& err) {
  const bool json = options.json;
  std::size_t requests = 0;
  int status = 0;
  bool first = true;
  if (json) out << "{\"entries\": [";
  for (const HarEntry& entry : har.entries) {
    if (json) {
      std::string head = first ? "\n" : ",\n";
      first = false;
      head += "{\"index\": ";
      AppendInt(head, static_cast<std::int64_t>(entry.index));
      head += ", \"method\": ";
      AppendJsonString(head, entry.method);
      head += ", \"url\": ";
      AppendJsonString(head, entry.url);
      if (!entry.request()) {
        head += ", \"skipped\": ";
        AppendJsonString(head, HarSkipName(entry.skip));
        head += ", \"reason\": ";
        AppendJsonString(head, entry.reason);
        out << head << "}";
      } else {
        head += ", \"form\": ";
        AppendJsonString(head, HarBodyFormName(entry.form));
        head += entry.gzip ? ", \"gzip\": true" : ", \"gzip\": false";
        head +=
            entry.inflated_by_writer ? ", \"inflated_by_writer\": true" : ", \"inflated_by_writer\": false";
        out << head << ", \"tree\": ";
      }
    }
    if (!entry.request()) {
      if (entry.skip == HarSkip::kDamaged || entry.skip == HarSkip::kNotInflated) status = Worse(status, 1);
      continue;
    }
    ++requests;
    if (!json) out << (requests > 1 ? "\n" : "") << HarEntryLine(entry) << "\n";
    const int entry_status =
        DumpWalk(entry.bytes, options, out, err, "entry " + std::to_string(entry.index) + ": ");
    if (json) out << ", \"status\": " << entry_status << "}";
    status = Worse(status, entry_status);
  }
  if (json) {
    out << "\n]}\n";
  } else {
    bool heading = false;
    for (const HarEntry& entry : har.entries) {
      if (entry.request()) continue;
      if (!heading) out << (requests > 0 ? "\n" : "") << "skipped:\n";
      heading = true;
      out << "  entry " << entry.index << ": " << (entry.method.empty() ? "-" : entry.method) << " "
          << (entry.url.empty() ? "-" : entry.url) << ": " << entry.reason << "\n";
    }
  }
  if (requests == 0) {
    err << "navreq dump: " << InputName(options.input) << ": no entry of the HAR file holds a request ("
        << har.entries.size() << " entries)\n";
    return kExitBadInput;
  }
  return status;
}

}  // namespace tool
}  // namespace navreq

#include "navreq/read/paths.h"

#include <charconv>

#include "navreq/read/text.h"
#include "navreq/request_reader.h"

namespace navreq {

namespace {

bool PlainKey(std::string_view key) {
  if (key.empty()) return false;
  for (char c : key) {
    const bool ok =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    if (!ok) return false;
  }
  return true;
}

// `*` within one level: any run of characters.
bool LevelMatches(const std::string& p, const std::string& s, std::size_t pi = 0, std::size_t si = 0) {
  while (pi < p.size()) {
    if (p[pi] == '*') {
      for (std::size_t k = si; k <= s.size(); ++k) {
        if (LevelMatches(p, s, pi + 1, k)) return true;
      }
      return false;
    }
    if (si >= s.size() || p[pi] != s[si]) return false;
    ++pi;
    ++si;
  }
  return si == s.size();
}

bool PrefixMatches(const std::vector<std::string>& p, std::size_t pi, const std::vector<std::string>& s,
                   std::size_t si) {
  if (pi == p.size()) return true;
  if (p[pi] == "**") {
    for (std::size_t k = si; k <= s.size(); ++k) {
      if (PrefixMatches(p, pi + 1, s, k)) return true;
    }
    return false;
  }
  if (si == s.size()) return false;
  const bool any = p[pi] == "*" || p[pi] == "[*]";
  if (!(any || LevelMatches(p[pi], s[si]))) return false;
  return PrefixMatches(p, pi + 1, s, si + 1);
}

}  // namespace

void AppendFieldLevel(std::string& path, const char* name, std::int64_t tag, bool first) {
  if (!first) path += '.';
  path += name != nullptr ? std::string(name) : std::to_string(tag);
}

void AppendIndexLevel(std::string& path, std::int64_t index) {
  path += '[';
  path += std::to_string(index);
  path += ']';
}

bool NumberedKey(std::string_view key, bool integer, std::int64_t& value) noexcept {
  if (!integer) return false;
  const auto r = std::from_chars(key.data(), key.data() + key.size(), value);
  return r.ec == std::errc() && r.ptr == key.data() + key.size();
}

void AppendKeyLevel(std::string& path, std::string_view key, bool integer) {
  std::int64_t k = 0;
  if (NumberedKey(key, integer, k)) {
    AppendIndexLevel(path, k);
    return;
  }
  path += '[';
  path += PlainKey(key) ? std::string(key) : Quote(key);
  path += ']';
}

void AppendProtobufLevel(std::string& path, std::uint64_t number, std::uint64_t repetition, bool first) {
  if (!first) path += '.';
  if (const char* name = StopEventFieldName(number)) {
    path += name;
  } else {
    path += '#';
    path += std::to_string(number);
  }
  if (repetition > 0) path += "[" + std::to_string(repetition) + "]";
}

void AppendUndecodedLevel(std::string& path, bool first) { path += first ? "<undecoded>" : ".<undecoded>"; }
void AppendEncodingLevel(std::string& path, bool first) { path += first ? "<encoding>" : ".<encoding>"; }

std::vector<std::string> PathLevels(const std::string& path) {
  std::vector<std::string> out;
  std::string cur;
  bool quoted = false;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char c = path[i];
    if (quoted) {
      cur += c;
      if (c == '\\' && i + 1 < path.size()) {
        cur += path[++i];
      } else if (c == '"') {
        quoted = false;
      }
      continue;
    }
    if (c == '"') {
      quoted = true;
      cur += c;
    } else if (c == '.') {
      if (!cur.empty()) out.push_back(cur);
      cur.clear();
    } else if (c == '[') {
      if (!cur.empty()) out.push_back(cur);
      cur = "[";
    } else if (c == ']') {
      cur += c;
      out.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) out.push_back(cur);
  return out;
}

bool LevelsMatch(const std::vector<std::string>& pattern, const std::vector<std::string>& path) {
  return PrefixMatches(pattern, 0, path, 0);
}

}  // namespace navreq

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "diff_tree.h"
#include "navreq/read/diff.h"

namespace navreq {
namespace diff_detail {

namespace {

void Flatten(const Tree& t, std::uint32_t i, std::string& path,
             std::vector<std::pair<std::string, std::string>>& out) {
  const bool first = t.nodes[i].segment == Node::kRoot;
  for (std::uint32_t c = i + 1; c < t.nodes[i].end; c = t.nodes[c].end) {
    const std::size_t mark = path.size();
    path += SegmentText(t, t.nodes[c], first);
    const Node& n = t.nodes[c];
    out.emplace_back(path, n.value == Node::kNone ? std::string() : Shown(t, n));
    if (n.value == Node::kNone) Flatten(t, c, path, out);
    path.resize(mark);
  }
}

}  // namespace

}  // namespace diff_detail

std::vector<std::pair<std::string, std::string>> FlattenRequest(const std::string& bytes) {
  const diff_detail::Tree tree = diff_detail::Collect(bytes);
  std::vector<std::pair<std::string, std::string>> out;
  std::string path;
  if (!tree.nodes.empty()) diff_detail::Flatten(tree, 0, path, out);
  return out;
}

std::string DifferenceLine(const Difference& d) {
  if (d.only_a) return d.path + ": only in A";
  if (d.only_b) return d.path + ": only in B";
  return d.path + ": " + d.a + " -> " + d.b;
}

std::string DifferencesJson(const std::vector<Difference>& diffs, bool with_lines) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Difference& d : diffs) {
    nlohmann::ordered_json item;
    item["path"] = d.path;
    auto value = [](bool present, const std::string& text, bool number) -> nlohmann::ordered_json {
      if (!present) return nullptr;
      if (number) {
        const auto parsed = nlohmann::ordered_json::parse(text, nullptr, false);
        if (!parsed.is_discarded()) return parsed;
      }
      return text;
    };
    item["a"] = value(!d.only_b, d.a, d.a_number);
    item["b"] = value(!d.only_a, d.b, d.b_number);
    if (with_lines) item["line"] = DifferenceLine(d);
    list.push_back(std::move(item));
  }
  return list.dump(with_lines ? -1 : 2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace navreq

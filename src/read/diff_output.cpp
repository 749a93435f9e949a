#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "diff_tree.h"
#include "navreq/read/diff.h"

namespace navreq {
namespace diff_detail {

namespace {

void Flatten(const Tree& t, const View& v, std::string& path,
             std::vector<std::pair<std::string, std::string>>& out) {
  const bool first = v.node.segment == Node::kRoot;
  for (std::uint32_t c = v.children; c < v.end;) {
    const View child = t.view(c);
    const std::size_t mark = path.size();
    path += SegmentText(child, first);
    const bool leaf = child.node.value != Node::kNone;
    out.emplace_back(path, leaf ? Shown(child) : std::string());
    if (!leaf) Flatten(t, child, path, out);
    path.resize(mark);
    c = child.end;
  }
}

nlohmann::ordered_json JsonValue(bool present, const std::string& text, bool number) {
  if (!present) return nullptr;
  if (number) {
    const auto parsed = nlohmann::ordered_json::parse(text, nullptr, false);
    if (!parsed.is_discarded()) return parsed;
  }
  return text;
}

}  // namespace

}  // namespace diff_detail

std::vector<std::pair<std::string, std::string>> FlattenRequest(const std::string& bytes) {
  diff_detail::Tree tree;
  {
    diff_detail::TreeBuilder builder(tree);
    (void)Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), builder);
  }
  std::vector<std::pair<std::string, std::string>> out;
  std::string path;
  if (!tree.empty()) diff_detail::Flatten(tree, tree.view(0), path, out);
  return out;
}

std::string DifferenceLine(const Difference& d) {
  if (d.only_a) return d.path + ": only in A";
  if (d.only_b) return d.path + ": only in B";
  return d.path + ": " + d.a + " -> " + d.b;
}

std::vector<std::string> DiffTroubleLines(const DiffReport& report) {
  std::vector<std::string> lines;
  if (report.a.status != 0) lines.push_back("A: " + report.a.problem);
  if (report.b.status != 0) lines.push_back("B: " + report.b.problem);
  if (report.kind_mismatch) {
    lines.push_back("A is " + report.a.kind + ", B is " + report.b.kind +
                    ": requests of different commands (--force compares them all the same)");
  }
  return lines;
}

void DifferencesJsonWriter::add(const Difference& d) {
  nlohmann::ordered_json item;
  item["path"] = d.path;
  item["a"] = diff_detail::JsonValue(!d.only_b, d.a, d.a_number);
  item["b"] = diff_detail::JsonValue(!d.only_a, d.b, d.b_number);
  if (with_lines_) item["line"] = DifferenceLine(d);
  const auto replace = nlohmann::ordered_json::error_handler_t::replace;
  if (with_lines_) {
    out_ << (any_ ? "," : "[") << item.dump(-1, ' ', false, replace);
  } else {
    // The array indented by two, as a whole array dumped with indent 2 is:
    // every line of the item two deeper.
    const std::string text = item.dump(2, ' ', false, replace);
    out_ << (any_ ? ",\n  " : "[\n  ");
    std::size_t from = 0;
    for (std::size_t nl = text.find('\n'); nl != std::string::npos; nl = text.find('\n', from)) {
      out_.write(text.data() + from, static_cast<std::streamsize>(nl + 1 - from));
      out_ << "  ";
      from = nl + 1;
    }
    out_ << std::string_view(text).substr(from);
  }
  any_ = true;
}

void DifferencesJsonWriter::finish() {
  if (!any_) {
    out_ << "[]";
  } else {
    out_ << (with_lines_ ? "]" : "\n]");
  }
}

std::string DifferencesJson(const std::vector<Difference>& diffs, bool with_lines) {
  std::ostringstream out;
  DifferencesJsonWriter writer(out, with_lines);
  for (const Difference& d : diffs) writer.add(d);
  writer.finish();
  return out.str();
}

}  // namespace navreq

// Printing a dump: the indented text tree and its JSON twin.
#include <charconv>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "dump.h"
#include "text_util.h"

namespace navreq {
namespace tool {

namespace {

using ordered_json = nlohmann::ordered_json;

constexpr std::size_t kHexBytesPerLine = 32;
constexpr std::size_t kInlineBytes = 32;

bool IsIntegerWire(std::uint8_t wire) noexcept {
  return wire <= ::navcore::ryn::kKseInt64 || wire == ::navcore::ryn::kKseZero;
}

// Declared types of the elements of a container type: "list<Point>" gives
// "Point"; "map<string,bytes>" gives "string" (key) and "bytes" (value).
struct ElementTypes {
  std::string key;
  std::string value;
};

ElementTypes ElementsOf(const std::string& declared) {
  ElementTypes out;
  if (declared.rfind("list<", 0) == 0 && declared.back() == '>') {
    out.value = declared.substr(5, declared.size() - 6);
  } else if (declared.rfind("map<", 0) == 0 && declared.back() == '>') {
    const std::string inner = declared.substr(4, declared.size() - 5);
    int depth = 0;
    for (std::size_t i = 0; i < inner.size(); ++i) {
      if (inner[i] == '<') ++depth;
      if (inner[i] == '>') --depth;
      if (inner[i] == ',' && depth == 0) {
        out.key = inner.substr(0, i);
        out.value = inner.substr(i + 1);
        break;
      }
    }
  }
  return out;
}

std::string FormatReal(const Node& node) {
  const double v = node.real;
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v < 0 ? "-inf" : "inf";
  char buf[64];
  // A float field prints the shortest text that reads back as the same float.
  const auto result = node.wire == ::navcore::ryn::kKseFloat
                          ? std::to_chars(buf, buf + sizeof buf, static_cast<float>(v))
                          : std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, result.ptr);
}

std::string WhatEmbeddedHolds(const Embedded& e) {
  if (e.is_protobuf) return "protocol-buffers message (read without its schema)";
  if (e.kse.record != nullptr) return e.kse.record->name;
  return "Kse fields";
}

// "gzip, 4567 bytes inflated -> CarRouteReq"
std::string EmbeddedSummary(const Embedded& e) {
  std::string out;
  if (e.gzip) {
    if (!e.gzip_error.empty()) return "gzip stream that does not inflate";
    out = "gzip, " + std::to_string(e.inflated) + " bytes inflated -> ";
  } else {
    out = "-> ";
  }
  return out + WhatEmbeddedHolds(e);
}

// ---- Text ----

class TextPrinter {
 public:
  std::string take() { return std::move(out_); }

  void top(const DumpResult& r) {
    if (r.size == 0) {
      out_ += "empty input: nothing to decode\n";
      return;
    }
    if (r.gzip && r.gzip_error.empty()) {
      out_ += "gzip stream, " + std::to_string(r.size) + " bytes, " + std::to_string(r.inflated) +
              " bytes inflated\n";
    }
    const char* what = r.kse.record != nullptr ? r.kse.record->name : "Kse fields (no envelope recognised)";
    if (r.gzip && !r.gzip_error.empty()) what = "gzip stream";
    out_ += std::string(what) + ", " + std::to_string(r.kse.size) + " bytes\n";
    embedded(r, 1);
  }

 private:
  void line(int indent, const std::string& text) {
    out_.append(static_cast<std::size_t>(2 * indent), ' ');
    out_ += text;
    out_ += '\n';
  }

  void hexLines(int indent, const std::string& bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += kHexBytesPerLine) {
      line(indent, HexOf(bytes.substr(i, kHexBytesPerLine)));
    }
  }

  void decoded(const Decoded& d, int indent) {
    for (const Node& field : d.fields) node(field, indent, FieldLabel(field), FieldType(field));
    if (d.complete) return;
    line(indent, "! decoding stopped at offset " + std::to_string(d.stop_offset) + ": " + d.error);
    line(indent, "! undecoded rest, " + std::to_string(d.rest.size()) + " bytes:");
    hexLines(indent + 1, d.rest);
  }

  void protobuf(const PbDecoded& p, int indent) {
    for (const PbField& f : p.fields) {
      std::string text = "#" + std::to_string(f.number) + " ";
      switch (f.wire) {
        case 0:
          text += "varint: " + std::to_string(f.value);
          break;
        case 1:
          text += "fixed64: " + std::to_string(f.value);
          break;
        case 5:
          text += "fixed32: " + std::to_string(f.value);
          break;
        default:
          text += "bytes[" + std::to_string(f.bytes.size()) + "]: " + BytesInline(f.bytes);
          break;
      }
      line(indent, text);
    }
    if (p.complete) return;
    line(indent, "! not a standard message from offset " + std::to_string(p.stop_offset) + ": " + p.error);
    line(indent, "! rest, " + std::to_string(p.rest.size()) + " bytes:");
    hexLines(indent + 1, p.rest);
  }

  void embedded(const Embedded& e, int indent) {
    if (e.is_protobuf) {
      protobuf(e.protobuf, indent);
    } else {
      decoded(e.kse, indent);
    }
  }

  static std::string FieldType(const Node& node) {
    return node.field != nullptr ? node.field->typeName() : std::string();
  }

  static std::string FieldLabel(const Node& node) {
    std::string label = std::to_string(node.tag);
    if (node.field != nullptr) label += std::string(" ") + node.field->name;
    return label;
  }

  static std::string BytesInline(const std::string& bytes) {
    if (bytes.empty()) return "(empty)";
    std::string text = HexOf(bytes);
    if (IsPrintableText(bytes)) text += " " + Quote(bytes);
    return text;
  }

  // The type column: the declared type where the record is known (flagged
  // when the wire disagrees), else what the wire says.
  static std::string TypeText(const Node& node, const std::string& declared) {
    std::string type;
    if (!declared.empty()) {
      type = declared;
      if (!WireMatchesDeclared(node.wire, declared.c_str())) {
        type += std::string(" (wire ") + WireTypeName(node.wire) + "!)";
      }
    } else if (node.wire == ::navcore::ryn::kKseStructBegin && node.record != nullptr) {
      type = node.record->name;
    } else {
      type = WireTypeName(node.wire);
    }
    if (node.wire == ::navcore::ryn::kKseList || node.wire == ::navcore::ryn::kKseMap ||
        node.wire == ::navcore::ryn::kKseSimpleList) {
      type +=
          "[" + std::to_string(node.ubytes ? static_cast<std::int64_t>(node.bytes.size()) : node.count) + "]";
    }
    return type;
  }

  static std::string ScalarText(const Node& node, const std::string& declared) {
    if (IsIntegerWire(node.wire)) {
      if (declared == "bool" && (node.integer == 0 || node.integer == 1)) {
        return node.integer != 0 ? "true" : "false";
      }
      return std::to_string(node.integer);
    }
    if (node.wire == ::navcore::ryn::kKseFloat || node.wire == ::navcore::ryn::kKseDouble)
      return FormatReal(node);
    return Quote(node.bytes);  // strings
  }

  // A map key as a label: [12] or ["toGuidance"].
  static bool KeyLabel(const Node& key, std::string& label) {
    if (IsIntegerWire(key.wire)) {
      label = "[" + std::to_string(key.integer) + "]";
      return true;
    }
    if (key.wire == ::navcore::ryn::kKseString1 || key.wire == ::navcore::ryn::kKseString4) {
      label = "[" + Quote(key.bytes) + "]";
      return true;
    }
    return false;
  }

  void bytesValue(const Node& node, int indent, const std::string& head) {
    if (node.embedded != nullptr) {
      line(indent, head + ": " + EmbeddedSummary(*node.embedded));
      embedded(*node.embedded, indent + 1);
    } else if (node.bytes.size() <= kInlineBytes) {
      line(indent, head + ": " + BytesInline(node.bytes));
    } else {
      line(indent, head + ":");
      hexLines(indent + 1, node.bytes);
    }
  }

  void node(const Node& n, int indent, const std::string& label, const std::string& declared) {
    std::string head = label + " " + TypeText(n, declared);
    const ElementTypes elements = ElementsOf(declared);
    if (!n.complete) head += " (incomplete)";
    switch (n.wire) {
      case ::navcore::ryn::kKseStructBegin:
        line(indent, head);
        for (const Node& field : n.items) node(field, indent + 1, FieldLabel(field), FieldType(field));
        return;
      case ::navcore::ryn::kKseSimpleList:
        if (!n.complete) {
          line(indent, head);
          return;
        }
        bytesValue(n, indent, head);
        return;
      case ::navcore::ryn::kKseList:
        if (n.ubytes) {
          bytesValue(n, indent, head);
          return;
        }
        line(indent, head);
        for (std::size_t i = 0; i < n.items.size(); ++i) {
          node(n.items[i], indent + 1, "[" + std::to_string(i) + "]", elements.value);
        }
        return;
      case ::navcore::ryn::kKseMap:
        line(indent, head);
        for (std::size_t i = 0; i < n.items.size(); i += 2) {
          std::string key_label;
          if (i + 1 < n.items.size() && KeyLabel(n.items[i], key_label)) {
            node(n.items[i + 1], indent + 1, key_label, elements.value);
          } else {
            node(n.items[i], indent + 1, "key", elements.key);
            if (i + 1 < n.items.size()) node(n.items[i + 1], indent + 1, "value", elements.value);
          }
        }
        return;
      default:
        if (!n.complete) {
          line(indent, head);
          return;
        }
        line(indent, head + ": " + ScalarText(n, declared));
        return;
    }
  }

  std::string out_;
};

// ---- JSON ----

ordered_json RealJson(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v < 0 ? "-Infinity" : "Infinity";
  return v;
}

ordered_json TextJson(const std::string& bytes) {
  return ValidUtf8(bytes) ? ordered_json(bytes) : ordered_json();
}

ordered_json DecodedJson(const Decoded& d);
ordered_json EmbeddedJson(const Embedded& e);
ordered_json NodeJson(const Node& n, const std::string& declared, bool is_field);

ordered_json FieldJson(const Node& n) {
  return NodeJson(n, n.field != nullptr ? n.field->typeName() : std::string(), true);
}

ordered_json NodeJson(const Node& n, const std::string& declared, bool is_field) {
  ordered_json j;
  if (is_field) j["tag"] = n.tag;
  j["offset"] = n.offset;
  if (n.field != nullptr) j["name"] = n.field->name;
  const ElementTypes elements = ElementsOf(declared);
  if (!declared.empty()) {
    j["type"] = declared;
    if (!WireMatchesDeclared(n.wire, declared.c_str())) j["type_mismatch"] = true;
  } else if (n.wire == ::navcore::ryn::kKseStructBegin && n.record != nullptr) {
    j["type"] = n.record->name;
  }
  j["wire"] = WireTypeName(n.wire);
  if (!n.complete) j["complete"] = false;
  switch (n.wire) {
    case ::navcore::ryn::kKseStructBegin: {
      j["record"] = n.record != nullptr ? ordered_json(n.record->name) : ordered_json();
      ordered_json fields = ordered_json::array();
      for (const Node& f : n.items) fields.push_back(FieldJson(f));
      j["fields"] = std::move(fields);
      break;
    }
    case ::navcore::ryn::kKseList:
    case ::navcore::ryn::kKseMap:
      j["count"] = n.count;
      if (n.ubytes) {
        j["size"] = n.bytes.size();
        j["hex"] = HexOf(n.bytes);
        if (n.embedded != nullptr) j["embedded"] = EmbeddedJson(*n.embedded);
      } else if (n.wire == ::navcore::ryn::kKseList) {
        ordered_json items = ordered_json::array();
        for (const Node& item : n.items) items.push_back(NodeJson(item, elements.value, false));
        j["items"] = std::move(items);
      } else {
        ordered_json entries = ordered_json::array();
        for (std::size_t i = 0; i < n.items.size(); i += 2) {
          ordered_json entry;
          entry["key"] = NodeJson(n.items[i], elements.key, false);
          if (i + 1 < n.items.size()) entry["value"] = NodeJson(n.items[i + 1], elements.value, false);
          entries.push_back(std::move(entry));
        }
        j["entries"] = std::move(entries);
      }
      break;
    case ::navcore::ryn::kKseSimpleList:
      j["size"] = n.bytes.size();
      j["hex"] = HexOf(n.bytes);
      if (n.embedded != nullptr) j["embedded"] = EmbeddedJson(*n.embedded);
      break;
    case ::navcore::ryn::kKseFloat:
    case ::navcore::ryn::kKseDouble:
      if (n.complete) j["value"] = RealJson(n.real);
      break;
    case ::navcore::ryn::kKseString1:
    case ::navcore::ryn::kKseString4:
      if (!n.complete) break;
      j["value"] = TextJson(n.bytes);
      if (!ValidUtf8(n.bytes)) j["hex"] = HexOf(n.bytes);
      break;
    default:
      if (!n.complete) break;
      if (declared == "bool" && (n.integer == 0 || n.integer == 1)) {
        j["value"] = n.integer != 0;
      } else {
        j["value"] = n.integer;
      }
      break;
  }
  return j;
}

ordered_json DecodedJson(const Decoded& d) {
  ordered_json j;
  j["record"] = d.record != nullptr ? ordered_json(d.record->name) : ordered_json();
  j["size"] = d.size;
  j["complete"] = d.complete;
  ordered_json fields = ordered_json::array();
  for (const Node& f : d.fields) fields.push_back(FieldJson(f));
  j["fields"] = std::move(fields);
  if (!d.complete) {
    j["error"] = {{"offset", d.stop_offset}, {"message", d.error}, {"rest", HexOf(d.rest)}};
  }
  return j;
}

ordered_json ProtobufJson(const PbDecoded& p) {
  ordered_json j;
  j["size"] = p.size;
  j["complete"] = p.complete;
  ordered_json fields = ordered_json::array();
  for (const PbField& f : p.fields) {
    ordered_json field;
    field["offset"] = f.offset;
    field["number"] = f.number;
    field["wire"] = f.wire;
    if (f.wire == 2) {
      field["size"] = f.bytes.size();
      field["hex"] = HexOf(f.bytes);
      if (ValidUtf8(f.bytes)) field["text"] = f.bytes;
    } else {
      field["value"] = f.value;
    }
    fields.push_back(std::move(field));
  }
  j["fields"] = std::move(fields);
  if (!p.complete) {
    j["error"] = {{"offset", p.stop_offset}, {"message", p.error}, {"rest", HexOf(p.rest)}};
  }
  return j;
}

ordered_json EmbeddedJson(const Embedded& e) {
  ordered_json j;
  j["size"] = e.size;
  j["gzip"] = e.gzip;
  if (e.gzip) {
    if (e.gzip_error.empty()) {
      j["inflated"] = e.inflated;
    } else {
      j["gzip_error"] = e.gzip_error;
    }
  }
  if (e.is_protobuf) {
    j["protobuf"] = ProtobufJson(e.protobuf);
  } else {
    j["kse"] = DecodedJson(e.kse);
  }
  return j;
}

}  // namespace

std::string RenderText(const DumpResult& result) {
  TextPrinter printer;
  printer.top(result);
  return printer.take();
}

std::string RenderJson(const DumpResult& result) {
  ordered_json j = EmbeddedJson(result);
  j["complete"] = DumpComplete(result);
  return j.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace tool
}  // namespace navreq

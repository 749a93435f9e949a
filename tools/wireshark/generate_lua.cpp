// Writes the packet dissector (navreq.lua) from the record declarations: one
// ProtoField per declared field, named navreq.<Record>.<field>, so that the
// dissector never keeps a list of fields of its own. The dissector's logic is
// the template; this program fills in its fields and the tool's path.
//
//   navreq_lua_generator TEMPLATE OUT TOOL
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "navreq/kse/reflection.h"
#include "navreq/records/all.h"
#include "navreq/request_reader.h"

namespace {

using navcore::ryn::FieldInfo;
using navcore::ryn::RecordInfo;
using navcore::ryn::TypeInfo;
using navcore::ryn::WireKind;

// A Lua string literal.
std::string Quote(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\%03u", static_cast<unsigned>(static_cast<unsigned char>(c)));
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

// What the dissector adds for a value of each kind. Every integer kind is
// shown as a 64-bit integer: the wire carries any integer form in any field,
// and a value outside the declared range is reported, not cut.
const char* LuaKind(WireKind kind) {
  if (navcore::ryn::isIntegerKind(kind)) return "int";
  switch (kind) {
    case WireKind::kFloat:
    case WireKind::kDouble:
      return "real";
    case WireKind::kString:
      return "string";
    case WireKind::kBytes:
    case WireKind::kUBytes:
      return "bytes";
    case WireKind::kList:
      return "list";
    case WireKind::kMap:
      return "map";
    default:
      return "record";
  }
}

std::string ProtoFieldCall(const std::string& abbr, const std::string& label, const std::string& kind,
                           const std::string& description) {
  const std::string a = Quote(abbr);
  const std::string l = Quote(label);
  const std::string d = Quote(description);
  if (kind == "int") return "ProtoField.int64(" + a + ", " + l + ", base.DEC, nil, nil, " + d + ")";
  if (kind == "real") return "ProtoField.double(" + a + ", " + l + ", " + d + ")";
  if (kind == "string") return "ProtoField.string(" + a + ", " + l + ", base.UNICODE, " + d + ")";
  if (kind == "bytes") return "ProtoField.bytes(" + a + ", " + l + ", base.NONE, " + d + ")";
  if (kind == "record") return "ProtoField.none(" + a + ", " + l + ", " + d + ")";
  // A list or a map: its count; the items are fields of their own below.
  return "ProtoField.uint32(" + a + ", " + l + ", base.DEC, nil, nil, " + d + ")";
}

class Writer {
 public:
  // One field and, for a container, its items: ABBR.item for a list's
  // elements, ABBR.key and ABBR.value for a map's entries.
  bool add(const std::string& abbr, const std::string& label, const TypeInfo& type,
           const std::string& where) {
    const std::string kind = LuaKind(type.kind);
    if (!define(abbr, label, kind, where + " (" + type.name() + ")")) return false;
    if (type.kind == WireKind::kRecord)
      records_ << "R[" << Quote(abbr) << "] = " << Quote(type.record().name) << "\n";
    if (type.kind == WireKind::kList)
      return add(abbr + ".item", label + " item", *type.element, where + " item");
    if (type.kind == WireKind::kMap) {
      return add(abbr + ".key", label + " key", *type.key, where + " key") &&
             add(abbr + ".value", label + " value", *type.element, where + " value");
    }
    return true;
  }

  bool define(const std::string& abbr, const std::string& label, const std::string& kind,
              const std::string& description) {
    const auto seen = kinds_.find(abbr);
    if (seen != kinds_.end()) {
      // Two records of one name (in two wire namespaces) must agree.
      if (seen->second == kind) return true;
      std::cerr << "navreq_lua_generator: " << abbr << " declared as " << seen->second << " and as " << kind
                << "\n";
      return false;
    }
    kinds_.emplace(abbr, kind);
    fields_ << "F[" << Quote(abbr) << "] = " << ProtoFieldCall(abbr, label, kind, description) << "\n"
            << "K[" << Quote(abbr) << "] = " << Quote(kind) << "\n";
    return true;
  }

  bool addRecord(const RecordInfo& info) {
    for (const FieldInfo& field : info) {
      const std::string where = std::string(info.name) + " tag " + std::to_string(field.tag);
      if (!add(std::string("navreq.") + info.name + "." + field.name, field.name, *field.type, where))
        return false;
    }
    return true;
  }

  std::string text() const { return fields_.str() + records_.str(); }

 private:
  std::map<std::string, std::string> kinds_;
  std::ostringstream fields_;
  std::ostringstream records_;
};

// The stop event's message fields, by the C++ type of their StopEvent member.
template <class T>
struct MessageKind {
  static constexpr const char* value = "int";
};
template <>
struct MessageKind<std::string> {
  static constexpr const char* value = "string";
};
// The attribute map's keys and values, each a field of the member's number.
template <>
struct MessageKind<navreq::StopEventAttributes> {
  static constexpr const char* value = "string";
};

bool AddStopEvent(Writer& writer) {
  using navreq::StopEventAttributes;
  bool ok = true;
#define NAVREQ_LUA_STOP_FIELD_(NUMBER, MEMBER, TYPE, DEFAULT)                              \
  ok = ok && writer.define("navreq.StopEvent." #MEMBER, #MEMBER, MessageKind<TYPE>::value, \
                           "StopEvent field " #NUMBER);
  NAVREQ_STOP_EVENT_FIELDS(NAVREQ_LUA_STOP_FIELD_)
#undef NAVREQ_LUA_STOP_FIELD_
  return ok;
}

bool ReplaceOnce(std::string& text, const std::string& marker, const std::string& with) {
  const std::size_t at = text.find(marker);
  if (at == std::string::npos || text.find(marker, at + 1) != std::string::npos) {
    std::cerr << "navreq_lua_generator: the template must hold " << marker << " once\n";
    return false;
  }
  text.replace(at, marker.size(), with);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: navreq_lua_generator TEMPLATE OUT TOOL\n";
    return 64;
  }
  std::ifstream in(argv[1], std::ios::binary);
  std::stringstream template_text;
  template_text << in.rdbuf();
  if (!in) {
    std::cerr << "navreq_lua_generator: cannot read " << argv[1] << "\n";
    return 66;
  }
  Writer writer;
  bool ok = true;
#define NAVREQ_LUA_RECORD_(R) ok = ok && writer.addRecord(R::kseInfo());
  NAVKSE_ALL_RECORDS(NAVREQ_LUA_RECORD_)
#undef NAVREQ_LUA_RECORD_
  ok = ok && AddStopEvent(writer);
  if (!ok) return 65;

  std::string text = template_text.str();
  if (!ReplaceOnce(text, "--@NAVREQ_FIELDS@\n", writer.text()) ||
      !ReplaceOnce(text, "@NAVREQ_TOOL@", Quote(argv[3]))) {
    return 65;
  }
  std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) {
    std::cerr << "navreq_lua_generator: cannot write " << argv[2] << "\n";
    return 73;
  }
  return 0;
}

// Writes the package's record classes from the records' own declarations:
// the wire records through their reflection (RecordInfo, FieldInfo,
// TypeInfo), the engine parameter records and the stop event through
// forEachField. Each class is a table of fields (name, tag, type) that
// navreq/_record.py interprets; the .pyi stubs give the same fields their
// Python types. No field is named here.
//
//   navreq_pygen OUTDIR   writes OUTDIR/records/... and OUTDIR/params.py(i)
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/engine/params.h"
#include "navreq/kse/reflection.h"
#include "navreq/params_json.h"
#include "navreq/records/all.h"
#include "navreq/request_reader.h"

namespace {

using ::navcore::ryn::FieldInfo;
using ::navcore::ryn::RecordInfo;
using ::navcore::ryn::TypeInfo;
using ::navcore::ryn::WireKind;

// Where a class lives: its Python module and its name there.
struct Place {
  std::string module;     // "navreq.records.routesearch"
  std::string name;       // "CarRouteReq"
  std::string qualified;  // the package's record name: "routesearch.CarRouteReq"
};

Place WirePlace(const char* cpp) {
  std::string q(cpp);
  q = q.substr(std::string("::navkse::").size());
  std::vector<std::string> parts;
  for (std::size_t at = 0;;) {
    const std::size_t next = q.find("::", at);
    parts.push_back(q.substr(at, next == std::string::npos ? std::string::npos : next - at));
    if (next == std::string::npos) break;
    at = next + 2;
  }
  Place p;
  p.name = parts.back();
  p.module = "navreq.records";
  for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
    p.module += "." + parts[i];
    p.qualified += parts[i] + ".";
  }
  p.qualified += p.name;
  return p;
}

struct WireEntry {
  Place place;
  const RecordInfo* info;
};

std::vector<WireEntry> WireRecords() {
  std::vector<WireEntry> all;
#define NAVREQ_GEN_WIRE_(T) all.push_back({WirePlace(#T), &T::kseInfo()});
  NAVKSE_ALL_RECORDS(NAVREQ_GEN_WIRE_)
#undef NAVREQ_GEN_WIRE_
  return all;
}

const Place& PlaceOf(const RecordInfo& info) {
  static const std::vector<WireEntry> all = WireRecords();
  for (const WireEntry& e : all) {
    if (e.info == &info) return e.place;
  }
  std::cerr << "navreq_pygen: record " << info.name << " is not in NAVKSE_ALL_RECORDS\n";
  std::exit(1);
}

// A reference to a class from the module `from`: its bare name there, else
// through the module's alias (added to `imports`).
std::string Alias(const std::string& module) {
  std::string a = "_" + module.substr(std::string("navreq.").size());
  for (char& c : a) {
    if (c == '.') c = '_';
  }
  return a;
}
std::string RefFrom(const Place& to, const std::string& from, std::set<std::string>& imports) {
  if (to.module == from) return to.name;
  imports.insert(to.module);
  return Alias(to.module) + "." + to.name;
}

std::string Shape(const TypeInfo& t) {
  switch (t.kind) {
    case WireKind::kBool:
      return "(\"bool\",)";
    case WireKind::kFloat:
      return "(\"float32\",)";
    case WireKind::kDouble:
      return "(\"float64\",)";
    case WireKind::kString:
      return "(\"string\",)";
    case WireKind::kBytes:
      return "(\"bytes\",)";
    case WireKind::kUBytes:
      return "(\"ubytes\",)";
    case WireKind::kList:
      return "(\"list\", " + Shape(*t.element) + ")";
    case WireKind::kMap:
      return "(\"map\", " + Shape(*t.key) + ", " + Shape(*t.element) + ")";
    case WireKind::kRecord: {
      const Place& p = PlaceOf(t.record());
      return "(\"record\", \"" + p.module + "\", \"" + p.name + "\")";
    }
    default:
      return "(\"int\", " + std::to_string(::navcore::ryn::integerKindMin(t.kind)) + ", " +
             std::to_string(::navcore::ryn::integerKindMax(t.kind)) + ")";
  }
}

std::string Annotation(const TypeInfo& t, const std::string& from, std::set<std::string>& imports) {
  switch (t.kind) {
    case WireKind::kBool:
      return "bool";
    case WireKind::kFloat:
    case WireKind::kDouble:
      return "float";
    case WireKind::kString:
      return "str";
    case WireKind::kBytes:
    case WireKind::kUBytes:
      return "bytes";
    case WireKind::kList:
      return "list[" + Annotation(*t.element, from, imports) + "]";
    case WireKind::kMap:
      return "dict[" + Annotation(*t.key, from, imports) + ", " + Annotation(*t.element, from, imports) + "]";
    case WireKind::kRecord:
      return RefFrom(PlaceOf(t.record()), from, imports);
    default:
      return "int";
  }
}

// One generated class: its fields as (name, tag or -1, shape, annotation).
struct Field {
  std::string name;
  int tag;
  std::string shape;
  std::string annotation;
};
struct ClassOut {
  Place place;
  bool wire;
  std::vector<Field> fields;
};

// ---- Engine records and the stop event: their C++ member types. ----

template <class T>
struct EngineName {
  static constexpr const char* value = nullptr;
};
#define NAVREQ_GEN_ENGINE_NAME_(T)           \
  template <>                                \
  struct EngineName<T> {                     \
    static constexpr const char* value = #T; \
  };
NAVREQ_ALL_ENGINE_RECORDS(NAVREQ_GEN_ENGINE_NAME_)
NAVREQ_GEN_ENGINE_NAME_(::zv_navi_core::PendingEntry)
#undef NAVREQ_GEN_ENGINE_NAME_

Place EnginePlace(const char* cpp) {
  std::string q(cpp);
  Place p;
  p.name = q.substr(q.rfind("::") + 2);
  p.module = "navreq.params";
  p.qualified = p.name;
  return p;
}

template <class T, class = void>
struct Py;

template <class T>
struct Py<T, std::enable_if_t<std::is_integral_v<T>>> {
  static std::string shape() {
    if constexpr (std::is_same_v<T, bool>) {
      return "(\"bool\",)";
    } else {
      return "(\"int\", " + std::to_string(static_cast<long long>(std::numeric_limits<T>::min())) + ", " +
             std::to_string(static_cast<long long>(std::numeric_limits<T>::max())) + ")";
    }
  }
  static std::string ann(const std::string&, std::set<std::string>&) {
    return std::is_same_v<T, bool> ? "bool" : "int";
  }
};
template <class T>
struct Py<T, std::enable_if_t<std::is_floating_point_v<T>>> {
  static std::string shape() { return std::is_same_v<T, float> ? "(\"float32\",)" : "(\"float64\",)"; }
  static std::string ann(const std::string&, std::set<std::string>&) { return "float"; }
};
template <>
struct Py<std::string> {
  static std::string shape() { return "(\"string\",)"; }
  static std::string ann(const std::string&, std::set<std::string>&) { return "str"; }
};
template <class T>
struct Py<std::vector<T>> {
  static std::string shape() { return "(\"list\", " + Py<T>::shape() + ")"; }
  static std::string ann(const std::string& from, std::set<std::string>& imports) {
    return "list[" + Py<T>::ann(from, imports) + "]";
  }
};
template <class T, std::size_t N>
struct Py<std::array<T, N>> {
  static std::string shape() { return "(\"array\", " + Py<T>::shape() + ", " + std::to_string(N) + ")"; }
  static std::string ann(const std::string& from, std::set<std::string>& imports) {
    return "list[" + Py<T>::ann(from, imports) + "]";
  }
};
template <class K, class V>
struct Py<std::map<K, V>> {
  static std::string shape() { return "(\"map\", " + Py<K>::shape() + ", " + Py<V>::shape() + ")"; }
  static std::string ann(const std::string& from, std::set<std::string>& imports) {
    return "dict[" + Py<K>::ann(from, imports) + ", " + Py<V>::ann(from, imports) + "]";
  }
};
template <class R>
struct Py<R, std::enable_if_t<::navreq::params_json_detail::IsEngineRecord<R>::value>> {
  static Place place() {
    const char* name = EngineName<R>::value;
    if (name == nullptr) {
      std::cerr << "navreq_pygen: a parameter record missing from NAVREQ_ALL_ENGINE_RECORDS\n";
      std::exit(1);
    }
    return EnginePlace(name);
  }
  static std::string shape() {
    const Place p = place();
    return "(\"record\", \"" + p.module + "\", \"" + p.name + "\")";
  }
  static std::string ann(const std::string& from, std::set<std::string>& imports) {
    return RefFrom(place(), from, imports);
  }
};

template <class R>
ClassOut EngineClass(const Place& place, std::set<std::string>& imports) {
  ClassOut c{place, false, {}};
  const R record{};
  record.forEachField([&](const char* name, const auto& member) {
    using M = std::decay_t<decltype(member)>;
    c.fields.push_back({name, -1, Py<M>::shape(), Py<M>::ann(place.module, imports)});
  });
  return c;
}

ClassOut StopEventClass(std::set<std::string>& imports) {
  using ::navreq::StopEventAttributes;
  ClassOut c{{"navreq.records", "StopEvent", "StopEvent"}, false, {}};
#define NAVREQ_GEN_STOP_(NUMBER, MEMBER, TYPE, DEFAULT) \
  c.fields.push_back({#MEMBER, NUMBER, Py<TYPE>::shape(), Py<TYPE>::ann(c.place.module, imports)});
  NAVREQ_STOP_EVENT_FIELDS(NAVREQ_GEN_STOP_)
#undef NAVREQ_GEN_STOP_
  return c;
}

// ---- Writing the modules. ----

struct ModuleOut {
  std::vector<ClassOut> classes;
  std::set<std::string> imports;  // modules the stubs refer to
  std::string doc;
};

void WriteModule(const std::filesystem::path& root, const std::string& module, const ModuleOut& m) {
  std::filesystem::path file = root;
  std::string rest = module.substr(std::string("navreq.").size());
  // A module with submodules (navreq.records, navreq.records.navicore) is a package.
  bool package = module == "navreq.records";
  for (std::size_t at = 0;;) {
    const std::size_t next = rest.find('.', at);
    if (next == std::string::npos) {
      file /= rest.substr(at);
      break;
    }
    file /= rest.substr(at, next - at);
    at = next + 1;
  }
  if (package) {
    std::filesystem::create_directories(file);
    file /= "__init__";
  } else {
    std::filesystem::create_directories(file.parent_path());
  }
  std::ofstream py(file.string() + ".py");
  std::ofstream pyi(file.string() + ".pyi");
  const char* banner = "# Generated by navreq_pygen from the records' declarations: do not edit.\n";
  py << "\"\"\"" << m.doc << "\"\"\"\n" << banner << "from navreq._record import Record as _Record\n";
  pyi << banner << "from navreq._record import Record as _Record\n";
  for (const std::string& imp : m.imports) {
    const std::size_t dot = imp.rfind('.');
    pyi << "from " << imp.substr(0, dot) << " import " << imp.substr(dot + 1) << " as " << Alias(imp) << "\n";
  }
  py << "\n__all__ = [";
  for (const ClassOut& c : m.classes) py << "\"" << c.place.name << "\", ";
  py << "]\n";
  for (const ClassOut& c : m.classes) {
    py << "\n\nclass " << c.place.name << "(_Record):\n";
    py << "    \"\"\"" << (c.wire ? "Wire record " : "Record ") << c.place.qualified << ".\"\"\"\n\n";
    py << "    __slots__ = (";
    for (const Field& f : c.fields) py << "\"" << f.name << "\", ";
    py << ")\n";
    py << "    _name = \"" << c.place.qualified << "\"\n";
    py << "    _wire = " << (c.wire ? "True" : "False") << "\n";
    py << "    _fields = (\n";
    for (const Field& f : c.fields)
      py << "        (\"" << f.name << "\", " << f.tag << ", " << f.shape << "),\n";
    py << "    )\n";
    pyi << "\n\nclass " << c.place.name << "(_Record):\n";
    for (const Field& f : c.fields) pyi << "    " << f.name << ": " << f.annotation << "\n";
    pyi << "    def __init__(self";
    if (!c.fields.empty()) pyi << ", *";
    for (const Field& f : c.fields) pyi << ", " << f.name << ": " << f.annotation << " = ...";
    pyi << ") -> None: ...\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: navreq_pygen OUTDIR\n";
    return 64;
  }
  const std::filesystem::path root = argv[1];
  std::map<std::string, ModuleOut> modules;
  modules["navreq.records"].doc =
      "The wire records, one module per namespace (navreq.records.routesearch, ...), and the stop event.";
  for (const WireEntry& e : WireRecords()) {
    ModuleOut& m = modules[e.place.module];
    m.doc = "Wire records of namespace " + e.place.module.substr(std::string("navreq.records.").size()) + ".";
    ClassOut c{e.place, true, {}};
    for (const FieldInfo& f : *e.info) {
      c.fields.push_back({f.name, f.tag, Shape(*f.type), Annotation(*f.type, e.place.module, m.imports)});
    }
    m.classes.push_back(std::move(c));
    // A namespace inside another (navicore.nav) makes the outer one a package.
    for (std::size_t dot = e.place.module.rfind('.'); e.place.module.substr(0, dot) != "navreq.records";
         dot = e.place.module.rfind('.', dot - 1)) {
      ModuleOut& outer = modules[e.place.module.substr(0, dot)];
      if (outer.doc.empty())
        outer.doc = "Wire records of the namespaces inside " + e.place.module.substr(0, dot) + ".";
    }
  }
  ModuleOut& top = modules["navreq.records"];
  top.classes.push_back(StopEventClass(top.imports));
  ModuleOut& params = modules["navreq.params"];
  params.doc = "The engine's parameter records: what navreq.encode takes as params and extra.";
#define NAVREQ_GEN_ENGINE_(T) params.classes.push_back(EngineClass<T>(EnginePlace(#T), params.imports));
  NAVREQ_ALL_ENGINE_RECORDS(NAVREQ_GEN_ENGINE_)
  NAVREQ_GEN_ENGINE_(::zv_navi_core::PendingEntry)
#undef NAVREQ_GEN_ENGINE_
  for (const auto& [name, m] : modules) {
    // navreq.records.navicore holds navicore.nav: a package, not a module.
    bool has_children = false;
    for (const auto& [other, unused] : modules) {
      (void)unused;
      if (other.rfind(name + ".", 0) == 0) has_children = true;
    }
    if (has_children && name != "navreq.records") {
      ModuleOut copy = m;
      WriteModule(root, name + ".__init__", copy);
    } else {
      WriteModule(root, name, m);
    }
  }
  return 0;
}

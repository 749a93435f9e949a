// Structured reflection of wire records: what NAVKSE_RECORD (record.h) tells
// about every field, for the reader, the tests' random filler and the tool.
//
//   const RecordInfo& info = Point::kseInfo();
//   for (const FieldInfo& f : info) {
//     f.tag, f.name, f.type->kind (WireKind), f.type->element / key (lists and
//     maps), f.type->record() (nested records)
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/output_stream.h"
#include "navreq/kse/wire_types.h"

namespace navcore {
namespace ryn {

using Bytes = std::vector<char>;            // simple list on the wire
using UBytes = std::vector<unsigned char>;  // list of 16-bit-path elements
// A list of T.
template <class T>
using List = std::vector<T>;
// A map from strings to V.
template <class V>
using StringMapOf = std::map<std::string, V>;
using StringMap = std::map<std::string, std::string>;       // strings to strings
using BytesMap = std::map<std::string, std::vector<char>>;  // strings to byte arrays
using LongMap = std::map<std::int64_t, std::int64_t>;       // int64 to int64

// The declared type of a field, as far as the wire cares. The integer kinds
// come first (isIntegerKind).
enum class WireKind : std::uint8_t {
  kBool,    // integer forms, values 0 and 1
  kChar,    // integer forms, one byte (-128..127)
  kInt8,    // integer forms, -128..127
  kUInt8,   // integer forms, 0..255 (element of UBytes)
  kInt16,   // integer forms, 16-bit range
  kInt32,   // integer forms, 32-bit range
  kInt64,   // integer forms, any
  kUInt32,  // integer forms, 0..2^32-1 (written through the 64-bit rule)
  kFloat,   // type 4
  kDouble,  // type 5
  kString,  // type 6 or 7
  kBytes,   // type 13 (Bytes)
  kUBytes,  // type 9 with kUInt8 elements (UBytes)
  kList,    // type 9; element
  kMap,     // type 8; key and element (the value)
  kRecord,  // types 10 .. 11; record
};

// "int32", "list", "record", ...: also the name of a scalar declared type.
constexpr const char* wireKindName(WireKind kind) noexcept {
  switch (kind) {
    case WireKind::kBool:
      return "bool";
    case WireKind::kChar:
      return "char";
    case WireKind::kInt8:
      return "int8";
    case WireKind::kUInt8:
      return "uint8";
    case WireKind::kInt16:
      return "int16";
    case WireKind::kInt32:
      return "int32";
    case WireKind::kInt64:
      return "int64";
    case WireKind::kUInt32:
      return "uint32";
    case WireKind::kFloat:
      return "float";
    case WireKind::kDouble:
      return "double";
    case WireKind::kString:
      return "string";
    case WireKind::kBytes:
      return "bytes";
    case WireKind::kUBytes:
      return "ubytes";
    case WireKind::kList:
      return "list";
    case WireKind::kMap:
      return "map";
    case WireKind::kRecord:
      return "record";
  }
  return "unknown";
}

// Whether values declared as `kind` travel as integers.
constexpr bool isIntegerKind(WireKind kind) noexcept { return kind <= WireKind::kUInt32; }

// The values an integer kind holds: the signed range of its width, 0..1 for
// a bool, the unsigned range of an unsigned one. (A char is one two's-
// complement byte whatever its signedness in C++.)
constexpr std::int64_t integerKindMin(WireKind kind) noexcept {
  switch (kind) {
    case WireKind::kChar:
    case WireKind::kInt8:
      return kseIntegerMin(kKseInt8);
    case WireKind::kInt16:
      return kseIntegerMin(kKseInt16);
    case WireKind::kInt32:
      return kseIntegerMin(kKseInt32);
    case WireKind::kInt64:
      return kseIntegerMin(kKseInt64);
    default:
      return 0;
  }
}
constexpr std::int64_t integerKindMax(WireKind kind) noexcept {
  switch (kind) {
    case WireKind::kBool:
      return 1;
    case WireKind::kChar:
    case WireKind::kInt8:
      return kseIntegerMax(kKseInt8);
    case WireKind::kUInt8:
      return 2 * kseIntegerMax(kKseInt8) + 1;
    case WireKind::kInt16:
      return kseIntegerMax(kKseInt16);
    case WireKind::kInt32:
      return kseIntegerMax(kKseInt32);
    case WireKind::kUInt32:
      return 2 * kseIntegerMax(kKseInt32) + 1;
    default:
      return kseIntegerMax(kKseInt64);
  }
}
constexpr bool integerKindHolds(WireKind kind, std::int64_t v) noexcept {
  return v >= integerKindMin(kind) && v <= integerKindMax(kind);
}

// Fewest bytes one value of this kind takes on the wire, its head included
// (a string, container or record at least a head and a count or end).
constexpr std::size_t minWireSize(WireKind kind) noexcept {
  switch (kind) {
    case WireKind::kFloat:
      return 5;
    case WireKind::kDouble:
      return 9;
    case WireKind::kBytes:
      return 3;
    case WireKind::kString:
    case WireKind::kUBytes:
    case WireKind::kList:
    case WireKind::kMap:
    case WireKind::kRecord:
      return 2;
    default:
      return 1;
  }
}

// Whether a value declared as `kind` may arrive with the wire type code `type`.
constexpr bool wireTypeFits(WireKind kind, std::uint8_t type) noexcept {
  switch (kind) {
    case WireKind::kFloat:
      return type == kKseFloat;
    case WireKind::kDouble:
      return type == kKseDouble;
    case WireKind::kString:
      return type == kKseString1 || type == kKseString4;
    case WireKind::kBytes:
      return type == kKseSimpleList;
    case WireKind::kUBytes:
    case WireKind::kList:
      return type == kKseList;
    case WireKind::kMap:
      return type == kKseMap;
    case WireKind::kRecord:
      return type == kKseStructBegin;
    default:
      return isIntegerWire(type);
  }
}

struct RecordInfo;

// A declared type: its kind and, for containers and records, what is inside.
struct TypeInfo {
  WireKind kind;                  // what the type is
  const TypeInfo* element;        // kList, kUBytes: the element; kMap: the value
  const TypeInfo* key;            // kMap: the key
  const RecordInfo& (*record)();  // kRecord: the nested record, else null
  const char* (*name)();          // "int32", "list<Point>", "map<string,bytes>"
};

// Reflection entry of one field.
struct FieldInfo {
  std::uint8_t tag;      // the field's tag
  const char* name;      // the field's name as declared
  const TypeInfo* type;  // its declared type
};

// Reflection of one record: its name and fields in ascending tag order.
struct RecordInfo {
  const char* name;         // the record's name
  const FieldInfo* fields;  // count entries
  std::size_t count;        // number of fields

  // The fields, for range-for.
  const FieldInfo* begin() const noexcept { return fields; }
  const FieldInfo* end() const noexcept { return fields + count; }  // one past the last field

  // The field at `tag`, or null.
  const FieldInfo* find(std::uint8_t tag) const noexcept {
    for (std::size_t i = 0; i < count; ++i) {
      if (fields[i].tag == tag) return &fields[i];
    }
    return nullptr;
  }
  // The field named `field_name`, or null.
  const FieldInfo* find(const char* field_name) const noexcept;
};

template <class T, class Enable = void>
struct FieldType;

// The FieldType of a scalar C++ type: its kind, and its name from the kind.
#define NAVKSE_SCALAR_FIELD_TYPE(CPP, KIND)                      \
  template <>                                                    \
  struct FieldType<CPP> {                                        \
    static constexpr WireKind kind = WireKind::KIND;             \
    static const char* typeName() { return wireKindName(kind); } \
  }
NAVKSE_SCALAR_FIELD_TYPE(bool, kBool);
NAVKSE_SCALAR_FIELD_TYPE(char, kChar);
NAVKSE_SCALAR_FIELD_TYPE(signed char, kInt8);
NAVKSE_SCALAR_FIELD_TYPE(unsigned char, kUInt8);
NAVKSE_SCALAR_FIELD_TYPE(std::int16_t, kInt16);
NAVKSE_SCALAR_FIELD_TYPE(std::int32_t, kInt32);
NAVKSE_SCALAR_FIELD_TYPE(std::int64_t, kInt64);
NAVKSE_SCALAR_FIELD_TYPE(std::uint32_t, kUInt32);
NAVKSE_SCALAR_FIELD_TYPE(float, kFloat);
NAVKSE_SCALAR_FIELD_TYPE(double, kDouble);
NAVKSE_SCALAR_FIELD_TYPE(std::string, kString);
NAVKSE_SCALAR_FIELD_TYPE(Bytes, kBytes);
NAVKSE_SCALAR_FIELD_TYPE(UBytes, kUBytes);
#undef NAVKSE_SCALAR_FIELD_TYPE

// A list of T.
template <class T>
struct FieldType<std::vector<T>> {
  static constexpr WireKind kind = WireKind::kList;  // its kind
  // "list<T>"
  static const char* typeName() {
    static const std::string name = std::string("list<") + FieldType<T>::typeName() + ">";
    return name.c_str();
  }
};

// A map from K to V.
template <class K, class V>
struct FieldType<std::map<K, V>> {
  static constexpr WireKind kind = WireKind::kMap;  // its kind
  // "map<K,V>"
  static const char* typeName() {
    static const std::string name =
        std::string("map<") + FieldType<K>::typeName() + "," + FieldType<V>::typeName() + ">";
    return name.c_str();
  }
};

// A nested record.
template <class R>
struct FieldType<R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value>::type> {
  static constexpr WireKind kind = WireKind::kRecord;          // its kind
  static const char* typeName() { return R::kseInfo().name; }  // the record's name
};

namespace kse_detail {
template <class T, class Enable = void>
struct RecordFn {
  static constexpr const RecordInfo& (*value)() = nullptr;
};
template <class R>
struct RecordFn<R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value>::type> {
  static constexpr const RecordInfo& (*value)() = &R::kseInfo;
};
}  // namespace kse_detail

// The descriptor of a declared type: one constant per type, constant-
// initialized (only addresses inside).
template <class T>
struct TypeOf {
  // The descriptor.
  static inline const TypeInfo info{FieldType<T>::kind, nullptr, nullptr, kse_detail::RecordFn<T>::value,
                                    &FieldType<T>::typeName};
};

// A list: the element's descriptor inside.
template <class T>
struct TypeOf<std::vector<T>> {
  // The descriptor.
  static inline const TypeInfo info{WireKind::kList, &TypeOf<T>::info, nullptr, nullptr,
                                    &FieldType<std::vector<T>>::typeName};
};

// A byte array is one value on the wire, not a list.
template <>
struct TypeOf<Bytes> {
  // The descriptor.
  static inline const TypeInfo info{WireKind::kBytes, nullptr, nullptr, nullptr, &FieldType<Bytes>::typeName};
};

// Unsigned bytes are a list of integers on the wire.
template <>
struct TypeOf<UBytes> {
  // The descriptor.
  static inline const TypeInfo info{WireKind::kUBytes, &TypeOf<unsigned char>::info, nullptr, nullptr,
                                    &FieldType<UBytes>::typeName};
};

// A map: the key's and the value's descriptors inside.
template <class K, class V>
struct TypeOf<std::map<K, V>> {
  // The descriptor.
  static inline const TypeInfo info{WireKind::kMap, &TypeOf<V>::info, &TypeOf<K>::info, nullptr,
                                    &FieldType<std::map<K, V>>::typeName};
};

namespace kse_detail {

// Whether a record's tags are strictly ascending and within 0-255.
constexpr bool tagsAscending(std::initializer_list<int> tags) noexcept {
  int previous = -1;
  for (int tag : tags) {
    if (tag <= previous || tag > 255) return false;
    previous = tag;
  }
  return true;
}

}  // namespace kse_detail

}  // namespace ryn
}  // namespace navcore

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
template <class T>
using List = std::vector<T>;
template <class V>
using StringMapOf = std::map<std::string, V>;
using StringMap = std::map<std::string, std::string>;
using BytesMap = std::map<std::string, std::vector<char>>;
using LongMap = std::map<std::int64_t, std::int64_t>;

// The declared type of a field, as far as the wire cares.
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

// "int32", "list", "record", ...
const char* wireKindName(WireKind kind) noexcept;

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
  WireKind kind;
  const TypeInfo* element;        // kList, kUBytes: the element; kMap: the value
  const TypeInfo* key;            // kMap: the key
  const RecordInfo& (*record)();  // kRecord: the nested record, else null
  const char* (*name)();          // "int32", "list<Point>", "map<string,bytes>"
};

// Reflection entry of one field.
struct FieldInfo {
  std::uint8_t tag;
  const char* name;
  const TypeInfo* type;
  // Shorthands kept for older callers: type->name(), and the record written
  // at this field (itself, or as the elements of a list or map), else null.
  const char* (*typeName)();
  const RecordInfo* (*record)();
};

// Reflection of one record: its name and fields in ascending tag order.
struct RecordInfo {
  const char* name;
  const FieldInfo* fields;
  std::size_t count;

  const FieldInfo* begin() const noexcept { return fields; }
  const FieldInfo* end() const noexcept { return fields + count; }

  const FieldInfo* find(std::uint8_t tag) const noexcept {
    for (std::size_t i = 0; i < count; ++i) {
      if (fields[i].tag == tag) return &fields[i];
    }
    return nullptr;
  }
  const FieldInfo* find(const char* field_name) const noexcept;
};

template <class T, class Enable = void>
struct FieldType;

#define NAVKSE_SCALAR_FIELD_TYPE(CPP, NAME, KIND)         \
  template <>                                             \
  struct FieldType<CPP> {                                 \
    static constexpr WireKind kind = WireKind::KIND;      \
    static const char* typeName() { return NAME; }        \
    static const RecordInfo* record() { return nullptr; } \
  }
NAVKSE_SCALAR_FIELD_TYPE(bool, "bool", kBool);
NAVKSE_SCALAR_FIELD_TYPE(char, "char", kChar);
NAVKSE_SCALAR_FIELD_TYPE(signed char, "int8", kInt8);
NAVKSE_SCALAR_FIELD_TYPE(unsigned char, "uint8", kUInt8);
NAVKSE_SCALAR_FIELD_TYPE(std::int16_t, "int16", kInt16);
NAVKSE_SCALAR_FIELD_TYPE(std::int32_t, "int32", kInt32);
NAVKSE_SCALAR_FIELD_TYPE(std::int64_t, "int64", kInt64);
NAVKSE_SCALAR_FIELD_TYPE(std::uint32_t, "uint32", kUInt32);
NAVKSE_SCALAR_FIELD_TYPE(float, "float", kFloat);
NAVKSE_SCALAR_FIELD_TYPE(double, "double", kDouble);
NAVKSE_SCALAR_FIELD_TYPE(std::string, "string", kString);
NAVKSE_SCALAR_FIELD_TYPE(Bytes, "bytes", kBytes);
NAVKSE_SCALAR_FIELD_TYPE(UBytes, "ubytes", kUBytes);
#undef NAVKSE_SCALAR_FIELD_TYPE

template <class T>
struct FieldType<std::vector<T>> {
  static constexpr WireKind kind = WireKind::kList;
  static const char* typeName() {
    static const std::string name = std::string("list<") + FieldType<T>::typeName() + ">";
    return name.c_str();
  }
  static const RecordInfo* record() { return FieldType<T>::record(); }
};

template <class K, class V>
struct FieldType<std::map<K, V>> {
  static constexpr WireKind kind = WireKind::kMap;
  static const char* typeName() {
    static const std::string name =
        std::string("map<") + FieldType<K>::typeName() + "," + FieldType<V>::typeName() + ">";
    return name.c_str();
  }
  static const RecordInfo* record() { return FieldType<V>::record(); }
};

template <class R>
struct FieldType<R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value>::type> {
  static constexpr WireKind kind = WireKind::kRecord;
  static const char* typeName() { return R::kseInfo().name; }
  static const RecordInfo* record() { return &R::kseInfo(); }
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
  static inline const TypeInfo info{FieldType<T>::kind, nullptr, nullptr, kse_detail::RecordFn<T>::value,
                                    &FieldType<T>::typeName};
};

template <class T>
struct TypeOf<std::vector<T>> {
  static inline const TypeInfo info{WireKind::kList, &TypeOf<T>::info, nullptr, nullptr,
                                    &FieldType<std::vector<T>>::typeName};
};

// A byte array is one value on the wire, not a list.
template <>
struct TypeOf<Bytes> {
  static inline const TypeInfo info{WireKind::kBytes, nullptr, nullptr, nullptr, &FieldType<Bytes>::typeName};
};

// Unsigned bytes are a list of integers on the wire.
template <>
struct TypeOf<UBytes> {
  static inline const TypeInfo info{WireKind::kUBytes, &TypeOf<unsigned char>::info, nullptr, nullptr,
                                    &FieldType<UBytes>::typeName};
};

template <class K, class V>
struct TypeOf<std::map<K, V>> {
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

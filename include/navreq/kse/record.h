// Declaring a wire record: every field once, on one line.
//
//   #define NAVKSE_FIELDS_Point(X) <backslash>
//     X(0, int32_t, longitude, 0)  <backslash>
//     X(1, int32_t, latitude, 0)   <backslash>
//     X(2, int32_t, field2, 0)
//   NAVKSE_RECORD(Point, NAVKSE_FIELDS_Point);
//
// Each X(tag, type, name, default) line is the single source of the field: the
// record's member (with its default), its `writeTo` (every field, in the order
// listed, which must be ascending tag order), its reflection entry (name, tag,
// declared type, nested record) used by the decoder's field names, and the
// generic field visitor. Types containing commas use the aliases below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/output_stream.h"

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

struct RecordInfo;

// Reflection entry of one field.
struct FieldInfo {
  std::uint8_t tag;
  const char* name;
  const char* (*typeName)();      // declared type: "int32", "list<Point>", ...
  const RecordInfo* (*record)();  // record written at this field (itself, or as
                                  // the elements of a list or map), else null
};

// Reflection of one record: its name and fields in tag order.
struct RecordInfo {
  const char* name;
  const FieldInfo* fields;
  std::size_t count;

  const FieldInfo* find(std::uint8_t tag) const noexcept {
    for (std::size_t i = 0; i < count; ++i) {
      if (fields[i].tag == tag) return &fields[i];
    }
    return nullptr;
  }
};

template <class T, class Enable = void>
struct FieldType;

#define NAVKSE_SCALAR_FIELD_TYPE(CPP, NAME)               \
  template <>                                             \
  struct FieldType<CPP> {                                 \
    static const char* typeName() { return NAME; }        \
    static const RecordInfo* record() { return nullptr; } \
  }
NAVKSE_SCALAR_FIELD_TYPE(bool, "bool");
NAVKSE_SCALAR_FIELD_TYPE(char, "char");
NAVKSE_SCALAR_FIELD_TYPE(signed char, "int8");
NAVKSE_SCALAR_FIELD_TYPE(std::int16_t, "int16");
NAVKSE_SCALAR_FIELD_TYPE(std::int32_t, "int32");
NAVKSE_SCALAR_FIELD_TYPE(std::int64_t, "int64");
NAVKSE_SCALAR_FIELD_TYPE(std::uint32_t, "uint32");
NAVKSE_SCALAR_FIELD_TYPE(float, "float");
NAVKSE_SCALAR_FIELD_TYPE(double, "double");
NAVKSE_SCALAR_FIELD_TYPE(std::string, "string");
NAVKSE_SCALAR_FIELD_TYPE(Bytes, "bytes");
NAVKSE_SCALAR_FIELD_TYPE(UBytes, "ubytes");
#undef NAVKSE_SCALAR_FIELD_TYPE

template <class T>
struct FieldType<std::vector<T>> {
  static const char* typeName() {
    static const std::string name = std::string("list<") + FieldType<T>::typeName() + ">";
    return name.c_str();
  }
  static const RecordInfo* record() { return FieldType<T>::record(); }
};

template <class K, class V>
struct FieldType<std::map<K, V>> {
  static const char* typeName() {
    static const std::string name =
        std::string("map<") + FieldType<K>::typeName() + "," + FieldType<V>::typeName() + ">";
    return name.c_str();
  }
  static const RecordInfo* record() { return FieldType<V>::record(); }
};

template <class R>
struct FieldType<R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value>::type> {
  static const char* typeName() { return R::kseInfo().name; }
  static const RecordInfo* record() { return &R::kseInfo(); }
};

}  // namespace ryn
}  // namespace navcore

#define NAVKSE_FIELD_MEMBER_(TAG, TYPE, NAME, INIT) TYPE NAME = INIT;
#define NAVKSE_FIELD_WRITE_(TAG, TYPE, NAME, INIT) kse_os_.write(NAME, static_cast<std::uint8_t>(TAG));
#define NAVKSE_FIELD_VISIT_(TAG, TYPE, NAME, INIT) kse_visit_(static_cast<std::uint8_t>(TAG), #NAME, NAME);
#define NAVKSE_FIELD_INFO_(TAG, TYPE, NAME, INIT)                       \
  ::navcore::ryn::FieldInfo{static_cast<std::uint8_t>(TAG), #NAME,      \
                            &::navcore::ryn::FieldType<TYPE>::typeName, \
                            &::navcore::ryn::FieldType<TYPE>::record},

#define NAVKSE_MEMORY_MEMBER_(TYPE, NAME, INIT) TYPE NAME = INIT;
#define NAVKSE_NO_MEMORY_MEMBERS_(M)

// Defines the record NAME from its field list FIELDS (see the top of this file).
#define NAVKSE_RECORD(NAME, FIELDS) NAVKSE_RECORD_WITH_MEMORY(NAME, FIELDS, NAVKSE_NO_MEMORY_MEMBERS_)

// Same, plus in-memory members that are never written: MEMORY is a list of
// M(type, name, default) lines.
#define NAVKSE_RECORD_WITH_MEMORY(NAME, FIELDS, MEMORY)                                                \
  struct NAME : ::navcore::ryn::KseStructBase {                                                        \
    FIELDS(NAVKSE_FIELD_MEMBER_)                                                                       \
    MEMORY(NAVKSE_MEMORY_MEMBER_)                                                                      \
    void writeTo(::navcore::ryn::KseOutputStream<::navcore::ryn::BufferWriter>& kse_os_) const {       \
      FIELDS(NAVKSE_FIELD_WRITE_)                                                                      \
    }                                                                                                  \
    /* Calls visit(tag, name, member) for every field in tag order. */                                 \
    template <class Visitor>                                                                           \
    void forEachField(Visitor&& kse_visit_) {                                                          \
      FIELDS(NAVKSE_FIELD_VISIT_)                                                                      \
    }                                                                                                  \
    template <class Visitor>                                                                           \
    void forEachField(Visitor&& kse_visit_) const {                                                    \
      FIELDS(NAVKSE_FIELD_VISIT_)                                                                      \
    }                                                                                                  \
    static const ::navcore::ryn::RecordInfo& kseInfo() {                                               \
      static const ::navcore::ryn::FieldInfo kse_fields_[] = {FIELDS(NAVKSE_FIELD_INFO_)};             \
      static const ::navcore::ryn::RecordInfo kse_info_{#NAME, kse_fields_,                            \
                                                        sizeof(kse_fields_) / sizeof(kse_fields_[0])}; \
      return kse_info_;                                                                                \
    }                                                                                                  \
  }

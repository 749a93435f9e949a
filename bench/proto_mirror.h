// Copies a Kse wire record into its proto3 mirror (route_body.proto), field by
// field through protobuf reflection: Kse tag N goes to field number N + 1.
// Used once per fixture, outside the timed loops, so reflection speed does not
// matter. Aborts on a field the mirror lacks or types that do not match: a
// comparison on different content would be worthless.
#pragma once

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/output_stream.h"

namespace navreq_bench {

namespace mirror_detail {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

[[noreturn]] inline void Fail(const Message& msg, int number, const char* what) {
  std::fprintf(stderr, "proto mirror: %s field %d: %s\n", msg.GetDescriptor()->full_name().c_str(), number,
               what);
  std::abort();
}

template <class R>
using IsRecord = std::is_base_of<navcore::ryn::KseStructBase, R>;

template <class T>
struct IsMap : std::false_type {};
template <class K, class V>
struct IsMap<std::map<K, V>> : std::true_type {};

template <class R>
void Copy(const R& record, Message& msg);

// One scalar value into a singular field (repeated == false) or appended to a
// repeated one.
template <class T>
void PutScalar(Message& msg, const FieldDescriptor* f, const T& v, bool repeated) {
  const Reflection* r = msg.GetReflection();
  if constexpr (std::is_same<T, std::string>::value) {
    if (f->cpp_type() != FieldDescriptor::CPPTYPE_STRING) Fail(msg, f->number(), "expected string");
    repeated ? r->AddString(&msg, f, v) : r->SetString(&msg, f, v);
  } else if constexpr (std::is_same<T, std::vector<char>>::value ||
                       std::is_same<T, std::vector<unsigned char>>::value) {
    if (f->type() != FieldDescriptor::TYPE_BYTES) Fail(msg, f->number(), "expected bytes");
    std::string bytes(v.begin(), v.end());
    repeated ? r->AddString(&msg, f, bytes) : r->SetString(&msg, f, bytes);
  } else if constexpr (std::is_same<T, float>::value) {
    if (f->cpp_type() != FieldDescriptor::CPPTYPE_FLOAT) Fail(msg, f->number(), "expected float");
    repeated ? r->AddFloat(&msg, f, v) : r->SetFloat(&msg, f, v);
  } else if constexpr (std::is_same<T, double>::value) {
    if (f->cpp_type() != FieldDescriptor::CPPTYPE_DOUBLE) Fail(msg, f->number(), "expected double");
    repeated ? r->AddDouble(&msg, f, v) : r->SetDouble(&msg, f, v);
  } else if constexpr (std::is_same<T, bool>::value) {
    if (f->cpp_type() != FieldDescriptor::CPPTYPE_BOOL) Fail(msg, f->number(), "expected bool");
    repeated ? r->AddBool(&msg, f, v) : r->SetBool(&msg, f, v);
  } else if constexpr (std::is_integral<T>::value) {
    switch (f->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        if constexpr (sizeof(T) > 4 || std::is_same<T, std::uint32_t>::value)
          Fail(msg, f->number(), "too narrow");
        repeated ? r->AddInt32(&msg, f, static_cast<std::int32_t>(v))
                 : r->SetInt32(&msg, f, static_cast<std::int32_t>(v));
        break;
      case FieldDescriptor::CPPTYPE_UINT32:
        if constexpr (!std::is_same<T, std::uint32_t>::value) Fail(msg, f->number(), "expected uint32");
        repeated ? r->AddUInt32(&msg, f, static_cast<std::uint32_t>(v))
                 : r->SetUInt32(&msg, f, static_cast<std::uint32_t>(v));
        break;
      case FieldDescriptor::CPPTYPE_INT64:
        repeated ? r->AddInt64(&msg, f, static_cast<std::int64_t>(v))
                 : r->SetInt64(&msg, f, static_cast<std::int64_t>(v));
        break;
      default:
        Fail(msg, f->number(), "expected an integer");
    }
  } else {
    static_assert(sizeof(T) == 0, "no mirror rule for this member type");
  }
}

// A map entry message: key is field 1, value field 2.
template <class K, class V>
void PutMapEntry(Message& entry, const K& key, const V& value);

template <class T>
void PutField(Message& msg, const FieldDescriptor* f, const T& v);

// Appends one element of a Kse list to a repeated field.
template <class T>
void AddElement(Message& msg, const FieldDescriptor* f, const T& element) {
  const Reflection* r = msg.GetReflection();
  if constexpr (IsRecord<T>::value) {
    Copy(element, *r->AddMessage(&msg, f));  // an element is carried even when all-default
  } else if constexpr (std::is_same<T, std::vector<char>>::value ||
                       std::is_same<T, std::vector<unsigned char>>::value) {
    PutScalar(msg, f, element, true);
  } else if constexpr (std::is_same<T, std::string>::value || std::is_arithmetic<T>::value) {
    PutScalar(msg, f, element, true);
  } else {
    // A list of lists: the mirror wraps each inner list in a message whose
    // field 1 holds it.
    Message* wrapper = r->AddMessage(&msg, f);
    const FieldDescriptor* inner = wrapper->GetDescriptor()->FindFieldByNumber(1);
    if (inner == nullptr) Fail(msg, f->number(), "list wrapper lacks field 1");
    PutField(*wrapper, inner, element);
  }
}

template <class T>
void PutField(Message& msg, const FieldDescriptor* f, const T& v) {
  const Reflection* r = msg.GetReflection();
  if constexpr (IsRecord<T>::value) {
    if (f->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE || f->is_repeated()) {
      Fail(msg, f->number(), "expected a message");
    }
    Message* sub = r->MutableMessage(&msg, f);
    Copy(v, *sub);
    // proto3 leaves out a sub-message with nothing to carry.
    if (sub->ByteSizeLong() == 0) r->ClearField(&msg, f);
  } else if constexpr (std::is_same<T, std::vector<char>>::value ||
                       std::is_same<T, std::vector<unsigned char>>::value) {
    PutScalar(msg, f, v, false);
  } else if constexpr (std::is_same<T, std::string>::value || std::is_arithmetic<T>::value) {
    if (f->is_repeated()) Fail(msg, f->number(), "expected a singular field");
    PutScalar(msg, f, v, false);
  } else {
    if (!f->is_repeated()) Fail(msg, f->number(), "expected a repeated field");
    if constexpr (IsMap<T>::value) {
      if (!f->is_map()) Fail(msg, f->number(), "expected a map");
      for (const auto& kv : v) PutMapEntry(*r->AddMessage(&msg, f), kv.first, kv.second);
    } else {
      for (const auto& element : v) AddElement(msg, f, element);
    }
  }
}

template <class K, class V>
void PutMapEntry(Message& entry, const K& key, const V& value) {
  const auto* d = entry.GetDescriptor();
  PutField(entry, d->FindFieldByNumber(1), key);
  PutField(entry, d->FindFieldByNumber(2), value);
}

template <class R>
void Copy(const R& record, Message& msg) {
  record.forEachField([&msg](std::uint8_t tag, const char*, const auto& member) {
    const FieldDescriptor* f = msg.GetDescriptor()->FindFieldByNumber(tag + 1);
    if (f == nullptr) Fail(msg, tag + 1, "missing in the mirror");
    PutField(msg, f, member);
  });
}

}  // namespace mirror_detail

// Fills `msg` (cleared first) with the content of `record`.
template <class R>
void CopyToProto(const R& record, google::protobuf::Message& msg) {
  msg.Clear();
  mirror_detail::Copy(record, msg);
}

}  // namespace navreq_bench

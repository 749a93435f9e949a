// The engine's parameter records (navreq/engine/params.h) as JSON: what
// `navreq encode` reads as "param" and "extra", and its inverse.
//
// A record is an object of its members by name, in declared order, with the
// value forms of the wire records' JSON (navreq/read/records.h), and the
// same round trip, bit for bit. Three members have a form of their own:
// truckBlock is an array of four integers; pending_list is an array whose
// values are not read (only its length counts); the values of
// explain_controls, and the road links inside them, are arrays of their
// members in declared order. Absent members keep their defaults; an unknown
// key is an error.
//
// These functions belong to the serializer layer (navreq::navreq), which
// owns the parameter records; the reading layer's umbrella header
// (navreq/read.h) does not include this one, so navreq::read never depends on
// the serializers.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "navreq/engine/params.h"
#include "navreq/kse/output_stream.h"
#include "navreq/read/json_error.h"

namespace navreq {

namespace params_json_detail {
struct MemberProbe {
  template <class T>
  void operator()(const char*, const T&) const {}
};
template <class R, class = void>
struct IsEngineRecord : std::false_type {};
template <class R>
struct IsEngineRecord<R, std::void_t<decltype(std::declval<const R&>().forEachField(MemberProbe{}))>>
    : std::bool_constant<!std::is_base_of<::navcore::ryn::KseStructBase, R>::value> {};
}  // namespace params_json_detail

// Enables a template for engine parameter records (NAVREQ_ENGINE_RECORD) only.
template <class R>
using IfEngineRecord = std::enable_if_t<params_json_detail::IsEngineRecord<R>::value, long>;

// The record as a JSON document, indented by two spaces. Compiled for every
// record of NAVREQ_ALL_ENGINE_RECORDS.
template <class R, IfEngineRecord<R> = 0>
[[nodiscard]] std::string ToJson(const R& record);

// The record a JSON document describes. Errors throw JsonError naming the
// member's path below `root`: with root "param",
// "param.viaPoints[1].pointType: 4294967296 is out of range for int32".
template <class R, IfEngineRecord<R> = 0>
[[nodiscard]] R FromJson(std::string_view text, const std::string& root = std::string());

}  // namespace navreq

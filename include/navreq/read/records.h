// Conveniences for any wire record (navreq/records/all.h): its bytes, its
// text, its JSON and its differences from another, all derived from the one
// declaration of the record (navreq/kse/record.h), which also gives it == and
// != (floating-point fields compared bit for bit).
//
//   navkse::common::Point p;  p.latitude = 5;
//   navreq::ToText(p);             // the tree `navreq dump` prints for p's bytes
//   navreq::ToJson(p);             // {"longitude": 0, "latitude": 5, "field2": 0}
//   navreq::FromJson<navkse::common::Point>(text);   // and back
//   navreq::Diff(p, q);            // [{path "latitude", a "5", b "6"}]
//
// The JSON of a record is an object of its fields by name, in declared order:
// integers as JSON integers (int64 and uint32 exact), floating-point values as
// the shortest decimal that reads back as the same value or "Infinity",
// "-Infinity", "NaN" ("NaN:7fa00001" for a NaN with other bits), strings as
// JSON strings ({"hex": "..."} when their bytes are not well-formed UTF-8),
// byte arrays (bytes, ubytes) as lowercase hex, lists as arrays, maps as
// objects keyed by the key's text (an array of [key, value] pairs when a
// string key is not well-formed UTF-8). FromJson reads exactly what ToJson
// writes, bit for bit; absent fields keep their defaults, an unknown key is an
// error, and every error throws JsonError naming the field's path in the
// syntax of paths.h ("via_points[3].point.latitude: expected an integer").
//
// ToJson and FromJson are compiled for every record of NAVKSE_ALL_RECORDS.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "navreq/kse/buffer_writer.h"
#include "navreq/kse/output_stream.h"
#include "navreq/kse/record.h"
#include "navreq/read/diff.h"
#include "navreq/read/json_error.h"

namespace navreq {

// Enables a template for wire records (NAVKSE_RECORD) only.
template <class R>
using IfWireRecord = std::enable_if_t<std::is_base_of<::navcore::ryn::KseStructBase, R>::value, int>;

// The bytes the record's writeTo gives: its fields, without an envelope.
template <class R, IfWireRecord<R> = 0>
[[nodiscard]] std::string RecordBytes(const R& record) {
  ::navcore::ryn::KseOutputStream<::navcore::ryn::BufferWriter> out;
  record.writeTo(out);
  return out.length() == 0 ? std::string() : std::string(out.data(), out.length());
}

// The text tree of `navreq dump` for `bytes` read as the fields of `record`,
// carried records followed; the first line names the record and the size.
[[nodiscard]] std::string RecordText(std::string_view bytes, const ::navcore::ryn::RecordInfo& record);

// The text tree `navreq dump` prints for the record written alone.
template <class R, IfWireRecord<R> = 0>
[[nodiscard]] std::string ToText(const R& record) {
  return RecordText(RecordBytes(record), R::kseInfo());
}

// The record as a JSON document (above), indented by two spaces.
template <class R, IfWireRecord<R> = 0>
[[nodiscard]] std::string ToJson(const R& record);

// The record a JSON document describes; throws JsonError.
template <class R, IfWireRecord<R> = 0>
[[nodiscard]] R FromJson(std::string_view text);

// The differences between `a` and `b` read as the fields of `record` written
// alone (what the record's writeTo gives), by the comparison of DiffRequests;
// paths begin at the record's fields.
[[nodiscard]] std::vector<Difference> DiffRecordBytes(const std::string& a, const std::string& b,
                                                      const ::navcore::ryn::RecordInfo& record);

// The differences between two records of one type, as DiffRequests gives
// them for two requests: each with the field's path and both values as text.
template <class R, IfWireRecord<R> = 0>
[[nodiscard]] std::vector<Difference> Diff(const R& a, const R& b) {
  return DiffRecordBytes(RecordBytes(a), RecordBytes(b), R::kseInfo());
}

}  // namespace navreq

// Which envelope a request starts with, and where its bytes end: the one
// detector behind DecodeRequest and the walk (dump, diff, the inspector).
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "navreq/records/commands.h"

namespace navreq {

// The envelope whose declaration the first fields of `bytes` follow furthest:
// tags ascending, each declared, each head able to carry its declared type
// (a Package on a tie). Both start with an integer at tag 0; a Packet goes
// on with its credentials record at tag 1, a Package with an integer. None
// when not even the first field fits either.
[[nodiscard]] std::optional<navkse::Envelope> DetectEnvelope(std::string_view bytes) noexcept;

// Where a second request starts when `bytes` hold two back to back. The
// writer gives every record's fields in ascending tag order, so a request
// ends at the first head whose tag does not ascend; a second request starts
// there when the first two fields from there follow an envelope's
// declaration. None otherwise (a repeated tag that does not start a request
// is the readers' to report as such).
[[nodiscard]] std::optional<std::size_t> SecondRequestAt(std::string_view bytes) noexcept;

// Why a body's bytes are not encoded as the command table's gzip column says,
// or null. A body of a BodyGzip::kAlways command must be a gzip stream (its
// Package flag, tag 4, says gzip for every command, so only the table tells).
// A gzip stream where the table says kNever is read all the same.
[[nodiscard]] const char* BodyEncodingProblem(const navkse::CommandInfo& command,
                                              std::string_view body) noexcept;

}  // namespace navreq

// The walk's findings as DecodeRequest reports them.
//
// The walk (walk.h) and DecodeRequest (request_reader.h) read the same bytes;
// this gives what the walk found as ReadProblems, in DecodeRequest's terms:
// the same kinds, paths rooted the same way ("package.", "packet.",
// "header.", "body.", "body.side_records[toGuidance]."), offsets in the bytes
// of each part, and in tolerant mode's order (a part's own problems before
// those of the parts it carries: the Package before its Header, the body
// before its side records). A record cut short is one problem, as in
// tolerant mode; problems inside a value that DecodeRequest skips (an
// undeclared field, a field of the wrong type, a repeated field) are not
// reported, and a failure inside one is named by it.
#pragma once

#include <cstddef>
#include <vector>

#include "navreq/request_reader.h"

namespace navreq {

// The problems the walk finds in `size` bytes at `data`, as DecodeRequest in
// tolerant mode reports them.
[[nodiscard]] std::vector<ReadProblem> WalkProblems(const void* data, std::size_t size);

}  // namespace navreq

// Everything for reading requests back, in one include (navreq::read):
//   DecodeRequest           a request's envelope, command and records (request_reader.h)
//   DetectEnvelope          which envelope bytes start with (read/envelope.h)
//   Walk, WalkRecord        the bytes as a stream of events with offsets (read/walk.h)
//   WalkProblems            the walk's findings as DecodeRequest reports them (read/walk_problems.h)
//   MakeTextView, MakeJsonView   the two trees of `navreq dump` (read/views.h)
//   DiffRequests            two requests compared field by field (read/diff.h)
//   PackJson, PackStream    `navreq dump --json` back into bytes (read/pack.h)
//   ReadHar                 the requests in a HAR file's entries (read/har.h)
//   Gunzip, LooksGzip       bounded gzip inflation (read/inflate.h)
//   AppendFieldLevel, ...   the paths that name values (read/paths.h)
//   ==, ToText, ToJson, FromJson, Diff   for any wire record (read/records.h)
// The same conveniences for the engine's parameter records are in
// navreq/params_json.h (ToJson, FromJson) and navreq/params_diff.h (Diff);
// == comes with the records. They belong to the serializers
// (navreq::navreq), and this header leaves them out so that navreq::read
// never depends on that layer.
#pragma once

#include "navreq/read/diff.h"
#include "navreq/read/envelope.h"
#include "navreq/read/har.h"
#include "navreq/read/inflate.h"
#include "navreq/read/json_error.h"
#include "navreq/read/pack.h"
#include "navreq/read/paths.h"
#include "navreq/read/records.h"
#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/read/walk_problems.h"
#include "navreq/request_reader.h"

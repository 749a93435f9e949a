// Fuzz target: the Kse reader of `navreq dump` on arbitrary bytes.
//
// `dump` must never crash and never read past its input, whatever it is
// given: envelopes whose body is broken gzip, counts far beyond the bytes
// left, nesting without end, truncated heads. Besides the whole dump (both
// renderings), the bytes are decoded as each known record and as a
// protocol-buffers message directly, so that the decoder's paths are reached
// without a matching envelope around them.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "dump.h"
#include "fuzz_support.h"
#include "kse_reader.h"
#include "navreq/records/all.h"

namespace {

using navreq::tool::Decoded;

void CheckDecoded(const Decoded& decoded, std::size_t size) {
  NAVREQ_FUZZ_CHECK(decoded.size == size, "the decoder reports the size it was given");
  if (decoded.complete) return;
  NAVREQ_FUZZ_CHECK(decoded.stop_offset <= size, "decoding stops inside the input");
  NAVREQ_FUZZ_CHECK(decoded.rest.size() == size - decoded.stop_offset,
                    "the rest runs from the stop to the end");
  NAVREQ_FUZZ_CHECK(!decoded.error.empty(), "a stop says why");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const navreq::tool::DumpResult dumped = navreq::tool::Dump(data, size);
  (void)navreq::tool::DumpComplete(dumped);
  const std::string text = navreq::tool::RenderText(dumped);
  NAVREQ_FUZZ_CHECK(text.empty() || text.back() == '\n', "the text tree ends with a newline");
  // `dump --json` is read by other programs: it must be one JSON document.
  NAVREQ_FUZZ_CHECK(nlohmann::json::accept(navreq::tool::RenderJson(dumped)), "--json output is valid JSON");

  CheckDecoded(navreq::tool::DecodeFields(data, size), size);
  CheckDecoded(navreq::tool::DecodeFields(data, size, &navkse::duromap::Package::kseInfo()), size);
  CheckDecoded(navreq::tool::DecodeFields(data, size, &navkse::NavSDKGateway::Packet::kseInfo()), size);
  CheckDecoded(navreq::tool::DecodeFields(data, size, &navkse::routesearch::CarRouteReq::kseInfo()), size);
  CheckDecoded(navreq::tool::DecodeFields(data, size, &navkse::traffic::AllOnRouteReqBatch::kseInfo()), size);
  CheckDecoded(
      navreq::tool::DecodeFields(data, size, &navkse::locationReportDMQ::LocationReportRequestDMQ::kseInfo()),
      size);

  const navreq::tool::PbDecoded protobuf = navreq::tool::DecodeProtobuf(data, size);
  NAVREQ_FUZZ_CHECK(protobuf.complete || protobuf.stop_offset <= size,
                    "protobuf decoding stops inside the input");

  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (navreq::tool::LooksGzip(bytes)) {
    std::string inflated;
    std::string error;
    if (navreq::tool::Gunzip(bytes, inflated, error)) {
      NAVREQ_FUZZ_CHECK(inflated.size() <= navreq::tool::kMaxInflatedSize, "inflation stays bounded");
    }
  }
  return 0;
}

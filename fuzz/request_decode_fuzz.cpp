// Request decoding of arbitrary bytes, in both modes. Whatever decodes in
// strict mode must write back and read again to the same records: the
// envelope rewritten decodes again without a problem, and every record read
// writes the same bytes as the record read from those bytes.
#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

#include "fuzz_support.h"
#include "navreq/request_reader.h"
#include "navreq/serialize.h"

namespace {

template <class R>
std::vector<char> Written(const R& record) {
  std::vector<char> bytes;
  NAVREQ_FUZZ_CHECK(zv_navi_core::SerializeKSE(record, bytes), "a record read back writes");
  return bytes;
}

// write(read(write(x))) == write(x) for a record that was read.
template <class R>
void CheckRecord(const R& record) {
  const std::vector<char> first = Written(record);
  R again;
  const navcore::ryn::ReadResult r = navcore::ryn::readRecord(first, again);
  NAVREQ_FUZZ_CHECK(r.ok(), "what was written reads back");
  NAVREQ_FUZZ_CHECK(Written(again) == first, "read back, written again: same bytes");
}

void CheckBody(const navreq::RequestBody& body) {
  std::visit(
      [](const auto& b) {
        using T = std::decay_t<decltype(b)>;
        if constexpr (std::is_base_of<navcore::ryn::KseStructBase, T>::value) CheckRecord(b);
      },
      body);
}

bool SameEvent(const navreq::StopEvent& a, const navreq::StopEvent& b) {
  return a.nav_stopped == b.nav_stopped && a.attributes == b.attributes && a.value == b.value &&
         a.timestamp == b.timestamp && a.duration == b.duration;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  tolerant.max_inflated_size = std::size_t{16} << 20;
  const navreq::DecodedRequest loose = navreq::DecodeRequest(data, size, tolerant);
  for (const navreq::ReadProblem& p : loose.problems) {
    NAVREQ_FUZZ_CHECK(p.offset <= size || p.path.rfind("body", 0) == 0 || p.path.rfind("header", 0) == 0,
                      "an envelope problem lies inside the input");
  }

  navreq::DecodeOptions strict;
  strict.max_inflated_size = tolerant.max_inflated_size;
  const navreq::DecodedRequest r = navreq::DecodeRequest(data, size, strict);
  if (!r.ok()) return 0;
  NAVREQ_FUZZ_CHECK(loose.ok(), "what reads strictly reads tolerantly without a problem");

  // The envelope as read, written again, decodes again to the same body.
  const navreq::PackageEnvelope* package = r.package();
  const navkse::NavSDKGateway::Packet* packet = r.packet();
  NAVREQ_FUZZ_CHECK((package != nullptr) != (packet != nullptr), "one envelope, read");
  const std::vector<char> envelope = package != nullptr ? Written(package->package) : Written(*packet);
  const navreq::DecodedRequest again = navreq::DecodeRequest(envelope, strict);
  NAVREQ_FUZZ_CHECK(again.ok(), "a rewritten envelope decodes");
  NAVREQ_FUZZ_CHECK(again.command == r.command, "same command");
  NAVREQ_FUZZ_CHECK(again.body.index() == r.body.index(), "same body type");
  if (const auto* event = std::get_if<navreq::StopEvent>(&r.body)) {
    NAVREQ_FUZZ_CHECK(SameEvent(*event, std::get<navreq::StopEvent>(again.body)), "same event");
  }

  if (package != nullptr) {
    CheckRecord(package->package);
    CheckRecord(package->header);
  } else {
    CheckRecord(*packet);
  }
  CheckBody(r.body);
  if (r.side_records.guidance) CheckRecord(*r.side_records.guidance);
  if (r.side_records.rank) CheckRecord(*r.side_records.rank);
  if (r.extra_data) CheckRecord(*r.extra_data);
  return 0;
}

// Fuzz target: the Kse writer on records of any content.
//
// The first byte picks a root record; the rest fills its fields (strings of
// any length up to a few MiB or across the 100 MiB limit, every integer edge,
// NaN and infinities, lists of up to 65535 elements). The record is written
// with SerializeKSE and compared with ReferenceEncoder:
//   - some string over 100 MiB: SerializeKSE fails and leaves its output empty;
//   - otherwise it succeeds with exactly the reference bytes.
// When the tool's reader is linked in, the bytes must also decode completely,
// one top-level field per declared field.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"
#include "kse_fill.h"
#include "kse_reference.h"
#include "navreq/records/all.h"
#include "navreq/serialize.h"

#if defined(NAVREQ_FUZZ_WITH_READER)
#include "navreq/read/walk.h"
#endif

namespace {

using navreq::fuzz::ByteSource;
using navreq::fuzz::FillBudget;
using navreq::fuzz::RecordFiller;
using navreq::fuzz::ReferenceEncoder;

#if defined(NAVREQ_FUZZ_WITH_READER)
// Beyond a MiB of output (a 100 MiB
// string, tens of thousands of nested records) decoding costs far more than
// the write it checks and proves nothing new.
constexpr std::size_t kDecodeLimit = 1u << 20;

template <class Root>
void CheckDecodes(const std::vector<char>& bytes) {
  if (bytes.size() > kDecodeLimit) return;
  const auto sink = navreq::MakeNullSink();
  const navreq::WalkSummary summary = navreq::WalkRecord(
      reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), Root::kseInfo(), *sink,
      /*follow=*/false);
  NAVREQ_FUZZ_CHECK(summary.undecoded == 0, "what the writer writes, the reader reads to the end");
  NAVREQ_FUZZ_CHECK(summary.missing == 0 && summary.unknown == 0, "every declared field, once, in tag order");
  NAVREQ_FUZZ_CHECK(summary.mismatches == 0, "every field's head carries its declared type");
}
#endif

template <class Root>
void WriteAndCheck(ByteSource& src) {
  Root root;
  FillBudget budget;
  RecordFiller filler(src, budget);
  filler.fillRecord(root, 0);

  // Stale bytes from an earlier call: SerializeKSE must replace or drop them.
  std::vector<char> out = {'\x55', '\x66', '\x77'};
  const bool ok = zv_navi_core::SerializeKSE(root, out);

  ReferenceEncoder reference;
  reference.fields(root);
  if (reference.overLimit()) {
    NAVREQ_FUZZ_CHECK(!ok, "a string over 100 MiB fails the write");
    NAVREQ_FUZZ_CHECK(out.empty(), "a failed write leaves the output empty");
    return;
  }
  NAVREQ_FUZZ_CHECK(ok, "every record within the limits is written");
  const std::string& expected = reference.bytes();
  NAVREQ_FUZZ_CHECK(out.size() == expected.size(), "written length matches the reference length");
  NAVREQ_FUZZ_CHECK(out.empty() || std::memcmp(out.data(), expected.data(), out.size()) == 0,
                    "written bytes match the reference bytes");
#if defined(NAVREQ_FUZZ_WITH_READER)
  CheckDecodes<Root>(out);
#endif
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteSource src(data, size);
  // Roots that between them nest every record of the protocol.
  switch (src.u8() % 12) {
    case 0:
      WriteAndCheck<navkse::duromap::Package>(src);
      break;
    case 1:
      WriteAndCheck<navkse::duromap::Header>(src);
      break;
    case 2:
      WriteAndCheck<navkse::NavSDKGateway::Packet>(src);
      break;
    case 3:
      WriteAndCheck<navkse::routesearch::CarRouteReq>(src);
      break;
    case 4:
      WriteAndCheck<navkse::traffic::AllOnRouteReqBatch>(src);
      break;
    case 5:
      WriteAndCheck<navkse::locationReportDMQ::LocationReportRequestDMQ>(src);
      break;
    case 6:
      WriteAndCheck<navkse::locationReportDMQ::NavExtraData>(src);
      break;
    case 7:
      WriteAndCheck<navkse::navicore::nav::ugs_guidance_slice_req_t>(src);
      break;
    case 8:
      WriteAndCheck<navkse::navicore::nav::ugs_cloud_info>(src);
      break;
    case 9:
      WriteAndCheck<navkse::CarRankTrans::ToRankTransInfo>(src);
      break;
    case 10:
      WriteAndCheck<navkse::ugcUnit::gpsBucket>(src);
      break;
    default:
      WriteAndCheck<navkse::routesearch::RouteRefreshReq>(src);
      break;
  }
  return 0;
}

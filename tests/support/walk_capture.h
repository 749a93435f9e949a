// A walk sink that keeps what the readers' verdicts are made of: where
// decoding stopped and why, the embeddings' encoding problems, and the
// envelope the top was read as.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "navreq/read/walk.h"

namespace navreq {
namespace testing {

class VerdictSink final : public TreeSink {
 public:
  struct Stop {
    std::size_t offset;
    std::string why;
  };
  std::string envelope;
  std::vector<Stop> stops;
  std::vector<std::string> encoding_problems;

  bool wantsLengths() const override { return false; }
  void begin(std::string_view record, std::size_t, bool, std::size_t, std::string_view) override {
    envelope = std::string(record);
  }
  void end() override {}
  void scalar(const Item&, const Scalar&) override {}
  void bytes(const Item&, std::string_view) override {}
  void open(const Item&, std::int64_t) override {}
  void close(const Item&) override {}
  void openEmbedded(const Item&, std::string_view, const Embedding& e) override {
    if (e.encoding_problem != nullptr) encoding_problems.emplace_back(e.encoding_problem);
  }
  void closeEmbedded(const Item&) override {}
  void protobufField(std::size_t, std::size_t, std::uint64_t, int, std::uint64_t, std::string_view) override {
  }
  void missing(const FieldInfo&) override {}
  void undecoded(std::size_t offset, std::string_view, const std::string& why) override {
    stops.push_back(Stop{offset, why});
  }
};

}  // namespace testing
}  // namespace navreq

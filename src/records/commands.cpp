#include "navreq/records/commands.h"

namespace navkse {

namespace {
constexpr bool TableInKindOrder() {
  for (std::size_t i = 0; i < kCommandCount; ++i) {
    if (static_cast<std::size_t>(kCommands[i].kind) != i) return false;
  }
  return true;
}
static_assert(TableInKindOrder(), "kCommands is indexed by RequestKind");
}  // namespace

const CommandInfo* findPackageCommand(std::int32_t cmd, std::string_view name) noexcept {
  const CommandInfo* found = findPackageCommand(name);
  return found != nullptr && found->number == cmd ? found : nullptr;
}

const CommandInfo* findPackageCommand(std::string_view name) noexcept {
  for (const CommandInfo& c : kCommands) {
    if (c.envelope == Envelope::kPackage && name == c.name) return &c;
  }
  return nullptr;
}

const CommandInfo* findPacketKind(std::int32_t kind) noexcept {
  for (const CommandInfo& c : kCommands) {
    if (c.envelope == Envelope::kPacket && c.number == kind) return &c;
  }
  return nullptr;
}

const ::navcore::ryn::RecordInfo* findRouteSideRecord(std::string_view key) noexcept {
  for (const SideRecord& s : kRouteSideRecords) {
    if (key == s.key) return &s.record();
  }
  return nullptr;
}

}  // namespace navkse

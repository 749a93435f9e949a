// Decoding the stop event's protocol-buffers message, the writer's
// vbr_encode_map layout included: the attribute field's tag, a bare varint
// entry count, then for each entry the field's tag and the key, the field's
// tag and the value. A standard decoder takes the count for a length and
// fails, so the message is walked field by field with nanopb's primitives.
#include <pb_decode.h>

#include <cstring>
#include <string>

#include "navreq/request_reader.h"
#include "normal_traj_server.pb.h"

namespace navreq {

namespace {

// The smallest attribute entry: tag, empty key, tag, empty value.
constexpr std::uint64_t kMinEntryBytes = 4;

class EventWalker {
 public:
  EventWalker(const void* data, std::size_t size)
      : stream_(pb_istream_from_buffer(static_cast<const pb_byte_t*>(data), size)) {}

  bool run(StopEvent& out) {
    for (;;) {
      pb_wire_type_t wire_type;
      std::uint32_t tag = 0;
      bool eof = false;
      if (!pb_decode_tag(&stream_, &wire_type, &tag, &eof)) return eof ? true : fail("bad field tag");
      switch (tag) {
        case kelo_nav_normal_traj_server_Event_nav_stopped_tag: {
          std::uint64_t v = 0;
          if (!varint(wire_type, v) || v > 1) return fail("nav_stopped is not a bool");
          out.nav_stopped = v != 0;
          break;
        }
        case kelo_nav_normal_traj_server_Event_attributes_tag:
          if (!attributes(wire_type, tag, out.attributes)) return false;
          break;
        case kelo_nav_normal_traj_server_Event_value_tag:
          if (wire_type != PB_WT_STRING || !string(out.value)) return fail("value is not a string");
          break;
        case kelo_nav_normal_traj_server_Event_timestamp_tag:
          if (!int64(wire_type, out.timestamp)) return fail("timestamp is not an int64");
          break;
        case kelo_nav_normal_traj_server_Event_duration_tag:
          if (!int64(wire_type, out.duration)) return fail("duration is not an int64");
          break;
        default:
          if (!pb_skip_field(&stream_, wire_type)) return fail("unknown field cut short");
          break;
      }
    }
  }

  const std::string& error() const { return error_; }

 private:
  bool fail(const std::string& what) {
    error_ = what + " at offset " + std::to_string(offset());
    return false;
  }
  std::size_t offset() const { return size_ - stream_.bytes_left; }

  bool varint(pb_wire_type_t wire_type, std::uint64_t& v) {
    return wire_type == PB_WT_VARINT && pb_decode_varint(&stream_, &v);
  }

  bool int64(pb_wire_type_t wire_type, std::int64_t& out) {
    std::uint64_t v = 0;
    if (!varint(wire_type, v)) return false;
    std::memcpy(&out, &v, sizeof out);  // two's complement, as protobuf's int64
    return true;
  }

  bool string(std::string& out) {
    std::uint64_t n = 0;
    if (!pb_decode_varint(&stream_, &n) || n > stream_.bytes_left) return false;
    out.resize(static_cast<std::size_t>(n));
    return n == 0 || pb_read(&stream_, reinterpret_cast<pb_byte_t*>(&out[0]), static_cast<std::size_t>(n));
  }

  bool attributes(pb_wire_type_t wire_type, std::uint32_t field, std::map<std::string, std::string>& out) {
    std::uint64_t count = 0;
    if (wire_type != PB_WT_STRING || !pb_decode_varint(&stream_, &count)) return fail("attribute count");
    if (count > stream_.bytes_left / kMinEntryBytes)
      return fail("attribute count larger than the bytes left");
    for (std::uint64_t i = 0; i < count; ++i) {
      std::string key;
      std::string value;
      if (!entryString(field, key) || !entryString(field, value)) return fail("attribute entry");
      if (!out.emplace(std::move(key), std::move(value)).second) return fail("duplicate attribute key");
    }
    return true;
  }

  bool entryString(std::uint32_t field, std::string& out) {
    pb_wire_type_t wire_type;
    std::uint32_t tag = 0;
    bool eof = false;
    return pb_decode_tag(&stream_, &wire_type, &tag, &eof) && tag == field && wire_type == PB_WT_STRING &&
           string(out);
  }

  pb_istream_t stream_;
  std::size_t size_ = stream_.bytes_left;
  std::string error_;
};

}  // namespace

bool DecodeStopEvent(const void* data, std::size_t size, StopEvent& out, std::string& error) noexcept {
  try {
    out = StopEvent();
    EventWalker walker(data, size);
    if (walker.run(out)) return true;
    error = walker.error();
    return false;
  } catch (...) {
    error = "out of memory while decoding the event";
    return false;
  }
}

}  // namespace navreq

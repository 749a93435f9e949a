// Decoding the stop event's protocol-buffers message with its schema, the
// writer's map layout included (protobuf_reader.h): a standard decoder takes
// the attribute count for a length and fails, so the message is read field
// by field.
#include <cstring>
#include <string>

#include "navreq/request_reader.h"
#include "protobuf_reader.h"

namespace navreq {

namespace {

// The smallest attribute entry: key, empty key, key, empty value.
constexpr std::uint64_t kMinEntryBytes = 4;

std::int64_t Int64(std::uint64_t v) {
  std::int64_t out = 0;
  std::memcpy(&out, &v, sizeof out);  // two's complement, as protobuf's int64
  return out;
}

// What a field's key says it holds: "wire type 0 read".
std::string WireOf(const ProtobufReader::Key& k) { return "wire type " + std::to_string(k.wire) + " read"; }

class EventReader {
 public:
  explicit EventReader(std::string_view bytes) : in_(bytes) {}

  void run(StopEvent& out) {
    while (!in_.atEnd()) {
      const ProtobufReader::Key k = in_.key();
      switch (k.number) {
        case StopEventField::nav_stopped: {
          const std::uint64_t v = varint(k, "nav_stopped is not a bool");
          if (v > 1) throw WireStop{k.offset, "nav_stopped is " + std::to_string(v) + ", expected 0 or 1"};
          out.nav_stopped = v != 0;
          break;
        }
        case StopEventField::attributes:
          attributes(k, out.attributes);
          break;
        case StopEventField::value:
          if (k.wire != kProtoLengthDelimited)
            throw WireStop{k.offset, "value is not a string: " + WireOf(k)};
          out.value = std::string(in_.lengthDelimited(k.offset));
          break;
        case StopEventField::timestamp:
          out.timestamp = Int64(varint(k, "timestamp is not an int64"));
          break;
        case StopEventField::duration:
          out.duration = Int64(varint(k, "duration is not an int64"));
          break;
        default:
          in_.skip(k.wire);
          break;
      }
    }
  }

 private:
  std::uint64_t varint(const ProtobufReader::Key& k, const char* what) {
    if (k.wire != kProtoVarint) throw WireStop{k.offset, std::string(what) + ": " + WireOf(k)};
    return in_.varint();
  }

  void attributes(const ProtobufReader::Key& k, std::map<std::string, std::string>& out) {
    if (k.wire != kProtoLengthDelimited) {
      throw WireStop{k.offset, "attributes are not the map layout: " + WireOf(k)};
    }
    const std::size_t at = in_.pos();
    const std::uint64_t count = in_.varint();
    if (count > in_.left() / kMinEntryBytes) {
      throw WireStop{at, "attribute count " + std::to_string(count) + " needs at least " +
                             std::to_string(count * kMinEntryBytes) + " bytes, " +
                             std::to_string(in_.left()) + " left"};
    }
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::string key(entry(k));
      const std::string value(entry(k));
      if (!out.emplace(key, value).second) throw WireStop{at, "duplicate attribute key \"" + key + "\""};
    }
  }

  std::string_view entry(const ProtobufReader::Key& field) {
    const ProtobufReader::Key k = in_.key();
    if (k.raw != field.raw) {
      throw WireStop{k.offset, "attribute entry is not the attributes field: field " +
                                   std::to_string(k.number) + " " + WireOf(k)};
    }
    return in_.lengthDelimited(k.offset);
  }

  ProtobufReader in_;
};

}  // namespace

bool DecodeStopEvent(const void* data, std::size_t size, StopEvent& out, std::string& error) noexcept {
  try {
    out = StopEvent();
    EventReader(std::string_view(static_cast<const char*>(data), size)).run(out);
    return true;
  } catch (const WireStop& stop) {
    error = stop.why + " at offset " + std::to_string(stop.offset);
  } catch (...) {
    error = "out of memory while decoding the event";
  }
  return false;
}

}  // namespace navreq

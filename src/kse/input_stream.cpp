#include "navreq/kse/input_stream.h"

namespace navcore {
namespace ryn {

const char* readProblemName(ReadProblemKind kind) noexcept {
  switch (kind) {
    case ReadProblemKind::kTruncated:
      return "truncated";
    case ReadProblemKind::kBadType:
      return "bad type";
    case ReadProblemKind::kTooDeep:
      return "too deep";
    case ReadProblemKind::kBadCount:
      return "bad count";
    case ReadProblemKind::kBadLength:
      return "bad length";
    case ReadProblemKind::kUnexpectedEnd:
      return "unexpected end of record";
    case ReadProblemKind::kMissingField:
      return "missing field";
    case ReadProblemKind::kUnknownField:
      return "unknown field";
    case ReadProblemKind::kDuplicateField:
      return "duplicate field";
    case ReadProblemKind::kOutOfOrder:
      return "field out of order";
    case ReadProblemKind::kTypeMismatch:
      return "type mismatch";
    case ReadProblemKind::kOutOfRange:
      return "out of range";
    case ReadProblemKind::kUnexpectedTag:
      return "unexpected tag";
    case ReadProblemKind::kDuplicateKey:
      return "duplicate key";
    case ReadProblemKind::kTrailingBytes:
      return "trailing bytes";
    case ReadProblemKind::kLimitExceeded:
      return "limit exceeded";
    case ReadProblemKind::kBadGzip:
      return "bad gzip";
    case ReadProblemKind::kUnknownEnvelope:
      return "unknown envelope";
    case ReadProblemKind::kUnknownCommand:
      return "unknown command";
    case ReadProblemKind::kBadEvent:
      return "bad event";
    case ReadProblemKind::kOutOfMemory:
      return "out of memory";
    case ReadProblemKind::kInternal:
      return "internal error";
  }
  return "unknown problem";
}

KseReadError::KseReadError(ReadProblemKind kind, std::size_t offset, const std::string& detail)
    : KseDecodeException(std::string(readProblemName(kind)) + " at offset " + std::to_string(offset) + ": " +
                         detail),
      kind_(kind),
      offset_(offset),
      detail_(detail) {}

void throwReadError(ReadProblemKind kind, std::size_t offset, const char* detail) {
  throw KseReadError(kind, offset, detail);
}

void KseInputStream::skipValue(const KseHead& head) {
  switch (head.type) {
    case kKseInt8:
    case kKseInt16:
    case kKseInt32:
    case kKseInt64:
    case kKseZero:
      readInteger(head.type);
      return;
    case kKseFloat:
      readFloat();
      return;
    case kKseDouble:
      readDouble();
      return;
    case kKseString1:
    case kKseString4:
      readString(head.type);
      return;
    case kKseSimpleList:
      readSimpleList();
      return;
    case kKseList:
    case kKseMap: {
      enter(head.offset);
      const std::size_t per_element = head.type == kKseMap ? 2 : 1;
      const std::size_t values = readCount(per_element) * per_element;
      for (std::size_t i = 0; i < values; ++i) {
        const KseHead e = readHead();
        // An end head has no value: it cannot stand for an element, key or value.
        if (e.type == kKseStructEnd)
          throwReadError(ReadProblemKind::kUnexpectedEnd, e.offset, "end of record in place of a value");
        skipValue(e);
      }
      leave();
      return;
    }
    case kKseStructBegin:
      enter(head.offset);
      skipRecordBody();
      leave();
      return;
    default:  // end of record: a head without a value
      return;
  }
}

void KseInputStream::skipRecordBody() {
  for (;;) {
    const KseHead h = readHead();
    if (h.type == kKseStructEnd) {
      // The writer gives a tag below 15 the one-byte head.
      if (h.size == 2 && h.tag < 15)
        throwReadError(ReadProblemKind::kBadType, h.offset, "end of record in the two-byte form");
      return;
    }
    skipValue(h);
  }
}

}  // namespace ryn
}  // namespace navcore

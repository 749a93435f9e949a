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

namespace {

// "1 byte", "12 bytes".
std::string Bytes(std::uint64_t n) { return std::to_string(n) + (n == 1 ? " byte" : " bytes"); }

}  // namespace

void throwCutShort(std::size_t offset, const char* what, std::size_t needed, std::size_t left) {
  throw KseReadError(ReadProblemKind::kTruncated, offset,
                     std::string(what) + ": " + Bytes(needed) + " needed, " + std::to_string(left) + " left");
}

void throwBadTypeCode(std::size_t offset, std::uint8_t code) {
  throw KseReadError(ReadProblemKind::kBadType, offset,
                     "type code " + std::to_string(code) + ", expected 0-" + std::to_string(kKseLastType));
}

void throwNotAnInteger(ReadProblemKind kind, std::size_t offset, const char* what, std::uint8_t code) {
  throw KseReadError(
      kind, offset,
      std::string(what) + ": type code " + std::to_string(code) + " (" + kseTypeName(code) + ") read");
}

void throwCountOverBytes(std::size_t offset, std::int64_t count, std::size_t left, std::size_t min_element) {
  const std::string n = "count " + std::to_string(count);
  if (min_element == 1)
    throw KseReadError(ReadProblemKind::kBadCount, offset, n + " exceeds the " + Bytes(left) + " left");
  throw KseReadError(ReadProblemKind::kBadCount, offset,
                     n + " needs at least " + Bytes(static_cast<std::uint64_t>(count) * min_element) + ", " +
                         std::to_string(left) + " left");
}

void throwLengthOverBytes(std::size_t offset, const char* what, std::uint64_t length, std::size_t left) {
  throw KseReadError(
      ReadProblemKind::kBadLength, offset,
      std::string(what) + " " + std::to_string(length) + " exceeds the " + Bytes(left) + " left");
}

void throwStringOverLimit(std::size_t offset, std::uint64_t length) {
  throw KseReadError(ReadProblemKind::kBadLength, offset,
                     "string length " + std::to_string(length) + " over the limit of " +
                         std::to_string(kKseMaxStringLength));
}

void throwSimpleListElement(std::size_t offset, std::uint8_t element_type) {
  throw KseReadError(ReadProblemKind::kBadType, offset,
                     "simple list element type " + std::to_string(element_type) + ", expected 0 (bytes)");
}

void throwCountHead(std::size_t offset, std::uint8_t tag, std::uint8_t size) {
  throw KseReadError(
      ReadProblemKind::kBadCount, offset,
      "count head with tag " + std::to_string(tag) + " in " + Bytes(size) + ", expected tag 0 in 1 byte");
}

void throwCountOutOfRange(std::size_t offset, std::int64_t count) {
  throw KseReadError(ReadProblemKind::kBadCount, offset,
                     "count " + std::to_string(count) + ", expected 0 to " + std::to_string(INT32_MAX));
}

void throwLongEndHead(std::size_t offset, std::uint8_t tag) {
  throw KseReadError(ReadProblemKind::kBadType, offset,
                     "end of record with tag " + std::to_string(tag) + " in the two-byte form");
}

void throwTooDeep(std::size_t offset) {
  throw KseReadError(ReadProblemKind::kTooDeep, offset,
                     "nesting deeper than " + std::to_string(kKseMaxDepth) + " levels");
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
      if (h.size == 2 && h.tag < 15) throwLongEndHead(h.offset, h.tag);
      return;
    }
    skipValue(h);
  }
}

}  // namespace ryn
}  // namespace navcore

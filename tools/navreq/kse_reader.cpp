#include "kse_reader.h"

#include <zlib.h>

#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "navreq/kse/output_stream.h"

namespace navreq {
namespace tool {

namespace {

using ::navcore::ryn::KseType;

bool IsIntegerWire(std::uint8_t wire) noexcept {
  return wire <= ::navcore::ryn::kKseInt64 || wire == ::navcore::ryn::kKseZero;
}

std::string Describe(std::size_t n) { return std::to_string(n); }

// Marks a value whose decoding stopped inside it; always false.
bool Incomplete(Node& node) noexcept {
  node.complete = false;
  return false;
}

// Decodes Kse values from one buffer. Every read checks the bytes left first;
// the first failure is recorded and makes every caller unwind, keeping the
// values decoded so far (the value being decoded is marked incomplete).
class KseReader {
 public:
  KseReader(const unsigned char* data, std::size_t size) : data_(data), size_(size) {}

  // Fields of a record written alone: until the end of the buffer.
  void readTopLevel(const RecordInfo* record, int depth, std::vector<Node>& fields) {
    if (depth > kMaxDepth) {
      fail(0, "nesting deeper than " + std::to_string(kMaxDepth) + " levels");
      return;
    }
    while (pos_ < size_) {
      if ((data_[pos_] & 0x0F) == ::navcore::ryn::kKseStructEnd) {
        fail(pos_, "end-of-record head outside any record");
        return;
      }
      if (!readField(record, depth, fields)) return;
    }
  }

  bool failed() const noexcept { return failed_; }
  std::size_t stopOffset() const noexcept { return stop_; }
  const std::string& error() const noexcept { return error_; }

 private:
  std::size_t left() const noexcept { return size_ - pos_; }

  bool fail(std::size_t offset, std::string message) {
    if (!failed_) {
      failed_ = true;
      stop_ = offset;
      error_ = std::move(message);
    }
    return false;
  }

  bool readHead(std::uint8_t& type, std::uint8_t& tag) {
    const std::size_t at = pos_;
    if (left() < 1) return fail(at, "input ends where a field head was expected");
    const std::uint8_t b = data_[pos_];
    type = b & 0x0F;
    tag = static_cast<std::uint8_t>(b >> 4);
    if (tag == 15) {
      if (left() < 2) return fail(at, "input ends inside a two-byte field head");
      tag = data_[pos_ + 1];
      pos_ += 2;
    } else {
      pos_ += 1;
    }
    if (type > ::navcore::ryn::kKseSimpleList) {
      return fail(at, "unknown type code " + std::to_string(type));
    }
    return true;
  }

  bool need(std::size_t head_offset, std::size_t n, const char* what) {
    if (left() >= n) return true;
    return fail(head_offset,
                std::string(what) + " needs " + Describe(n) + " bytes, " + Describe(left()) + " left");
  }

  std::uint64_t takeBigEndian(std::size_t n) noexcept {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i) v = (v << 8) | data_[pos_ + i];
    pos_ += n;
    return v;
  }

  // The payload of an integer head already read.
  bool readInteger(std::size_t at, std::uint8_t type, std::int64_t& out) {
    switch (type) {
      case ::navcore::ryn::kKseZero:
        out = 0;
        return true;
      case ::navcore::ryn::kKseInt8:
        if (!need(at, 1, "an int8")) return false;
        out = navreq::WrapTo<std::int8_t>(takeBigEndian(1));
        return true;
      case ::navcore::ryn::kKseInt16:
        if (!need(at, 2, "an int16")) return false;
        out = navreq::WrapTo<std::int16_t>(takeBigEndian(2));
        return true;
      case ::navcore::ryn::kKseInt32:
        if (!need(at, 4, "an int32")) return false;
        out = navreq::WrapTo<std::int32_t>(takeBigEndian(4));
        return true;
      case ::navcore::ryn::kKseInt64:
        if (!need(at, 8, "an int64")) return false;
        out = navreq::WrapTo<std::int64_t>(takeBigEndian(8));
        return true;
      default:
        return fail(at, std::string("an integer was expected, found a ") + WireTypeName(type));
    }
  }

  // The element count of a list, map or simple list: an integer at tag 0,
  // bounded by the bytes left (every element takes at least `min_bytes`).
  bool readCount(std::size_t container_at, std::size_t min_bytes, const char* what, std::int64_t& count) {
    const std::size_t at = pos_;
    std::uint8_t type = 0;
    std::uint8_t tag = 0;
    if (!readHead(type, tag)) return false;
    if (tag != 0 || !IsIntegerWire(type)) {
      return fail(at, std::string("the count of a ") + what + " must be an integer at tag 0");
    }
    if (!readInteger(at, type, count)) return false;
    if (count < 0)
      return fail(container_at, std::string(what) + " count " + std::to_string(count) + " is negative");
    if (static_cast<std::uint64_t>(count) > left() / min_bytes) {
      return fail(container_at, std::string(what) + " count " + std::to_string(count) + " exceeds the " +
                                    Describe(left()) + " bytes left");
    }
    return true;
  }

  // One field of a record: head and value.
  bool readField(const RecordInfo* record, int depth, std::vector<Node>& fields) {
    fields.emplace_back();
    Node& node = fields.back();
    node.offset = pos_;
    if (!readHead(node.wire, node.tag)) {
      fields.pop_back();
      return false;
    }
    node.field = record != nullptr ? record->find(node.tag) : nullptr;
    const RecordInfo* nested = node.field != nullptr ? node.field->record() : nullptr;
    return readValue(node, nested, depth);
  }

  // An element of a list or a key or value of a map: head with a fixed tag.
  bool readItem(std::uint8_t expected_tag, const RecordInfo* nested, int depth, std::vector<Node>& items) {
    items.emplace_back();
    Node& node = items.back();
    node.offset = pos_;
    if (!readHead(node.wire, node.tag)) {
      items.pop_back();
      return false;
    }
    if (node.tag != expected_tag) {
      const std::size_t at = node.offset;
      items.pop_back();
      return fail(at, "tag " + std::to_string(expected_tag) + " expected inside a container, found tag " +
                          std::to_string(node.tag));
    }
    return readValue(node, nested, depth);
  }

  bool readValue(Node& node, const RecordInfo* nested, int depth) {
    const std::size_t at = node.offset;
    switch (node.wire) {
      case ::navcore::ryn::kKseInt8:
      case ::navcore::ryn::kKseInt16:
      case ::navcore::ryn::kKseInt32:
      case ::navcore::ryn::kKseInt64:
      case ::navcore::ryn::kKseZero:
        return readInteger(at, node.wire, node.integer) || Incomplete(node);
      case ::navcore::ryn::kKseFloat: {
        if (!need(at, 4, "a float")) return Incomplete(node);
        const std::uint32_t bits = static_cast<std::uint32_t>(takeBigEndian(4));
        float f;
        std::memcpy(&f, &bits, sizeof f);
        node.real = static_cast<double>(f);
        return true;
      }
      case ::navcore::ryn::kKseDouble: {
        if (!need(at, 8, "a double")) return Incomplete(node);
        const std::uint64_t bits = takeBigEndian(8);
        std::memcpy(&node.real, &bits, sizeof node.real);
        return true;
      }
      case ::navcore::ryn::kKseString1:
      case ::navcore::ryn::kKseString4: {
        const std::size_t width = node.wire == ::navcore::ryn::kKseString1 ? 1 : 4;
        if (!need(at, width, "a string length")) return Incomplete(node);
        const std::uint64_t n = takeBigEndian(width);
        if (n > left()) {
          Incomplete(node);
          return fail(at, "string of " + std::to_string(n) + " bytes, " + Describe(left()) + " left");
        }
        node.bytes.assign(reinterpret_cast<const char*>(data_ + pos_), static_cast<std::size_t>(n));
        pos_ += static_cast<std::size_t>(n);
        return true;
      }
      case ::navcore::ryn::kKseSimpleList: {
        if (!need(at, 1, "a byte array")) return Incomplete(node);
        if (data_[pos_] != 0x00) {
          Incomplete(node);
          return fail(at, "a byte array must name its element type with the byte 00");
        }
        ++pos_;
        if (!readCount(at, 1, "byte array", node.count)) return Incomplete(node);
        node.bytes.assign(reinterpret_cast<const char*>(data_ + pos_), static_cast<std::size_t>(node.count));
        pos_ += static_cast<std::size_t>(node.count);
        return true;
      }
      case ::navcore::ryn::kKseList:
      case ::navcore::ryn::kKseMap: {
        const bool is_map = node.wire == ::navcore::ryn::kKseMap;
        if (depth + 1 > kMaxDepth) {
          Incomplete(node);
          return fail(at, "nesting deeper than " + std::to_string(kMaxDepth) + " levels");
        }
        if (!readCount(at, is_map ? 2 : 1, is_map ? "map" : "list", node.count)) return Incomplete(node);
        for (std::int64_t i = 0; i < node.count; ++i) {
          if (is_map && !readItem(0, nullptr, depth + 1, node.items)) return Incomplete(node);
          if (!readItem(is_map ? 1 : 0, nested, depth + 1, node.items)) return Incomplete(node);
        }
        return true;
      }
      case ::navcore::ryn::kKseStructBegin:
        node.record = nested;
        return readStruct(node, depth + 1) || Incomplete(node);
      case ::navcore::ryn::kKseStructEnd:
        Incomplete(node);
        return fail(at, "end-of-record head where a value was expected");
      default:
        Incomplete(node);
        return fail(at, "unknown type code " + std::to_string(node.wire));
    }
  }

  // Fields of a nested record, up to and including its end head.
  bool readStruct(Node& node, int depth) {
    if (depth > kMaxDepth) {
      return fail(node.offset, "nesting deeper than " + std::to_string(kMaxDepth) + " levels");
    }
    for (;;) {
      if (left() == 0) {
        return fail(pos_, "input ends inside the record begun at offset " + std::to_string(node.offset));
      }
      if ((data_[pos_] & 0x0F) == ::navcore::ryn::kKseStructEnd) {
        std::uint8_t type = 0;
        std::uint8_t tag = 0;
        return readHead(type, tag);
      }
      if (!readField(node.record, depth, node.items)) return false;
    }
  }

  const unsigned char* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
  bool failed_ = false;
  std::size_t stop_ = 0;
  std::string error_;
};

bool ReadVarint(const unsigned char* data, std::size_t size, std::size_t& pos, std::uint64_t& out) {
  out = 0;
  for (int shift = 0; shift < 64; shift += 7) {
    if (pos >= size) return false;
    const unsigned char b = data[pos++];
    out |= static_cast<std::uint64_t>(b & 0x7F) << shift;
    if ((b & 0x80) == 0) return true;
  }
  return false;  // more than ten bytes
}

}  // namespace

Decoded DecodeFields(const unsigned char* data, std::size_t size, const RecordInfo* record, int depth) {
  Decoded out;
  out.record = record;
  out.size = size;
  KseReader reader(data, size);
  reader.readTopLevel(record, depth, out.fields);
  if (reader.failed()) {
    out.complete = false;
    out.stop_offset = reader.stopOffset();
    out.error = reader.error();
    out.rest.assign(reinterpret_cast<const char*>(data) + out.stop_offset, size - out.stop_offset);
  }
  return out;
}

PbDecoded DecodeProtobuf(const unsigned char* data, std::size_t size) {
  PbDecoded out;
  out.size = size;
  std::size_t pos = 0;
  auto stop = [&](std::size_t at, std::string message) {
    out.complete = false;
    out.stop_offset = at;
    out.error = std::move(message);
    out.rest.assign(reinterpret_cast<const char*>(data) + at, size - at);
    return out;
  };
  while (pos < size) {
    const std::size_t at = pos;
    std::uint64_t key = 0;
    if (!ReadVarint(data, size, pos, key)) return stop(at, "broken field key");
    PbField field;
    field.offset = at;
    field.number = key >> 3;
    field.wire = static_cast<int>(key & 7);
    if (field.number == 0) return stop(at, "field number 0");
    switch (field.wire) {
      case 0:
        if (!ReadVarint(data, size, pos, field.value)) return stop(at, "broken varint");
        break;
      case 1:
      case 5: {
        const std::size_t n = field.wire == 1 ? 8 : 4;
        if (size - pos < n) return stop(at, "fixed-width value runs past the end");
        for (std::size_t i = 0; i < n; ++i)
          field.value |= static_cast<std::uint64_t>(data[pos + i]) << (8 * i);
        pos += n;
        break;
      }
      case 2: {
        std::uint64_t n = 0;
        if (!ReadVarint(data, size, pos, n)) return stop(at, "broken length");
        if (n > size - pos) return stop(at, "length " + std::to_string(n) + " runs past the end");
        field.bytes.assign(reinterpret_cast<const char*>(data + pos), static_cast<std::size_t>(n));
        pos += static_cast<std::size_t>(n);
        break;
      }
      default:
        return stop(at, "unsupported wire type " + std::to_string(field.wire));
    }
    out.fields.push_back(std::move(field));
  }
  return out;
}

bool LooksGzip(const std::string& bytes) noexcept {
  return bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0x1F &&
         static_cast<unsigned char>(bytes[1]) == 0x8B;
}

bool Gunzip(const std::string& in, std::string& out, std::string& error) {
  out.clear();
  if (in.size() > UINT_MAX) {
    error = "gzip stream too large";
    return false;
  }
  z_stream zs;
  std::memset(&zs, 0, sizeof zs);
  if (inflateInit2(&zs, 16 + MAX_WBITS) != Z_OK) {
    error = "cannot start inflating";
    return false;
  }
  zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  zs.avail_in = static_cast<uInt>(in.size());
  char chunk[16384];
  int status = Z_OK;
  while (status == Z_OK) {
    zs.next_out = reinterpret_cast<Bytef*>(chunk);
    zs.avail_out = sizeof chunk;
    status = inflate(&zs, Z_NO_FLUSH);
    if (status != Z_OK && status != Z_STREAM_END) break;
    out.append(chunk, sizeof chunk - zs.avail_out);
    if (out.size() > kMaxInflatedSize) {
      status = Z_MEM_ERROR;
      error = "gzip stream inflates beyond " + std::to_string(kMaxInflatedSize) + " bytes";
      break;
    }
    if (status == Z_OK && zs.avail_in == 0 && zs.avail_out != 0) {
      status = Z_BUF_ERROR;  // every input byte used, no end of stream
      break;
    }
  }
  if (status != Z_STREAM_END && error.empty()) {
    if (status == Z_BUF_ERROR) {
      error = "truncated gzip stream";
    } else {
      error = std::string("corrupt gzip stream") + (zs.msg != nullptr ? std::string(": ") + zs.msg : "");
    }
  }
  inflateEnd(&zs);
  if (status != Z_STREAM_END) {
    out.clear();
    return false;
  }
  return true;
}

bool WireMatchesDeclared(std::uint8_t wire, const char* declared) noexcept {
  if (declared == nullptr) return true;
  auto is = [declared](const char* name) { return std::strcmp(declared, name) == 0; };
  auto starts = [declared](const char* prefix) {
    return std::strncmp(declared, prefix, std::strlen(prefix)) == 0;
  };
  using namespace ::navcore::ryn;
  if (is("bool") || is("char") || is("int8")) return wire == kKseInt8 || wire == kKseZero;
  if (is("int16")) return wire == kKseInt8 || wire == kKseInt16 || wire == kKseZero;
  if (is("int32")) return wire <= kKseInt32 || wire == kKseZero;
  if (is("int64") || is("uint32")) return wire <= kKseInt64 || wire == kKseZero;
  if (is("float")) return wire == kKseFloat;
  if (is("double")) return wire == kKseDouble;
  if (is("string")) return wire == kKseString1 || wire == kKseString4;
  if (is("bytes")) return wire == kKseSimpleList;
  if (is("ubytes") || starts("list<")) return wire == kKseList;
  if (starts("map<")) return wire == kKseMap;
  return wire == kKseStructBegin;  // a record
}

const char* WireTypeName(std::uint8_t wire) noexcept {
  static const char* const names[] = {"int8",   "int16", "int32", "int64",  "float", "double", "string",
                                      "string", "map",   "list",  "struct", "end",   "int",    "bytes"};
  return wire < sizeof names / sizeof names[0] ? names[wire] : "invalid";
}

}  // namespace tool
}  // namespace navreq

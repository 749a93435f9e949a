// The keys of a tree that pack does not write from it: offsets and sizes,
// names and declared types, problems, record names, missing fields, why
// decoding stopped. An edit of one of them would otherwise be lost without a
// word, so each is checked, and an edited one refused with its path:
// - offsets and sizes describe the bytes as dump read them; an edit elsewhere
//   makes them stale but leaves them consistent with one another, so the
//   values of a container must still follow one another from its start to
//   its end (in any order: values may be moved). A list or map whose items
//   were added or removed (its count differs) is let through; one whose count
//   alone was edited is not.
// - the rest is what dump shows for the bytes: pack reads the bytes it wrote
//   back as dump does and compares. A problem the edit put right may stay.
#include <algorithm>
#include <string>
#include <vector>

#include "navreq/kse/wire_format.h"
#include "navreq/read/walk.h"
#include "navreq/request_reader.h"
#include "pack_tree.h"
#include "tree_keys.h"
#include "wire_cursor.h"

namespace navreq {
namespace pack_detail {

namespace {

using ::navcore::ryn::kKseInt16;
using ::navcore::ryn::kKseInt32;
using ::navcore::ryn::kKseInt64;
using ::navcore::ryn::kKseInt8;
using ::navcore::ryn::kseIntegerFits;

constexpr const char* kLeave = "dump's offsets are computed again by pack: leave them as they were";

bool IsInt(const Value& v) { return v.kind == Value::kInt; }

std::int64_t HeadSize(std::int64_t tag, bool long_head) { return tag >= 15 || long_head ? 2 : 1; }

std::int64_t PayloadSize(int type) {
  switch (type) {
    case kKseInt8:
      return 1;
    case kKseInt16:
      return 2;
    case kKseInt32:
      return 4;
    case kKseInt64:
      return 8;
    default:
      return 0;
  }
}

// The bytes of a count of `n` in the form the tree gives it, as pack writes it.
std::int64_t CountSize(const Frame& f, std::int64_t n) {
  int type = SmallestIntegerWire(n);
  if (IsInt(f.count_type) && f.count_type.i >= 0 && f.count_type.i <= kKseZero &&
      kseIntegerFits(static_cast<std::uint8_t>(f.count_type.i), n)) {
    type = static_cast<int>(f.count_type.i);
  }
  return 1 + PayloadSize(type);
}

// Where the values' offsets stop following one another from `start` (and
// ending at `end`, when it is known); null when they do.
struct Break {
  const Span* span = nullptr;  // the value that does not start where the one before ends; null: the end
  std::int64_t expected = 0;
};

bool Tiles(const std::vector<Span>& spans, std::int64_t start, const std::int64_t* end, Break& out) {
  std::vector<const Span*> sorted;
  sorted.reserve(spans.size());
  for (const Span& s : spans) sorted.push_back(&s);
  std::stable_sort(sorted.begin(), sorted.end(), [](const Span* a, const Span* b) { return a->at < b->at; });
  std::int64_t next = start;
  for (const Span* s : sorted) {
    if (s->at != next) {
      out = Break{s, next};
      return false;
    }
    next = s->at + s->len;
  }
  out = Break{nullptr, next};
  return end == nullptr || next == *end;
}

[[noreturn]] void Refuse(const Break& b, const Frame& owner, const std::string& end_key) {
  if (b.span != nullptr) {
    throw TreeFault{b.span->path + ".at",
                    "is " + std::to_string(b.span->at) + ", but the value before it ends at " +
                        std::to_string(b.expected) + " (" + kLeave + ")",
                    b.span->dpath};
  }
  Fail(owner.path + "." + end_key,
       "does not end where its last value ends (at " + std::to_string(b.expected) + "; " + kLeave + ")");
}

void CheckTiles(const Frame& owner, std::int64_t start, const std::int64_t* end, const std::string& end_key) {
  Break b;
  if (!Tiles(owner.spans, start, end, b)) Refuse(b, owner, end_key);
}

// The top, a "kse" or a "message": values from 0, then the undecoded bytes.
void CheckBuffer(const Frame& f) {
  const bool gzip_top = f.kind == Frame::kRoot && f.gzip.kind != Value::kAbsent;
  const Value& total = gzip_top ? f.inflated : f.size;
  const std::string total_key = gzip_top ? "inflated" : "size";
  if (gzip_top && IsInt(f.size) && static_cast<std::size_t>(f.size.i) * 2 != f.gzip.s.size())
    Fail(f.path + ".size", "is not the size of the \"gzip\" bytes (" + std::string(kLeave) + ")");
  if (!f.has_children) return;
  if (f.has_undecoded && IsInt(f.undecoded_at)) {
    const std::int64_t at = f.undecoded_at.i;
    if (IsInt(total) && at + static_cast<std::int64_t>(f.undecoded.size()) != total.i)
      Fail(f.path + ".undecoded.at", "and its bytes do not end at the " + total_key + " " +
                                         std::to_string(total.i) + " (" + kLeave + ")");
    // A value cut short spans the rest of its buffer, past where decoding stopped.
    Break b;
    if (!Tiles(f.spans, 0, nullptr, b)) Refuse(b, f, "undecoded.at");
    if (b.expected != at && !(IsInt(total) && b.expected == total.i)) Refuse(b, f, "undecoded.at");
  } else if (IsInt(total)) {
    CheckTiles(f, 0, &total.i, total_key);
  }
}

}  // namespace

void CheckOffsets(const Frame& f) {
  if (f.kind != Frame::kNode) {
    CheckBuffer(f);
    return;
  }
  if (!f.has_children || !IsInt(f.at) || !IsInt(f.len) || !IsInt(f.tag) || !IsInt(f.type)) return;
  const bool incomplete = f.incomplete.kind == Value::kBool && f.incomplete.b;
  const bool long_head = f.long_head.kind == Value::kBool && f.long_head.b;
  const std::int64_t head = f.at.i + HeadSize(f.tag.i, long_head);
  if (f.type.i == kKseStructBegin) {
    const std::int64_t end_tag = IsInt(f.end_tag) ? f.end_tag.i : 0;
    const std::int64_t end = f.at.i + f.len.i - HeadSize(end_tag, false);
    CheckTiles(f, head, incomplete ? nullptr : &end, "len");
    return;
  }
  if (incomplete) {  // the count is written as the tree gives it
    CheckTiles(f, head + CountSize(f, IsInt(f.count) ? f.count.i : f.child_count), nullptr, "len");
    return;
  }
  const std::int64_t start = head + CountSize(f, f.child_count);
  const std::int64_t end = f.at.i + f.len.i;
  Break b;
  const bool tiles = Tiles(f.spans, start, &end, b);
  if (IsInt(f.count) && f.count.i != f.child_count) {
    // Items added or removed leave offsets that no longer follow one
    // another; if they still do, the count alone was edited.
    if (tiles)
      Fail(f.path + ".count", "is " + std::to_string(f.count.i) + ", but there are " +
                                  std::to_string(f.child_count) + " (pack counts them: leave it as it was)");
    return;
  }
  if (!tiles) Refuse(b, f, "len");
}

namespace {

// What dump shows for the packed bytes, as notes in the order of the values.
class NoteReader final : public TreeSink {
 public:
  explicit NoteReader(std::vector<Note>& out) : out_(out) {}

  bool wantsLengths() const override { return false; }
  void begin(std::string_view record, std::size_t, bool gzip, std::size_t inflated,
             std::string_view) override {
    add(Note::kTop, -1, -1);
    if (!record.empty()) key(0, "record", std::string(record));
    owners_.push_back({0, gzip && inflated == 0});
  }
  void end() override {}
  void scalar(const Item& item, const Scalar&) override { (void)value(item); }
  void bytes(const Item& item, std::string_view) override { (void)value(item); }
  void open(const Item& item, std::int64_t) override { owners_.push_back({value(item), false}); }
  void close(const Item&) override { owners_.pop_back(); }
  void openEmbedded(const Item& item, std::string_view, const Embedding& e) override {
    const std::size_t n = value(item);
    if (e.encoding_problem != nullptr) key(n, "encoding_problem", e.encoding_problem);
    const bool failed = e.gzip && !e.inflate_error.empty();
    if (!failed && !e.protobuf && !e.record.empty()) key(n, "record", std::string(e.record));
    owners_.push_back({n, failed});
  }
  void closeEmbedded(const Item&) override { owners_.pop_back(); }
  void protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t,
                     std::string_view) override {
    proto(number, wire);
  }
  void protobufMapCount(std::size_t, std::size_t, std::uint64_t number, std::uint64_t) override {
    proto(number, 2);
  }
  void missing(const FieldInfo& f) override {
    key(owners_.back().note, "missing", std::to_string(f.tag) + " " + f.name + " " + f.type->name());
  }
  void undecoded(std::size_t, std::string_view, const std::string& why) override {
    key(owners_.back().note, owners_.back().failed ? "error" : "why", why);
  }

 private:
  struct Owner {
    std::size_t note;
    bool failed;  // a gzip stream that did not inflate: its error is the node's own
  };

  std::size_t add(Note::Role role, std::int64_t tag, std::int64_t type) {
    out_.emplace_back();
    out_.back().role = role;
    out_.back().tag = tag;
    out_.back().type = type;
    return out_.size() - 1;
  }
  void key(std::size_t n, const char* k, std::string v) { out_[n].keys.push_back({k, std::move(v), {}}); }

  std::size_t value(const Item& item) {
    static constexpr Note::Role kRoles[] = {Note::kField, Note::kElement, Note::kKey, Note::kValue};
    const std::size_t n = add(kRoles[static_cast<int>(item.role)], item.tag, item.wire);
    if (item.role == Role::kField && item.field != nullptr) {
      const std::string declared = item.declared->name();
      key(n, "name", item.field->name);
      key(n, "declared", declared);
      key(owners_.back().note, "field", std::to_string(item.tag) + " " + item.field->name + " " + declared);
    }
    if (const char* problem = ProblemKeyText(item.problem)) key(n, "problem", problem);
    return n;
  }

  void proto(std::uint64_t number, int wire) {
    const std::size_t n = add(Note::kProto, static_cast<std::int64_t>(number), wire);
    if (const char* name = StopEventFieldName(number)) key(n, "name", name);
  }

  std::vector<Note>& out_;
  std::vector<Owner> owners_;
};

// Head types that pack may write in another form than the tree's.
std::int64_t TypeClass(const Note& n) {
  if (n.role == Note::kProto || n.type < 0) return n.type;
  const auto t = static_cast<std::uint8_t>(n.type);
  if (::navcore::ryn::isIntegerWire(t)) return 100;
  if (t == kKseString1 || t == kKseString4) return 106;
  return t;
}

std::string Where(const std::string& path, const Note& n) {
  return path + (n.dpath.empty() ? std::string() : " (" + n.dpath + ")");
}

const Note::Key* Find(const Note& n, const std::string& k, const std::string* v = nullptr) {
  for (const Note::Key& key : n.keys) {
    if (key.key == k && (v == nullptr || key.value == *v)) return &key;
  }
  return nullptr;
}

}  // namespace

void CheckNotes(const std::string& bytes, const std::vector<Note>& tree) {
  std::vector<Note> read;
  read.reserve(tree.size());
  NoteReader reader(read);
  (void)Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), reader);
  for (std::size_t i = 0; i < tree.size(); ++i) {
    const Note& t = tree[i];
    if (i >= read.size())
      throw PackError(Where(t.path, t) + ": dump does not read this value from the packed bytes");
    const Note& r = read[i];
    if (t.role != r.role || t.tag != r.tag || TypeClass(t) != TypeClass(r)) {
      throw PackError(Where(t.path, t) + ": dump reads the packed bytes differently from here (" +
                      (r.role == Note::kProto ? "field " : "tag ") + std::to_string(r.tag) + ", type " +
                      std::to_string(r.type) + ")");
    }
    for (const Note::Key& k : t.keys) {
      if (k.key == "missing") {
        if (Find(r, "missing", &k.value) == nullptr && Find(r, "field", &k.value) == nullptr)
          throw PackError(Where(k.path, t) + ": \"" + k.value + "\" is not a field that the record declares");
        continue;
      }
      const Note::Key* shown = Find(r, k.key);
      if (shown == nullptr && (k.key == "problem" || k.key == "encoding_problem")) continue;  // put right
      if (shown == nullptr || shown->value != k.value) {
        Note named = t;  // the field path names the field as dump does, not by the edited name
        if (k.key == "name" && t.role == Note::kField && shown != nullptr &&
            t.dpath.size() >= k.value.size() &&
            t.dpath.compare(t.dpath.size() - k.value.size(), k.value.size(), k.value) == 0) {
          named.dpath = t.dpath.substr(0, t.dpath.size() - k.value.size()) + shown->value;
        }
        throw PackError(Where(k.path, named) + ": \"" + k.value + "\", but dump shows " +
                        (shown == nullptr ? std::string("none") : "\"" + shown->value + "\"") +
                        " for the packed bytes (pack does not write it: leave it as it was)");
      }
    }
  }
  if (read.size() > tree.size())
    throw PackError("$: dump reads more values from the packed bytes than the tree holds");
}

}  // namespace pack_detail
}  // namespace navreq

// Declaring a wire record: every field once, on one line.
//
//   #define NAVKSE_FIELDS_Point(X) <backslash>
//     X(0, int32_t, longitude, 0)  <backslash>
//     X(1, int32_t, latitude, 0)   <backslash>
//     X(2, int32_t, field2, 0)
//   NAVKSE_RECORD(Point, NAVKSE_FIELDS_Point);
//
// Each X(tag, type, name, default) line is the single source of the field:
//   - the record's member (with its default);
//   - `writeTo`: every field, in the order listed;
//   - `readFrom`: the same fields read back (record_reader.h);
//   - `Point::FieldTag::latitude`, the tag as a named constant;
//   - its reflection entry in `kseInfo()` (name, tag, typed descriptor;
//     reflection.h) and the generic field visitor `forEachField`;
//   - its part of `==` and `!=`: two records are equal when every declared
//     field is, floating-point fields bit for bit (navreq/same_value.h).
//     In-memory members (NAVKSE_RECORD_WITH_MEMORY) are not compared: they
//     are not part of what the record writes.
// The tags must be strictly ascending (the order the writer writes them) and
// within 0-255; a record that breaks this does not compile. Types containing
// commas use the aliases of reflection.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "navreq/kse/output_stream.h"
#include "navreq/kse/record_reader.h"
#include "navreq/kse/reflection.h"
#include "navreq/same_value.h"

#define NAVKSE_FIELD_MEMBER_(TAG, TYPE, NAME, INIT) TYPE NAME = INIT;
#define NAVKSE_FIELD_TAG_CONSTANT_(TAG, TYPE, NAME, INIT) static constexpr std::uint8_t NAME = TAG;
#define NAVKSE_FIELD_TAG_VALUE_(TAG, TYPE, NAME, INIT) TAG,
#define NAVKSE_FIELD_COUNT_(TAG, TYPE, NAME, INIT) +1
#define NAVKSE_FIELD_WRITE_(TAG, TYPE, NAME, INIT) kse_os_.write(NAME, static_cast<std::uint8_t>(TAG));
#define NAVKSE_FIELD_READ_(TAG, TYPE, NAME, INIT)                         \
  case TAG:                                                               \
    kse_in_.field(kse_h_, NAME, #NAME, kse_seen_, kse_last_, kse_count_); \
    break;
#define NAVKSE_FIELD_EXPECT_(TAG, TYPE, NAME, INIT) \
  kse_in_.expect(static_cast<std::uint8_t>(TAG), NAME, #NAME) && (++kse_done_, true)&&
#define NAVKSE_FIELD_EQUAL_(TAG, TYPE, NAME, INIT) &&::navcore::SameValue(kse_a_.NAME, kse_b_.NAME)
#define NAVKSE_FIELD_VISIT_(TAG, TYPE, NAME, INIT) kse_visit_(static_cast<std::uint8_t>(TAG), #NAME, NAME);
#define NAVKSE_FIELD_INFO_(TAG, TYPE, NAME, INIT) \
  ::navcore::ryn::FieldInfo{static_cast<std::uint8_t>(TAG), #NAME, &::navcore::ryn::TypeOf<TYPE>::info},

// How a record's writer and reader are emitted. By default they are inline
// like any member defined in the class, so the optimiser may expand a nested
// record's fields into its parent's code (the fast release build). The size
// configuration keeps one out-of-line copy of each, shared by every caller.
// The reader's fast path for fields in declared order (KseRecordReader::expect)
// repeats every field's read in front of the field-by-field loop, which alone
// reads the same fields with the same outcome; the size configuration keeps
// the loop only.
#if defined(NAVREQ_SIZE_OPTIMIZED)
#if defined(__GNUC__)
#define NAVKSE_RECORD_CODE_ __attribute__((noinline))
#else
#define NAVKSE_RECORD_CODE_
#endif
#define NAVKSE_READ_IN_ORDER_(FIELDS)
#else
#define NAVKSE_RECORD_CODE_
#define NAVKSE_READ_IN_ORDER_(FIELDS) \
  if (FIELDS(NAVKSE_FIELD_EXPECT_) kse_in_.endOfRecord()) return;
#endif
#define NAVKSE_RECORD_WRITER_ ::navcore::ryn::KseOutputStream<::navcore::ryn::BufferWriter>

#define NAVKSE_MEMORY_MEMBER_(TYPE, NAME, INIT) TYPE NAME = INIT;
#define NAVKSE_NO_MEMORY_MEMBERS_(M)

// Defines the record NAME from its field list FIELDS (see the top of this file).
#define NAVKSE_RECORD(NAME, FIELDS) NAVKSE_RECORD_WITH_MEMORY(NAME, FIELDS, NAVKSE_NO_MEMORY_MEMBERS_)

// Same, plus in-memory members that are never written: MEMORY is a list of
// M(type, name, default) lines.
#define NAVKSE_RECORD_WITH_MEMORY(NAME, FIELDS, MEMORY)                                                  \
  struct NAME : ::navcore::ryn::KseStructBase {                                                          \
    static_assert(::navcore::ryn::kse_detail::tagsAscending({FIELDS(NAVKSE_FIELD_TAG_VALUE_)}),          \
                  #NAME ": field tags must be strictly ascending and within 0-255");                     \
    /* The tag of every field: NAME::FieldTag::field. */                                                 \
    struct FieldTag {                                                                                    \
      FIELDS(NAVKSE_FIELD_TAG_CONSTANT_)                                                                 \
    };                                                                                                   \
    static constexpr int kFieldCount = 0 FIELDS(NAVKSE_FIELD_COUNT_);                                    \
    FIELDS(NAVKSE_FIELD_MEMBER_)                                                                         \
    MEMORY(NAVKSE_MEMORY_MEMBER_)                                                                        \
    NAVKSE_RECORD_CODE_ void writeTo(NAVKSE_RECORD_WRITER_& kse_os_) const {FIELDS(NAVKSE_FIELD_WRITE_)} \
    /* Reads the fields up to the record's end (record_reader.h): first all                              \
       of them in declared order, the common case; from the first field that                             \
       differs on, field by field whatever the order. */                                                 \
    NAVKSE_RECORD_CODE_ void readFrom(::navcore::ryn::KseRecordReader& kse_in_) {                        \
      int kse_done_ = 0;                                                                                 \
      NAVKSE_READ_IN_ORDER_(FIELDS)                                                                      \
      static constexpr std::uint8_t kse_tags_[] = {FIELDS(NAVKSE_FIELD_TAG_VALUE_)};                     \
      ::navcore::ryn::FieldSet kse_seen_;                                                                \
      for (int kse_i_ = 0; kse_i_ < kse_done_; ++kse_i_) kse_seen_.set(kse_tags_[kse_i_]);               \
      int kse_last_ = kse_done_ > 0 ? kse_tags_[kse_done_ - 1] : -1;                                     \
      int kse_count_ = kse_done_;                                                                        \
      ::navcore::ryn::KseHead kse_h_;                                                                    \
      while (kse_in_.nextField(kse_h_)) {                                                                \
        switch (kse_h_.tag) {                                                                            \
          FIELDS(NAVKSE_FIELD_READ_)                                                                     \
          default:                                                                                       \
            kse_in_.unknownField(kse_h_);                                                                \
            break;                                                                                       \
        }                                                                                                \
      }                                                                                                  \
      /* The names are the reflection's, cold-path only. */                                              \
      if (kse_count_ != kFieldCount) kse_in_.missingFields(kseInfo(), kse_seen_, kse_last_);             \
    }                                                                                                    \
    /* Calls visit(tag, name, member) for every field in tag order. */                                   \
    template <class Visitor>                                                                             \
    void forEachField(Visitor&& kse_visit_) {                                                            \
      FIELDS(NAVKSE_FIELD_VISIT_)                                                                        \
    }                                                                                                    \
    template <class Visitor>                                                                             \
    void forEachField(Visitor&& kse_visit_) const {                                                      \
      FIELDS(NAVKSE_FIELD_VISIT_)                                                                        \
    }                                                                                                    \
    friend bool operator==(const NAME& kse_a_, const NAME& kse_b_) {                                     \
      (void)kse_a_, (void)kse_b_;                                                                        \
      return true FIELDS(NAVKSE_FIELD_EQUAL_);                                                           \
    }                                                                                                    \
    friend bool operator!=(const NAME& kse_a_, const NAME& kse_b_) { return !(kse_a_ == kse_b_); }       \
    static const ::navcore::ryn::RecordInfo& kseInfo() {                                                 \
      static const ::navcore::ryn::FieldInfo kse_fields_[] = {FIELDS(NAVKSE_FIELD_INFO_)};               \
      static const ::navcore::ryn::RecordInfo kse_info_{#NAME, kse_fields_,                              \
                                                        sizeof(kse_fields_) / sizeof(kse_fields_[0])};   \
      return kse_info_;                                                                                  \
    }                                                                                                    \
  }

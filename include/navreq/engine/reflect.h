// Declaring an engine parameter record: every member once, on one line.
//
//   #define NAVREQ_FIELDS_KSLatLon(X) X(double, latitude, 0) X(double, longitude, 0)
//   NAVREQ_ENGINE_RECORD(KSLatLon, NAVREQ_FIELDS_KSLatLon);
//
// Each X(type, name, default) line gives the member (in declared order, with
// its default) and its entry in forEachField(visit), which calls
// visit("name", member) for every member in order. Programs that read or
// print parameter records (the navreq tool's JSON mapping) use forEachField,
// so a member's name is written only here. The record's `==` and `!=`
// compare every member, floating-point members bit for bit
// (navreq/same_value.h).
#pragma once

#include "navreq/same_value.h"

#define NAVREQ_ENGINE_MEMBER_(TYPE, NAME, INIT) TYPE NAME = INIT;
#define NAVREQ_ENGINE_VISIT_(TYPE, NAME, INIT) navreq_visit_(#NAME, NAME);
#define NAVREQ_ENGINE_EQUAL_(TYPE, NAME, INIT) &&::navcore::SameValue(navreq_a_.NAME, navreq_b_.NAME)

// Defines the engine record NAME from its member list FIELDS (see the top of this file).
#define NAVREQ_ENGINE_RECORD(NAME, FIELDS)                                 \
  struct NAME {                                                            \
    FIELDS(NAVREQ_ENGINE_MEMBER_)                                          \
    template <class Visitor>                                               \
    void forEachField(Visitor&& navreq_visit_) {                           \
      FIELDS(NAVREQ_ENGINE_VISIT_)                                         \
    }                                                                      \
    template <class Visitor>                                               \
    void forEachField(Visitor&& navreq_visit_) const {                     \
      FIELDS(NAVREQ_ENGINE_VISIT_)                                         \
    }                                                                      \
    friend bool operator==(const NAME& navreq_a_, const NAME& navreq_b_) { \
      (void)navreq_a_, (void)navreq_b_;                                    \
      return true FIELDS(NAVREQ_ENGINE_EQUAL_);                            \
    }                                                                      \
    friend bool operator!=(const NAME& navreq_a_, const NAME& navreq_b_) { \
      return !(navreq_a_ == navreq_b_);                                    \
    }                                                                      \
  }

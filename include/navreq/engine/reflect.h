// Declaring an engine parameter record: every member once, on one line.
//
//   #define NAVREQ_FIELDS_KSLatLon(X) X(double, latitude, 0) X(double, longitude, 0)
//   NAVREQ_ENGINE_RECORD(KSLatLon, NAVREQ_FIELDS_KSLatLon);
//
// Each X(type, name, default) line gives the member (in declared order, with
// its default) and its entry in forEachField(visit), which calls
// visit("name", member) for every member in order. Programs that read or
// print parameter records (the navreq tool's JSON mapping) use forEachField,
// so a member's name is written only here.
#pragma once

#define NAVREQ_ENGINE_MEMBER_(TYPE, NAME, INIT) TYPE NAME = INIT;
#define NAVREQ_ENGINE_VISIT_(TYPE, NAME, INIT) navreq_visit_(#NAME, NAME);

// Defines the engine record NAME from its member list FIELDS (see the top of this file).
#define NAVREQ_ENGINE_RECORD(NAME, FIELDS)             \
  struct NAME {                                        \
    FIELDS(NAVREQ_ENGINE_MEMBER_)                      \
    template <class Visitor>                           \
    void forEachField(Visitor&& navreq_visit_) {       \
      FIELDS(NAVREQ_ENGINE_VISIT_)                     \
    }                                                  \
    template <class Visitor>                           \
    void forEachField(Visitor&& navreq_visit_) const { \
      FIELDS(NAVREQ_ENGINE_VISIT_)                     \
    }                                                  \
  }

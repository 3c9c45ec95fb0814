// What the library of the simulated unit gives librovk-transport: the functions of transport.h and unit.h.
// librovk-transport loads that library when somebody asks for the unit, so that who has a real one need not
// carry it. Both come from one build and find each other by its version, so this has none of its own.
#pragma once

#include <rovk/transport.h>
#include <rovk/unit.h>

struct rovk_way {
  decltype(&rovk_transport_open) open;
  decltype(&rovk_transport_close) close;
  decltype(&rovk_transport_reason) reason;
  decltype(&rovk_transport_application) application;
  decltype(&rovk_transport_send) send;
  decltype(&rovk_transport_receive) receive;
  decltype(&rovk_transport_lost_events) lost_events;
  decltype(&rovk_transport_now_ns) now_ns;
  decltype(&rovk_transport_clock_is_virtual) clock_is_virtual;
  decltype(&rovk_transport_fd) fd;

  decltype(&rovk_unit_now) now;
  decltype(&rovk_unit_advance) advance;
  decltype(&rovk_unit_set_input) set_input;
  decltype(&rovk_unit_get_input) get_input;
  decltype(&rovk_unit_release_input) release_input;
  decltype(&rovk_unit_power) power;
  decltype(&rovk_unit_reset) reset;
  decltype(&rovk_unit_fault) fault;
  decltype(&rovk_unit_spontaneous_error) spontaneous_error;
  decltype(&rovk_unit_disturb) disturb;
  decltype(&rovk_unit_plan) plan;
  decltype(&rovk_unit_at) at;
  decltype(&rovk_unit_probe) probe;
  decltype(&rovk_unit_report) report;
};

// The one function that the library exports.
extern "C" [[gnu::visibility("default")]] const rovk_way* rovk_unit_way();

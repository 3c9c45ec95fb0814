#include "transport/way.h"

const rovk_way* rovk_unit_way() {
  static constexpr rovk_way way = {
      .open = rovk_transport_open,
      .close = rovk_transport_close,
      .reason = rovk_transport_reason,
      .application = rovk_transport_application,
      .send = rovk_transport_send,
      .receive = rovk_transport_receive,
      .lost_events = rovk_transport_lost_events,
      .now_ns = rovk_transport_now_ns,
      .clock_is_virtual = rovk_transport_clock_is_virtual,
      .fd = rovk_transport_fd,
      .now = rovk_unit_now,
      .advance = rovk_unit_advance,
      .set_input = rovk_unit_set_input,
      .get_input = rovk_unit_get_input,
      .release_input = rovk_unit_release_input,
      .power = rovk_unit_power,
      .reset = rovk_unit_reset,
      .fault = rovk_unit_fault,
      .spontaneous_error = rovk_unit_spontaneous_error,
      .disturb = rovk_unit_disturb,
      .plan = rovk_unit_plan,
      .at = rovk_unit_at,
      .probe = rovk_unit_probe,
      .report = rovk_unit_report,
  };
  return &way;
}

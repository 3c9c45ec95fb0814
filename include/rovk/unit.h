/* A hand on the simulated unit behind a context: its clock, its surroundings, its faults. Offered by
 * this librovk-transport alone; a real unit has nothing of the kind.
 *
 * `context` is a live transaction context on a simulated unit; anything else gives -EINVAL.
 * Status: 0 or -errno; rovk_transport_reason() of transport.h tells in words why the last call failed.
 * No call blocks, and none runs a callback: what it causes arrives as any other
 * message does. */
#ifndef ROVK_UNIT_H
#define ROVK_UNIT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The unit's clock, in nanoseconds since the unit was switched on. */
int32_t rovk_unit_now(void* context, uint64_t* now_ns);

/* Moves a virtual clock forward and lets the unit do all that falls due on the way. -EPERM: the clock
 * is the real one. -EINVAL: beyond the clock's range. */
int32_t rovk_unit_advance(void* context, uint64_t duration_ns);

/* Sets what an input sees. Names and units: "temperature" (millidegrees Celsius), "light" (millilux),
 * "bus_voltage" (mV), "current" (mA), "analog" (mV), "button" (0, 1), "alarm" (0 open, 1 closed,
 * 2 sabotaged), "switch_contact" (0, 1), "fan_blocked" (0, 1), "motor_blocked" (0, 1),
 * "port_taken" (0, 1), "air_temperature" (millidegrees Celsius, around the unit). `index` counts from 0.
 * -ENOENT: no such input. -ENXIO: no such index. -ERANGE: a value that the input cannot have. */
int32_t rovk_unit_set_input(void* context, const char* input, uint32_t index, int64_t value);
int32_t rovk_unit_get_input(void* context, const char* input, uint32_t index, int64_t* value);

/* Lets an input go: what the unit's own heat and loads make of it counts again. For "temperature",
 * "current" and "bus_voltage". -ENOENT: no such input. -ENXIO: no such index. -EINVAL: an input that only
 * what is set decides on. */
int32_t rovk_unit_release_input(void* context, const char* input, uint32_t index);

/* Switches the whole unit off (0) or on (another number). Off, it answers nothing, and what was under way
 * is gone, so that commands end by their time-outs. On again, all peripherals boot, are `busy` until then
 * and raise reset_occurred with type 0. EEPROMs and files stay. */
int32_t rovk_unit_power(void* context, int32_t on);

/* Resets the peripheral at `address` as a watchdog would; it raises reset_occurred with `type`.
 * -ENXIO: no peripheral there. */
int32_t rovk_unit_reset(void* context, uint16_t address, uint16_t type);

/* Gives a peripheral a fault: its commands answer with fault_exists until clear_fault. 0 clears it. */
int32_t rovk_unit_fault(void* context, uint16_t address, uint16_t fault_id);

/* Lets a peripheral raise spontaneous_error. `payload` has 18 bytes; null: zeros. */
int32_t rovk_unit_spontaneous_error(void* context, uint16_t address, uint16_t error_id, const uint8_t* payload);

/* Disturbs the next `count` answers that travel to this context. `what`: "lose", "duplicate",
 * "delay" (by `value` milliseconds), "corrupt", "misdirect" (with a uuid nobody waits for).
 * -ENOENT: no such disturbance. */
int32_t rovk_unit_disturb(void* context, const char* what, uint32_t count, uint32_t value);

/* Takes rules by which messages meet with mishaps, in place of those before: [[fault]] tables as a unit
 * file has them, and fault_seed. Null or "": none. -EINVAL: a rule is not right; nothing has changed. */
int32_t rovk_unit_plan(void* context, const char* rules);

/* Calls `action` once, with `runs` 1, when the unit's clock has come to `when_ns`: on the thread that
 * waits on this context or advances the clock, inside that call. An action may use the functions of this
 * header; commands fail there with -EBUSY. When the context closes before, it is called with `runs` 0, to
 * free what `pointer` refers to, and to do nothing else. */
typedef void (*rovk_unit_action)(void* pointer, int32_t runs);
int32_t rovk_unit_at(void* context, uint64_t when_ns, rovk_unit_action action, void* pointer);

/* What only an onlooker sees, at a time of the unit's clock, 0 for now: "light" (0, 1), "relay_energised",
 * "relay_open" (0, 1), "alarm_millivolts", "switch" (0, 1), "temperature" (millidegrees Celsius),
 * "rail_microwatts", "heater", "illuminator" (milliwatts given now), "fan_rpm", "focus", "zoom", "iris"
 * (steps), "filter" (steps from in front of the sensor), "pan", "tilt" (millidegrees). `index` counts things over
 * all boards. -ENOENT: no such probe. -ENXIO: no such thing. */
int32_t rovk_unit_probe(void* context, const char* what, uint32_t index, uint64_t when_ns, int64_t* value);

/* Writes lines, and a zero at their end: "injected PLACE COUNT" for each rule, then for each command, event
 * and error of the protocol "command led_0001 set_state 12", how often the unit met with it. `*needed` is
 * the room that they want; what has none is cut off. */
int32_t rovk_unit_report(void* context, char* text, uint32_t size, uint32_t* needed);

#ifdef __cplusplus
}
#endif

#endif

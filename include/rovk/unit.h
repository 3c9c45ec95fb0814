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
 * "port_taken" (0, 1). `index` counts from 0.
 * -ENOENT: no such input. -ENXIO: no such index. -ERANGE: a value that the input cannot have. */
int32_t rovk_unit_set_input(void* context, const char* input, uint32_t index, int64_t value);
int32_t rovk_unit_get_input(void* context, const char* input, uint32_t index, int64_t* value);

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

#ifdef __cplusplus
}
#endif

#endif

/* librovk-message: builds and reads 32-byte messages, holds the version records, writes logs.
 *
 * Status of every function: 0 success; -EINVAL a null pointer that the function needs; -EPROTO the
 * message is of another kind than the one asked for; -EBADMSG it belongs to another command or event;
 * positive: the message is an error response, the number is its error id (-ENODATA for an error
 * response whose id is 0). On failure nothing is written.
 * Nothing blocks, nothing is allocated, and no argument is kept. */
#ifndef ROVK_MESSAGE_H
#define ROVK_MESSAGE_H

#include <rovk/constants.h>
#include <rovk/message_services.h>
#include <rovk/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Clears `message` and stamps it: to a peripheral's address, of a type (enum rovk_type), with an
 * opcode or event id. */
int32_t rovk_initialize_message_struct(struct rovk_message* message, uint16_t address, uint8_t type, uint8_t opcode);

/* Makes `response` an empty answer to `command`: same route, given type and opcode answered.
 * `response` may be `command`. */
int32_t rovk_initialize_message_response_struct(struct rovk_message* response, const struct rovk_message* command,
                                                uint8_t type, uint8_t opcode);

/* Makes `response` an error answer to `command`, with error info and no detail. `address` is that of
 * the peripheral which reports the error. */
int32_t rovk_initialize_message_error_response_struct(struct rovk_message* response, const struct rovk_message* command,
                                                      uint16_t address, uint16_t error_id);

/* Opens a log under `name` (copied; null: "rovk") and stores its handle in `slot`. A null slot opens
 * the process's default log, the one that a null handle stands for. Lines go to syslog(3), with a
 * copy on the standard error stream when that is a terminal. */
int32_t rovk_logging_init(const char* name, void** slot);

/* Closes a log. -EINVAL: the handle is not a live one. Null closes the default log. */
int32_t rovk_logging_deinit(void* handle);

/* Writes one line at a priority (ROVK_LOG_PRIORITY_*; values outside are brought to the nearest).
 * `text` is plain: conversion specifiers in it are not looked at, and what stands behind it is
 * ignored. The two others write a message or a 22-byte error record in words. */
int32_t rovk_log(void* handle, rovk_log_priority priority, const char* text, ...);
int32_t rovk_log_message(void* handle, rovk_log_priority priority, const struct rovk_message* message);
int32_t rovk_log_error(void* handle, rovk_log_priority priority, const void* error);

#ifdef __cplusplus
}
#endif

#endif

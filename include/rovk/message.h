/* librovk-message: builds and reads 32-byte messages, holds the version records, writes logs.
 *
 * Status of every function: 0 success; -EINVAL a null message, record or array, or a log handle that
 * is not live; -EPROTO the message is of another kind than the one asked for, or its error byte is
 * unknown; -EBADMSG it belongs to another command or event; positive: the message is an error
 * response, the number is its error id (-ENODATA for an error response whose id is 0). On failure
 * nothing is written. Messages and records may lie at any address; one argument may lie in another.
 *
 * rovk_<service>_initialize_...: numbers and versions come by value, a byte array as a pointer to 22
 * bytes of which those of the field are used, `alias` as a pointer to 10 addresses. Reserved fields
 * are 0. Of `command`, the message answered, only route and opcode are looked at: a response says of
 * its own accord which command it answers, an error whichever `command` says. `response` may be
 * `command`.
 * rovk_<service>_retrieve_...: each output is a native variable of its field's width, or an array
 * with room for the whole field. An output pointer may be null: that field is skipped.
 * rovk_<service>_retrieve_error: fills the service's 22-byte error record and gives 0; -EPROTO when
 * the message is no error response.
 * rovk_<service>_api_version, rovk_protocol_version: the versions that this library was built with.
 * Callers may write them; the library itself does not read them.
 *
 * Nothing is allocated but the names of logs, no argument is kept, and nothing blocks but a line to
 * a log, for as long as syslog(3) and the terminal take. All functions may be called from any thread. */
#ifndef ROVK_MESSAGE_H
#define ROVK_MESSAGE_H

#include <rovk/constants.h>
#include <rovk/message_services.h>
#include <rovk/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Clears `message` and stamps it: the peripheral's address, a type (enum rovk_type, others as they
 * are), and an opcode or event id. The opcode goes into the uuid too, except for an event. A response
 * has no place for an opcode but the uuid: its error byte is ROVK_RESPONSE_PAYLOAD. */
int32_t rovk_initialize_message_struct(struct rovk_message* message, uint16_t address, uint8_t type, uint8_t opcode);

/* Makes `response` an empty answer to `command`: same addresses and transaction number, the given
 * type and opcode, stamped as above. `response` may be `command`. */
int32_t rovk_initialize_message_response_struct(struct rovk_message* response, const struct rovk_message* command,
                                                uint8_t type, uint8_t opcode);

/* Makes `response` an error answer to `command`, with error info and no detail. `address` is that of
 * the peripheral which reports the error. `response` may be `command`. */
int32_t rovk_initialize_message_error_response_struct(struct rovk_message* response, const struct rovk_message* command,
                                                      uint16_t address, uint16_t error_id);

/* Opens a log under `name` (copied; null: "rovk") and stores its handle in `slot`. A null slot opens
 * the process's default log, the one that a null handle stands for, or renames it when it is open.
 * Lines go to syslog(3) with the name as ident, and a copy to the standard error stream when that is
 * a terminal. A handle is a number, not an address; it is never given twice. -ENOMEM: no memory. */
int32_t rovk_logging_init(const char* name, void** slot);

/* Closes a log. Null closes the default log. -EINVAL: the handle is not a live one. */
int32_t rovk_logging_deinit(void* handle);

/* Writes one line at a priority (ROVK_LOG_PRIORITY_*; values outside are brought to the nearest).
 * `text` is plain: conversion specifiers in it are not looked at, and what stands behind it is
 * ignored. The two others write a message or a 22-byte error record in words. -EINVAL: the handle is
 * not a live one, the default log is not open, or the last argument is null. */
int32_t rovk_log(void* handle, rovk_log_priority priority, const char* text, ...);
int32_t rovk_log_message(void* handle, rovk_log_priority priority, const struct rovk_message* message);
int32_t rovk_log_error(void* handle, rovk_log_priority priority, const void* error);

#ifdef __cplusplus
}
#endif

#endif

/* The message record and the small records beside it, as C sees them. The layout is the wire format:
 * packed, 32 bytes, numbers least significant byte first. On a processor of the other byte order the
 * numbers in these records must be swapped by whoever reads them here. */
#ifndef ROVK_TYPES_H
#define ROVK_TYPES_H

#include <stdint.h>

typedef uint16_t rovk_address;

#pragma pack(push, 1)

struct rovk_version {
  uint8_t major;
  uint8_t minor;
};

struct rovk_message_routing {
  uint16_t application_address; /* 0: not taken up by a transaction yet */
  uint16_t peripheral_address;
  uint32_t uuid; /* high 8 bits: opcode of the command; low 24 bits: number of the transaction */
  uint8_t type;  /* enum rovk_type */
};

struct rovk_error_info {
  uint16_t peripheral_address;
  uint16_t id;
  uint8_t payload[18];
};

struct rovk_message_cre_c {
  uint8_t opcode;
  uint8_t payload[22];
};

union rovk_message_cre_r_pei {
  uint8_t payload[22];
  struct rovk_error_info ei;
};

struct rovk_message_cre_r {
  uint8_t error; /* enum rovk_response_error */
  union rovk_message_cre_r_pei pei;
};

struct rovk_message_cre_e {
  uint8_t id;
  uint8_t payload[22];
};

union rovk_message_cre {
  char dummy[23];
  struct rovk_message_cre_c c;
  struct rovk_message_cre_r r;
  struct rovk_message_cre_e e;
};

struct rovk_message {
  struct rovk_message_routing route;
  union rovk_message_cre cre;
};

#pragma pack(pop)

/* A native record: it never travels. */
typedef struct rovk_device_address {
  uint16_t address;
  uint8_t index;
} rovk_device_address;

/* What kind of message it is. Zero is no kind, so that a message nobody filled is told apart. */
enum rovk_type { ROVK_TYPE_COMMAND = 1, ROVK_TYPE_RESPONSE = 2, ROVK_TYPE_EVENT = 3 };

/* The error byte of a response: what its 22 bytes hold. */
enum rovk_response_error { ROVK_RESPONSE_PAYLOAD = 0, ROVK_RESPONSE_ERROR_INFO = 1 };

/* Bytes of a message, and where its parts lie. */
enum {
  ROVK_MESSAGE_SIZE = 32,
  ROVK_OFFSET_APPLICATION = 0,
  ROVK_OFFSET_PERIPHERAL = 2,
  ROVK_OFFSET_UUID = 4,
  ROVK_OFFSET_TYPE = 8,
  ROVK_OFFSET_BODY = 9,       /* opcode, error byte or event id */
  ROVK_OFFSET_PAYLOAD = 10,   /* 22 bytes; in an error response: address of the peripheral */
  ROVK_OFFSET_ERROR_ID = 12,  /* error response: 16-bit error id */
  ROVK_OFFSET_ERROR_DATA = 14 /* error response: 18 bytes of detail */
};

typedef int32_t rovk_log_priority; /* ROVK_LOG_PRIORITY_* */

#endif

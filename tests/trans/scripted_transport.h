// A transport that a test writes the script of: it takes the place of librovk-transport, since a
// program's own symbols are found first. What is sent is remembered, what is received was put there
// by the test, and its clock moves only to deadlines.
#pragma once

#include <rovk/transport.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

struct ScriptedTransport {
  std::vector<rovk_message> sent;
  std::deque<rovk_message> inbox;
  std::function<void(const rovk_message& command)> on_send;  // may put answers into the inbox
  int32_t send_status = 0;
  int32_t receive_status = 0;  // instead of a message, when not 0
  int32_t open_status = 0;
  uint64_t now_ns = 0;
};

extern ScriptedTransport scripted;

constexpr uint16_t scripted_application = 0x0a0b;

// Commands under way and the answers to them. A command and its answer know each other by the uuid:
// the opcode in the high 8 bits, a running number in the low 24. An answer is taken when it is a
// response to this application, from the peripheral that was asked, with a uuid that is waited for and
// a known error byte; any other is foreign, late, a duplicate or malformed, and is dropped.
#pragma once

#include <rovk/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include "catalogue/catalogue.h"
#include "trans/calls.h"

namespace rovk::trans {

// What a blocking call waits for. That of a command lies on the stack of its call and costs no heap.
struct Wait {
  enum class State : uint8_t { waiting, answered, closed };
  uint32_t uuid = 0;
  uint16_t address = 0;
  uint64_t deadline_ns = 0;
  State state = State::waiting;
  rovk_message answer = {};
  Wait* outer = nullptr;  // the wait entered before: of the call around this one, or of the same call
};

// An asynchronous command that still owes its callback.
struct Pending {
  uint32_t uuid;
  uint16_t address;
  uint64_t deadline_ns;
  const catalogue::Command* command;
  Callback callback;
  void* user;
};

class Transactions {
 public:
  // A uuid that no command under way has. Empty: too many are.
  std::optional<uint32_t> next_uuid(uint8_t opcode);

  // Waits nest as calls do: the last one entered leaves first, and one that leaves takes those that
  // were entered after it along.
  void enter(Wait& wait);
  void leave(Wait& wait);
  // Hands an answer to the wait that it belongs to. False: it belongs to none.
  bool answer_wait(const rovk_message& answer);
  void close_waits();

  // Takes in a command; its time limit is no earlier than those of the ones before it.
  void add(const Pending& pending);
  // Gives a command up, because its message could not be sent.
  void drop(uint32_t uuid) { take(uuid); }
  // Takes out the command that an answer belongs to, the one whose time is up, or the oldest one.
  std::optional<Pending> take_answered(const rovk_message& answer);
  std::optional<Pending> take_expired(uint64_t now_ns);
  std::optional<Pending> take_oldest();
  // When the first time limit ends. UINT64_MAX: nothing is pending.
  uint64_t first_deadline_ns() const;

 private:
  // All commands of a context have the same time limit, so their order of issue is that of their
  // deadlines, and a list through the table's nodes is enough.
  struct Node {
    Pending pending;
    Node* before;
    Node* after;
  };
  std::optional<Pending> take(uint32_t uuid);
  bool in_use(uint32_t number) const;

  std::unordered_map<uint32_t, Node> nodes_;  // by the number of the transaction
  Node* oldest_ = nullptr;
  Node* newest_ = nullptr;
  Wait* innermost_ = nullptr;
  uint32_t last_number_ = 0;
};

// The error record as it travels: address, id and 18 bytes of detail.
using ErrorRecord = std::array<uint8_t, 22>;

// 0; the positive error id that the answer holds; -ENODATA for an error answer with id 0.
int32_t status_of(const rovk_message& answer);
ErrorRecord error_of(const rovk_message& answer);
// A communication failure. `type` is one of enum rovktrans_failure.
ErrorRecord communication_failure(uint16_t address, uint16_t type);

}  // namespace rovk::trans

// Behind the generated functions: blocking and asynchronous commands, and subscriptions, which tell the
// router whose events this application wants.
#include "trans/commands.h"

#include <rovk/constants.h>
#include <rovk/message.h>
#include <rovk/trans.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "trans/calls.h"
#include "trans/payload.h"
#include "wire/message.h"

namespace rovk::trans {
namespace {

using catalogue::Command;

const Command& command_of(CommandKey key) { return catalogue::services()[key.service].commands[key.command]; }

// Composes a command and gives it a uuid. -EINVAL: a null array; -EAGAIN: too many are under way.
int32_t compose(Context& context, const Command& command, uint16_t address, const void* const* inputs,
                rovk_message& message) {
  rovk_initialize_message_struct(&message, address, ROVK_TYPE_COMMAND, command.opcode);
  uint8_t* const bytes = wire::bytes(message);
  if (!encode(command.request, inputs, bytes + ROVK_OFFSET_PAYLOAD)) return -EINVAL;
  const auto uuid = context.transactions.next_uuid(command.opcode);
  if (!uuid) return -EAGAIN;
  catalogue::store(bytes + ROVK_OFFSET_APPLICATION, 2, context.application);
  catalogue::store(bytes + ROVK_OFFSET_UUID, 4, *uuid);
  return 0;
}

// Gives the error record to the caller, as a heap block.
int32_t give_error(const ErrorRecord& record, void* slot) {
  if (!slot) return 0;
  void* const block = std::malloc(record.size());
  if (!block) return -ENOMEM;
  std::memcpy(block, record.data(), record.size());
  store_pointer(slot, block);
  return 0;
}

// Tells the router to send, or to send no longer, the events of a peripheral.
int32_t tell_router(Context& context, uint8_t opcode, uint16_t address) {
  static const catalogue::Service& router = *catalogue::find_service_by_id(ROVK_ROUTER_0000_PERIPHERAL_ID);
  const void* const inputs[] = {&address};
  rovk_message answer;
  return transact(context, *catalogue::find_command(router, opcode), ROVK_ROUTER_PERIPHERAL_ADDRESS, inputs,
                  Mode::quiet, answer);
}

int32_t add_subscription(Context& context, const Subscription& subscription) {
  context.subscriptions.reserve(subscription);
  if (!context.subscriptions.any(subscription.address)) {
    const int32_t status = tell_router(context, ROVK_ROUTER_0000_COMMAND_REGISTER_EVENT, subscription.address);
    if (status != 0) return status;
  }
  context.subscriptions.add(subscription);
  return 0;
}

// Follows a removal of `count` subscriptions, which stands whatever the router says.
int32_t finish_removal(Context& context, uint16_t address, unsigned count) {
  if (count == 0) return -ENOENT;
  if (context.subscriptions.any(address)) return 0;
  return tell_router(context, ROVK_ROUTER_0000_COMMAND_UNREGISTER_EVENT, address);
}

const catalogue::Event* event_of(EventKey key) { return &catalogue::services()[key.service].events[key.event]; }

// A wait that is known to the context for as long as this stands.
class Waiting {
 public:
  Waiting(Transactions& transactions, Wait& wait) : transactions_(transactions), wait_(wait) {
    transactions_.enter(wait_);
  }
  ~Waiting() { transactions_.leave(wait_); }
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

 private:
  Transactions& transactions_;
  Wait& wait_;
};

}  // namespace

int32_t transact(Context& context, const Command& command, uint16_t address, const void* const* inputs, Mode mode,
                 rovk_message& answer) {
  rovk_message message;
  int32_t status = compose(context, command, address, inputs, message);
  if (status != 0) return status;
  Wait wait = {.uuid = wire::uuid(message), .address = address, .deadline_ns = context.now_ns() + context.limit_ns};
  const Waiting waiting(context.transactions, wait);
  status = rovk_transport_send(context.transport.get(), &message);
  if (status == 0) status = await(context, wait, mode);
  if (status != 0) return status;
  answer = wait.answer;
  return status_of(answer);
}

void transact_all(Context& context, std::span<Question> questions) {
  std::vector<Wait> waits(questions.size());
  // Left in one: the waits form a chain, and leaving the first that was entered leaves those inside it.
  std::optional<Waiting> waiting;
  for (std::size_t i = 0; i < questions.size(); ++i) {
    Question& question = questions[i];
    rovk_message message;
    question.status = compose(context, *question.command, question.address, question.inputs, message);
    if (question.status != 0) continue;
    waits[i] = {
        .uuid = wire::uuid(message), .address = question.address, .deadline_ns = context.now_ns() + context.limit_ns};
    if (waiting) {
      context.transactions.enter(waits[i]);
    } else {
      waiting.emplace(context.transactions, waits[i]);
    }
    question.status = rovk_transport_send(context.transport.get(), &message);
  }
  for (std::size_t i = 0; i < questions.size(); ++i) {
    Question& question = questions[i];
    if (question.status == 0) question.status = await(context, waits[i], Mode::quiet);
    if (question.status != 0) continue;
    question.answer = waits[i].answer;
    question.status = status_of(question.answer);
  }
}

int32_t run_command(CommandKey key, void* handle, uint16_t address, void* error, const void* const* inputs,
                    void* const* outputs) {
  const Command& command = command_of(key);
  store_pointer(error, nullptr);
  clear_arrays(command.answer, outputs);
  return with_context(handle, [&](Context& context) -> int32_t {
    rovk_message answer;
    const int32_t status = transact(context, command, address, inputs, Mode::run_callbacks, answer);
    int32_t failure = 0;
    if (status == 0) {
      failure = store(command.answer, wire::payload(answer), outputs);
    } else if (status > 0 || status == -ENODATA) {
      failure = give_error(error_of(answer), error);
    } else if (status == -ETIMEDOUT) {
      failure = give_error(communication_failure(address, ROVKTRANS_FAILURE_TIME_OUT), error);
    } else if (status == -ECANCELED) {
      failure = give_error(communication_failure(address, ROVKTRANS_FAILURE_CLOSED), error);
    }
    return failure != 0 ? failure : status;
  });
}

int32_t start_command(CommandKey key, void* handle, uint16_t address, Callback callback, void* user,
                      const void* const* inputs) {
  const Command& command = command_of(key);
  return with_context(handle, [&](Context& context) -> int32_t {
    rovk_message message;
    int32_t status = compose(context, command, address, inputs, message);
    if (status != 0) return status;
    const uint32_t uuid = wire::uuid(message);
    context.transactions.add({uuid, address, context.now_ns() + context.limit_ns, &command, callback, user});
    status = rovk_transport_send(context.transport.get(), &message);
    if (status != 0) context.transactions.drop(uuid);
    return status;
  });
}

int32_t subscribe(EventKey key, void* handle, uint16_t address, Callback callback, void* user) {
  if (!callback.function) return -EINVAL;
  return with_context(handle, [&](Context& context) {
    return add_subscription(context, {&catalogue::services()[key.service], event_of(key), address, callback, user});
  });
}

int32_t unsubscribe(EventKey key, void* handle, uint16_t address, Function function) {
  if (!function) return -EINVAL;
  return with_context(handle, [&](Context& context) {
    return finish_removal(context, address, context.subscriptions.remove(event_of(key), address, function));
  });
}

int32_t unsubscribe(EventKey key, void* handle, uint16_t address, Function function, void* user) {
  if (!function) return -EINVAL;
  return with_context(handle, [&](Context& context) {
    return finish_removal(context, address, context.subscriptions.remove(event_of(key), address, function, user));
  });
}

int32_t subscribe_default(uint16_t service_index, void* handle, uint16_t address) {
  const catalogue::Service& service = catalogue::services()[service_index];
  return with_context(handle, [&](Context& context) -> int32_t {
    for (const catalogue::Event& event : service.events) {
      if (context.subscriptions.logs(&event, address)) continue;
      const int32_t status = add_subscription(context, {&service, &event, address, {}, nullptr});
      if (status != 0) return status;
    }
    return 0;
  });
}

}  // namespace rovk::trans

// Logs: a name and a number by which callers know it. A handle is that number in the guise of a
// pointer; it is looked up and never followed, and since numbers are not given twice, a handle of a
// log that was closed stays dead.
#include <rovk/message.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <string>

#include "message/describe.h"
#include "message/export.h"

namespace {

constexpr const char* default_name = "rovk";
constexpr const char* priority_names[] = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};

class Logs {
 public:
  // syslog(3) keeps the pointer to the last name it was given.
  ~Logs() { closelog(); }

  void* open(const char* name) {
    const std::lock_guard guard(mutex_);
    named_.emplace(++last_, name);
    return reinterpret_cast<void*>(last_);  // NOLINT(performance-no-int-to-ptr): never followed
  }

  void open_default(const char* name) {
    const std::lock_guard guard(mutex_);
    std::string copy(name);
    closelog();
    default_ = std::move(copy);
  }

  int32_t close(void* handle) {
    const std::lock_guard guard(mutex_);
    if (!find(handle)) return -EINVAL;
    closelog();
    if (handle) {
      named_.erase(reinterpret_cast<uintptr_t>(handle));
    } else {
      default_.reset();
    }
    return 0;
  }

  int32_t write(void* handle, rovk_log_priority priority, const char* text) {
    const std::lock_guard guard(mutex_);
    const std::string* name = find(handle);
    if (!name) return -EINVAL;
    priority = std::clamp(priority, ROVK_LOG_PRIORITY_EMERG, ROVK_LOG_PRIORITY_DEBUG);
    // The name of the last line may be another's, this program's own included.
    openlog(name->c_str(), LOG_PID, LOG_USER);
    syslog(priority, "%s", text);
    if (wants_copy()) write_copy(*name, priority_names[priority], text);
    return 0;
  }

 private:
  const std::string* find(void* handle) const {
    if (!handle) return default_ ? &*default_ : nullptr;
    const auto found = named_.find(reinterpret_cast<uintptr_t>(handle));
    return found == named_.end() ? nullptr : &found->second;
  }

  // On a terminal somebody looks on, without syslog the line would be lost, and who runs a script somewhere
  // else, a build job for one, can ask for it.
  static bool wants_copy() {
    const char* const wish = getenv("ROVK_LOG");
    return isatty(STDERR_FILENO) || (wish && std::strcmp(wish, "stderr") == 0) || !syslog_listens();
  }

  // Asked for each line, since syslog may be started, or ended, meanwhile.
  static bool syslog_listens() {
    const int connection = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (connection < 0) return false;
    const sockaddr_un address = {AF_UNIX, _PATH_LOG};
    const bool reached = connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const bool of_another_type = !reached && errno == EPROTOTYPE;
    ::close(connection);
    return reached || of_another_type;
  }

  // In one call, so that lines of several processes on one terminal stay whole.
  static void write_copy(const std::string& name, const char* priority, const char* text) {
    const auto part = [](const char* start, std::size_t length) { return iovec{const_cast<char*>(start), length}; };
    const iovec parts[] = {part(name.data(), name.size()),        part(" ", 1),
                           part(priority, std::strlen(priority)), part(": ", 2),
                           part(text, std::strlen(text)),         part("\n", 1)};
    // A terminal that has gone takes nothing, and there is no better place to say so.
    [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, parts, std::size(parts));
  }

  std::mutex mutex_;
  std::map<uintptr_t, std::string> named_;
  std::optional<std::string> default_;
  uintptr_t last_ = 0;
};

Logs& logs() {
  static Logs all;
  return all;
}

}  // namespace

ROVK_EXPORT int32_t rovk_logging_init(const char* name, void** slot) try {
  if (!name) name = default_name;
  if (slot) {
    *slot = logs().open(name);
  } else {
    logs().open_default(name);
  }
  return 0;
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

ROVK_EXPORT int32_t rovk_logging_deinit(void* handle) { return logs().close(handle); }

ROVK_EXPORT int32_t rovk_log(void* handle, rovk_log_priority priority, const char* text, ...) {
  return text ? logs().write(handle, priority, text) : -EINVAL;
}

ROVK_EXPORT int32_t rovk_log_message(void* handle, rovk_log_priority priority, const rovk_message* message) {
  return message ? logs().write(handle, priority, rovk::message::describe_message(*message).text()) : -EINVAL;
}

ROVK_EXPORT int32_t rovk_log_error(void* handle, rovk_log_priority priority, const void* error) {
  if (!error) return -EINVAL;
  return logs().write(handle, priority, rovk::message::describe_error(static_cast<const uint8_t*>(error)).text());
}

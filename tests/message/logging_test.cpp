// Logs, seen from both ends: syslog is this program's own, and the standard error stream a terminal.
#include <gtest/gtest.h>
#include <pty.h>
#include <rovk/message.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/message/bytes.h"
#include "tests/syslog_here.h"

namespace {

struct LogLine {
  std::string ident;
  int priority;
  std::string text;
};

// The library calls these under its own lock.
std::vector<LogLine> lines;
const char* ident = nullptr;
int connect_error = 0;  // 0: syslog takes lines

}  // namespace

// The library finds these before the C library's.
#define IN_PLACE_OF_LIBC extern "C" __attribute__((visibility("default")))

IN_PLACE_OF_LIBC int connect(int, const sockaddr*, socklen_t) {
  errno = connect_error;
  return connect_error == 0 ? 0 : -1;
}
IN_PLACE_OF_LIBC void openlog(const char* name, int, int) { ident = name; }
IN_PLACE_OF_LIBC void closelog() { ident = nullptr; }
void take_line(int priority, const char* text) {
  std::this_thread::yield();  // whoever is not locked out comes now
  lines.push_back({ident ? ident : "(none)", priority, text});
}

namespace rovk::test {
namespace {

class Logging : public testing::Test {
 protected:
  void SetUp() override {
    lines.clear();
    // Whatever runs the tests, the stream is no terminal unless a test makes it one.
    saved_ = dup(STDERR_FILENO);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    pipe_ = ends[0];
  }

  void TearDown() override {
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    close(pipe_);
  }

  void* open(const char* name) {
    void* handle = nullptr;
    EXPECT_EQ(rovk_logging_init(name, &handle), 0);
    EXPECT_NE(handle, nullptr);
    return handle;
  }

  // What a call that succeeded has written.
  static std::string written(int32_t status) {
    EXPECT_EQ(status, 0);
    return lines.empty() ? "" : lines.back().text;
  }

  int pipe_ = -1;

 private:
  int saved_ = -1;
};

TEST_F(Logging, EachLogHasItsOwnName) {
  char name[] = "first";
  void* first = open(name);
  name[0] = 'X';  // the library keeps a copy
  void* second = open("second");
  void* unnamed = open(nullptr);
  for (void* handle : {first, second, first, unnamed}) EXPECT_EQ(rovk_log(handle, ROVK_LOG_PRIORITY_INFO, "text"), 0);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0].ident + lines[1].ident + lines[2].ident + lines[3].ident, "firstsecondfirstrovk");
  for (void* handle : {first, second, unnamed}) EXPECT_EQ(rovk_logging_deinit(handle), 0);
  EXPECT_EQ(ident, nullptr) << "a name that is freed must not stay with syslog";
}

TEST_F(Logging, PrioritiesAreBroughtIntoRangeAndTextIsPlain) {
  void* log = open("log");
  const std::pair<int32_t, int> table[] = {{0, LOG_EMERG},   {3, LOG_ERR},           {7, LOG_DEBUG}, {-1, LOG_EMERG},
                                           {100, LOG_DEBUG}, {INT32_MIN, LOG_EMERG}, {8, LOG_DEBUG}};
  for (const auto& [given, expected] : table) {
    ASSERT_EQ(rovk_log(log, given, "text"), 0);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().priority, expected) << given;
  }
  const std::string text = "100 % of %s%n%d" + std::string(3000, 'x');
  EXPECT_EQ(written(rovk_log(log, 3, text.c_str(), static_cast<void*>(nullptr))), text);
  rovk_logging_deinit(log);
}

TEST_F(Logging, OnlyLiveHandlesAreTaken) {
  void* log = open("log");
  int foreign = 0;
  rovk_message message = {};
  void* const dead[] = {&foreign, &message, static_cast<char*>(log) + 1, static_cast<char*>(log) - 1};
  for (void* handle : dead) {
    EXPECT_EQ(rovk_log(handle, 3, "text"), -EINVAL);
    EXPECT_EQ(rovk_log_message(handle, 3, &message), -EINVAL);
    EXPECT_EQ(rovk_log_error(handle, 3, &message), -EINVAL);
    EXPECT_EQ(rovk_logging_deinit(handle), -EINVAL);
  }
  EXPECT_EQ(rovk_log(log, 3, nullptr), -EINVAL);
  EXPECT_EQ(rovk_log_message(log, 3, nullptr), -EINVAL);
  EXPECT_EQ(rovk_log_error(log, 3, nullptr), -EINVAL);
  EXPECT_EQ(rovk_logging_deinit(log), 0);
  EXPECT_EQ(rovk_logging_deinit(log), -EINVAL);
  std::set<void*> seen = {log};
  for (int i = 0; i < 100; ++i) {
    void* next = open("next");
    EXPECT_TRUE(seen.insert(next).second) << "a handle came back";
    EXPECT_EQ(rovk_log(log, 3, "text"), -EINVAL);
    rovk_logging_deinit(next);
  }
  EXPECT_TRUE(lines.empty());
}

TEST_F(Logging, NullStandsForTheDefaultLog) {
  EXPECT_EQ(rovk_log(nullptr, 3, "text"), -EINVAL) << "not open yet";
  EXPECT_EQ(rovk_logging_deinit(nullptr), -EINVAL);
  EXPECT_EQ(rovk_logging_init("default", nullptr), 0);
  EXPECT_EQ(rovk_log(nullptr, 3, "text"), 0);
  EXPECT_EQ(rovk_logging_init("renamed", nullptr), 0);
  EXPECT_EQ(rovk_log(nullptr, 3, "text"), 0);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].ident + " " + lines[1].ident, "default renamed");
  EXPECT_EQ(rovk_logging_deinit(nullptr), 0);
  EXPECT_EQ(rovk_log(nullptr, 3, "text"), -EINVAL);
}

TEST_F(Logging, MessagesAndErrorRecordsInWords) {
  void* log = open("log");
  const std::pair<const char*, const char*> table[] = {
      {"0b 0a 34 12 05 04 03 07 01 07 02",
       "command 7 (get_peripheral_device_id) to 0x1234, application 0x0a0b, uuid 0x07030405: index 2"},
      {"0b 0a 34 12 05 04 03 21 01 21 02 00 03",
       "command 33 to 0x1234, application 0x0a0b, uuid 0x21030405: bytes 02 00 03"},
      {"0b 0a 34 12 05 04 03 00 02 00 01 00 00 06 01 02 00 13 01 00 08 02 05",
       "response to command 0 (get_peripheral_info) from 0x1234, application 0x0a0b, uuid 0x00030405: id 1, api 0.6,"
       " implementation 1.2, protocol 0.19, capabilities_mask 1, queue_depth 8, device_count 2, location 5"},
      {"0b 0a 34 12 05 04 03 21 02 00", "response to command 33 from 0x1234, application 0x0a0b, uuid 0x21030405"},
      {"0b 0a 34 12 05 04 03 21 02 01 06 05 02 00 07 00",
       "response to command 33 from 0x1234, application 0x0a0b, uuid 0x21030405: error 2 (fault_exists) at 0x0506:"
       " fault_id 7"},
      {"0b 0a 34 12 05 04 03 21 02 07 01",
       "response to command 33 from 0x1234, application 0x0a0b, uuid 0x21030405, unknown error byte 7: bytes 01"},
      {"00 00 34 12 00 00 00 00 03 00 06 05",
       "event 0 (reset_occurred) from 0x1234, application 0x0000, uuid 0x00000000: type 1286"},
      {"00 00 34 12 00 00 00 00 03 20 06 05", "event 32 from 0x1234, application 0x0000, uuid 0x00000000: bytes 06 05"},
      {"00", "message of unknown type 0, number 0 peripheral 0x0000, application 0x0000, uuid 0x00000000"},
  };
  for (const auto& [bytes, words] : table) {
    const rovk_message message = message_of(bytes);
    EXPECT_EQ(written(rovk_log_message(log, ROVK_LOG_PRIORITY_DEBUG, &message)), words);
  }
  // The longest of all is written to its end.
  rovk_message aliases = message_of("0b 0a 34 12 05 04 03 05 02 00");
  std::memset(aliases.cre.r.pei.payload, 0xff, 22);
  EXPECT_TRUE(written(rovk_log_message(log, 7, &aliases)).ends_with(" 0xffff 0xffff"));
  const std::pair<const char*, const char*> errors[] = {
      {"06 05 02 00 07 00", "error 2 (fault_exists) at 0x0506: fault_id 7"},
      {"06 05 09 00 21", "error 9 (invalid_sequence) at 0x0506: opcode 33"},
      {"06 05 01 00", "error 1 (busy) at 0x0506"},
      {"06 05 22 00 01 00 02", "error 34 at 0x0506: bytes 01 00 02"},
  };
  for (const auto& [bytes, words] : errors) {
    const rovk_message record = message_of(bytes);
    EXPECT_EQ(written(rovk_log_error(log, 3, &record)), words);
  }
  rovk_logging_deinit(log);
}

TEST_F(Logging, CopyGoesWhereSomebodySeesIt) {
  void* log = open("camera");
  const int next = dup(STDIN_FILENO);
  close(next);
  EXPECT_EQ(rovk_log(log, 3, "into the pipe"), 0);
  EXPECT_EQ(dup(STDIN_FILENO), next) << "a line leaves no descriptor open";
  close(next);

  int master = -1, terminal = -1;
  if (openpty(&master, &terminal, nullptr, nullptr, nullptr) != 0) {
    rovk_logging_deinit(log);
    GTEST_SKIP() << "this system has no terminals to give: " << std::strerror(errno);
  }
  const int before = dup(STDERR_FILENO);
  dup2(terminal, STDERR_FILENO);
  EXPECT_EQ(rovk_log(log, ROVK_LOG_PRIORITY_ERR, "lamp 5 % dim %s"), 0);
  EXPECT_EQ(rovk_log(log, 99, "second"), 0);
  dup2(before, STDERR_FILENO);
  close(before);

  std::string seen;
  char buffer[256];
  while (seen.find("second\r\n") == std::string::npos) {
    const ssize_t got = read(master, buffer, sizeof buffer);
    ASSERT_GT(got, 0) << seen;
    seen.append(buffer, static_cast<std::size_t>(got));
  }
  EXPECT_EQ(seen, "camera err: lamp 5 % dim %s\r\ncamera debug: second\r\n");
  close(terminal);
  close(master);

  // Nor without one, unless syslog does not take the line or the environment asks for it.
  setenv("ROVK_LOG", "syslog", 1);
  connect_error = EPROTOTYPE;
  EXPECT_EQ(rovk_log(log, 3, "into the pipe"), 0);
  connect_error = ENOENT;
  EXPECT_EQ(rovk_log(log, 4, "without syslog"), 0);
  connect_error = 0;
  setenv("ROVK_LOG", "stderr", 1);
  EXPECT_EQ(rovk_log(log, 5, "as asked for"), 0);
  unsetenv("ROVK_LOG");
  dup2(STDOUT_FILENO, STDERR_FILENO);  // the pipe's last writer goes
  const ssize_t got = read(pipe_, buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(got)),
            "camera warning: without syslog\ncamera notice: as asked for\n");
  EXPECT_EQ(lines.size(), 6U);
  rovk_logging_deinit(log);
}

TEST_F(Logging, ThreadsMayShareIt) {
  void* shared = open("shared");
  std::atomic<int> ready = 0;
  std::thread threads[4];
  for (std::thread& thread : threads) {
    thread = std::thread([shared, &ready] {
      for (++ready; ready < 4;) std::this_thread::yield();
      for (int round = 0; round < 200; ++round) {
        void* own = nullptr;
        EXPECT_EQ(rovk_logging_init("own", &own), 0);
        EXPECT_EQ(rovk_log(shared, 3, "shared"), 0);
        EXPECT_EQ(rovk_log(own, 3, "own"), 0);
        EXPECT_EQ(rovk_logging_deinit(own), 0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(lines.size(), 1600U);
  for (const LogLine& line : lines) EXPECT_EQ(line.ident, line.text);
  rovk_logging_deinit(shared);
}

}  // namespace
}  // namespace rovk::test

#include "unit/file_server.h"

#include <httplib.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>

#include "unit/things/file_store.h"

namespace rovk::unit {
namespace {

namespace fs = std::filesystem;

constexpr int not_found = 404, forbidden = 403;
constexpr time_t patience_seconds = 1;

// The library turns the process's SIGPIPE off; the process is the script's, and its signals are too.
class KeepSignal {
 public:
  KeepSignal() { sigaction(SIGPIPE, nullptr, &kept_); }
  ~KeepSignal() { sigaction(SIGPIPE, &kept_, nullptr); }
  KeepSignal(const KeepSignal&) = delete;
  KeepSignal& operator=(const KeepSignal&) = delete;

 private:
  struct sigaction kept_ = {};
};

// What is started meanwhile takes no signals: they go to the script's thread, and a client that has gone
// shows as a failed write.
class BlockSignals {
 public:
  BlockSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &kept_);
  }
  ~BlockSignals() { pthread_sigmask(SIG_SETMASK, &kept_, nullptr); }
  BlockSignals(const BlockSignals&) = delete;
  BlockSignals& operator=(const BlockSignals&) = delete;

 private:
  sigset_t kept_ = {};
};

// Links are not followed: they may lead out of the folder.
void hand_out(const fs::path& folder, const std::string& name, httplib::Response& answer) {
  if (!things::FileStore::good_name(name)) {
    answer.status = forbidden;
    return answer.set_content("no file of this folder has such a name\n", "text/plain");
  }
  std::error_code failed;
  std::ifstream file;
  if (fs::symlink_status(folder / name, failed).type() == fs::file_type::regular)
    file.open(folder / name, std::ios::binary);
  if (!file.is_open()) {
    answer.status = not_found;
    return answer.set_content("no such file\n", "text/plain");
  }
  answer.set_content(std::string{std::istreambuf_iterator<char>(file), {}}, "application/octet-stream");
}

}  // namespace

struct FileServer::Running {
  httplib::Server server;
  std::atomic<bool> ended = false;
  std::thread thread;
};

FileServer::FileServer() = default;
FileServer::~FileServer() { stop(); }

uint16_t FileServer::start(const fs::path& folder, uint16_t port) {
  if (running_) return port_;
  const KeepSignal signal;
  auto running = std::make_unique<Running>();
  httplib::Server& server = running->server;
  server.new_task_queue = [] { return new httplib::ThreadPool(1); };
  // One client after another: none keeps the only thread by its silence.
  server.set_keep_alive_max_count(1);
  server.set_read_timeout(patience_seconds);
  server.set_write_timeout(patience_seconds);
  // Without the library's own options, which would let two servers listen at one port.
  server.set_socket_options([](socket_t socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  server.Get("/(.*)", [folder](const httplib::Request& request, httplib::Response& answer) {
    hand_out(folder, request.matches[1], answer);
  });
  constexpr const char* loopback = "127.0.0.1";
  const int taken = port == 0 ? server.bind_to_any_port(loopback) : server.bind_to_port(loopback, port) ? port : 0;
  if (taken <= 0) return 0;
  try {
    const BlockSignals blocked;
    running->thread = std::thread([&here = *running] {
      here.server.listen_after_bind();
      here.ended = true;
    });
  } catch (const std::system_error&) {
    return 0;  // the machine has no thread left
  }
  // A server that does not run yet would not hear a stop.
  while (!server.is_running() && !running->ended) std::this_thread::sleep_for(std::chrono::microseconds(100));
  running_ = std::move(running);
  return port_ = static_cast<uint16_t>(taken);
}

void FileServer::stop() {
  if (!running_) return;
  running_->server.stop();
  running_->thread.join();
  running_.reset();
  port_ = 0;
}

}  // namespace rovk::unit

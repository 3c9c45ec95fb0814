#include "unit/file_server.h"

#include <event2/buffer.h>
#include <event2/event.h>
#include <event2/http.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "unit/things/file_store.h"

namespace rovk::unit {
namespace {

namespace fs = std::filesystem;

constexpr int forbidden = 403;
constexpr int patience_seconds = 1;
constexpr int most_header_bytes = 8192;

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

void refuse(evhttp_request* request, int status, const char* reason) {
  evbuffer* const body = evhttp_request_get_output_buffer(request);
  evbuffer_add_printf(body, "%s\n", reason);
  evhttp_send_reply(request, status, reason, nullptr);
}

// What stands behind the first slash, decoded. Empty for what cannot be decoded.
std::string name_in(evhttp_request* request) {
  const char* const path = evhttp_uri_get_path(evhttp_request_get_evhttp_uri(request));
  if (!path || path[0] != '/') return {};
  std::size_t size = 0;
  char* const decoded = evhttp_uridecode(path + 1, 0, &size);
  std::string name = decoded ? std::string(decoded, size) : std::string();
  std::free(decoded);
  return name;
}

// Links are not followed: they may lead out of the folder.
void hand_out(evhttp_request* request, void* folder) {
  const std::string name = name_in(request);
  if (!things::FileStore::good_name(name)) {
    return refuse(request, forbidden, "no file of this folder has such a name");
  }
  const fs::path path = *static_cast<const fs::path*>(folder) / name;
  const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  struct stat about = {};
  if (file < 0 || fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) {
    if (file >= 0) close(file);
    return refuse(request, HTTP_NOTFOUND, "no such file");
  }
  // The buffer closes the file, when it takes it.
  if (evbuffer_add_file(evhttp_request_get_output_buffer(request), file, 0, about.st_size) != 0) {
    close(file);
    return refuse(request, HTTP_INTERNAL, "cannot read the file");
  }
  evhttp_add_header(evhttp_request_get_output_headers(request), "Content-Type", "application/octet-stream");
  evhttp_send_reply(request, HTTP_OK, "OK", nullptr);
}

uint16_t port_of(evhttp_bound_socket* socket) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  const int descriptor = evhttp_bound_socket_get_fd(socket);
  return getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? ntohs(address.sin_port)
                                                                                    : uint16_t{0};
}

template <auto release>
struct Release {
  template <typename Thing>
  void operator()(Thing* thing) const {
    release(thing);
  }
};

}  // namespace

struct FileServer::Running {
  ~Running() {
    if (stopper >= 0) close(stopper);
  }
  fs::path folder;
  int stopper = -1;  // readable: it is over
  std::unique_ptr<event_base, Release<event_base_free>> base;
  std::unique_ptr<event, Release<event_free>> stop;
  std::unique_ptr<evhttp, Release<evhttp_free>> http;
  std::thread thread;
};

FileServer::FileServer() = default;
FileServer::~FileServer() { stop(); }

uint16_t FileServer::start(const fs::path& folder, uint16_t port) {
  if (running_) return port_;
  auto made = std::make_unique<Running>();
  made->folder = folder;
  made->stopper = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  made->base.reset(event_base_new());
  if (made->stopper < 0 || !made->base) return 0;
  event_base* const base = made->base.get();
  const auto end = [](evutil_socket_t, short, void* of) { event_base_loopbreak(static_cast<event_base*>(of)); };
  made->stop.reset(event_new(base, made->stopper, EV_READ, end, base));
  made->http.reset(evhttp_new(base));
  if (!made->stop || event_add(made->stop.get(), nullptr) != 0 || !made->http) return 0;
  evhttp* const http = made->http.get();
  evhttp_set_allowed_methods(http, EVHTTP_REQ_GET | EVHTTP_REQ_HEAD);
  evhttp_set_max_headers_size(http, most_header_bytes);
  evhttp_set_max_body_size(http, 0);
  evhttp_set_timeout(http, patience_seconds);
  evhttp_set_gencb(http, hand_out, &made->folder);
  evhttp_bound_socket* const socket = evhttp_bind_socket_with_handle(http, "127.0.0.1", port);
  const uint16_t taken = socket ? port_of(socket) : uint16_t{0};
  if (taken == 0) return 0;
  try {
    const BlockSignals blocked;
    made->thread = std::thread([base] { event_base_dispatch(base); });
  } catch (const std::system_error&) {
    return 0;  // the machine has no thread left
  }
  running_ = std::move(made);
  return port_ = taken;
}

void FileServer::stop() {
  if (!running_) return;
  eventfd_write(running_->stopper, 1);
  running_->thread.join();
  running_.reset();
  port_ = 0;
}

}  // namespace rovk::unit

// Hands out the files of one folder over HTTP on the loopback address, for who fetches frames. It runs a
// thread of its own, which reads files and touches nothing else of the unit; everything here is called on
// the unit's thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

namespace rovk::unit {

class FileServer {
 public:
  FileServer();
  ~FileServer();
  FileServer(const FileServer&) = delete;
  FileServer& operator=(const FileServer&) = delete;

  // Listens when it returns. `port` 0 takes any that is free; the result is the one taken, 0 when there is
  // none. A server that runs goes on as it is.
  uint16_t start(const std::filesystem::path& folder, uint16_t port);
  // Has ended when it returns, and cuts off what is under way. Nothing happens when none runs.
  void stop();
  uint16_t port() const { return port_; }  // 0 while nobody listens

 private:
  struct Running;
  std::unique_ptr<Running> running_;
  uint16_t port_ = 0;
};

}  // namespace rovk::unit

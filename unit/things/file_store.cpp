// The folder alone is the truth: it is read whenever somebody asks, since its owner may look into it and
// change it while the unit runs. Only files of good names count as the unit's.
#include "unit/things/file_store.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <system_error>

namespace rovk::unit::things {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view unfinished = ".unfinished";

bool write_whole(const fs::path& path, std::span<const uint8_t> bytes, bool lasting) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (file < 0) return false;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = ::write(file, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  const bool written = done == bytes.size() && (!lasting || fsync(file) == 0);
  return close(file) == 0 && written;
}

// Folders that go with their units. A unit that nobody closes is never destroyed, so what is left here is removed when
// the process ends. Never destroyed itself: units may be closed later still.
struct Passing {
  std::mutex mutex;
  std::set<fs::path> folders;
  const pid_t owner = getpid();  // a process that is forked off has made none of them
};

Passing& passing() {
  static Passing& all = []() -> Passing& {
    auto* const made = new Passing;
    std::atexit([] {
      if (getpid() != passing().owner) return;
      std::error_code ignored;
      for (const fs::path& folder : passing().folders) fs::remove_all(folder, ignored);
    });
    return *made;
  }();
  return all;
}

// A name is on the disk when its folder is.
void settle(const fs::path& folder) {
  const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return;
  fsync(directory);
  close(directory);
}

}  // namespace

FileStore::~FileStore() {
  if (lasting_ || folder_.empty()) return;
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
  const std::lock_guard lock(passing().mutex);
  passing().folders.erase(folder_);
}

void FileStore::keep_in(const fs::path& folder) {
  if (lasting_) return;
  folder_ = folder;
  lasting_ = true;
}

bool FileStore::good_name(std::string_view name) {
  constexpr std::string_view others = "-_.";
  return !name.empty() && name.front() != '.' && std::all_of(name.begin(), name.end(), [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           others.find(c) != std::string_view::npos;
  });
}

bool FileStore::make_folder() {
  std::error_code failed;
  if (!folder_.empty()) {
    fs::create_directories(folder_, failed);
    return !failed;
  }
  const fs::path parent = fs::temp_directory_path(failed);
  if (failed) return false;
  std::string pattern = (parent / "rovk-unit-XXXXXX").string();
  if (!mkdtemp(pattern.data())) return false;
  folder_ = pattern;
  const std::lock_guard lock(passing().mutex);
  passing().folders.insert(folder_);
  return true;
}

FileStore::Failure FileStore::write(std::string_view name, std::span<const uint8_t> bytes) {
  if (!good_name(name)) return Failure::bad_name;
  if (!make_folder()) return Failure::io;
  std::error_code failed;
  const fs::path path = folder_ / name;
  const uint64_t replaced = fs::file_size(path, failed);
  const uint64_t others = used_bytes() - (failed ? 0 : replaced);
  if (others > build_.most_bytes || bytes.size() > build_.most_bytes - others) return Failure::full;
  const fs::path draft = folder_ / unfinished;
  const bool written = write_whole(draft, bytes, lasting_);
  if (written) fs::rename(draft, path, failed);
  if (written && !failed) {
    if (lasting_) settle(folder_);
    return Failure::none;
  }
  std::error_code ignored;
  fs::remove(draft, ignored);
  return Failure::io;
}

std::optional<std::vector<uint8_t>> FileStore::read(std::string_view name) const {
  if (!good_name(name) || folder_.empty()) return std::nullopt;
  std::ifstream file(folder_ / name, std::ios::binary);
  if (!file.is_open()) return std::nullopt;
  return std::vector<uint8_t>{std::istreambuf_iterator<char>(file), {}};
}

bool FileStore::remove(std::string_view name) {
  std::error_code failed;
  return good_name(name) && !folder_.empty() && fs::remove(folder_ / name, failed) && !failed;
}

void FileStore::remove_all() {
  for (const std::string& name : names()) remove(name);
}

std::vector<std::string> FileStore::names() const {
  std::vector<std::string> all;
  std::error_code failed;
  if (folder_.empty()) return all;
  for (fs::directory_iterator entry(folder_, failed), end; !failed && entry != end; entry.increment(failed)) {
    const std::string name = entry->path().filename().string();
    std::error_code unknown;
    if (good_name(name) && entry->is_regular_file(unknown)) all.push_back(name);
  }
  std::sort(all.begin(), all.end());
  return all;
}

uint64_t FileStore::used_bytes() const {
  uint64_t sum = 0;
  for (const std::string& name : names()) {
    std::error_code failed;
    const uint64_t size = fs::file_size(folder_ / name, failed);
    if (!failed) sum += size;
  }
  return sum;
}

}  // namespace rovk::unit::things

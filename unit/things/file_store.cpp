// The folder alone is the truth: it is read whenever somebody asks, since its owner may look into it and
// change it while the unit runs. Only files of good names count as the unit's.
#include "unit/things/file_store.h"

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
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

// What goes through a folder here is the C library's: the C++ library's ends the process where it finds no memory for
// an entry's name.
int remove_entry(const char* path, const struct stat*, int, struct FTW*) {
  ::remove(path);
  return 0;
}

void remove_folder(const fs::path& folder) {
  constexpr int most_open = 8;
  nftw(folder.c_str(), remove_entry, most_open, FTW_DEPTH | FTW_PHYS);
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
      for (const fs::path& folder : passing().folders) remove_folder(folder);
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
  remove_folder(folder_);
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
  const auto close = [](DIR* folder) { closedir(folder); };
  const std::unique_ptr<DIR, decltype(close)> folder(folder_.empty() ? nullptr : opendir(folder_.c_str()));
  if (!folder) return all;
  while (const dirent* const entry = readdir(folder.get())) {
    struct stat status;
    if (!good_name(entry->d_name) || fstatat(dirfd(folder.get()), entry->d_name, &status, 0) != 0) continue;
    if (S_ISREG(status.st_mode)) all.emplace_back(entry->d_name);
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

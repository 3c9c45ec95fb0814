#include "unit/keeper.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "unit/fittings.h"

namespace rovk::unit {
namespace {

constexpr char first_line[] = "rovk unit state 1";

std::string hex(uint64_t value, unsigned digits) {
  std::string text(digits, '0');
  for (unsigned i = digits; i-- > 0; value >>= 4) text[i] = "0123456789abcdef"[value & 0xf];
  return text;
}

std::string hex(std::span<const uint8_t> bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const uint8_t byte : bytes) text += hex(byte, 2);
  return text;
}

// FNV-1a.
uint64_t digest(std::string_view text) {
  uint64_t sum = 0xcbf29ce484222325;
  for (const char character : text) sum = (sum ^ static_cast<uint8_t>(character)) * 0x100000001b3;
  return sum;
}

int digit(char character) {
  const char* const digits = "0123456789abcdef";
  const char* const found = character ? std::strchr(digits, character) : nullptr;
  return found ? static_cast<int>(found - digits) : -1;
}

std::optional<std::vector<uint8_t>> bytes_of(const std::string& text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<uint8_t> bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = digit(text[i]);
    const int low = digit(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<uint8_t>(high << 4 | low));
  }
  return bytes;
}

// What the unit is made of, whatever the addresses.
std::string identity_of(const UnitDescription& unit) {
  std::string text;
  for (const BoardDescription& board : unit.boards) {
    text += board.name + "\n";
    for (const PeripheralDescription& own : board.peripherals) {
      text += Keeper::name_of(board.name, own) + " " + own.service;
      for (const DeviceDescription& device : own.devices) text += " " + std::to_string(device.id);
      text += "\n";
    }
  }
  return hex(digest(text), 16);
}

bool write_all(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::string Keeper::name_of(const std::string& board, const PeripheralDescription& peripheral) {
  return board + "/" + (peripheral.name.empty() ? peripheral.service : peripheral.name);
}

Keeper::Keeper(std::string path, const UnitDescription& unit)
    : path_(std::move(path)), beside_(path_ + ".new"), identity_(identity_of(unit)) {
  file_ = open(path_.c_str(), O_RDWR | O_CLOEXEC);
  if (file_ < 0 && errno == ENOENT) {
    if (!write({}, {}) || !commit()) fail(std::string("cannot be written: ") + std::strerror(errno));
    return;
  }
  if (file_ < 0) fail(std::string("cannot be opened: ") + std::strerror(errno));
  try {
    if (flock(file_, LOCK_EX | LOCK_NB) != 0) fail("is in use by another unit that runs");
    read();
  } catch (...) {
    close(file_);
    throw;
  }
}

Keeper::~Keeper() {
  discard();
  if (file_ >= 0) close(file_);
}

void Keeper::discard() {
  if (next_ < 0) return;
  unlink(beside_.c_str());
  close(std::exchange(next_, -1));
}

void Keeper::fail(const std::string& text) const { throw DescriptionError("state file " + path_ + " " + text); }

void Keeper::read() {
  std::ifstream stream(path_);
  std::stringstream whole;
  whole << stream.rdbuf();
  const std::string text = whole.str();
  const auto last = text.rfind("end ");
  const std::string damaged = "is damaged and was left as it is; remove it to begin anew";
  if (last == std::string::npos || text.substr(last) != "end " + hex(digest(text.substr(0, last)), 16) + "\n") {
    fail(damaged);
  }
  std::istringstream lines(text.substr(0, last));
  std::string line;
  if (!std::getline(lines, line) || line != first_line) fail(damaged);
  if (!std::getline(lines, line) || line != "unit " + identity_) fail("is of another unit and was left as it is");
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string kind;
    std::string data;
    unsigned number = 0;
    unsigned place = 0;
    words >> kind >> number;
    if (kind == "setting") words >> place;
    words >> data;
    const auto bytes = bytes_of(data);
    if (!words || !bytes) fail(damaged);
    if (kind == "setting") {
      std::string name;
      std::getline(words >> std::ws, name);
      settings_.push_back({name, static_cast<uint8_t>(number), *bytes, place});
    } else {
      memories_[static_cast<uint8_t>(number)] = *bytes;
    }
  }
}

bool Keeper::prepare(const Setting& setting) {
  std::vector<Setting> settings = settings_;
  std::erase_if(settings, [&setting](const Setting& row) {
    return row.peripheral == setting.peripheral && row.opcode == setting.opcode && row.place == setting.place;
  });
  settings.push_back(setting);
  return write(std::move(settings), memories_);
}

bool Keeper::prepare_memory(uint8_t location, std::span<const uint8_t> bytes) {
  auto memories = memories_;
  memories[location].assign(bytes.begin(), bytes.end());
  return write(settings_, std::move(memories));
}

bool Keeper::prepare_forgetting(const std::string& peripheral) {
  std::vector<Setting> settings = settings_;
  std::erase_if(settings,
                [&peripheral](const Setting& row) { return peripheral.empty() || row.peripheral == peripheral; });
  if (settings.size() == settings_.size()) {
    discard();
    return true;
  }
  return write(std::move(settings), memories_);
}

bool Keeper::write(std::vector<Setting> settings, std::map<uint8_t, std::vector<uint8_t>> memories) {
  std::string text = std::string(first_line) + "\nunit " + identity_ + "\n";
  for (const Setting& row : settings) {
    text += "setting " + std::to_string(row.opcode) + " " + std::to_string(row.place) + " " + hex(row.payload) + " " +
            row.peripheral + "\n";
  }
  for (const auto& [location, bytes] : memories) text += "eeprom " + std::to_string(location) + " " + hex(bytes) + "\n";
  text += "end " + hex(digest(text), 16) + "\n";
  discard();
  const int file = open(beside_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file < 0) return false;
  if (!write_all(file, text) || fsync(file) != 0 || flock(file, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    unlink(beside_.c_str());
    close(file);
    errno = error;
    return false;
  }
  next_ = file;
  next_settings_ = std::move(settings);
  next_memories_ = std::move(memories);
  return true;
}

bool Keeper::commit() {
  if (next_ < 0) return true;
  const std::string folder = std::filesystem::absolute(path_).parent_path().string();
  if (rename(beside_.c_str(), path_.c_str()) != 0) {
    const int error = errno;
    discard();
    errno = error;
    return false;
  }
  // The name as well has to be on the disk.
  const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory >= 0) {
    fsync(directory);
    close(directory);
  }
  if (file_ >= 0) close(file_);
  file_ = std::exchange(next_, -1);
  settings_ = std::move(next_settings_);
  memories_ = std::move(next_memories_);
  return true;
}

}  // namespace rovk::unit

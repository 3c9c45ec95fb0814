// The unit's files: frames and dumps, in a folder of their own with a limit. What is written is whole or
// not there.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rovk::unit::things {

class FileStore {
 public:
  struct Build {
    std::string folder = {};                 // empty: a temporary one that goes with the unit, or keep_in()
    uint64_t most_bytes = 64 * 1024 * 1024;  // of all files together
    uint16_t http_port = 0;                  // 0: any that is free when the server starts
  };
  enum class Failure : uint8_t { none, bad_name, full, io };

  explicit FileStore(const Build& build) : build_(build), folder_(build.folder), lasting_(!build.folder.empty()) {}
  ~FileStore();
  FileStore(const FileStore&) = delete;
  FileStore& operator=(const FileStore&) = delete;

  const Build& build() const { return build_; }
  // Where the files lie. Empty: nothing was written yet into a temporary folder, which is made then.
  const std::filesystem::path& folder() const { return folder_; }
  // Has a store without a folder of its own keep its files there, from before the first one is written.
  void keep_in(const std::filesystem::path& folder);
  // Makes sure that there is a folder to write to and read from; false when that cannot be.
  bool make_folder();
  // Whether a name stays in the folder and can be typed: letters, digits and "-_.", no dot in front.
  static bool good_name(std::string_view name);

  // A file of the same name is replaced. Whatever fails leaves the files as they were. What is to outlive the
  // unit is on the disk when this returns.
  Failure write(std::string_view name, std::span<const uint8_t> bytes);
  std::optional<std::vector<uint8_t>> read(std::string_view name) const;
  // False: there is none.
  bool remove(std::string_view name);
  void remove_all();
  // Sorted.
  std::vector<std::string> names() const;
  uint64_t used_bytes() const;

 private:
  const Build build_;
  std::filesystem::path folder_;
  bool lasting_;  // the folder is no temporary one
};

}  // namespace rovk::unit::things

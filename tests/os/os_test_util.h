// Helpers shared by the OS services tests: a temporary directory removed with
// everything in it, and whole-file reads and writes.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kx_test {

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/kxsupt-os-XXXXXX";
    const char *made = mkdtemp(pattern);
    path_ = made != nullptr ? made : "";
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  bool ok() const { return !path_.empty(); }
  // The path of name inside the directory.
  std::string operator/(const std::string &name) const { return path_ + "/" + name; }
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

inline void WriteBytes(const std::string &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::string ReadBytes(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool Exists(const std::string &path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

// The permission bits of path, or -1 when it cannot be examined.
inline int PermissionBits(const std::string &path) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return -1;
  return static_cast<int>(info.st_mode & 07777);
}

// Sets the process's file-creation mask for a scope.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : previous_(umask(mask)) {}
  ScopedUmask(const ScopedUmask &) = delete;
  ScopedUmask &operator=(const ScopedUmask &) = delete;
  ~ScopedUmask() { umask(previous_); }

 private:
  mode_t previous_;
};

}  // namespace kx_test

// Helpers shared by the OS services tests: a temporary directory removed with
// everything in it, and permission bits. Whole-file reads and writes are the
// configuration tests' (tests/config/sandbox.h).
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "../config/sandbox.h"

namespace kx_test {

using kxtest::ReadFile;
using kxtest::WriteFile;

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/kxsupt-os-XXXXXX";
    path_ = mkdtemp(pattern) != nullptr ? pattern : "";
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  bool ok() const { return !path_.empty(); }
  std::string operator/(const std::string &name) const { return path_ + "/" + name; }
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// The permission bits of path, -1 when it does not exist.
inline int PermissionBits(const std::string &path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? static_cast<int>(info.st_mode & 07777) : -1;
}

}  // namespace kx_test

// Choosing the product registry file at attach time.
#include "config/registry_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

namespace kx::config {

namespace {

constexpr const char *kSystemRegistry = "/etc/vqreg.cfg";
constexpr const char *kFallbackRegistry = "/usr/lib/ext/quor/vqreg.cfg";

std::string &ChosenFile() {
  static std::string chosen;
  return chosen;
}

bool Exists(const char *path) {
  return access(path, F_OK) == 0;
}

}  // namespace

std::optional<std::string> ChooseRegistryFile() {
  if (const char *override_path = secure_getenv("KXSUPT_REGISTRY_FILE");
      override_path != nullptr && *override_path != '\0') {
    if (Exists(override_path)) return std::string(override_path);
    return std::nullopt;
  }
  if (Exists(kSystemRegistry)) return std::string(kSystemRegistry);
  if (Exists(kFallbackRegistry)) return std::string(kFallbackRegistry);
  return std::nullopt;
}

int RegistryAttach() {
  std::optional<std::string> path = ChooseRegistryFile();
  if (!path) return 0;
  ChosenFile() = std::move(*path);
  return 1;
}

void RegistryDetach() {
  ChosenFile().clear();
}

const std::string &RegistryFile() {
  return ChosenFile();
}

std::optional<std::string> ReadRegistryFile() {
  if (ChosenFile().empty()) return std::nullopt;
  int fd = open(ChosenFile().c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string content;
  char block[8192];
  for (;;) {
    ssize_t got = read(fd, block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      close(fd);
      if (got < 0) return std::nullopt;
      return content;
    }
    content.append(block, static_cast<size_t>(got));
  }
}

}  // namespace kx::config

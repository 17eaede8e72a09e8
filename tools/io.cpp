// File and standard-input reading for the tool's commands.
#include "io.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "command.h"

namespace kxtool {

namespace {

constexpr size_t kChunkSize = 64 * 1024;

struct FileCloser {
  void operator()(std::FILE *file) const {
    if (file != stdin) std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File Open(const std::string &path, int *exit_status) {
  *exit_status = kExitOk;
  if (path == "-") return File(stdin);
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    *exit_status = errno == ENOENT ? kExitNotFound : kExitBadInput;
    Complain(path + ": " + std::strerror(errno));
  }
  return file;
}

}  // namespace

int ForEachChunk(const std::string &path,
                 const std::function<void(const unsigned char *, size_t)> &sink) {
  int exit_status;
  File file = Open(path, &exit_status);
  if (!file) return exit_status;
  std::vector<unsigned char> chunk(kChunkSize);
  size_t got;
  while ((got = std::fread(chunk.data(), 1, chunk.size(), file.get())) > 0) {
    sink(chunk.data(), got);
  }
  if (std::ferror(file.get())) {
    Complain(path + ": read error");
    return kExitBadInput;
  }
  return kExitOk;
}

int ReadAll(const std::string &path, std::vector<unsigned char> *out) {
  out->clear();
  return ForEachChunk(path, [&](const unsigned char *data, size_t size) {
    out->insert(out->end(), data, data + size);
  });
}

}  // namespace kxtool

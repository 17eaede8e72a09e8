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

File Open(const std::string &path) {
  if (path == "-") return File(stdin);
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) Complain(path + ": " + std::strerror(errno));
  return file;
}

}  // namespace

bool ForEachChunk(const std::string &path,
                  const std::function<void(const unsigned char *, size_t)> &sink) {
  File file = Open(path);
  if (!file) return false;
  std::vector<unsigned char> chunk(kChunkSize);
  size_t got;
  while ((got = std::fread(chunk.data(), 1, chunk.size(), file.get())) > 0) {
    sink(chunk.data(), got);
  }
  if (std::ferror(file.get())) {
    Complain(path + ": read error");
    return false;
  }
  return true;
}

std::optional<std::vector<unsigned char>> ReadAll(const std::string &path) {
  std::vector<unsigned char> all;
  bool ok = ForEachChunk(path, [&](const unsigned char *data, size_t size) {
    all.insert(all.end(), data, data + size);
  });
  if (!ok) return std::nullopt;
  return all;
}

}  // namespace kxtool

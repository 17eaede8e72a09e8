// Host name and DNS suffix. The name is read with gethostname into a buffer
// whose last byte is then forced to NUL, so an over-long name is cut rather
// than refused; the suffix comes from the official name that the resolver
// returns for that name.
#include "net/host_name.h"

#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "base/memory.h"
#include "net/module.h"
#include "text/utf.h"

namespace kx::net {

namespace {

// Reads the host name into `room` bytes at buf (room > 0): a name that does
// not fit is cut, and the last byte is always a NUL. gethostname's own result
// is ignored on purpose: a cut name still counts as a name.
void ReadHostName(char *buf, uint32_t room) {
  buf[0] = 0;
  (void)gethostname(buf, room);
  buf[room - 1] = 0;
}

// The official name of `host` from the resolver, or false when it has none.
bool OfficialName(const char *host, std::vector<char> *name) {
  std::vector<char> scratch(1024);
  hostent entry;
  hostent *result = nullptr;
  int error = 0;
  while (gethostbyname_r(host, &entry, scratch.data(), scratch.size(), &result, &error) == ERANGE &&
         scratch.size() < (1u << 20)) {
    scratch.resize(scratch.size() * 2);
  }
  if (result == nullptr || result->h_name == nullptr) return false;
  name->assign(result->h_name, result->h_name + std::strlen(result->h_name) + 1);
  return true;
}

}  // namespace

Status GetIPHostName(char *buf, uint32_t *size) {
  if (!NetworkUp()) return Status::kNotReady;
  if (buf == nullptr || size == nullptr) return Status::kInvalidArgs;
  if (*size == 0) {
    // No byte to write into: report what the whole name needs.
    char full[kHostNameRoom + 1];
    ReadHostName(full, sizeof full);
    *size = static_cast<uint32_t>(std::strlen(full) + 1);
    return Status::kBufferTooSmall;
  }
  ReadHostName(buf, *size);
  *size = static_cast<uint32_t>(std::strlen(buf) + 1);
  return Status::kSuccess;
}

Status UCS2GetIPHostName(uint16_t *buf, uint32_t *size) {
  if (!NetworkUp()) return Status::kNotReady;
  if (size == nullptr) return Status::kInvalidArgs;
  char name[kHostNameRoom];
  ReadHostName(name, sizeof name);
  return text::UTF8StrToUCS2Str(buf, size, name);
}

Status GetDNSSuffixNameName(char *buf, uint32_t *size) {
  if (!NetworkUp()) return Status::kNotReady;
  if (size == nullptr) return Status::kInvalidArgs;
  auto *host = static_cast<char *>(base::AllocMem(kHostNameRoom));
  if (host == nullptr) return Status::kNoMemory;
  ReadHostName(host, kHostNameRoom);
  std::vector<char> official;
  bool resolved;
  try {
    resolved = OfficialName(host, &official);
  } catch (const std::bad_alloc &) {
    base::FreeMem(host);
    return Status::kNoMemory;
  }
  base::FreeMem(host);
  if (!resolved) return Status::kError;
  const char *dot = std::strchr(official.data(), '.');
  const char *suffix = dot == nullptr ? "" : dot + 1;
  const auto needed = static_cast<uint32_t>(std::strlen(suffix) + 1);
  const uint32_t room = *size;
  *size = needed;
  if (buf == nullptr) return Status::kSuccess;
  if (room < needed) return Status::kBufferTooSmall;
  std::memcpy(buf, suffix, needed);
  return Status::kSuccess;
}

}  // namespace kx::net

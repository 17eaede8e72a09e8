// The system-log target: the message, its priority and identity, and the one
// place that talks to the logger (or, under test, to a datagram socket that
// stands in for it).
#include "log/system_log.h"

#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "base/memory.h"
#include "log/event_types.h"
#include "log/log_strings.h"
#include "values/translation.h"

namespace kx::log {

namespace {

// The datagram socket standing in for the logger under test; empty in
// production. Plain data, so that reports made while the library attaches
// (before static construction) find it empty. Guarded by g_target_lock.
pthread_mutex_t g_target_lock = PTHREAD_MUTEX_INITIALIZER;
char g_test_socket[sizeof(sockaddr_un::sun_path)];

String TestSocket() {
  pthread_mutex_lock(&g_target_lock);
  String path = g_test_socket;
  pthread_mutex_unlock(&g_target_lock);
  return path;
}

// The datagram the C library's logger would send for an identity without
// LOG_PID: "<PRI>Mmm dd hh:mm:ss identity: message".
void SendDatagram(const String &socket_path, const char *identity, int priority,
                  const char *message) {
  char head[64];
  const time_t now = time(nullptr);
  struct tm local {};
  int length = std::snprintf(head, sizeof head, "<%d>", LOG_DAEMON | priority);
  if (localtime_r(&now, &local) != nullptr) {
    length += static_cast<int>(strftime(head + length, sizeof head - length, "%h %e %T ", &local));
  }
  String datagram(head, static_cast<size_t>(length));
  if (identity != nullptr) datagram.append(identity).append(": ");
  datagram.append(message);

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket_path.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, socket_path.c_str(), socket_path.size() + 1);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  (void)sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr *>(&address),
               sizeof address);
  close(fd);
}

// Hands one finished message to the logger under `identity`.
void Emit(const char *identity, int priority, const char *message) {
  if (const String socket_path = TestSocket(); !socket_path.empty()) {
    SendDatagram(socket_path, identity, priority, message);
    return;
  }
  openlog(identity, LOG_NDELAY, LOG_DAEMON);
  syslog(priority, "%s", message);
  closelog();
}

}  // namespace

int SystemLogPriority(uint16_t type) {
  switch (type) {
    case kEventError:
      return LOG_ERR;
    case kEventWarning:
      return LOG_WARNING;
    default:
      return LOG_INFO;
  }
}

bool SystemLogMessage(uint16_t category, uint32_t event_id, const char *description,
                      char *message) {
  const char *name = CategoryName(category);
  if (name == nullptr) return false;
  char identifier[16];
  uint32_t size = sizeof identifier;
  if (!Ok(values::XLTTypeValueToUTF8(&event_id, sizeof event_id, identifier, &size,
                                     values::kUInt32))) {
    return false;
  }
  size_t length = 0;
  for (const char *piece : {name, " EventID: ", static_cast<const char *>(identifier), "  ",
                            description != nullptr ? description : ""}) {
    const size_t n = std::min(std::strlen(piece), kSystemLogMessageRoom - 1 - length);
    std::memcpy(message + length, piece, n);
    length += n;
  }
  message[length] = 0;
  std::replace(message, message + length, '\r', ' ');
  return true;
}

Status AppendToOSSysLog(uint16_t type, uint16_t category, uint32_t event_id, const char *source,
                        const char *description) {
  auto *message = static_cast<char *>(base::AllocMem(kSystemLogMessageRoom));
  if (message == nullptr) return Status::kError;
  bool built = SystemLogMessage(category, event_id, description, message);
  try {
    if (built) Emit(source, SystemLogPriority(type), message);
  } catch (const std::bad_alloc &) {
    built = false;
  }
  base::FreeMem(message);
  return built ? Status::kSuccess : Status::kError;
}

Status ReportLibraryEvent(const char *description) {
  return AppendToOSSysLog(kEventInformation, kCategoryCoreBroker, 0, kLibraryIdentity, description);
}

void SetSystemLogSocketForTesting(const char *socket_path) {
  pthread_mutex_lock(&g_target_lock);
  const size_t length = socket_path != nullptr ? std::strlen(socket_path) : 0;
  if (length < sizeof g_test_socket) {
    std::memcpy(g_test_socket, socket_path != nullptr ? socket_path : "", length);
    g_test_socket[length] = 0;
  }
  pthread_mutex_unlock(&g_target_lock);
}

}  // namespace kx::log

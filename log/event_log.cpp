// The default event log: its paths from the product registry, and the append
// and clear that dispatch an event to the selected targets.
#include "log/event_log.h"

#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "config/registry.h"
#include "log/event_types.h"
#include "log/log_file.h"
#include "log/log_strings.h"
#include "log/max_size.h"
#include "log/system_log.h"
#include "log/text_log.h"
#include "log/xml_log.h"

namespace kx::log {

namespace {

// The registry's log path is fetched into a buffer of this size.
constexpr uint32_t kLogDirectoryRoom = 239;

// Copies `text` and its terminator into the caller's buffer of *size bytes;
// 16 with the size needed when it is shorter. On success *size is the length
// plus 1. A null buffer only measures.
Status Deliver(const String &text, char *buffer, uint32_t *size) {
  if (buffer == nullptr) {
    *size = static_cast<uint32_t>(text.size() + 1);
    return Status::kSuccess;
  }
  if (text.size() + 1 > *size) {
    *size = static_cast<uint32_t>(text.size() + 1);
    return Status::kBufferTooSmall;
  }
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  *size = static_cast<uint32_t>(text.size() + 1);
  return Status::kSuccess;
}

// The selected default path, or its backup name, for the path queries.
Status SelectedPath(uint32_t flags, char *buffer, uint32_t *size, bool backup) {
  if (flags == 0) return Status::kInvalidArgs;
  if ((flags & kSelectSystemLog) != 0) return Status::kFailed;
  if (size == nullptr) return Status::kInvalidArgs;
  if (*size < kLogPathRoom) {
    *size = kLogPathRoom;
    return Status::kBufferTooSmall;
  }
  if ((flags & (kSelectTextLog | kSelectXmlLog)) == 0) return Status::kInvalidArgs;
  char path[kLogPathRoom];
  const Status found = DefaultLogPath((flags & kSelectXmlLog) != 0, path);
  if (!Ok(found)) return found;
  return Deliver(backup ? BackupName(path) : String(path), buffer, size);
}

// The body of AppendToLog, with the path buffer it was given.
Status AppendToSelectedLogs(uint32_t flags, uint16_t type, uint16_t category, uint32_t event_id,
                            const char *source, const char *description, const void *data,
                            uint32_t data_size, char *path) {
  Status result = Status::kSuccess;
  if ((flags & kSelectSystemLog) != 0) {
    result = AppendToOSSysLog(type, category, event_id, source, description);
  }
  uint32_t max_size = kDefaultLogMaxSize;
  if ((flags & kSelectTextLog) != 0) {
    const Status found = DefaultLogPath(false, path);
    if (!Ok(found)) return found;
    (void)GetLogMaxSize(path, &max_size);
    const TextEvent event{type, category, event_id, source, description, data, data_size};
    // The text log's own status is not reported.
    (void)AppendToTextLog(path, event, max_size);
    result = Status::kSuccess;
  }
  if ((flags & kSelectXmlLog) != 0) {
    const Status found = DefaultLogPath(true, path);
    if (!Ok(found)) return found;
    (void)GetLogMaxSize(path, &max_size);
    const XmlEvent event{type,        category, event_id, nullptr,  source,
                         description, nullptr,  data,     data_size};
    result = AppendToXMLLog(path, event, max_size);
  }
  return result;
}

}  // namespace

Status DefaultLogPath(bool xml, char *path) {
  char directory[kLogDirectoryRoom];
  uint32_t size = sizeof directory;
  const Status found = config::GetPathByProductIDandType(config::kProductWexbridge,
                                                         config::kPathLog, directory, &size);
  if (!Ok(found)) return found;
  // 238 bytes of directory, "/log/" and the 11-byte name fit the 256 bytes.
  std::snprintf(path, kLogPathRoom, "%s/log/%s", directory,
                xml ? kXmlLogFileName : kTextLogFileName);
  return Status::kSuccess;
}

Status AppendToLog(uint32_t flags, uint16_t type, uint16_t category, uint32_t event_id,
                   const char *source, const char *description, const void *data,
                   uint32_t data_size) {
  if (flags == 0) return Status::kInvalidArgs;
  auto *path = static_cast<char *>(base::AllocMem(kLogPathRoom));
  if (path == nullptr) return Status::kError;
  const Status result = AppendToSelectedLogs(flags, type, category, event_id, source, description,
                                             data, data_size, path);
  base::FreeMem(path);
  return result;
}

Status ClearLog(uint32_t flags, uint16_t category, const char *source) {
  if (flags == 0) return Status::kInvalidArgs;
  if ((flags & kSelectSystemLog) != 0) return Status::kFailed;
  char path[kLogPathRoom];
  if ((flags & kSelectTextLog) != 0) {
    Status status = DefaultLogPath(false, path);
    if (Ok(status)) status = ClearTextLog(path, category, source);
    if (!Ok(status)) return status;
  }
  if ((flags & kSelectXmlLog) != 0) {
    const Status found = DefaultLogPath(true, path);
    if (!Ok(found)) return found;
    return ClearXMLLog(path, category, kClearUserInfo, source);
  }
  return Status::kSuccess;
}

Status GetLogPathFileName(uint32_t flags, char *buffer, uint32_t *size) {
  return CatchNoMemory([&] { return SelectedPath(flags, buffer, size, false); });
}

Status GetBackupLogPathFileName(uint32_t flags, char *buffer, uint32_t *size) {
  return CatchNoMemory([&] { return SelectedPath(flags, buffer, size, true); });
}

Status GetBackupXMLLogPathFileName(const char *path, char *buffer, uint32_t *size) {
  if (path == nullptr || size == nullptr) return Status::kInvalidParameter;
  const size_t length = std::strlen(path);
  if (length <= 1) return Status::kInvalidParameter;
  return CatchNoMemory([&] { return Deliver(BackupName(path), buffer, size); });
}

}  // namespace kx::log

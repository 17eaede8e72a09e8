// The XML event log: the LogEntry element built with the XML generation
// buffer, the backward search for the closing tag, and the append and clear
// of one file.
//
// The new element and the closing tag go out in one pwrite() at the offset of
// the old closing tag, under the file lock and the append journal (see
// log_file.h). Splitting the write (tag first, element later, or the reverse)
// would open a window between two calls in which the file holds two closing
// tags or none, and the next append's backward search would build on the
// damage; with one write, a writer killed before or after it leaves the old
// or the new document, and one killed inside it (the kernel copies page by
// page) leaves a journal from which the next writer restores the old tag. A
// new log is written whole into an unnamed file and linked under its name,
// so it never shows as an empty document either.
#include "log/xml_log.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <vector>

#include "base/memory.h"
#include "log/event_types.h"
#include "log/log_file.h"
#include "log/log_strings.h"
#include "log/max_size.h"
#include "values/translation.h"
#include "xml/buffer.h"

namespace kx::log {

namespace {

constexpr uint32_t kEntryCapacity = 2048;
// Bytes of an element beyond its texts and data: the tags, the stamps and
// the numbers.
constexpr uint64_t kEntryFrame = 512;
constexpr uint32_t kHostRoom = 256;
// The XML buffer's value type for a pointer to UTF-8 text, in its link form.
constexpr uint32_t kLinkValue = 50;

// Owns a generation buffer.
struct XmlBufferOwner {
  xml::Buffer *buffer;
  ~XmlBufferOwner() { xml::XGBufFree(buffer); }
};

// Appends one child element; false when its value could not be written (the
// element would be left open).
bool Child(xml::Buffer *buffer, const char *name, const void *value, uint32_t size, uint32_t type,
           const SMXGBufFormat *format, Status *status) {
  const Status result = xml::XGBufCatNode(buffer, name, nullptr, value, size, type, format);
  if (Ok(result)) return true;
  *status = result;
  return false;
}

bool TextFits(const char *text, uint32_t limit) {
  if (text == nullptr) return true;
  const size_t length = std::strlen(text);
  return length >= 1 && length <= limit;
}

// The offset of the last "</EventLog>" that starts at or after byte 38,
// searching backwards from (size - 11); -1 when there is none. Reads the tail
// in blocks, which finds the same position as comparing 11 bytes at each
// offset in turn.
off_t FindClosingTag(int fd, off_t size) {
  constexpr off_t kBlock = 65536;
  Vector<char> block(kBlock);
  off_t top = size - kEventLogCloseSize;  // highest candidate
  while (top >= static_cast<off_t>(kXmlLogPreambleSize)) {
    const off_t low = std::max<off_t>(kXmlLogPreambleSize, top - (kBlock - kEventLogCloseSize) + 1);
    if (!ReadWhole(fd, block.data(), static_cast<size_t>(top - low + kEventLogCloseSize), low)) {
      return -1;
    }
    for (off_t p = top; p >= low; --p) {
      if (std::memcmp(block.data() + (p - low), kEventLogClose, kEventLogCloseSize) == 0) return p;
    }
    top = low - 1;
  }
  return -1;
}

// Writes `element` into the open XML log: a new document when the file is
// shorter than the declaration, else in front of the closing tag.
Status InsertElement(int fd, const char *path, const String &element) {
  struct stat facts {};
  if (fstat(fd, &facts) != 0) return Status::kError;
  String bytes;
  off_t offset = 0;
  if (facts.st_size < static_cast<off_t>(kXmlLogPreambleSize)) {
    bytes.append(xml::kDeclaration).append(kEventLogOpen);
  } else {
    offset = FindClosingTag(fd, facts.st_size);
    if (offset < 0) return Status::kOsFailure;
  }
  bytes.append(element).append(kEventLogClose);
  return JournaledWrite(fd, path, bytes.data(), bytes.size(), offset,
                        static_cast<uint64_t>(facts.st_size))
             ? Status::kSuccess
             : Status::kWriteFailed;
}

// A new document holding `element`, written whole into an unnamed file of
// the log's directory and then linked under the log's name, so that the log
// appears complete or not at all. Nothing when the file system offers no
// unnamed files or the name has appeared meanwhile: the caller then creates
// the file in place.
std::optional<Status> CreateDocument(const char *path, const String &element) {
  const String text(path);
  const size_t slash = text.find_last_of('/');
  const String directory = slash == String::npos ? "." : (slash == 0 ? "/" : text.substr(0, slash));
  const int fd = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kLogFileMode);
  if (fd < 0) return std::nullopt;
  ReachStep(AppendStep::kOpened, path);
  String bytes;
  bytes.append(xml::kDeclaration).append(kEventLogOpen).append(element).append(kEventLogClose);
  std::optional<Status> status = Status::kWriteFailed;
  if (WriteWhole(fd, bytes.data(), bytes.size(), 0)) {
    (void)fchmod(fd, kLogFileMode);
    char self[40];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", fd);
    if (linkat(AT_FDCWD, self, AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0) {
      status = Status::kSuccess;
      ReachStep(AppendStep::kWritten, path);
    } else {
      status = std::nullopt;
    }
  }
  close(fd);
  return status;
}

Status WriteElement(const char *path, const String &element) {
  LogFileLock lock(path);
  if (!lock.ok()) return Status::kNoMemory;
  ReachStep(AppendStep::kLocked, path);
  int fd = open(path, O_RDWR | O_CLOEXEC);
  if (fd < 0 && errno == ENOENT) {
    if (const std::optional<Status> created = CreateDocument(path, element)) return *created;
  }
  if (fd < 0) fd = OpenLog(path, O_RDWR);
  if (fd < 0) return Status::kError;
  RecoverInterruptedWrite(fd);
  ReachStep(AppendStep::kOpened, path);
  const Status status = InsertElement(fd, path, element);
  if (Ok(status)) ReachStep(AppendStep::kWritten, path);
  close(fd);
  return status;
}

// The bodies of BuildLogEntry, AppendToXMLLog and ClearXMLLog, which turn an
// allocation failure inside them into status 272.
Status BuildEntry(const XmlEvent &event, int64_t when, const char *host, String *element) {
  const char *category = CategoryName(event.category);
  if (category == nullptr) return Status::kError;
  // The buffer grows silently (a piece that finds no room is simply missing),
  // so it is made large enough for the element at once: texts escaped at
  // most six bytes a byte, data five bytes a byte.
  uint64_t bound = kEntryFrame + 5 * uint64_t{event.data_size};
  for (const char *text :
       {host, event.link, event.user_info, event.source, category, event.description}) {
    if (text != nullptr) bound += 6 * uint64_t{std::strlen(text)};
  }
  if (bound >= UINT32_MAX) return Status::kNoMemory;
  XmlBufferOwner owner{
      xml::XGBufAlloc(std::max<uint32_t>(kEntryCapacity, static_cast<uint32_t>(bound)), 0)};
  xml::Buffer *buffer = owner.buffer;
  if (buffer == nullptr) return Status::kError;

  // Texts are escaped once so that any text leaves the document well formed;
  // the data is written as a list of "0x%02X," bytes.
  const SMXGBufFormat escaped{0, 0, 1};
  const SMXGBufFormat byte_list{static_cast<uint16_t>(values::kSelectHex), 0, 0};
  const auto stamp = static_cast<uint32_t>(when);
  const char *link = event.link;
  const void *data = event.data_size > 0 ? event.data : nullptr;
  Status status = Status::kSuccess;
  (void)xml::XGBufCatBeginNode(buffer, "LogEntry", nullptr);
  const bool built =
      Child(buffer, "TimeStamp", &when, sizeof when, values::kInt64, nullptr, &status) &&
      Child(buffer, "DateTime", &stamp, sizeof stamp, values::kTime, nullptr, &status) &&
      Child(buffer, "ComputerName", host, 0, values::kUtf8, &escaped, &status) &&
      Child(buffer, "Type", &event.type, sizeof event.type, values::kUInt16, nullptr, &status) &&
      Child(buffer, "ID", &event.event_id, sizeof event.event_id, values::kUInt32, nullptr,
            &status) &&
      Child(buffer, "Link", &link, sizeof link, kLinkValue, &escaped, &status) &&
      Child(buffer, "UserInfo", event.user_info, 0, values::kUtf8, &escaped, &status) &&
      Child(buffer, "Source", event.source, 0, values::kUtf8, &escaped, &status) &&
      Child(buffer, "Category", category, 0, values::kUtf8, &escaped, &status) &&
      Child(buffer, "Description", event.description, 0, values::kUtf8, &escaped, &status) &&
      Child(buffer, "Data", data, event.data_size, values::kUcs2, &byte_list, &status);
  if (!built) return status;
  (void)xml::XGBufCatEndNode(buffer, "LogEntry");
  element->assign(buffer->text, buffer->length);
  return Status::kSuccess;
}

Status AppendXml(const char *path, const XmlEvent &event, uint32_t max_size) {
  if (path == nullptr) return Status::kInvalidArgs;
  if (event.data_size > kLogDataLimit || (event.data_size > 0 && event.data == nullptr)) {
    return Status::kInvalidArgs;
  }
  if (!TextFits(event.user_info, kXmlTextLimit) || !TextFits(event.source, kXmlTextLimit) ||
      !TextFits(event.description, kXmlDescriptionLimit)) {
    return Status::kInvalidArgs;
  }
  if (!MakeLogDirectory(path)) return Status::kError;
  auto *host = static_cast<char *>(base::AllocMem(kHostRoom));
  if (host == nullptr) return Status::kNoMemory;
  if (gethostname(host, kHostRoom) != 0) host[0] = 0;
  host[kHostRoom - 1] = 0;
  String element;
  const Status status = BuildLogEntry(event, time(nullptr), host, &element);
  base::FreeMem(host);
  if (!Ok(status)) return status;

  if (RotateIfFull(path, element.size(), max_size)) {
    const XmlEvent notice{kEventInformation,
                          kCategoryCoreBroker,
                          1,
                          event.user_info,
                          event.source,
                          "Log backup created",
                          nullptr,
                          nullptr,
                          0};
    (void)AppendToXMLLog(path, notice, max_size);
  }
  return WriteElement(path, element);
}

Status ClearXml(const char *path, uint16_t category, const char *user_info, const char *source) {
  if (path == nullptr) return Status::kInvalidArgs;
  {
    LogFileLock lock(path);
    if (!lock.ok()) return Status::kNoMemory;
    (void)unlink(path);
  }
  const XmlEvent notice{kEventInformation, category,        0,       user_info, source,
                        "Log was cleared", kClearEntryLink, nullptr, 0};
  return AppendToXMLLog(path, notice, kDefaultLogMaxSize);
}

}  // namespace

Status BuildLogEntry(const XmlEvent &event, int64_t when, const char *host, String *element) {
  return CatchNoMemory([&] { return BuildEntry(event, when, host, element); });
}

Status AppendToXMLLog(const char *path, const XmlEvent &event, uint32_t max_size) {
  return CatchNoMemory([&] { return AppendXml(path, event, max_size); });
}

Status ClearXMLLog(const char *path, uint16_t category, const char *user_info, const char *source) {
  return CatchNoMemory([&] { return ClearXml(path, category, user_info, source); });
}

Status ForceXMLLogExists(const char *path) {
  if (path != nullptr) (void)FileSizeOf(path);
  return Status::kSuccess;
}

}  // namespace kx::log

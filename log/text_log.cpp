// The text event log: its header block, the record of one event with its hex
// dump, and the append and clear of one file.
//
// A record (with the header block when the file is still shorter than it) goes
// out in one write() on a file opened for appending, under the file lock and
// the append journal (see log_file.h): appenders never interleave, a writer
// killed before or after the write leaves whole records, and a record cut at
// a page boundary by a kill inside the write is removed by the next writer
// before it appends. Readers that find records by their "EventID: " line
// therefore meet a cut record only at the very end of a log, and only until
// the next append.
#include "log/text_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

#include "log/event_types.h"
#include "log/log_file.h"
#include "log/log_strings.h"
#include "log/max_size.h"
#include "text/utf.h"

namespace kx::log {

namespace {

constexpr char kHeaderText[] =
    "#-------------------------------\r\n"
    "# Do not remove this block\r\n"
    "# This data file is parsed\r\n"
    "#------------------------------- \r\n"
    "\r\n";
static_assert(sizeof kHeaderText - 1 == 127);

constexpr std::array<unsigned char, kTextLogHeaderSize> MakeHeader() {
  std::array<unsigned char, kTextLogHeaderSize> header{};
  header[0] = 0xFF;
  header[1] = 0xFE;
  for (size_t i = 0; i < sizeof kHeaderText - 1; ++i) {
    header[2 + 2 * i] = static_cast<unsigned char>(kHeaderText[i]);
    header[3 + 2 * i] = 0;
  }
  return header;
}

// Estimated bytes of a record: 83 characters a dump line, 1,024 for the
// labels and stamps, and the two texts, in 2-byte units.
uint64_t RecordEstimate(uint32_t data_size, size_t source_units, size_t description_units) {
  return ((uint64_t{data_size} / 16 + 1) * 83 + 1024 + source_units + description_units) * 2;
}

// The UCS-2 form of UTF-8 `text`; false when it is not UTF-8, empty or longer
// than `limit` characters.
bool ToUcs2(const char *text, uint32_t limit, U16String *units) {
  uint32_t size = 0;
  if (!Ok(text::UTF8StrToUCS2Str(nullptr, &size, text))) return false;
  const uint32_t count = size / 2 - 1;
  if (count == 0 || count > limit) return false;
  Vector<uint16_t> buffer(count + 1);
  if (!Ok(text::UTF8StrToUCS2Str(buffer.data(), &size, text))) return false;
  units->assign(buffer.begin(), buffer.begin() + count);
  return true;
}

void Put(U16String *out, const char *ascii) {
  for (; *ascii != '\0'; ++ascii) out->push_back(static_cast<unsigned char>(*ascii));
}

void PutLineEnd(U16String *out) {
  out->push_back(u'\r');
  out->push_back(u'\n');
}

// The host name, at most kTextHostRoom bytes.
String HostName() {
  char host[kTextHostRoom + 1] = "";
  if (gethostname(host, sizeof host) != 0) host[0] = 0;
  host[kTextHostRoom] = 0;
  return host;
}

// The C library's ctime text of `when` without its newline.
String CtimeText(time_t when) {
  char text[32] = "";
  if (ctime_r(&when, text) == nullptr) return "";
  text[std::strcspn(text, "\n")] = 0;
  return text;
}

// The event's texts in UCS-2.
struct EventTexts {
  U16String source;
  U16String description;
};

// Converts source and description; false when either is missing, empty, too
// long or not UTF-8.
bool ConvertTexts(const TextEvent &event, EventTexts *texts) {
  return event.source != nullptr && ToUcs2(event.source, kTextSourceLimit, &texts->source) &&
         event.description != nullptr &&
         ToUcs2(event.description, kTextDescriptionLimit, &texts->description);
}

// The record of an event whose category and type are known.
void AssembleRecord(const TextEvent &event, const EventTexts &texts, time_t when, const char *host,
                    U16String *record) {
  U16String computer;
  if (!ToUcs2(host, kTextHostRoom, &computer)) {
    for (const char *c = host; *c != '\0'; ++c) computer.push_back(static_cast<unsigned char>(*c));
  }
  char id[16];
  *std::to_chars(id, id + sizeof id - 1, event.event_id).ptr = 0;

  record->clear();
  Put(record, "EventID: ");
  Put(record, id);
  PutLineEnd(record);
  Put(record, "Source: ");
  record->append(texts.source);
  PutLineEnd(record);
  Put(record, "Category: ");
  Put(record, CategoryName(event.category));
  PutLineEnd(record);
  Put(record, TypeLabel(event.type));
  PutLineEnd(record);
  Put(record, "Date and Time: ");
  Put(record, CtimeText(when).c_str());
  PutLineEnd(record);
  Put(record, "Computer: ");
  record->append(computer);
  PutLineEnd(record);
  Put(record, "Description:");
  PutLineEnd(record);
  record->append(texts.description);
  PutLineEnd(record);
  Put(record, "Data: Bytes in Hex");
  PutLineEnd(record);
  AppendHexDump(static_cast<const uint8_t *>(event.data), event.data_size, record);
  PutLineEnd(record);
}

// The header block (when the file is shorter) and the record, in one write.
Status WriteRecord(const char *path, const U16String &record) {
  LogFileLock lock(path);
  if (!lock.ok()) return Status::kNoMemory;
  ReachStep(AppendStep::kLocked, path);
  const int fd = OpenLog(path, O_WRONLY | O_APPEND);
  if (fd < 0) return Status::kError;
  RecoverInterruptedWrite(fd);
  struct stat facts {};
  if (fstat(fd, &facts) != 0) {
    close(fd);
    return Status::kError;
  }
  ReachStep(AppendStep::kOpened, path);
  String bytes;
  if (facts.st_size < static_cast<off_t>(kTextLogHeaderSize)) {
    bytes.assign(reinterpret_cast<const char *>(kTextLogHeader.data()), kTextLogHeaderSize);
  }
  // The code units in memory order.
  bytes.append(reinterpret_cast<const char *>(record.data()), record.size() * sizeof(char16_t));
  const bool written = JournaledWrite(fd, path, bytes.data(), bytes.size(), -1,
                                      static_cast<uint64_t>(facts.st_size));
  if (written) ReachStep(AppendStep::kWritten, path);
  close(fd);
  return written ? Status::kSuccess : Status::kWriteFailed;
}

// The bodies of BuildTextRecord, AppendToTextLog and ClearTextLog, which turn
// an allocation failure inside them into status 272.
Status BuildRecord(const TextEvent &event, time_t when, const char *host, U16String *record) {
  EventTexts texts;
  if (!ConvertTexts(event, &texts)) return Status::kInvalidArgs;
  AssembleRecord(event, texts, when, host, record);
  return Status::kSuccess;
}

Status AppendText(const char *path, const TextEvent &event, uint32_t max_size) {
  if (path == nullptr || event.source == nullptr) return Status::kInvalidArgs;
  if (event.data_size > 0 && (event.data == nullptr || event.data_size > kLogDataLimit)) {
    return Status::kInvalidArgs;
  }
  EventTexts texts;
  if (!ConvertTexts(event, &texts)) return Status::kInvalidArgs;
  // An event of a category this log does not know is dropped, not refused.
  if (CategoryName(event.category) == nullptr) return Status::kSuccess;
  if (TypeLabel(event.type) == nullptr) return Status::kInvalidArgs;
  if (!MakeLogDirectory(path)) return Status::kError;

  const uint64_t estimate =
      RecordEstimate(event.data_size, texts.source.size(), texts.description.size());
  if (RotateIfFull(path, estimate, max_size)) {
    const TextEvent notice{
        kEventInformation, kCategoryCoreBroker, 1, event.source, "Log backup created", nullptr, 0};
    (void)AppendToTextLog(path, notice, max_size);
  }
  U16String record;
  AssembleRecord(event, texts, time(nullptr), HostName().c_str(), &record);
  return WriteRecord(path, record);
}

Status ClearText(const char *path, uint16_t category, const char *source) {
  {
    LogFileLock lock(path);
    if (!lock.ok()) return Status::kNoMemory;
    (void)unlink(path);
  }
  const TextEvent notice{kEventInformation, category, 0, source, "Log was cleared", nullptr, 0};
  return AppendToTextLog(path, notice, kDefaultLogMaxSize);
}

}  // namespace

const std::array<unsigned char, kTextLogHeaderSize> kTextLogHeader = MakeHeader();

void AppendHexDump(const uint8_t *data, uint32_t size, U16String *out) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  constexpr size_t kCharacterColumn = 62;
  for (uint32_t line = 0; line < size; line += 16) {
    if (line != 0) PutLineEnd(out);
    const size_t start = out->size();
    char offset[16];
    std::snprintf(offset, sizeof offset, "0x%08X: ", line);
    Put(out, offset);
    const uint32_t count = std::min<uint32_t>(16, size - line);
    for (uint32_t i = 0; i < count; ++i) {
      out->push_back(static_cast<char16_t>(kHex[data[line + i] >> 4]));
      out->push_back(static_cast<char16_t>(kHex[data[line + i] & 0xF]));
      out->push_back(u' ');
    }
    out->append(start + kCharacterColumn - out->size(), u' ');
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t byte = data[line + i];
      out->push_back(byte >= 0x20 && byte < 0x7F ? static_cast<char16_t>(byte) : u'.');
    }
  }
}

Status BuildTextRecord(const TextEvent &event, time_t when, const char *host, U16String *record) {
  return CatchNoMemory([&] { return BuildRecord(event, when, host, record); });
}

Status AppendToTextLog(const char *path, const TextEvent &event, uint32_t max_size) {
  return CatchNoMemory([&] { return AppendText(path, event, max_size); });
}

Status ClearTextLog(const char *path, uint16_t category, const char *source) {
  return CatchNoMemory([&] { return ClearText(path, category, source); });
}

}  // namespace kx::log

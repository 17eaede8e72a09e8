// The INI engine's operations: argument rules, the read and write flows
// under the file locks, typed values with their defaults, the list forms, the
// file-name form under the product's ini directory, the UTF-8 and
// enumeration reads.
#include "config/ini.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "base/memory.h"
#include "config/file_rewrite.h"
#include "config/ini_text.h"
#include "config/ini_values.h"
#include "config/name_list.h"
#include "config/registry.h"
#include "values/translation.h"

namespace kx::config {

namespace {

// Section and key names are at most this long on write.
constexpr size_t kMaxNameLength = 255;
// Scratch room of the typed reads, terminator included.
constexpr uint32_t kNumberScratch = 8193;
constexpr uint32_t kHexScratch = 8451;
// Room of the UTF-8 read's first try and its limit for a second one.
constexpr uint32_t kUtf8FirstRoom = 8193;
constexpr uint32_t kUtf8MaxRoom = 32768;
// The file-name form builds its path in 256 bytes.
constexpr uint32_t kNameFormRoom = 256;
constexpr uint32_t kEnumBadArguments = 0x80000000u;

template <typename Body>
Status Guarded(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
}

// The type 1 read after its argument checks: a value, or a list.
Status ReadText(const char *section, const char *key, char *value, uint32_t *size,
                const void *default_value, uint32_t default_size, const char *path,
                uint32_t flags) {
  // Running out of memory is a failure like any other: the default stands in.
  const Status status = Guarded([&] {
    std::string bytes;
    Status status = LoadConfigFile(path, flags, &bytes);
    if (!Ok(status)) return status;
    std::vector<std::string_view> names;
    std::string_view found;
    if (section == nullptr) {
      status = ListIniSections(bytes, &names);
      if (Ok(status)) status = DeliverNameList(names, value, size);
    } else if (key == nullptr) {
      status = ListIniKeys(bytes, section, &names);
      if (Ok(status)) status = DeliverNameList(names, value, size);
    } else {
      status = FindIniValue(bytes, section, key, &found);
      if (Ok(status)) {
        const uint32_t needed = static_cast<uint32_t>(found.size() + 1);
        if (needed <= *size) {
          std::memcpy(value, found.data(), found.size());
          value[found.size()] = '\0';
        } else {
          status = Status::kBufferTooSmall;
        }
        *size = needed;
      }
    }
    return status;
  });
  if (Ok(status) || status == Status::kBufferTooSmall) return status;
  // The default stands in, and the status still says that it did.
  if (default_value != nullptr && default_size != 0) {
    const uint32_t copied = std::min(*size, default_size);
    std::memcpy(value, default_value, copied);
    value[copied - 1] = '\0';
    *size = copied;
  } else {
    *size = 0;
    value[0] = '\0';
  }
  return status;
}

// Characters of a UCS-2 string within `units` code units, or `units` when it
// has no terminator there.
uint32_t Ucs2Length(const void *text, uint32_t units) {
  uint32_t length = 0;
  for (; length < units; ++length) {
    uint16_t unit;
    std::memcpy(&unit, static_cast<const uint8_t *>(text) + 2 * length, sizeof unit);
    if (unit == 0) break;
  }
  return length;
}

// Typed reads: the stored text through a scratch buffer, then converted.
Status ReadTyped(const char *section, const char *key, uint32_t type, void *value, uint32_t *size,
                 const void *default_value, uint32_t default_size, const char *path,
                 uint32_t flags) {
  const uint32_t width = IniTypeWidth(type);
  if (width != 0 && *size < width) {
    *size = width;
    return Status::kBufferTooSmall;
  }
  const uint32_t room = *size;
  const bool hex = type == kIniUcs2 || type == kIniBytes;
  const Status status = Guarded([&] {
    std::string scratch(hex ? kHexScratch : kNumberScratch, '\0');
    uint32_t length = static_cast<uint32_t>(scratch.size());
    Status status = ReadText(section, key, scratch.data(), &length, nullptr, 0, path, flags);
    // A text beyond the scratch room is no value of this type.
    if (status == Status::kBufferTooSmall) return Status::kBadValue;
    if (!Ok(status)) return status;
    return IniTextToValue(type, std::string_view(scratch.data(), length - 1), value, size);
  });
  if (Ok(status) || status == Status::kBufferTooSmall) return status;

  // The default in the type's width (byte arrays and strings: as much as fits).
  *size = 0;
  if (default_value == nullptr || default_size == 0) return status;
  if (type == kIniUcs2 && (default_size % 2 != 0 ||
                           (Ucs2Length(default_value, default_size / 2) + 1) * 2 != default_size)) {
    return status;
  }
  if (hex) {
    *size = std::min(room, default_size);
  } else if (default_size >= width) {
    *size = width;
  }
  std::memcpy(value, default_value, *size);
  return status;
}

// Where the temporary copy goes: the path's directory, created when missing.
// "." (nothing to create) for a path without a slash or with only a leading
// one.
Status PrepareDirectory(const std::string &path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash == 0) return Status::kSuccess;
  return MakeParentDirectory(path.substr(0, slash));
}

// The path of a bare file name: "<ini path of product 35>/ini/<name>".
Status NameFormPath(const char *file, std::string *path) {
  if (file == nullptr) return Status::kInvalidArgs;
  char directory[kNameFormRoom];
  uint32_t size = sizeof directory;
  if (!Ok(GetPathByProductIDandType(kProductWexbridge, kPathIni, directory, &size)) ||
      directory[0] == '\0') {
    return Status::kError;
  }
  if (size + 6 + std::strlen(file) >= kNameFormRoom + 1) return Status::kBufferTooSmall;
  *path = std::string(directory) + "/ini/" + file;
  return Status::kSuccess;
}

}  // namespace

Status ReadINIPathFileValue(const char *section, const char *key, uint32_t type, void *value,
                            uint32_t *size, const void *default_value, uint32_t default_size,
                            const char *path, uint32_t flags) {
  if (!IsIniType(type)) return Status::kInvalidArgs;
  if (value == nullptr || size == nullptr || path == nullptr || *path == '\0' || *size == 0) {
    return Status::kInvalidArgs;
  }
  const bool list = section == nullptr || key == nullptr;
  if (list && (type != kIniText || *size < 2)) return Status::kInvalidArgs;
  return Guarded([&] {
    if (type == kIniText) {
      return ReadText(section, key, static_cast<char *>(value), size, default_value, default_size,
                      path, flags);
    }
    return ReadTyped(section, key, type, value, size, default_value, default_size, path, flags);
  });
}

Status WriteINIPathFileValue(const char *section, const char *key, uint32_t type, const void *value,
                             uint32_t size, const char *path, uint32_t flags) {
  if (!IsIniType(type)) return Status::kInvalidArgs;
  if (section == nullptr || path == nullptr || *path == '\0') return Status::kInvalidArgs;
  if (std::strlen(section) > kMaxNameLength ||
      (key != nullptr && std::strlen(key) > kMaxNameLength)) {
    return Status::kInvalidArgs;
  }
  const std::string_view spelled(path);
  if (spelled.back() == '/') return Status::kInvalidArgs;
  return Guarded([&] {
    std::string text;
    if (value == nullptr) {
      if (size != 0) return Status::kBadValue;
    } else if (Status status = IniValueToText(type, value, size, &text); !Ok(status)) {
      return status;
    }
    if (!Ok(PrepareDirectory(path))) return Status::kError;

    ConfigFileSession session;
    if (Status status = session.Begin(path, kFileLockWrite, flags); !Ok(status)) return status;
    std::string bytes, edited;
    bool existed = false;
    if (Status status = ReadConfigFile(session.target(), &bytes, &existed); !Ok(status)) {
      return status;
    }
    Status status =
        EditIni(bytes, existed, section, key, value != nullptr ? text.c_str() : nullptr, &edited);
    if (!Ok(status)) return status;
    return ReplaceConfigFile(session.target(), edited, existed);
  });
}

Status ReadINIFileValue(const char *section, const char *key, uint32_t type, void *value,
                        uint32_t *size, const void *default_value, uint32_t default_size,
                        const char *file, uint32_t flags) {
  return Guarded([&] {
    std::string path;
    if (Status status = NameFormPath(file, &path); !Ok(status)) return status;
    return ReadINIPathFileValue(section, key, type, value, size, default_value, default_size,
                                path.c_str(), flags);
  });
}

Status WriteINIFileValue(const char *section, const char *key, uint32_t type, const void *value,
                         uint32_t size, const char *file, uint32_t flags) {
  return Guarded([&] {
    std::string path;
    if (Status status = NameFormPath(file, &path); !Ok(status)) return status;
    return WriteINIPathFileValue(section, key, type, value, size, path.c_str(), flags);
  });
}

char *ReadINISectionKeyUTF8Value(const char *section, const char *key, const char *default_text,
                                 uint32_t *size_out, const char *path, uint32_t flags) {
  uint32_t ignored = 0;
  if (size_out == nullptr) size_out = &ignored;
  const uint32_t default_size =
      default_text != nullptr ? static_cast<uint32_t>(std::strlen(default_text) + 1) : 0;
  auto *buffer = static_cast<char *>(base::AllocMem(kUtf8FirstRoom));
  if (buffer == nullptr) {
    *size_out = 0;
    return nullptr;
  }
  uint32_t size = kUtf8FirstRoom;
  Status status = ReadINIPathFileValue(section, key, kIniText, buffer, &size, default_text,
                                       default_size, path, flags);
  if (status == Status::kBufferTooSmall && size <= kUtf8MaxRoom) {
    if (auto *larger = static_cast<char *>(base::ReAllocMem(buffer, size))) {
      buffer = larger;
      status = ReadINIPathFileValue(section, key, kIniText, buffer, &size, default_text,
                                    default_size, path, flags);
    }
  }
  if (Ok(status) || (default_size != 0 && size == default_size)) {
    *size_out = size;
    return buffer;
  }
  base::FreeMem(buffer);
  *size_out = 0;
  return nullptr;
}

uint32_t ReadINIEnums32Value(const char *section, const char *key, const SMEnum32Entry *table,
                             uint32_t count, uint32_t multiple, const char *path, uint32_t flags) {
  if (section == nullptr || key == nullptr || table == nullptr || path == nullptr || count < 2) {
    return kEnumBadArguments;
  }
  char stored[kNumberScratch];
  uint32_t size = sizeof stored;
  if (!Ok(ReadINIPathFileValue(section, key, kIniText, stored, &size, nullptr, 0, path, flags))) {
    return table[1].value;
  }
  // The first row (after row 0) whose text matches, or null.
  auto match = [&](const char *text) -> const SMEnum32Entry * {
    for (uint32_t row = 1; row < count; ++row) {
      if (table[row].pText != nullptr && strcasecmp(table[row].pText, text) == 0)
        return &table[row];
    }
    return nullptr;
  };
  if (multiple != 1) {
    const SMEnum32Entry *row = match(stored);
    return row != nullptr ? row->value : table[0].value;
  }
  char *tokens = values::UTF8ConvertXSVToYSV(stored, ',', ',', nullptr, nullptr);
  if (tokens == nullptr) return kEnumBadArguments;
  uint32_t result = 0;
  for (char *token = tokens; *token != '\0';) {
    char *comma = std::strchr(token, ',');
    *comma = '\0';  // every item is followed by the separator
    if (const SMEnum32Entry *row = match(token)) result |= row->value;
    token = comma + 1;
  }
  base::FreeMem(tokens);
  return result;
}

Status IniReadText(const char *path, const char *section, const char *key, std::string *value,
                   uint32_t flags) {
  if (path == nullptr || *path == '\0' || section == nullptr || key == nullptr) {
    return Status::kInvalidArgs;
  }
  return Guarded([&] {
    std::string bytes;
    if (Status status = LoadConfigFile(path, flags, &bytes); !Ok(status)) return status;
    std::string_view found;
    if (Status status = FindIniValue(bytes, section, key, &found); !Ok(status)) return status;
    value->assign(found);
    return Status::kSuccess;
  });
}

Status IniWriteText(const char *path, const char *section, const char *key, const char *value,
                    uint32_t flags) {
  if (key == nullptr || value == nullptr) return Status::kInvalidArgs;
  return WriteINIPathFileValue(section, key, kIniText, value,
                               static_cast<uint32_t>(std::strlen(value) + 1), path, flags);
}

Status IniDeleteKey(const char *path, const char *section, const char *key, uint32_t flags) {
  if (key == nullptr) return Status::kInvalidArgs;
  return WriteINIPathFileValue(section, key, kIniText, nullptr, 0, path, flags);
}

Status IniDeleteSection(const char *path, const char *section, uint32_t flags) {
  return WriteINIPathFileValue(section, nullptr, kIniText, nullptr, 0, path, flags);
}

Status IniListSections(const char *path, std::vector<std::string> *names, uint32_t flags) {
  if (path == nullptr || *path == '\0') return Status::kInvalidArgs;
  return Guarded([&] {
    std::string bytes;
    if (Status status = LoadConfigFile(path, flags, &bytes); !Ok(status)) return status;
    std::vector<std::string_view> found;
    Status status = ListIniSections(bytes, &found);
    names->assign(found.begin(), found.end());
    return status;
  });
}

Status IniListKeys(const char *path, const char *section, std::vector<std::string> *keys,
                   uint32_t flags) {
  if (path == nullptr || *path == '\0' || section == nullptr) return Status::kInvalidArgs;
  return Guarded([&] {
    std::string bytes;
    if (Status status = LoadConfigFile(path, flags, &bytes); !Ok(status)) return status;
    std::vector<std::string_view> found;
    Status status = ListIniKeys(bytes, section, &found);
    keys->assign(found.begin(), found.end());
    return status;
  });
}

}  // namespace kx::config

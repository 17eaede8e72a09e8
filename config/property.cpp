// Property-file reads and writes: argument rules, the locked read with its
// default, the key list, and the write through the INI engine's session and
// crash-safe rewrite.
#include "config/property.h"

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "config/file_lock.h"
#include "config/file_rewrite.h"
#include "config/name_list.h"
#include "config/property_text.h"
#include "values/translation.h"

namespace kx::config {

namespace {

// The value, or the key list, of the file's bytes (under no lock: the bytes
// are a private copy).
Status ReadFromBytes(const std::string &bytes, const char *key, uint32_t type, void *value,
                     uint32_t *size) {
  if (key == nullptr) {
    std::vector<std::string_view> keys;
    if (Status status = ListPropertyKeys(bytes, &keys); !Ok(status)) return status;
    return DeliverNameList(keys, static_cast<char *>(value), size);
  }
  std::string text;
  if (Status status = FindPropertyValue(bytes, key, &text); !Ok(status)) return status;
  return values::XLTUTF8ToTypeValue(text.c_str(), value, size, type);
}

}  // namespace

Status PropertyFileReadValue(const char *key, uint32_t type, void *value, uint32_t *size,
                             const void *default_value, uint32_t default_size, const char *path,
                             uint32_t flags) {
  if (size == nullptr || path == nullptr) return Status::kInvalidParameter;
  // Only the text type lists keys; any other type asks for nothing readable.
  if (key == nullptr && values::CodeOf(type) != values::kUtf8) return Status::kInvalidArgs;
  const uint32_t room = *size;
  Status status;
  try {
    std::string bytes;
    status = LoadConfigFile(path, flags, &bytes);
    if (Ok(status)) status = ReadFromBytes(bytes, key, type, value, size);
  } catch (const std::bad_alloc &) {
    status = Status::kNoMemory;
  }
  if (!Ok(status) && default_value != nullptr && default_size != 0 && value != nullptr &&
      room >= default_size) {
    std::memcpy(value, default_value, default_size);
    *size = default_size;
  }
  return status;
}

Status PropertyFileWriteValue(const char *key, uint32_t type, const void *value,
                              uint32_t value_size, const char *path, uint32_t flags) {
  if (key == nullptr || value == nullptr || path == nullptr) return Status::kInvalidParameter;
  try {
    ConfigFileSession session;
    if (Status status = session.Begin(path, kFileLockWrite, flags); !Ok(status)) return status;
    std::string bytes;
    bool exists = false;
    if (Status status = ReadConfigFile(session.target(), &bytes, &exists); !Ok(status)) {
      return status;
    }
    if (!exists) return Status::kFileOpenFailed;

    // The value's text: measured, then written.
    uint32_t text_size = 0;
    if (Status status = values::XLTTypeValueToUTF8(value, value_size, nullptr, &text_size, type);
        !Ok(status)) {
      return status;
    }
    std::string text(text_size, '\0');
    if (Status status =
            values::XLTTypeValueToUTF8(value, value_size, text.data(), &text_size, type);
        !Ok(status)) {
      return status;
    }
    text.resize(std::strlen(text.c_str()));

    std::string edited;
    EditProperty(bytes, key, text, &edited);
    return ReplaceConfigFile(session.target(), edited, true);
  } catch (const std::bad_alloc &) {
    return Status::kNoMemory;
  }
}

}  // namespace kx::config

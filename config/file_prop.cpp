// File property records over stat(2): the modification time in whole seconds.
#include "config/file_prop.h"

#include <sys/stat.h>

#include <cstring>

#include "base/memory.h"

namespace kx::config {

namespace {

bool ModificationTime(const char *path, int64_t *seconds) {
  struct stat info;
  if (stat(path, &info) != 0) return false;
  *seconds = static_cast<int64_t>(info.st_mtime);
  return true;
}

}  // namespace

SMFileProp *FilePropAlloc(const char *path) {
  int64_t seconds = 0;
  if (path == nullptr || !ModificationTime(path, &seconds)) return nullptr;
  auto *record = static_cast<SMFileProp *>(base::AllocMem(sizeof(SMFileProp)));
  if (record == nullptr) return nullptr;
  const size_t size = std::strlen(path) + 1;
  record->pathFileName = static_cast<char *>(base::AllocMem(static_cast<uint32_t>(size)));
  if (record->pathFileName == nullptr) {
    base::FreeMem(record);
    return nullptr;
  }
  std::memcpy(record->pathFileName, path, size);
  record->lastModTime = seconds;
  return record;
}

int32_t FilePropIsModified(SMFileProp *record) {
  int64_t seconds = 0;
  if (record == nullptr || record->pathFileName == nullptr ||
      !ModificationTime(record->pathFileName, &seconds)) {
    return 0;
  }
  if (seconds == record->lastModTime) return 0;
  record->lastModTime = seconds;
  return 1;
}

void FilePropFree(SMFileProp *record) {
  if (record == nullptr) return;
  base::FreeMem(record->pathFileName);
  base::FreeMem(record);
}

}  // namespace kx::config

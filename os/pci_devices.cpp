// The device-name file reader: a bounded line view (ParsePciRecord), the
// record rules with their early stops (PciNameSearch), and the file handling
// around them (ReadPCIDevFile).
#include "os/pci_devices.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <memory>

#include "base/memory.h"

namespace kx::os {

namespace {

// Reads an ID field as "%04X" does: leading blanks skipped, then at most four
// characters (a sign and a "0x" prefix count among them). No digits read as 0.
uint16_t ReadHexId(std::string_view field) {
  const size_t first = field.find_first_not_of(" \v\f");
  if (first == std::string_view::npos) return 0;
  std::array<char, 5> digits{};
  field.substr(first, 4).copy(digits.data(), 4);
  unsigned int value = 0;
  if (std::sscanf(digits.data(), "%4X", &value) != 1) value = 0;
  return static_cast<uint16_t>(value);
}

// The record letter of a type field, in upper case; 0 for any other field.
char RecordType(std::string_view field) {
  if (field.size() != 1) return 0;
  const char type = static_cast<char>(std::toupper(static_cast<unsigned char>(field[0])));
  return std::string_view("VDOS").find(type) != std::string_view::npos ? type : 0;
}

struct FreeMemDeleter {
  void operator()(void *block) const { base::FreeMem(block); }
};

struct FileCloser {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

}  // namespace

std::optional<PciRecord> ParsePciRecord(std::string_view line) {
  line = line.substr(0, line.find('\0'));
  line = line.substr(0, line.find_first_of(";\r\n"));
  // Runs of tabs separate fields, so empty fields do not count. Only the
  // first three fields carry meaning.
  std::array<std::string_view, 3> fields;
  size_t count = 0;
  size_t at = 0;
  while (count < fields.size()) {
    const size_t start = line.find_first_not_of('\t', at);
    if (start == std::string_view::npos) break;
    const size_t end = std::min(line.find('\t', start), line.size());
    fields[count++] = line.substr(start, end - start);
    at = end;
  }
  if (count < fields.size()) return std::nullopt;
  return PciRecord{RecordType(fields[0]), ReadHexId(fields[1]), fields[2]};
}

PciNameSearch::PciNameSearch(const PciDeviceQuery &query, PciNameBuffer &vendor,
                             PciNameBuffer &device)
    : query_(query), vendor_(vendor), device_(device) {
  for (PciNameBuffer *buffer : {&vendor_, &device_}) {
    buffer->text[0] = '\0';
    buffer->length = 0;
  }
}

// Copies as much of name as fits and always terminates the buffer's last byte.
void PciNameSearch::CopyName(PciNameBuffer &buffer, std::string_view name) {
  const size_t kept = std::min<size_t>(name.size(), buffer.size - 1);
  name.copy(buffer.text, kept);
  buffer.text[kept] = '\0';
  buffer.text[buffer.size - 1] = '\0';
  buffer.length = static_cast<uint32_t>(kept);
}

bool PciNameSearch::OnRequestedDevice() const {
  return vendor_id_ == query_.vendor && device_id_ == query_.device;
}

bool PciNameSearch::Take(const PciRecord &record) {
  switch (record.type) {
    case 'V':
      // The found vendor's entries are over.
      if (vendor_found_) return false;
      vendor_id_ = record.id;
      device_id_.reset();
      subsystem_vendor_id_.reset();
      if (record.id == query_.vendor) {
        CopyName(vendor_, record.name);
        vendor_found_ = true;
      }
      break;
    case 'D':
      // The found device's subsystem entries are over.
      if (device_found_) return false;
      device_id_ = record.id;
      if (OnRequestedDevice()) {
        CopyName(device_, record.name);
        device_found_ = true;
      }
      break;
    case 'O':
      subsystem_vendor_id_ = record.id;
      if (OnRequestedDevice() && record.id == query_.subsystem_vendor) {
        CopyName(device_, record.name);
      }
      break;
    case 'S':
      if (OnRequestedDevice() && subsystem_vendor_id_ == query_.subsystem_vendor &&
          record.id == query_.subsystem_device) {
        CopyName(device_, record.name);
      }
      break;
    default:
      break;
  }
  return true;
}

Status SearchPciStream(std::FILE *stream, char *line, const PciDeviceQuery &query,
                       PciNameBuffer &vendor, PciNameBuffer &device) {
  PciNameSearch search(query, vendor, device);
  while (std::fgets(line, kPciLineBufferSize, stream) != nullptr) {
    std::optional<PciRecord> record =
        ParsePciRecord(std::string_view(line, strnlen(line, kPciLineBufferSize)));
    if (record && !search.Take(*record)) break;
  }
  return search.found() ? Status::kSuccess : Status::kNotFound;
}

Status ReadPCIDevFile(uint32_t vendor_id, uint32_t device_id, uint32_t subsystem_vendor_id,
                      uint32_t subsystem_device_id, const char *path, char *vendor_name,
                      uint32_t *vendor_name_size, char *device_name, uint32_t *device_name_size) {
  if (path == nullptr || *path == '\0' || vendor_name == nullptr || vendor_name_size == nullptr ||
      device_name == nullptr || device_name_size == nullptr || *vendor_name_size == 0 ||
      *device_name_size == 0) {
    if (vendor_name_size != nullptr) *vendor_name_size = 0;
    if (device_name_size != nullptr) *device_name_size = 0;
    return Status::kInvalidParameter;
  }
  PciNameBuffer vendor{vendor_name, *vendor_name_size, 0};
  PciNameBuffer device{device_name, *device_name_size, 0};
  vendor_name[0] = '\0';
  device_name[0] = '\0';
  *vendor_name_size = 0;
  *device_name_size = 0;

  std::unique_ptr<char, FreeMemDeleter> line(
      static_cast<char *>(base::AllocMem(kPciLineBufferSize)));
  if (line == nullptr) return Status::kNoMemory;
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path, "re"));
  if (file == nullptr) return Status::kNotFound;

  const PciDeviceQuery query{vendor_id, device_id, subsystem_vendor_id, subsystem_device_id};
  const Status status = SearchPciStream(file.get(), line.get(), query, vendor, device);
  *vendor_name_size = vendor.length;
  *device_name_size = device.length;
  return status;
}

}  // namespace kx::os

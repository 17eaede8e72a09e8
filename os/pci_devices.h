// Names of PCI vendors and devices from a device-name file. Each line holds a
// record: type ("V" vendor, "D" device, "O" subsystem vendor, "S" subsystem
// device), a hexadecimal ID and a name, separated by tabs; ";" starts a
// comment. Lines are read through ParsePciRecord, the one view of the file's
// bytes, and fed to PciNameSearch, which stops as soon as the answer is known.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>

#include "base/status.h"

namespace kx::os {

// Bytes of the line buffer: a line is read up to 8450 bytes (a longer one is
// read on as a further line), plus its terminator.
inline constexpr uint32_t kPciLineBufferSize = 8451;

// One record line, split. type is the record letter in upper case, or 0 for
// an unknown type; name points into the line.
struct PciRecord {
  char type;
  uint16_t id;
  std::string_view name;
};

// Parses one line as read (its bytes up to the first NUL count): cut at the
// first ";", CR or LF, split at runs of tabs; fewer than three fields give
// nullopt. The ID is the second field read as "%04X" (its low 16 bits).
std::optional<PciRecord> ParsePciRecord(std::string_view line);

// The IDs sought; each is compared in full with a record's 16-bit ID, so a
// value above 0xFFFF never matches.
struct PciDeviceQuery {
  uint32_t vendor;
  uint32_t device;
  uint32_t subsystem_vendor;
  uint32_t subsystem_device;
};

// A caller's name buffer: size bytes at text (size at least 1), and the length
// of the name last copied into it (0 while none was).
struct PciNameBuffer {
  char *text;
  uint32_t size;
  uint32_t length;
};

// The search over the records of one file, in file order.
class PciNameSearch {
 public:
  // Empties both buffers.
  PciNameSearch(const PciDeviceQuery &query, PciNameBuffer &vendor, PciNameBuffer &device);

  // Takes the next record; false when the search has ended (the record after
  // the found vendor's or the found device's entries).
  bool Take(const PciRecord &record);
  // Both the vendor and the device were found.
  bool found() const { return vendor_found_ && device_found_; }

 private:
  static void CopyName(PciNameBuffer &buffer, std::string_view name);
  bool OnRequestedDevice() const;

  PciDeviceQuery query_;
  PciNameBuffer &vendor_;
  PciNameBuffer &device_;
  bool vendor_found_ = false;
  bool device_found_ = false;
  // The IDs of the records read so far; empty after a vendor record resets them.
  std::optional<uint16_t> vendor_id_;
  std::optional<uint16_t> device_id_;
  std::optional<uint16_t> subsystem_vendor_id_;
};

// Reads stream line by line into line (kPciLineBufferSize bytes) and runs the
// search. kSuccess when vendor and device were found, kNotFound otherwise.
Status SearchPciStream(std::FILE *stream, char *line, const PciDeviceQuery &query,
                       PciNameBuffer &vendor, PciNameBuffer &device);

// The whole call: checks the arguments (kInvalidParameter, with both sizes set
// to 0, for a null pointer, a size of 0 or an empty path), empties both
// buffers, then kNoMemory, kNotFound when the file cannot be opened, or the
// search's status. The sizes come back as the lengths of the names copied.
Status ReadPCIDevFile(uint32_t vendor_id, uint32_t device_id, uint32_t subsystem_vendor_id,
                      uint32_t subsystem_device_id, const char *path, char *vendor_name,
                      uint32_t *vendor_name_size, char *device_name, uint32_t *device_name_size);

}  // namespace kx::os

// Fuzz target for the PCI device-name reader. The first ten bytes choose the
// query (four 16-bit IDs) and the two name buffers' sizes; the rest is the
// file, read through a memory stream by the same code that reads files.
// Names must stay inside their buffers, terminated, with the lengths the
// reader reports, and the status is one of the two the search gives.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "os/pci_devices.h"

namespace {

uint16_t Read16(const uint8_t *bytes) {
  return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8));
}

void CheckName(const std::vector<char> &buffer, const kx::os::PciNameBuffer &name) {
  // The buffer has one guard byte past the size the reader was given.
  if (buffer.back() != '#') std::abort();
  if (name.length >= name.size) std::abort();
  if (std::strlen(buffer.data()) != name.length) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  constexpr size_t kHeader = 10;
  if (size < kHeader) return 0;
  const kx::os::PciDeviceQuery query{Read16(data), Read16(data + 2), Read16(data + 4),
                                     Read16(data + 6)};
  const uint32_t vendor_size = 1u + data[8] % 48;
  const uint32_t device_size = 1u + data[9] % 48;
  std::vector<char> vendor_text(vendor_size + 1, '#');
  std::vector<char> device_text(device_size + 1, '#');
  kx::os::PciNameBuffer vendor{vendor_text.data(), vendor_size, 0};
  kx::os::PciNameBuffer device{device_text.data(), device_size, 0};

  // The file bytes in a block of exactly their size, so that a read past
  // them is caught.
  const size_t file_size = size - kHeader;
  std::vector<uint8_t> file(data + kHeader, data + size);
  std::vector<char> line(kx::os::kPciLineBufferSize);
  std::FILE *stream = file_size > 0 ? fmemopen(file.data(), file_size, "r") : nullptr;
  if (stream == nullptr) return 0;
  const kx::Status status = kx::os::SearchPciStream(stream, line.data(), query, vendor, device);
  std::fclose(stream);

  CheckName(vendor_text, vendor);
  CheckName(device_text, device);
  if (status != kx::Status::kSuccess && status != kx::Status::kNotFound) std::abort();
  return 0;
}

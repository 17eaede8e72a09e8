// The PCI device-name reader on sample files the test writes: vendors,
// devices, subsystem records, comments, CRLF line ends, a truncated last line,
// over-long lines; the early stops; the bounded copies; and the line view's
// field and ID rules.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kxsupt/os.h"
#include "os/pci_devices.h"
#include "os_test_util.h"

namespace {

using kx_test::TempDir;
using kx_test::WriteBytes;

// A realistic sample. Lines after the 14E4 vendor would change the answers
// for 8086 if the search did not stop where it must.
const char *const kSample[] = {
    "; PCI device names, sample",
    "",
    "V\t8086\tIntel Corporation",
    "D\t1533\tI210 Gigabit Network Connection",
    "O\t8086\tIntel Subsystem",
    "S\t0001\tI210 Gigabit Network Connection (OEM)",
    "S\t0002\tEthernet Server Adapter I210-T1",
    "o\t103c\tHewlett-Packard",
    "s\t0003\tEthernet 1Gb 1-port 332i",
    "D\t10FB\t82599ES 10-Gigabit SFI/SFP+ Network Connection",
    "D\t1533\tDuplicate entry, never reached",
    "V\t14E4\tBroadcom Inc.",
    "d\t1657\tNetXtreme BCM5719 Gigabit Ethernet PCIe\t; trailing comment",
    "V\t8086\tIntel, second block",
    "D\t9999\tOnly in the second block",
    "V\t10DE\tNVIDIA Corporation ; vendor comment",
    "D\t1DB6\tGV100GL [Tesla V100 PCIe 32GB]",
};

std::string Join(const char *const *lines, size_t count, const char *end, bool last_end) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += lines[i];
    if (i + 1 < count || last_end) text += end;
  }
  return text;
}

struct Lookup {
  SMStatus status;
  std::string vendor;
  uint32_t vendor_size;
  std::string device;
  uint32_t device_size;
};

Lookup Read(const std::string &path, uint32_t vendor, uint32_t device, uint32_t sub_vendor,
            uint32_t sub_device, uint32_t vendor_capacity = 128, uint32_t device_capacity = 128) {
  std::vector<char> vendor_name(vendor_capacity + 1, '#');
  std::vector<char> device_name(device_capacity + 1, '#');
  Lookup result;
  result.vendor_size = vendor_capacity;
  result.device_size = device_capacity;
  result.status =
      SMReadPCIDevFile(vendor, device, sub_vendor, sub_device, path.c_str(), vendor_name.data(),
                       &result.vendor_size, device_name.data(), &result.device_size);
  // Nothing is written past the size given (the extra byte stays '#').
  EXPECT_EQ(vendor_name[vendor_capacity], '#');
  EXPECT_EQ(device_name[device_capacity], '#');
  result.vendor = vendor_name.data();
  result.device = device_name.data();
  return result;
}

struct Expected {
  uint32_t vendor, device, sub_vendor, sub_device;
  SMStatus status;
  const char *vendor_name;
  const char *device_name;
};

const Expected kSampleAnswers[] = {
    // Subsystem device under the first subsystem vendor.
    {0x8086, 0x1533, 0x8086, 0x0002, 0, "Intel Corporation", "Ethernet Server Adapter I210-T1"},
    // Lower-case record types and IDs; the second subsystem vendor's device.
    {0x8086, 0x1533, 0x103C, 0x0003, 0, "Intel Corporation", "Ethernet 1Gb 1-port 332i"},
    // A matching subsystem vendor without a matching subsystem device: its
    // own name replaces the device name.
    {0x8086, 0x1533, 0x103C, 0x0001, 0, "Intel Corporation", "Hewlett-Packard"},
    // No subsystem match: the device record's name.
    {0x8086, 0x1533, 0x1234, 0x0001, 0, "Intel Corporation", "I210 Gigabit Network Connection"},
    {0x8086, 0x10FB, 0x8086, 0x0001, 0, "Intel Corporation",
     "82599ES 10-Gigabit SFI/SFP+ Network Connection"},
    // The comment is cut before the fields are split.
    {0x14E4, 0x1657, 0, 0, 0, "Broadcom Inc.", "NetXtreme BCM5719 Gigabit Ethernet PCIe"},
    {0x10DE, 0x1DB6, 0, 0, 0, "NVIDIA Corporation ", "GV100GL [Tesla V100 PCIe 32GB]"},
    // The found vendor's block ends at the next vendor: the second 8086
    // block is never read.
    {0x8086, 0x9999, 0, 0, SM_STATUS_NOT_FOUND, "Intel Corporation", ""},
    // A device of another vendor is not a match.
    {0x14E4, 0x1533, 0x8086, 0x0002, SM_STATUS_NOT_FOUND, "Broadcom Inc.", ""},
    {0x1234, 0x1533, 0, 0, SM_STATUS_NOT_FOUND, "", ""},
    // IDs are compared in full: above 0xFFFF nothing matches.
    {0x18086, 0x1533, 0, 0, SM_STATUS_NOT_FOUND, "", ""},
};

TEST(PciDevices, sample_answers_with_each_line_ending) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const size_t count = std::size(kSample);
  struct Variant {
    const char *what;
    std::string text;
  };
  const Variant variants[] = {
      {"LF", Join(kSample, count, "\n", true)},
      {"CRLF", Join(kSample, count, "\r\n", true)},
      {"no end on the last line", Join(kSample, count, "\n", false)},
      {"CRLF, no end on the last line", Join(kSample, count, "\r\n", false)},
  };
  for (const Variant &variant : variants) {
    const std::string path = dir / "pci.ids";
    WriteBytes(path, variant.text);
    for (const Expected &want : kSampleAnswers) {
      SCOPED_TRACE(std::string(variant.what) + ": " + want.device_name);
      const Lookup got = Read(path, want.vendor, want.device, want.sub_vendor, want.sub_device);
      EXPECT_EQ(got.status, want.status);
      EXPECT_EQ(got.vendor, want.vendor_name);
      EXPECT_EQ(got.device, want.device_name);
      EXPECT_EQ(got.vendor_size, std::string(want.vendor_name).size());
      EXPECT_EQ(got.device_size, std::string(want.device_name).size());
    }
  }
}

TEST(PciDevices, truncated_last_line_and_stray_lines) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir / "pci.ids";
  // The last line lost its name field: it has too few fields and is skipped.
  WriteBytes(path,
             "V\t8086\tIntel Corporation\n"
             "Vendor\t1533\tNot a record type\n"
             "\tD\t\t1533\t\tLeading and doubled tabs\n"
             "just words\n"
             "D\t1539");
  Lookup got = Read(path, 0x8086, 0x1533, 0, 0);
  EXPECT_EQ(got.status, SM_STATUS_SUCCESS);
  EXPECT_EQ(got.device, "Leading and doubled tabs");
  got = Read(path, 0x8086, 0x1539, 0, 0);
  EXPECT_EQ(got.status, SM_STATUS_NOT_FOUND);
  EXPECT_EQ(got.vendor, "Intel Corporation");
  EXPECT_EQ(got.device_size, 0u);

  // A vendor record forgets the device and subsystem vendor read before it:
  // subsystem records ahead of the new vendor's first device match nothing.
  WriteBytes(path,
             "V\t1111\tFirst\n"
             "D\t2222\tFirst's device\n"
             "O\t4444\tFirst's subsystem vendor\n"
             "V\t3333\tSecond\n"
             "O\t4444\tStray subsystem vendor\n"
             "S\t5555\tStray subsystem device\n");
  got = Read(path, 0x3333, 0x2222, 0x4444, 0x5555);
  EXPECT_EQ(got.status, SM_STATUS_NOT_FOUND);
  EXPECT_EQ(got.vendor, "Second");
  EXPECT_EQ(got.device, "");
  EXPECT_EQ(got.device_size, 0u);
  WriteBytes(path,
             "V\t1111\tFirst\n"
             "D\t2222\tFirst's device\n"
             "O\t4444\tFirst's subsystem vendor\n"
             "V\t3333\tSecond\n"
             "D\t2222\tSecond's device\n"
             "S\t5555\tStray subsystem device\n");
  got = Read(path, 0x3333, 0x2222, 0x4444, 0x5555);
  EXPECT_EQ(got.status, SM_STATUS_SUCCESS);
  EXPECT_EQ(got.device, "Second's device");
}

// A line is read in pieces of 8450 bytes: the rest of a longer line is read
// as a line of its own, and here it is a device record.
TEST(PciDevices, over_long_line_continues_as_a_new_line) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string head = "V\t1111\t";
  const std::string name(8450 - head.size(), 'n');
  const std::string path = dir / "pci.ids";
  WriteBytes(path, head + name + "D\t2222\tHidden in the tail\n");
  const Lookup got = Read(path, 0x1111, 0x2222, 0, 0, 9000, 64);
  EXPECT_EQ(got.status, SM_STATUS_SUCCESS);
  EXPECT_EQ(got.vendor, name);
  EXPECT_EQ(got.vendor_size, name.size());
  EXPECT_EQ(got.device, "Hidden in the tail");
}

TEST(PciDevices, names_are_cut_to_their_buffers) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir / "pci.ids";
  WriteBytes(path, Join(kSample, std::size(kSample), "\n", true));
  for (uint32_t capacity : {1u, 2u, 6u, 17u, 18u}) {
    SCOPED_TRACE(capacity);
    const Lookup got = Read(path, 0x8086, 0x1533, 0x8086, 0x0002, capacity, capacity);
    const std::string vendor = std::string("Intel Corporation").substr(0, capacity - 1);
    const std::string device =
        std::string("Ethernet Server Adapter I210-T1").substr(0, capacity - 1);
    EXPECT_EQ(got.status, SM_STATUS_SUCCESS);
    EXPECT_EQ(got.vendor, vendor);
    EXPECT_EQ(got.vendor_size, vendor.size());
    EXPECT_EQ(got.device, device);
    EXPECT_EQ(got.device_size, device.size());
  }
}

TEST(PciDevices, argument_and_file_failures) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir / "pci.ids";
  WriteBytes(path, "V\t8086\tIntel Corporation\nD\t1533\tI210\n");
  char vendor[16] = "old";
  char device[16] = "old";
  uint32_t vendor_size = sizeof vendor;
  uint32_t device_size = sizeof device;
  auto call = [&](const char *file, char *v, uint32_t *vs, char *d, uint32_t *ds) {
    vendor_size = sizeof vendor;
    device_size = sizeof device;
    return SMReadPCIDevFile(0x8086, 0x1533, 0, 0, file, v, vs, d, ds);
  };
  EXPECT_EQ(call(nullptr, vendor, &vendor_size, device, &device_size), 271u);
  EXPECT_EQ(vendor_size, 0u);
  EXPECT_EQ(device_size, 0u);
  EXPECT_EQ(call("", vendor, &vendor_size, device, &device_size), 271u);
  EXPECT_EQ(call(path.c_str(), nullptr, &vendor_size, device, &device_size), 271u);
  EXPECT_EQ(device_size, 0u);
  EXPECT_EQ(call(path.c_str(), vendor, nullptr, device, &device_size), 271u);
  EXPECT_EQ(device_size, 0u);
  EXPECT_EQ(call(path.c_str(), vendor, &vendor_size, nullptr, &device_size), 271u);
  EXPECT_EQ(call(path.c_str(), vendor, &vendor_size, device, nullptr), 271u);
  EXPECT_EQ(vendor_size, 0u);
  device_size = 0;
  vendor_size = sizeof vendor;
  EXPECT_EQ(SMReadPCIDevFile(0x8086, 0x1533, 0, 0, path.c_str(), vendor, &vendor_size, device,
                             &device_size),
            271u);
  EXPECT_EQ(vendor_size, 0u);

  // A missing file and a directory: 7, empty names, sizes 0.
  for (const std::string &unreadable : {dir / "missing", dir.path()}) {
    EXPECT_EQ(call(unreadable.c_str(), vendor, &vendor_size, device, &device_size),
              SM_STATUS_NOT_FOUND);
    EXPECT_STREQ(vendor, "");
    EXPECT_STREQ(device, "");
    EXPECT_EQ(vendor_size, 0u);
    EXPECT_EQ(device_size, 0u);
  }
  EXPECT_EQ(call(path.c_str(), vendor, &vendor_size, device, &device_size), SM_STATUS_SUCCESS);
  EXPECT_STREQ(device, "I210");
}

// The line view: where lines are cut, how fields split and how IDs read
// (as "%04X": blanks skipped, four characters at most, sign and 0x allowed).
TEST(PciDevices, line_view_fields_and_ids) {
  struct Row {
    std::string line;
    bool record;
    char type;
    uint16_t id;
    const char *name;
  };
  const Row rows[] = {
      {"V\t8086\tIntel", true, 'V', 0x8086, "Intel"},
      {"v\tabcd\tlower", true, 'V', 0xABCD, "lower"},
      {"S\t0x12\tprefixed", true, 'S', 0x12, "prefixed"},
      {"O\t  12ab\tblanks first", true, 'O', 0x12AB, "blanks first"},
      {"D\t123456\tfour digits at most", true, 'D', 0x1234, "four digits at most"},
      {"D\t-1\tnegative", true, 'D', 0xFFFF, "negative"},
      {"D\t+7\tsigned", true, 'D', 0x7, "signed"},
      {"D\tzz\tno digits", true, 'D', 0, "no digits"},
      {"D\t12zz\tdigits then junk", true, 'D', 0x12, "digits then junk"},
      {"X\t1\tunknown type", true, 0, 1, "unknown type"},
      {"VV\t1\ttwo letters", true, 0, 1, "two letters"},
      {"V\t1\tname\tfourth field", true, 'V', 1, "name"},
      {"V\t1\tname with spaces ; comment", true, 'V', 1, "name with spaces "},
      {"V\t1\tcr\rafter", true, 'V', 1, "cr"},
      {std::string("V\t1\tnul\0after", 13), true, 'V', 1, "nul"},
      {"V\t1", false, 0, 0, ""},
      {"V\t1\t;comment", false, 0, 0, ""},
      {"; V\t1\tcommented out", false, 0, 0, ""},
      {"\t\t\t", false, 0, 0, ""},
      {"", false, 0, 0, ""},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.line);
    const std::optional<kx::os::PciRecord> record = kx::os::ParsePciRecord(row.line);
    ASSERT_EQ(record.has_value(), row.record);
    if (!record) continue;
    EXPECT_EQ(record->type, row.type);
    EXPECT_EQ(record->id, row.id);
    EXPECT_EQ(record->name, row.name);
  }
}

}  // namespace

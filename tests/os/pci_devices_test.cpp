// The PCI device-name reader on files the test writes: a realistic sample with
// vendors, devices, subsystem records and comments, read with LF and CRLF line
// ends and with a truncated last line; then small files, one rule each (early
// stops, resets, field splitting, "%04X" IDs, over-long lines, bounded copies).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kxsupt/os.h"
#include "os_test_util.h"

namespace {

using kx_test::TempDir;
using kx_test::WriteFile;

// Lines after the 14E4 vendor would change the answers for 8086 if the search
// did not stop where it must.
const std::vector<std::string> kSample = {
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

struct Query {
  uint32_t vendor, device, sub_vendor, sub_device;
  SMStatus status;
  std::string vendor_name, device_name;
  uint32_t capacity = 128;  // bytes of each name buffer
};

// Runs one query and checks status, names and sizes, and that nothing was
// written past the buffers.
void Check(const std::string &path, const Query &q) {
  std::vector<char> vendor(q.capacity + 1, '#'), device(q.capacity + 1, '#');
  uint32_t vendor_size = q.capacity, device_size = q.capacity;
  EXPECT_EQ(SMReadPCIDevFile(q.vendor, q.device, q.sub_vendor, q.sub_device, path.c_str(),
                             vendor.data(), &vendor_size, device.data(), &device_size),
            q.status);
  EXPECT_EQ(vendor.data(), q.vendor_name);
  EXPECT_EQ(device.data(), q.device_name);
  EXPECT_EQ(vendor_size, q.vendor_name.size());
  EXPECT_EQ(device_size, q.device_name.size());
  EXPECT_EQ(vendor.back(), '#');
  EXPECT_EQ(device.back(), '#');
}

TEST(PciDevices, sample_answers_with_each_line_ending) {
  const Query queries[] = {
      {0x8086, 0x1533, 0x8086, 0x0002, SM_STATUS_SUCCESS, "Intel Corporation",
       "Ethernet Server Adapter I210-T1"},
      {0x8086, 0x1533, 0x103C, 0x0003, SM_STATUS_SUCCESS, "Intel Corporation",
       "Ethernet 1Gb 1-port 332i"},
      // A matching subsystem vendor alone: its own name replaces the device's.
      {0x8086, 0x1533, 0x103C, 0x0001, SM_STATUS_SUCCESS, "Intel Corporation", "Hewlett-Packard"},
      {0x8086, 0x1533, 0x1234, 0x0001, SM_STATUS_SUCCESS, "Intel Corporation",
       "I210 Gigabit Network Connection"},
      {0x8086, 0x10FB, 0x8086, 0x0001, SM_STATUS_SUCCESS, "Intel Corporation",
       "82599ES 10-Gigabit SFI/SFP+ Network Connection"},
      {0x14E4, 0x1657, 0, 0, SM_STATUS_SUCCESS, "Broadcom Inc.",
       "NetXtreme BCM5719 Gigabit Ethernet PCIe"},
      {0x10DE, 0x1DB6, 0, 0, SM_STATUS_SUCCESS, "NVIDIA Corporation ",
       "GV100GL [Tesla V100 PCIe 32GB]"},
      // The found vendor's block ends at the next vendor record.
      {0x8086, 0x9999, 0, 0, SM_STATUS_NOT_FOUND, "Intel Corporation", ""},
      {0x14E4, 0x1533, 0x8086, 0x0002, SM_STATUS_NOT_FOUND, "Broadcom Inc.", ""},
      {0x1234, 0x1533, 0, 0, SM_STATUS_NOT_FOUND, "", ""},
      {0x18086, 0x1533, 0, 0, SM_STATUS_NOT_FOUND, "", ""},  // compared in full
      // Names cut to their buffers.
      {0x8086, 0x1533, 0x8086, 0x0002, SM_STATUS_SUCCESS, "Intel", "Ether", 6},
      {0x8086, 0x1533, 0x8086, 0x0002, SM_STATUS_SUCCESS, "", "", 1},
  };
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  for (const char *end : {"\n", "\r\n"}) {
    for (bool last_end : {true, false}) {
      std::string text;
      for (const std::string &line : kSample) text += line + end;
      if (!last_end) text.resize(text.size() - std::string(end).size());
      WriteFile(dir / "pci.ids", text);
      for (const Query &q : queries) {
        SCOPED_TRACE(q.device_name + (end[0] == '\r' ? " CRLF" : " LF") + (last_end ? "" : " cut"));
        Check(dir / "pci.ids", q);
      }
    }
  }
}

TEST(PciDevices, one_rule_per_file) {
  const std::string head = "V\t1111\t", long_name(8450 - head.size(), 'n');
  const struct {
    std::string text;
    Query query;
  } cases[] = {
      // Too few fields (a truncated last line), unknown types, runs of tabs.
      {"V\t8086\tIntel\nVendor\t1533\tno type\n\tD\t\t1533\t\tTabs\nwords\nD\t1539",
       {0x8086, 0x1533, 0, 0, SM_STATUS_SUCCESS, "Intel", "Tabs"}},
      {"V\t8086\tIntel\nD\t1533\tTabs\nD\t1539",
       {0x8086, 0x1539, 0, 0, SM_STATUS_NOT_FOUND, "Intel", ""}},
      // A vendor record forgets the device and subsystem vendor before it.
      {"V\t1111\tA\nD\t2222\tA dev\nV\t3333\tB\nO\t4444\tStray\nS\t5555\tStray\n",
       {0x3333, 0x2222, 0x4444, 0x5555, SM_STATUS_NOT_FOUND, "B", ""}},
      {"V\t1111\tA\nD\t2222\tA dev\nO\t4444\tA sub\nV\t3333\tB\nD\t2222\tB dev\nS\t5555\tStray\n",
       {0x3333, 0x2222, 0x4444, 0x5555, SM_STATUS_SUCCESS, "B", "B dev"}},
      // IDs read as "%04X": a 0x prefix, blanks, at most four characters, a sign.
      {"V\t0x12\tPrefixed\nD\t  abcd\tBlanks\n",
       {0x12, 0xABCD, 0, 0, SM_STATUS_SUCCESS, "Prefixed", "Blanks"}},
      {"V\t123456\tWide\nD\t-1\tNegative\n",
       {0x1234, 0xFFFF, 0, 0, SM_STATUS_SUCCESS, "Wide", "Negative"}},
      {"V\tzz\tNo digits\nD\t12zz\tJunk\n",
       {0, 0x12, 0, 0, SM_STATUS_SUCCESS, "No digits", "Junk"}},
      // Comments, and a NUL that ends the line early.
      {"; V\t1\tgone\nV\t1\t;gone\nV\t1\tA\nD\t2\tB", {1, 2, 0, 0, SM_STATUS_SUCCESS, "A", "B"}},
      {std::string("V\t1\tNa\0me\nD\t2\tB\n", 17), {1, 2, 0, 0, SM_STATUS_SUCCESS, "Na", "B"}},
      // A line is read in pieces of 8450 bytes: the rest is a line of its own.
      {head + long_name + "D\t2222\tHidden in the tail\n",
       {0x1111, 0x2222, 0, 0, 0, long_name, "Hidden in the tail", 9000}},
  };
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  for (const auto &c : cases) {
    SCOPED_TRACE(c.text.substr(0, 60));
    WriteFile(dir / "pci.ids", c.text);
    Check(dir / "pci.ids", c.query);
  }
  // A missing file and a directory: 7 with empty names.
  Check(dir / "missing", {1, 2, 0, 0, SM_STATUS_NOT_FOUND, "", ""});
  Check(dir.path(), {1, 2, 0, 0, SM_STATUS_NOT_FOUND, "", ""});
}

TEST(PciDevices, argument_checks_clear_both_sizes) {
  const struct {
    const char *path;
    bool vendor, vendor_size, device, device_size;  // which pointers are given
    uint32_t vendor_in, device_in;
  } rows[] = {{nullptr, 1, 1, 1, 1, 8, 8},     {"", 1, 1, 1, 1, 8, 8},
              {"/dev/null", 0, 1, 1, 1, 8, 8}, {"/dev/null", 1, 0, 1, 1, 8, 8},
              {"/dev/null", 1, 1, 0, 1, 8, 8}, {"/dev/null", 1, 1, 1, 0, 8, 8},
              {"/dev/null", 1, 1, 1, 1, 0, 8}, {"/dev/null", 1, 1, 1, 1, 8, 0}};
  char vendor[8], device[8];
  for (const auto &r : rows) {
    uint32_t vendor_size = r.vendor_in, device_size = r.device_in;
    EXPECT_EQ(SMReadPCIDevFile(1, 2, 0, 0, r.path, r.vendor ? vendor : nullptr,
                               r.vendor_size ? &vendor_size : nullptr, r.device ? device : nullptr,
                               r.device_size ? &device_size : nullptr),
              SM_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(vendor_size, r.vendor_size ? 0u : r.vendor_in);  // untouched when not given
    EXPECT_EQ(device_size, r.device_size ? 0u : r.device_in);
  }
}

}  // namespace

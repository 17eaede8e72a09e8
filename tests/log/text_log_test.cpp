// The text event log: header block and record bytes against the format, the
// hex dump against an independent formatter, argument rules, the size
// estimate and backup rotation, permissions and directory creation.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>

#include "kxsupt/log.h"
#include "log/text_log.h"
#include "log_test_support.h"

namespace {

using kx::Status;
using kx::log::AppendToTextLog;
using kx::log::TextEvent;
using logtest::ReadFile;

class TextLogTest : public ::testing::Test {
 protected:
  std::string Log() const { return box_.Path("t/kxsys32.log"); }
  logtest::LogSandbox box_;
};

TextEvent Event(const char *source, const char *description, const void *data = nullptr,
                uint32_t size = 0) {
  return TextEvent{4, 1, 7, source, description, data, size};
}

TEST_F(TextLogTest, first_append_writes_the_header_then_the_record_bytes) {
  const char data[] = "0123456789ABCDEFxy\x01";
  const time_t before = time(nullptr);
  ASSERT_EQ(
      AppendToTextLog(Log().c_str(), {16, 6, 99, "S\xC3\xA9", "line\r\nnext", data, 19}, 1 << 20),
      Status::kSuccess);
  const time_t after = time(nullptr);
  const logtest::TextLog log = logtest::DecodeTextLog(ReadFile(Log()));
  ASSERT_EQ(log.records.size(), 1u);
  const std::string &date = log.records[0].date;
  EXPECT_TRUE(date == logtest::CtimeOf(before) || date == logtest::CtimeOf(after)) << date;
  const std::u16string record =
      u"EventID: 99\r\nSource: S\u00E9\r\nCategory: Release Ledger\r\nType: Audit Failure\r\n"
      u"Date and Time: " +
      logtest::FromUtf8(date) + u"\r\nComputer: " + logtest::FromUtf8(logtest::HostName()) +
      u"\r\nDescription:\r\nline\r\nnext\r\nData: Bytes in Hex\r\n"
      u"0x00000000: 30 31 32 33 34 35 36 37 38 39 41 42 43 44 45 46   0123456789ABCDEF\r\n"
      u"0x00000010: 78 79 01                                          xy.\r\n";
  EXPECT_EQ(ReadFile(Log()), logtest::ExpectedTextHeader() + logtest::Utf16le(record));
}

// The dump written by an independent formatter: "0x%08X: ", "%02X " per byte
// padded to 48 columns, two blanks, the printable characters.
std::u16string ReferenceDump(const std::vector<uint8_t> &data) {
  std::string out;
  for (size_t line = 0; line < data.size(); line += 16) {
    if (line != 0) out += "\r\n";
    char head[32];
    std::snprintf(head, sizeof head, "0x%08zX: ", line);
    std::string hex, chars;
    for (size_t i = line; i < std::min(line + 16, data.size()); ++i) {
      char cell[4];
      std::snprintf(cell, sizeof cell, "%02X ", data[i]);
      hex += cell;
      chars += std::isprint(data[i]) ? static_cast<char>(data[i]) : '.';
    }
    hex.resize(48, ' ');
    out += head + hex + "  " + chars;
  }
  return logtest::FromUtf8(out);
}

TEST(TextLogDump, matches_an_independent_formatter_for_every_length) {
  std::mt19937 random(12);
  for (uint32_t size = 0; size <= 100; ++size) {
    std::vector<uint8_t> data(size);
    for (uint8_t &byte : data) byte = static_cast<uint8_t>(random());
    kx::log::U16String dump;
    kx::log::AppendHexDump(data.data(), size, &dump);
    EXPECT_EQ(std::u16string(dump.begin(), dump.end()), ReferenceDump(data)) << size;
  }
}

TEST_F(TextLogTest, type_labels_and_category_names) {
  const struct {
    uint16_t type;
    const char *label;
  } types[] = {{0, "Type: None"},        {1, "Type: Error"},         {2, "Type: Warning"},
               {4, "Type: Information"}, {8, "Type: Audit Success"}, {16, "Type: Audit Failure"}};
  const char *names[] = {"Core Broker",    "Wexbridge Service", "Volume Service",
                         "Bridge Service", "Host Agent Core",   "Release Ledger"};
  for (const auto &row : types) {
    for (uint16_t category = 1; category <= 6; ++category) {
      ASSERT_EQ(
          AppendToTextLog(Log().c_str(), {row.type, category, 1, "s", "d", nullptr, 0}, 1 << 22),
          Status::kSuccess);
    }
  }
  const logtest::TextLog log = logtest::DecodeTextLog(ReadFile(Log()));
  ASSERT_EQ(log.records.size(), 36u);
  for (size_t i = 0; i < 36; ++i) {
    EXPECT_EQ(log.records[i].type_label, types[i / 6].label);
    EXPECT_EQ(log.records[i].category, names[i % 6]);
  }
}

TEST_F(TextLogTest, argument_rules) {
  const std::string path = Log();
  const std::string longest_source(1023, 's'), long_source(1024, 's');
  const std::string longest_text(16383, 'd'), long_text(16384, 'd');
  const uint8_t byte = 1;
  const struct {
    const char *path;
    TextEvent event;
    Status status;
  } rows[] = {
      {nullptr, Event("s", "d"), Status::kInvalidArgs},
      {path.c_str(), Event(nullptr, "d"), Status::kInvalidArgs},
      {path.c_str(), Event("s", nullptr), Status::kInvalidArgs},
      {path.c_str(), Event("", "d"), Status::kInvalidArgs},
      {path.c_str(), Event("s", ""), Status::kInvalidArgs},
      {path.c_str(), Event(long_source.c_str(), "d"), Status::kInvalidArgs},
      {path.c_str(), Event("s", long_text.c_str()), Status::kInvalidArgs},
      {path.c_str(), Event("\xC3", "d"), Status::kInvalidArgs},  // not UTF-8
      {path.c_str(), Event("s", "d", nullptr, 1), Status::kInvalidArgs},
      {path.c_str(), Event("s", "d", &byte, 32769), Status::kInvalidArgs},
      {path.c_str(), {3, 1, 0, "s", "d", nullptr, 0}, Status::kInvalidArgs},  // unknown type
      {path.c_str(), {99, 0, 0, "s", "d", nullptr, 0}, Status::kSuccess},     // unknown category
      {path.c_str(), {4, 7, 0, "s", "d", nullptr, 0}, Status::kSuccess},      // unknown category
  };
  for (const auto &row : rows) {
    EXPECT_EQ(AppendToTextLog(row.path, row.event, 1 << 20), row.status);
  }
  EXPECT_FALSE(logtest::FileExists(path)) << "no row above writes anything";
  EXPECT_EQ(
      AppendToTextLog(path.c_str(), Event(longest_source.c_str(), longest_text.c_str()), 1 << 22),
      Status::kSuccess);
  const std::vector<uint8_t> big(32768, 0x41);
  EXPECT_EQ(AppendToTextLog(path.c_str(), Event("s", "d", big.data(), 32768), 1 << 22),
            Status::kSuccess);
  const logtest::TextLog decoded = logtest::DecodeTextLog(ReadFile(path));
  ASSERT_EQ(decoded.records.size(), 2u);
  EXPECT_EQ(decoded.records[0].source, longest_source);
  EXPECT_EQ(decoded.records[0].description, longest_text);
  EXPECT_EQ(decoded.records[1].data, big);
}

// Estimated bytes of a record, from the format's rule.
uint64_t Estimate(uint32_t data_size, size_t source, size_t description) {
  return ((data_size / 16 + 1) * 83 + 1024 + source + description) * 2;
}

TEST_F(TextLogTest, rotation_threshold_is_size_plus_estimate_reaching_the_maximum) {
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("src", "first"), 1 << 20), Status::kSuccess);
  const std::string before = ReadFile(Log());
  const uint8_t data[40] = {};
  const uint64_t estimate = Estimate(40, 3, 6);
  // One byte short of the maximum: no rotation.
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("src", "second", data, 40),
                            static_cast<uint32_t>(before.size() + estimate + 1)),
            Status::kSuccess);
  EXPECT_FALSE(logtest::FileExists(box_.Path("t/kxsys32.lo_")));
  const std::string full = ReadFile(Log());
  // Exactly at the maximum: the log moves to its backup.
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("src", "third", data, 40),
                            static_cast<uint32_t>(full.size() + Estimate(40, 3, 5))),
            Status::kSuccess);
  EXPECT_EQ(ReadFile(box_.Path("t/kxsys32.lo_")), full);
  const logtest::TextLog fresh = logtest::DecodeTextLog(ReadFile(Log()));
  EXPECT_TRUE(fresh.header_ok);
  ASSERT_EQ(fresh.records.size(), 2u);
  EXPECT_EQ(fresh.records[0].description, "Log backup created");
  EXPECT_EQ(fresh.records[0].event_id, 1u);
  EXPECT_EQ(fresh.records[0].type_label, "Type: Information");
  EXPECT_EQ(fresh.records[0].category, "Core Broker");
  EXPECT_EQ(fresh.records[0].source, "src");
  EXPECT_EQ(fresh.records[1].description, "third");
}

TEST_F(TextLogTest, maximum_below_every_estimate_keeps_the_notice_and_the_last_record) {
  for (const char *text : {"one", "two", "three"}) {
    ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("s", text), 1), Status::kSuccess);
  }
  // Every append rotates; the notice's own append then finds the fresh log
  // full as well and deletes the backup just made.
  const logtest::TextLog log = logtest::DecodeTextLog(ReadFile(Log()));
  ASSERT_EQ(log.records.size(), 2u);
  EXPECT_EQ(log.records[0].description, "Log backup created");
  EXPECT_EQ(log.records[1].description, "three");
  EXPECT_FALSE(logtest::FileExists(box_.Path("t/kxsys32.lo_")));
}

TEST_F(TextLogTest, short_file_gets_the_header_after_what_it_holds) {
  std::filesystem::create_directory(box_.Path("t"));
  logtest::WriteFile(Log(), "0123456789");
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("s", "d"), 1 << 20), Status::kSuccess);
  const std::string bytes = ReadFile(Log());
  EXPECT_EQ(bytes.substr(0, 10), "0123456789");
  EXPECT_EQ(bytes.substr(10, 256), logtest::ExpectedTextHeader());
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("s", "e"), 1 << 20), Status::kSuccess);
  EXPECT_EQ(ReadFile(Log()).find(logtest::ExpectedTextHeader(), 11), std::string::npos);
}

TEST_F(TextLogTest, permissions_are_kept_and_new_logs_get_0664) {
  const mode_t old_mask = umask(022);
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("s", "d"), 1 << 20), Status::kSuccess);
  EXPECT_EQ(logtest::ModeOf(Log()), 0664u);
  ASSERT_EQ(chmod(Log().c_str(), 0600), 0);
  ASSERT_EQ(AppendToTextLog(Log().c_str(), Event("s", "d"), 1 << 20), Status::kSuccess);
  EXPECT_EQ(logtest::ModeOf(Log()), 0600u);
  umask(old_mask);
}

TEST_F(TextLogTest, directory_is_made_one_level_deep) {
  EXPECT_EQ(AppendToTextLog(box_.Path("a/b/kxsys32.log").c_str(), Event("s", "d"), 1 << 20),
            Status::kError);
  EXPECT_EQ(AppendToTextLog(box_.Path("a/kxsys32.log").c_str(), Event("s", "d"), 1 << 20),
            Status::kSuccess);
  EXPECT_EQ(logtest::ModeOf(box_.Path("a")) & 0700, 0700u);
}

}  // namespace

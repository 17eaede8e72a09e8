// The XML event log: the document and LogEntry layout read back with libxml2,
// insertion before the closing tag found by the backward search, argument
// rules, rotation, clear entries.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "kxsupt/log.h"
#include "log/xml_log.h"
#include "log_test_support.h"

namespace {

using kx::Status;
using kx::log::AppendToXMLLog;
using kx::log::XmlEvent;
using logtest::ReadFile;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr char kLink[] =
    "help/nrq/en/msgguide/wwhelp/wwhimpl/common/html/wwhelp.htm?context=Messages_Guide&topic=0000";

class XmlLogTest : public ::testing::Test {
 protected:
  XmlLogTest() { std::filesystem::create_directory(box_.Path("x")); }
  std::string Log() const { return box_.Path("x/kxsys32.xml"); }
  logtest::LogSandbox box_;
};

XmlEvent Event(const char *description) {
  return XmlEvent{4, 2, 11, "user", "src", description, nullptr, nullptr, 0};
}

std::vector<logtest::XmlEntry> Entries(const std::string &path) {
  std::string error;
  auto entries = logtest::ParseXmlLog(ReadFile(path), &error);
  EXPECT_TRUE(entries.has_value()) << error;
  return entries.value_or(std::vector<logtest::XmlEntry>{});
}

TEST_F(XmlLogTest, log_entry_bytes_and_children_read_back) {
  kx::log::String element;
  ASSERT_EQ(kx::log::BuildLogEntry({16, 1, 5, nullptr, "s<1>", "a & b", nullptr, "z", 1}, 86400,
                                   "h", &element),
            Status::kSuccess);
  EXPECT_EQ(std::string(element.c_str()),
            "<LogEntry><TimeStamp>86400</TimeStamp><DateTime>" + logtest::CtimeOf(86400) +
                "</DateTime><ComputerName>h</ComputerName><Type>16</Type><ID>5</ID>"
                "<Link></Link><UserInfo></UserInfo><Source>s&lt;1&gt;</Source>"
                "<Category>Core Broker</Category><Description>a &amp; b</Description>"
                "<Data>0x7A,</Data></LogEntry>");
  // Appended: the document around it, and the moment's stamp and host.
  const uint8_t data[] = {0x00, 0x41, 0xFF};
  const time_t before = time(nullptr);
  ASSERT_EQ(
      AppendToXMLLog(Log().c_str(),
                     {2, 6, 4000000000u, "me", "svc", "it broke", "a/b?c=1", data, 3}, 1 << 20),
      Status::kSuccess);
  const time_t after = time(nullptr);
  const std::string bytes = ReadFile(Log());
  EXPECT_EQ(bytes.rfind(std::string(kDeclaration) + "<EventLog><LogEntry>", 0), 0u);
  EXPECT_EQ(bytes.compare(bytes.size() - 22, 22, "</LogEntry></EventLog>"), 0);
  const auto entries = Entries(Log());
  ASSERT_EQ(entries.size(), 1u);
  const logtest::XmlEntry &e = entries[0];
  const std::vector<std::string> order = {"LogEntry", "TimeStamp", "DateTime",    "ComputerName",
                                          "Type",     "ID",        "Link",        "UserInfo",
                                          "Source",   "Category",  "Description", "Data"};
  EXPECT_EQ(e.order, order);
  const time_t stamp = std::stoll(e.text.at("TimeStamp"));
  EXPECT_TRUE(stamp >= before && stamp <= after);
  const std::map<std::string, std::string> expected = {{"TimeStamp", e.text.at("TimeStamp")},
                                                       {"DateTime", logtest::CtimeOf(stamp)},
                                                       {"ComputerName", logtest::HostName()},
                                                       {"Type", "2"},
                                                       {"ID", "4000000000"},
                                                       {"Link", "a/b?c=1"},
                                                       {"UserInfo", "me"},
                                                       {"Source", "svc"},
                                                       {"Category", "Release Ledger"},
                                                       {"Description", "it broke"},
                                                       {"Data", "0x00,0x41,0xFF,"}};
  EXPECT_EQ(e.text, expected);
}

TEST_F(XmlLogTest, texts_are_escaped_and_read_back_unchanged) {
  const char *tricky = "<EventLog> & \"quotes\" 'and' </EventLog>";
  ASSERT_EQ(
      AppendToXMLLog(Log().c_str(), {4, 1, 1, tricky, tricky, tricky, tricky, nullptr, 0}, 1 << 20),
      Status::kSuccess);
  ASSERT_EQ(AppendToXMLLog(Log().c_str(), Event("next"), 1 << 20), Status::kSuccess);
  const auto entries = Entries(Log());
  ASSERT_EQ(entries.size(), 2u);
  for (const char *child : {"UserInfo", "Source", "Description", "Link"}) {
    EXPECT_EQ(entries[0].text.at(child), tricky) << child;
  }
  EXPECT_EQ(entries[1].text.at("Description"), "next");
}

TEST_F(XmlLogTest, element_goes_before_the_last_closing_tag_found_after_byte_38) {
  const std::string declaration = kDeclaration, head = declaration + "<EventLog>";
  const std::string ends = "</LogEntry></EventLog>";
  const struct {
    const char *name;
    std::string content;
    Status status;
    std::string prefix, suffix;  // of the file afterwards
  } rows[] = {
      {"skeleton", head + "</EventLog>", Status::kSuccess, head + "<LogEntry>", ends},
      {"what follows the tag is overwritten", head + "</EventLog>trailing", Status::kSuccess,
       head + "<LogEntry>", ends},
      {"shorter than the declaration: started afresh", "junk", Status::kSuccess,
       head + "<LogEntry>", ends},
      {"found across read blocks", head + "</EventLog>" + std::string(200000, ' '),
       Status::kSuccess, head + "<LogEntry>", std::string(1000, ' ')},
      // No closing tag after byte 38: nothing is written.
      {"exactly the declaration", declaration, Status::kOsFailure, declaration, ""},
      {"never closed", head, Status::kOsFailure, head, ""},
      {"tag only before byte 38", "</EventLog>" + std::string(27, ' ') + "<EventLog>",
       Status::kOsFailure, "</EventLog>" + std::string(27, ' ') + "<EventLog>", ""},
      {"cut tag", head + "</EventLo", Status::kOsFailure, head + "</EventLo", ""},
  };
  for (const auto &row : rows) {
    logtest::WriteFile(Log(), row.content);
    EXPECT_EQ(AppendToXMLLog(Log().c_str(), Event("x"), 1 << 22), row.status) << row.name;
    const std::string bytes = ReadFile(Log());
    EXPECT_EQ(bytes.rfind(row.prefix, 0), 0u) << row.name;
    EXPECT_TRUE(bytes.size() >= row.suffix.size() &&
                bytes.compare(bytes.size() - row.suffix.size(), row.suffix.size(), row.suffix) == 0)
        << row.name;
    if (row.status == Status::kSuccess) {
      EXPECT_EQ(Entries(Log()).size(), 1u) << row.name;
    } else {
      EXPECT_EQ(bytes, row.content) << row.name;
    }
  }
  // Trailing bytes longer than the new element outlive it.
  const std::string tail(5000, 'q');
  logtest::WriteFile(Log(), head + "</EventLog>" + tail);
  ASSERT_EQ(AppendToXMLLog(Log().c_str(), Event("short"), 1 << 20), Status::kSuccess);
  const std::string grown = ReadFile(Log());
  EXPECT_EQ(grown.size(), head.size() + 11 + tail.size());
  EXPECT_EQ(grown.back(), 'q');
  EXPECT_NE(grown.find("<Description>short</Description><Data></Data></LogEntry></EventLog>q"),
            std::string::npos);
}

TEST_F(XmlLogTest, argument_rules) {
  const std::string path = Log();
  const std::string s511(511, 'u'), s512(512, 'u'), d8191(8191, 'd'), d8192(8192, 'd');
  const uint8_t byte = 1;
  const struct {
    const char *path;
    XmlEvent event;
    Status status;
  } rows[] = {
      {nullptr, Event("d"), Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "", "s", "d", nullptr, nullptr, 0}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "u", "", "d", nullptr, nullptr, 0}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "u", "s", "", nullptr, nullptr, 0}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, s512.c_str(), "s", "d", nullptr, nullptr, 0}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "u", s512.c_str(), "d", nullptr, nullptr, 0}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "u", "s", d8192.c_str(), nullptr, nullptr, 0}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "u", "s", "d", nullptr, nullptr, 1}, Status::kInvalidArgs},
      {path.c_str(), {4, 1, 0, "u", "s", "d", nullptr, &byte, 32769}, Status::kInvalidArgs},
      {path.c_str(), {4, 0, 0, "u", "s", "d", nullptr, nullptr, 0}, Status::kError},
      {path.c_str(), {4, 7, 0, "u", "s", "d", nullptr, nullptr, 0}, Status::kError},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(AppendToXMLLog(row.path, row.event, 1 << 20), row.status);
  }
  EXPECT_FALSE(logtest::FileExists(path));
  const std::vector<uint8_t> big(32768, 7);
  EXPECT_EQ(AppendToXMLLog(
                path.c_str(),
                {99, 1, 0, s511.c_str(), s511.c_str(), d8191.c_str(), nullptr, big.data(), 32768},
                1 << 22),
            Status::kSuccess);
  EXPECT_EQ(AppendToXMLLog(path.c_str(), {4, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0},
                           1 << 22),
            Status::kSuccess);
  const auto entries = Entries(path);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].text.at("Type"), "99");
  EXPECT_EQ(entries[0].text.at("Data").size(), 32768u * 5);
  EXPECT_EQ(entries[1].text.at("Description"), "");
}

TEST_F(XmlLogTest, rotation_keeps_the_old_file_and_starts_with_the_backup_entry) {
  ASSERT_EQ(AppendToXMLLog(Log().c_str(), Event("first"), 1 << 20), Status::kSuccess);
  const std::string full = ReadFile(Log());
  kx::log::String element;
  ASSERT_EQ(kx::log::BuildLogEntry(Event("second"), 0, logtest::HostName().c_str(), &element),
            Status::kSuccess);
  // The element's length is the estimate (the real stamps are a few bytes
  // longer than those of time 0): a margin of 40 bytes below it, then above.
  ASSERT_EQ(AppendToXMLLog(Log().c_str(), Event("second"),
                           static_cast<uint32_t>(full.size() + element.size() + 40)),
            Status::kSuccess);
  EXPECT_FALSE(logtest::FileExists(box_.Path("x/kxsys32.xm_")));
  const std::string fuller = ReadFile(Log());
  ASSERT_EQ(AppendToXMLLog(Log().c_str(), Event("third"),
                           static_cast<uint32_t>(fuller.size() + element.size() - 40)),
            Status::kSuccess);
  EXPECT_EQ(ReadFile(box_.Path("x/kxsys32.xm_")), fuller);
  const auto entries = Entries(Log());
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].text.at("Description"), "Log backup created");
  EXPECT_EQ(entries[0].text.at("ID"), "1");
  EXPECT_EQ(entries[0].text.at("Type"), "4");
  EXPECT_EQ(entries[0].text.at("Category"), "Core Broker");
  EXPECT_EQ(entries[0].text.at("UserInfo"), "user");
  EXPECT_EQ(entries[0].text.at("Source"), "src");
  EXPECT_EQ(entries[0].text.at("Link"), "");
  EXPECT_EQ(entries[1].text.at("Description"), "third");
}

TEST_F(XmlLogTest, clear_writes_user_information_and_the_messages_guide_link) {
  ASSERT_EQ(AppendToXMLLog(Log().c_str(), Event("old"), 1 << 20), Status::kSuccess);
  ASSERT_EQ(SMClearXMLLog(Log().c_str(), 3, "operator", "tool"), SM_STATUS_SUCCESS);
  const auto entries = Entries(Log());
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].text.at("Description"), "Log was cleared");
  EXPECT_EQ(entries[0].text.at("ID"), "0");
  EXPECT_EQ(entries[0].text.at("Category"), "Volume Service");
  EXPECT_EQ(entries[0].text.at("UserInfo"), "operator");
  EXPECT_EQ(entries[0].text.at("Source"), "tool");
  EXPECT_EQ(entries[0].text.at("Link"), kLink);
  EXPECT_EQ(SMClearXMLLog(nullptr, 3, "operator", "tool"), SM_STATUS_INVALID_ARGS);
}

TEST_F(XmlLogTest, force_exists_creates_nothing) {
  EXPECT_EQ(SMForceXMLLogExists(Log().c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMForceXMLLogExists(nullptr), SM_STATUS_SUCCESS);
  EXPECT_FALSE(logtest::FileExists(Log()));
}

}  // namespace

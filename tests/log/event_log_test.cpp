// The default event log through the exported calls: paths from the sandbox
// registry, selector rules, the maximum-size table and the attach step.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "frame/modules.h"
#include "kxsupt/log.h"
#include "log_test_support.h"

namespace {

using logtest::ReadFile;

class EventLogTest : public ::testing::Test {
 protected:
  logtest::LogSandbox box_;
};

std::string PathFor(uint32_t flags, SMStatus (*query)(uint32_t, char *, uint32_t *),
                    SMStatus *status, uint32_t *size_out) {
  char buffer[300] = "";
  uint32_t size = sizeof buffer;
  *status = query(flags, buffer, &size);
  *size_out = size;
  return buffer;
}

TEST_F(EventLogTest, path_queries_select_by_flag_and_check_the_buffer) {
  const struct {
    uint32_t flags;
    SMStatus status;
    std::string path, backup;
  } rows[] = {
      {0, SM_STATUS_INVALID_ARGS, "", ""},
      {2, SM_STATUS_FAILED, "", ""},
      {2 | 4, SM_STATUS_FAILED, "", ""},
      {1, SM_STATUS_INVALID_ARGS, "", ""},
      {4, SM_STATUS_SUCCESS, box_.TextLog(), box_.LogDir() + "/log/kxsys32.lo_"},
      {8, SM_STATUS_SUCCESS, box_.XmlLog(), box_.LogDir() + "/log/kxsys32.xm_"},
      {4 | 8, SM_STATUS_SUCCESS, box_.XmlLog(), box_.LogDir() + "/log/kxsys32.xm_"},
  };
  for (const auto &row : rows) {
    SMStatus status;
    uint32_t size;
    EXPECT_EQ(PathFor(row.flags, SMGetLogPathFileName, &status, &size), row.path) << row.flags;
    EXPECT_EQ(status, row.status) << row.flags;
    if (row.status == SM_STATUS_SUCCESS) {
      EXPECT_EQ(size, row.path.size() + 1);
    }
    EXPECT_EQ(PathFor(row.flags, SMGetBackupLogPathFileName, &status, &size), row.backup);
    EXPECT_EQ(status, row.status) << row.flags;
  }
  char small[255];
  uint32_t size = sizeof small;
  EXPECT_EQ(SMGetLogPathFileName(4, small, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 256u);
  size = sizeof small;
  EXPECT_EQ(SMGetBackupLogPathFileName(8, small, &size), SM_STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 256u);
  size = 256;  // a null buffer measures
  EXPECT_EQ(SMGetLogPathFileName(8, nullptr, &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, box_.XmlLog().size() + 1);
  EXPECT_EQ(SMGetLogPathFileName(8, small, nullptr), SM_STATUS_INVALID_ARGS);
}

TEST_F(EventLogTest, backup_name_of_a_given_path) {
  const struct {
    const char *path;
    uint32_t room;
    SMStatus status;
    uint32_t size;
    const char *backup;
  } rows[] = {
      {nullptr, 64, SM_STATUS_INVALID_PARAMETER, 64, ""},
      {"", 64, SM_STATUS_INVALID_PARAMETER, 64, ""},
      {"x", 64, SM_STATUS_INVALID_PARAMETER, 64, ""},
      {"ab", 64, SM_STATUS_SUCCESS, 3, "a_"},
      {"/v/a.xml", 9, SM_STATUS_SUCCESS, 9, "/v/a.xm_"},
      {"/v/a.xml", 8, SM_STATUS_BUFFER_TOO_SMALL, 9, ""},
  };
  for (const auto &row : rows) {
    char buffer[64] = "";
    uint32_t size = row.room;
    EXPECT_EQ(SMGetBackupXMLLogPathFileName(row.path, buffer, &size), row.status);
    EXPECT_EQ(size, row.size);
    EXPECT_STREQ(buffer, row.backup);
  }
  uint32_t size = 0;  // a null buffer measures
  EXPECT_EQ(SMGetBackupXMLLogPathFileName("/v/a.xml", nullptr, &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(SMGetBackupXMLLogPathFileName("/v/a.xml", nullptr, nullptr),
            SM_STATUS_INVALID_PARAMETER);
}

TEST_F(EventLogTest, maximum_size_table) {
  const std::string longest(255, 'p'), too_long(256, 'p');
  const struct {
    const char *path;
    uint32_t size;
    SMStatus status;
  } rows[] = {
      {nullptr, 1048576, SM_STATUS_INVALID_PARAMETER},
      {"", 1048576, SM_STATUS_INVALID_PARAMETER},
      {"/a", 1048575, SM_STATUS_INVALID_PARAMETER},
      {"/a", 4194305, SM_STATUS_INVALID_PARAMETER},
      {too_long.c_str(), 2000000, SM_STATUS_INVALID_PARAMETER},
      {"/a", 4194304, SM_STATUS_SUCCESS},
      {"/b", 1048576, SM_STATUS_SUCCESS},
      {longest.c_str(), 3000000, SM_STATUS_SUCCESS},
  };
  for (const auto &row : rows) EXPECT_EQ(SMSetLogMaxSize(row.path, row.size), row.status);
  uint32_t size = 0;
  EXPECT_EQ(SMGetLogMaxSize("/a", &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 4194304u);
  EXPECT_EQ(SMGetLogMaxSize(longest.c_str(), &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 3000000u);
  EXPECT_EQ(SMSetLogMaxSize("/a", 2000000), SM_STATUS_SUCCESS);  // replaces
  EXPECT_EQ(SMGetLogMaxSize("/a", &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 2000000u);
  EXPECT_EQ(SMGetLogMaxSize("/a/", &size), SM_STATUS_SUCCESS);  // exact text: another path
  EXPECT_EQ(size, 1048576u);
  EXPECT_EQ(SMGetLogMaxSize(nullptr, &size), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMGetLogMaxSize("", &size), SM_STATUS_INVALID_PARAMETER);
  // Detaching empties the table.
  ASSERT_TRUE(box_.Reload());
  EXPECT_EQ(SMGetLogMaxSize("/a", &size), SM_STATUS_SUCCESS);
  EXPECT_EQ(size, 1048576u);
}

TEST_F(EventLogTest, append_selects_logs_and_reports_the_xml_status_only) {
  EXPECT_EQ(SMAppendToLog(0, 4, 1, 1, "s", "d", nullptr, 0), SM_STATUS_INVALID_ARGS);
  ASSERT_EQ(SMAppendToLog(4 | 8, 1, 2, 77, "svc", "both", "ab", 2), SM_STATUS_SUCCESS);
  const logtest::TextLog text = logtest::DecodeTextLog(ReadFile(box_.TextLog()));
  ASSERT_EQ(text.records.size(), 1u);
  EXPECT_EQ(text.records[0].description, "both");
  EXPECT_EQ(text.records[0].event_id, 77u);
  const auto xml = logtest::ParseXmlLog(ReadFile(box_.XmlLog()));
  ASSERT_TRUE(xml.has_value());
  ASSERT_EQ(xml->size(), 1u);
  EXPECT_EQ(xml->at(0).text.at("Description"), "both");
  EXPECT_EQ(xml->at(0).text.at("UserInfo"), "");
  EXPECT_EQ(xml->at(0).text.at("Link"), "");
  EXPECT_EQ(xml->at(0).text.at("Data"), "0x61,0x62,");

  // The text log's failure (an unknown type) is not reported; the XML's is.
  EXPECT_EQ(SMAppendToLog(4, 3, 1, 1, "s", "d", nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMAppendToLog(8, 4, 9, 1, "s", "d", nullptr, 0), SM_STATUS_ERROR);
  EXPECT_EQ(SMAppendToLog(4 | 8, 4, 1, 1, "s", std::string(9000, 'd').c_str(), nullptr, 0),
            SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(logtest::DecodeTextLog(ReadFile(box_.TextLog())).records.size(), 2u);
}

TEST_F(EventLogTest, text_log_uses_the_maximum_recorded_for_its_path) {
  ASSERT_EQ(SMSetLogMaxSize(box_.TextLog().c_str(), 1048576), SM_STATUS_SUCCESS);
  const std::string description(16000, 'd');
  // Records of about 32 kB (estimated at 34 kB): one of the 33 appends rotates.
  for (int i = 0; i < 33; ++i) {
    ASSERT_EQ(SMAppendToLog(4, 4, 1, i, "s", description.c_str(), nullptr, 0), SM_STATUS_SUCCESS);
  }
  const std::string backup = box_.LogDir() + "/log/kxsys32.lo_";
  ASSERT_TRUE(logtest::FileExists(backup));
  EXPECT_LE(ReadFile(backup).size(), 1048576u);
  const logtest::TextLog fresh = logtest::DecodeTextLog(ReadFile(box_.TextLog()));
  ASSERT_FALSE(fresh.records.empty());
  EXPECT_EQ(fresh.records[0].description, "Log backup created");
}

TEST_F(EventLogTest, clear_rules_and_entries) {
  EXPECT_EQ(SMClearLog(0, 1, "s"), SM_STATUS_INVALID_ARGS);
  ASSERT_EQ(SMAppendToLog(4 | 8, 4, 1, 1, "s", "before", nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMClearLog(2 | 4 | 8, 1, "s"), SM_STATUS_FAILED);
  EXPECT_EQ(logtest::DecodeTextLog(ReadFile(box_.TextLog())).records.size(), 1u);
  ASSERT_EQ(SMClearLog(4 | 8, 2, "admin"), SM_STATUS_SUCCESS);
  const logtest::TextLog text = logtest::DecodeTextLog(ReadFile(box_.TextLog()));
  ASSERT_EQ(text.records.size(), 1u);
  EXPECT_EQ(text.records[0].description, "Log was cleared");
  EXPECT_EQ(text.records[0].source, "admin");
  EXPECT_EQ(text.records[0].category, "Wexbridge Service");
  EXPECT_EQ(text.records[0].event_id, 0u);
  EXPECT_EQ(text.records[0].type_label, "Type: Information");
  const auto xml = logtest::ParseXmlLog(ReadFile(box_.XmlLog()));
  ASSERT_TRUE(xml.has_value());
  ASSERT_EQ(xml->size(), 1u);
  EXPECT_EQ(xml->at(0).text.at("UserInfo"), "Local System");
  EXPECT_EQ(xml->at(0).text.at("Description"), "Log was cleared");
}

TEST(EventLogWithoutRegistry, lookups_fail_and_nothing_is_written) {
  kxtest::Sandbox box;
  box.WriteRegistry("mernex.vardatapath=" + box.DataDir() + "\n");  // no log path
  ASSERT_TRUE(box.Reload());
  char buffer[256];
  uint32_t size = sizeof buffer;
  EXPECT_EQ(SMGetLogPathFileName(4, buffer, &size), SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMAppendToLog(4, 4, 1, 1, "s", "d", nullptr, 0), SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMClearLog(8, 1, "s"), SM_STATUS_NOT_AVAILABLE);
  // A log path that is not on disk is reported as such.
  box.WriteRegistry("mernex.vardatapath=" + box.DataDir() +
                    "\nWexbridge.logpath=" + box.Path("missing") + "\n");
  ASSERT_TRUE(box.Reload());
  EXPECT_EQ(SMAppendToLog(8, 4, 1, 1, "s", "d", nullptr, 0), SM_STATUS_OS_FAILURE);
}

TEST(EventLogWithoutRegistry, file_lock_cannot_be_made_without_ipc_paths) {
  kxtest::Sandbox box;
  box.WriteRegistry("Wexbridge.logpath=" + box.dir() + "\n");  // no data directory
  // Without a data directory the IPC layer cannot attach, so the chain stops
  // there; the log calls must still refuse cleanly.
  EXPECT_FALSE(box.Reload());
  const std::string path = box.Path("own.xml");
  EXPECT_EQ(
      SMAppendToXMLLog(path.c_str(), 4, 1, 1, nullptr, "s", "d", nullptr, nullptr, 0, 1048576),
      SM_STATUS_NO_MEMORY);
  EXPECT_EQ(SMClearXMLLog(path.c_str(), 1, nullptr, "s"), SM_STATUS_NO_MEMORY);
}

TEST(EventLogModule, attaches_sixth_after_the_steps_below_it) {
  std::vector<std::string> names;
  for (const auto &step : kx::frame::ModuleChain()) names.push_back(step.name);
  const auto at = std::find(names.begin(), names.end(), "event log");
  ASSERT_NE(at, names.end());
  ASSERT_NE(at + 1, names.end());
  EXPECT_EQ(*(at + 1), "formatted output");
}

}  // namespace

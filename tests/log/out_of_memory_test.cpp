// The log family under refused allocations: each call is walked through every
// allocation it makes (budgets 0, 1, 2, ... until it succeeds); every refusal
// must give a documented status and leave the files whole: no record half
// written, the XML log closed and well formed, the rotated log unchanged.
#include <gtest/gtest.h>

#include "base/memory.h"
#include "kxsupt/log.h"
#include "log/max_size.h"
#include "log_test_support.h"

namespace {

using kx::base::testing::AllocationBudget;
using logtest::ReadFile;

constexpr uint64_t kLongestWalk = 400;

class LogOutOfMemory : public ::testing::Test {
 protected:
  logtest::LogSandbox box_;
};

TEST_F(LogOutOfMemory, refused_appends_report_and_leave_both_logs_whole) {
  ASSERT_EQ(SMAppendToLog(4 | 8, 4, 1, 1, "s", "before", nullptr, 0), SM_STATUS_SUCCESS);
  const uint8_t data[40] = {1, 2, 3};
  uint64_t budget = 0;
  for (;; ++budget) {
    ASSERT_LT(budget, kLongestWalk);
    SMStatus status;
    {
      AllocationBudget limit(budget);
      status = SMAppendToLog(4 | 8, 2, 3, 9, "src", "during <&> refusals", data, sizeof data);
    }
    const logtest::TextLog text = logtest::DecodeTextLog(ReadFile(box_.TextLog()));
    EXPECT_EQ(text.damaged, 0u) << budget;
    const auto xml = logtest::ParseXmlLog(ReadFile(box_.XmlLog()));
    ASSERT_TRUE(xml.has_value()) << budget;
    if (status == SM_STATUS_SUCCESS) {
      EXPECT_EQ(xml->back().text.at("Description"), "during <&> refusals");
      EXPECT_EQ(text.records.back().description, "during <&> refusals");
      break;
    }
    EXPECT_TRUE(status == SM_STATUS_NO_MEMORY || status == SM_STATUS_ERROR) << status;
    EXPECT_EQ(xml->size(), 1u) << budget;  // the refused entry is not there at all
  }
  EXPECT_GT(budget, 0u);
}

TEST_F(LogOutOfMemory, refused_clear_and_table_entries_report_no_memory) {
  ASSERT_EQ(SMAppendToLog(8, 4, 1, 1, "s", "before", nullptr, 0), SM_STATUS_SUCCESS);
  for (uint64_t budget = 0;; ++budget) {
    ASSERT_LT(budget, kLongestWalk);
    SMStatus status;
    {
      AllocationBudget limit(budget);
      status = SMClearLog(8, 1, "s");
    }
    if (status == SM_STATUS_SUCCESS) break;
    EXPECT_TRUE(status == SM_STATUS_NO_MEMORY || status == SM_STATUS_ERROR) << status;
    // A refusal after the delete leaves no log, never a broken one.
    EXPECT_TRUE(!logtest::FileExists(box_.XmlLog()) ||
                logtest::ParseXmlLog(ReadFile(box_.XmlLog())).has_value());
  }
  for (uint64_t budget = 0;; ++budget) {
    ASSERT_LT(budget, kLongestWalk);
    SMStatus status;
    {
      AllocationBudget limit(budget);
      status = SMSetLogMaxSize("/budget/path", 2000000);
    }
    uint32_t size = 0;
    ASSERT_EQ(SMGetLogMaxSize("/budget/path", &size), SM_STATUS_SUCCESS);
    if (status == SM_STATUS_SUCCESS) {
      EXPECT_EQ(size, 2000000u);
      break;
    }
    EXPECT_EQ(status, SM_STATUS_NO_MEMORY);
    EXPECT_EQ(size, 1048576u);  // refused: the default stands
  }
}

TEST_F(LogOutOfMemory, refused_rotated_and_system_log_messages_write_nothing) {
  const std::string path = box_.Path("rotated.log");
  for (uint64_t budget = 0;; ++budget) {
    ASSERT_LT(budget, kLongestWalk);
    SMStatus status;
    {
      AllocationBudget limit(budget);
      status = SMFileLogMsgToRotatedLog("message", path.c_str(), 1000, 2, 1 | 2 | 4);
    }
    if (status == SM_STATUS_SUCCESS) break;
    EXPECT_EQ(status, SM_STATUS_NO_MEMORY);
    EXPECT_FALSE(logtest::FileExists(path));
  }
  AllocationBudget none(0);
  EXPECT_EQ(SMAppendToOSSysLog(1, 1, 1, "s", "no room for the message"), SM_STATUS_ERROR);
}

}  // namespace

// Rotated logs: prefixes, the rotation threshold, generation shifting,
// deletion and permissions, each against the files left in a temp directory.
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

#include "config/file_lock.h"

#include "kxsupt/log.h"
#include "log/rotated_log.h"
#include "log_test_support.h"

namespace {

using logtest::FileExists;
using logtest::ReadFile;
using logtest::WriteFile;

class RotatedLogTest : public ::testing::Test {
 protected:
  RotatedLogTest() {
    char pattern[] = "/tmp/kxsupt-rotated-XXXXXX";
    if (mkdtemp(pattern) != nullptr) dir_ = pattern;
    path_ = dir_ + "/app.log";
  }
  ~RotatedLogTest() override { std::filesystem::remove_all(dir_); }
  std::string Gen(int n) const { return path_ + "." + std::to_string(n); }

  std::string dir_, path_;
};

TEST_F(RotatedLogTest, options_build_the_prefix_and_suffix) {
  const std::string ids = "\\[" + std::to_string(getpid()) + ":" +
                          std::to_string(static_cast<uint64_t>(pthread_self())) + "\\] ";
  const std::string time = "\\[[A-Z][a-z]{2} [0-9]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\\] ";
  const struct {
    uint32_t options;
    std::string pattern;
  } rows[] = {
      {0, "msg"},
      {4, "msg\n"},
      {1, time + "msg"},
      {2, ids + "msg"},
      {3, time + ids + "msg"},
      {7, time + ids + "msg\n"},
      {8, "msg"},  // unknown bits add nothing
  };
  for (const auto &row : rows) {
    std::filesystem::remove(path_);
    ASSERT_EQ(SMFileLogMsgToRotatedLog("msg", path_.c_str(), 1000, 2, row.options),
              SM_STATUS_SUCCESS);
    EXPECT_TRUE(std::regex_match(ReadFile(path_), std::regex(row.pattern)))
        << row.options << ": " << ReadFile(path_);
  }
}

TEST_F(RotatedLogTest, arguments_and_open_failures) {
  EXPECT_EQ(SMFileLogMsgToRotatedLog(nullptr, path_.c_str(), 10, 1, 0),
            SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMFileLogMsgToRotatedLog("m", nullptr, 10, 1, 0), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMFileLogMsgToRotatedLog("m", (dir_ + "/none/x.log").c_str(), 10, 1, 0),
            SM_STATUS_ERROR);
  SMFileRotateCheck(nullptr, 1, 1);
  SMFileDeleteRotated(nullptr, 1, 1);
}

// The directory's files by suffix: "" for the log, ".n" for generation n.
using Files = std::map<std::string, std::string>;

TEST_F(RotatedLogTest, rotation_moves_generations_as_the_size_demands) {
  const std::string a100(100, 'a'), a101(101, 'a'), a10(10, 'a'), a20 = a10 + "0123456789";
  // Row by row: the files before, the message (nullptr: the check alone),
  // the maximum, the count and the options, the files after.
  const struct {
    Files before;
    const char *message;
    uint32_t max, count, options;
    Files after;
  } rows[] = {
      // Exactly the maximum stays; one byte more rotates.
      {{{"", a100}}, nullptr, 100, 2, 0, {{"", a100}}},
      {{{"", a101}}, nullptr, 100, 2, 0, {{".1", a101}}},
      // The message is written after the check and may pass the maximum.
      {{{"", a10}}, "0123456789", 10, 1, 0, {{"", a20}}},
      {{{"", a20}}, "next", 10, 1, 0, {{".1", a20}, {"", "next"}}},
      // Generations shift one step; the oldest is replaced; gaps stay.
      {{{"", "now"}, {".1", "1"}, {".2", "2"}, {".3", "3"}},
       nullptr,
       1,
       3,
       0,
       {{".1", "now"}, {".2", "1"}, {".3", "2"}}},
      {{{"", "now"}, {".2", "2"}}, nullptr, 1, 3, 0, {{".1", "now"}, {".3", "2"}}},
      // Count zero deletes, and the message starts a new file.
      {{{"", a100}}, "fresh", 10, 0, 4, {{"", "fresh\n"}}},
  };
  const std::string stem = std::filesystem::path(path_).filename();
  for (const auto &row : rows) {
    for (const std::string &name : kxtest::DirectoryEntries(dir_)) {
      std::filesystem::remove(dir_ + "/" + name);
    }
    for (const auto &[suffix, content] : row.before) WriteFile(path_ + suffix, content);
    if (row.message != nullptr) {
      ASSERT_EQ(
          SMFileLogMsgToRotatedLog(row.message, path_.c_str(), row.max, row.count, row.options),
          SM_STATUS_SUCCESS);
    } else {
      SMFileRotateCheck(path_.c_str(), row.max, row.count);
    }
    Files after;
    for (const std::string &name : kxtest::DirectoryEntries(dir_)) {
      after[name.substr(stem.size())] = ReadFile(dir_ + "/" + name);
    }
    EXPECT_EQ(after, row.after) << "row " << &row - rows;
  }
}

TEST_F(RotatedLogTest, permission_bits_survive_rotation_and_new_files_get_0644) {
  const mode_t old_mask = umask(0);
  ASSERT_EQ(SMFileLogMsgToRotatedLog("x", path_.c_str(), 100, 1, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(logtest::ModeOf(path_), 0644u);
  ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
  WriteFile(path_, std::string(200, 'a'));
  ASSERT_EQ(SMFileLogMsgToRotatedLog("y", path_.c_str(), 100, 1, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(ReadFile(path_), "y");
  EXPECT_EQ(logtest::ModeOf(path_), 0600u);
  umask(old_mask);
}

TEST_F(RotatedLogTest, delete_removes_generations_only_with_the_switch) {
  for (const std::string &file : {path_, Gen(1), Gen(2), Gen(3)}) WriteFile(file, "x");
  SMFileDeleteRotated(path_.c_str(), 0, 3);
  EXPECT_FALSE(FileExists(path_));
  EXPECT_TRUE(FileExists(Gen(1)) && FileExists(Gen(2)) && FileExists(Gen(3)));
  WriteFile(path_, "x");
  SMFileDeleteRotated(path_.c_str(), 1, 2);  // generation 3 is beyond the count
  EXPECT_FALSE(FileExists(path_) || FileExists(Gen(1)) || FileExists(Gen(2)));
  EXPECT_TRUE(FileExists(Gen(3)));
}

// Four processes share one rotated log, serialised by the library's file lock
// on the log's path (the rotated logs take no lock of their own). A counter in
// shared memory, advanced under the same lock, numbers the messages: the kept
// generations, oldest first, must hold exactly the newest messages in order,
// with nothing missing between them.
TEST(RotatedLogShared, four_writers_lose_nothing_from_the_kept_generations) {
  kxtest::Sandbox box;  // the file lock lives in the sandbox's IPC directory
  const std::string path = box.Path("shared.log");
  constexpr int kWriters = 4, kMessages = 500;
  constexpr uint32_t kMax = 4096, kCount = 3;
  auto *counter = static_cast<uint32_t *>(
      mmap(nullptr, sizeof(uint32_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(counter, MAP_FAILED);
  *counter = 0;
  std::vector<pid_t> children;
  for (int w = 0; w < kWriters; ++w) {
    const pid_t pid = fork();
    if (pid == 0) {
      kx::config::FileLockHandle *lock = kx::config::FileLockOpen(path.c_str());
      bool ok = lock != nullptr;
      for (int k = 0; ok && k < kMessages; ++k) {
        ok = kx::Ok(kx::config::FileLockLock(lock, kx::config::kFileLockWrite, 0xFFFFFFFFu));
        const std::string message = "seq=" + std::to_string((*counter)++) +
                                    " w=" + std::to_string(w) + " k=" + std::to_string(k);
        ok =
            ok && SMFileLogMsgToRotatedLog(message.c_str(), path.c_str(), kMax, kCount, 2 | 4) == 0;
        ok = ok && kx::Ok(kx::config::FileLockUnlock(lock));
      }
      kx::config::FileLockClose(lock);
      _exit(ok ? 0 : 1);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  const uint32_t total = *counter;
  munmap(counter, sizeof(uint32_t));
  ASSERT_EQ(total, uint32_t{kWriters * kMessages});

  std::vector<uint32_t> kept;
  const std::regex line("\\[[0-9]+:[0-9]+\\] seq=([0-9]+) w=[0-3] k=[0-9]+");
  for (const std::string &file : {path + ".3", path + ".2", path + ".1", path}) {
    std::istringstream lines(ReadFile(file));
    for (std::string text; std::getline(lines, text);) {
      std::smatch match;
      ASSERT_TRUE(std::regex_match(text, match, line)) << file << ": " << text;
      kept.push_back(static_cast<uint32_t>(std::stoul(match[1])));
    }
  }
  ASSERT_FALSE(kept.empty());
  EXPECT_EQ(kept.back(), total - 1);
  for (size_t i = 1; i < kept.size(); ++i) ASSERT_EQ(kept[i], kept[i - 1] + 1) << i;
  // Each generation was moved when it had passed the maximum by one message.
  for (const char *suffix : {".1", ".2", ".3"}) {
    const size_t size = ReadFile(path + suffix).size();
    EXPECT_GT(size, kMax) << suffix;
    EXPECT_LT(size, kMax + 64) << suffix;
  }
  std::printf(
      "[ figures  ] %d writers x %d messages: %zu kept in generations .3 to .1 "
      "and the "
      "file, none missing between, %u dropped with the oldest generations\n",
      kWriters, kMessages, kept.size(), total - static_cast<uint32_t>(kept.size()));
}

}  // namespace

// Property files with real processes: four concurrent writers lose nothing,
// and a writer killed anywhere in its rewrite (at a chosen step, or at a
// random time) leaves the old or the new file, never a mixture or an empty
// file. Each test prints its figures.
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "config/file_rewrite.h"
#include "processes.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
namespace config = kx::config;
using kxtest::DirectoryEntries;
using kxtest::Reap;
using kxtest::Spawn;

SMStatus SetText(const std::string &path, const std::string &key, const std::string &value) {
  return SMPropertyFileWriteValue(key.c_str(), SM_XLT_UTF8_STRING, value.c_str(),
                                  static_cast<uint32_t>(value.size() + 1), path.c_str(), 1);
}

// The text value of a key; `status` gets the read's status.
std::string GetText(const std::string &path, const std::string &key, SMStatus *status) {
  char value[256];
  uint32_t size = sizeof value;
  *status = SMPropertyFileReadValue(key.c_str(), SM_XLT_UTF8_STRING, value, &size, nullptr, 0,
                                    path.c_str(), 1);
  return *status == SM_STATUS_SUCCESS ? std::string(value, size - 1) : "";
}

// Keys of one width, so that none is a prefix of another (a line's key
// answers every key that begins with it).
std::string Key(int writer, int i) {
  char key[16];
  std::snprintf(key, sizeof key, "p%dk%03d", writer, i);
  return key;
}

// What a writer leaves in key i: cleared (the property file's form of a
// removal: a write cannot take a line out), a value continued over two
// lines, or a one-line value written over a continued one.
std::string FinalValue(int writer, int i) {
  const std::string stem =
      std::string("v").append(std::to_string(writer)).append(".").append(std::to_string(i));
  switch (i % 3) {
    case 0:
      return "";
    case 1:
      return stem + ".2\n  more";
    default:
      return stem + ".3";
  }
}

TEST(PropertyReliability, four_writers_lose_nothing) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("shared"));
  const std::string path = sandbox.Path("shared/w.properties");
  constexpr int kWriters = 4, kKeys = 250;
  // Every key exists from the start (a write can only replace a line); the
  // writers' keys are interleaved through the file.
  std::string initial = "# four writers\n";
  for (int i = 0; i < kKeys; ++i) {
    for (int w = 0; w < kWriters; ++w) initial += Key(w, i) + "=initial\n";
  }
  kxtest::WriteFile(path, initial);

  std::vector<pid_t> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.push_back(Spawn([&, w] {
      int failures = 0;
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = Key(w, i);
        const std::string stem =
            std::string("v").append(std::to_string(w)).append(".").append(std::to_string(i));
        failures += SetText(path, key, stem + ".1") != SM_STATUS_SUCCESS;
        if (i % 3 == 0) {
          failures += SetText(path, key, "") != SM_STATUS_SUCCESS;
        } else {
          failures += SetText(path, key, stem + ".2\\\n  more") != SM_STATUS_SUCCESS;
          if (i % 3 == 2) failures += SetText(path, key, stem + ".3") != SM_STATUS_SUCCESS;
        }
      }
      return failures == 0 ? 0 : 1;
    }));
  }
  int failed = 0;
  for (pid_t writer : writers) failed += Reap(writer) != SM_STATUS_SUCCESS;
  EXPECT_EQ(failed, 0);

  int lost = 0, wrong = 0;
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kKeys; ++i) {
      SMStatus status;
      const std::string value = GetText(path, Key(w, i), &status);
      if (status != SM_STATUS_SUCCESS) {
        ++lost;
      } else if (value != FinalValue(w, i)) {
        ++wrong;
      }
    }
  }
  // The file parses into exactly the initial keys, in their order, and has
  // one continuation line for each continued value.
  std::vector<char> list(1 << 16);
  uint32_t size = static_cast<uint32_t>(list.size());
  ASSERT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UTF8_STRING, list.data(), &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_SUCCESS);
  std::vector<std::string> keys, expected_keys;
  for (const char *key = list.data(); *key != '\0'; key += std::strlen(key) + 1) {
    keys.push_back(key);
  }
  for (int i = 0; i < kKeys; ++i) {
    for (int w = 0; w < kWriters; ++w) expected_keys.push_back(Key(w, i));
  }
  const std::string content = kxtest::ReadFile(path);
  const size_t lines = static_cast<size_t>(std::count(content.begin(), content.end(), '\n'));
  size_t continued = 0;
  int rewrites = 0;
  for (int i = 0; i < kKeys; ++i) {
    continued += kWriters * (i % 3 == 1);
    rewrites += kWriters * (i % 3 == 2 ? 3 : 2);
  }
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(keys, expected_keys);
  EXPECT_EQ(lines, 1 + expected_keys.size() + continued);
  EXPECT_EQ(DirectoryEntries(sandbox.Path("shared")), std::set<std::string>{"w.properties"});
  std::printf(
      "[ figures  ] %d writers x %d keys (%d rewrites of a %zu-byte file): lost %d, "
      "wrong values %d, keys listed %zu of %zu, lines %zu, leftover files %zu\n",
      kWriters, kKeys, rewrites, content.size(), lost, wrong, keys.size(), expected_keys.size(),
      lines, DirectoryEntries(sandbox.Path("shared")).size() - 1);
}

// The seam's target for the crash test: the step and detail at which the
// writer kills itself.
config::RewriteStep g_kill_step;
uint64_t g_kill_detail;

void KillAtChosenStep(config::RewriteStep step, uint64_t detail) {
  if (step == g_kill_step && detail >= g_kill_detail) raise(SIGKILL);
}

// A file of a few kilobytes whose key t runs over three lines.
std::string BaseContent() {
  std::string content = "# settings\n";
  for (int i = 0; i < 100; ++i) {
    content += "key" + std::to_string(100 + i) + " = value " + std::to_string(i) + "\n";
  }
  content += "t: old\\\n  second\\\n  third\n";
  for (int i = 0; i < 50; ++i) content += "after" + std::to_string(100 + i) + "=x\n";
  return content;
}

TEST(PropertyReliability, writer_killed_at_every_step_leaves_old_or_new) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("crash"));
  const std::string path = sandbox.Path("crash/c.properties");
  const std::string base = BaseContent();
  const config::RewriteStep steps[] = {
      config::RewriteStep::kTempCreated,     config::RewriteStep::kTempWriting,
      config::RewriteStep::kTempWritten,     config::RewriteStep::kFileMovedToBackup,
      config::RewriteStep::kTempMovedToFile, config::RewriteStep::kBackupRemoved,
  };
  const std::string old_entry = "t: old\\\n  second\\\n  third\n";
  std::mt19937 random(2025);
  constexpr int kTrials = 1000;
  int old_seen = 0, new_seen = 0, mixed = 0, empty = 0, killed = 0, backups_left = 0;
  size_t temp_files = 0;
  std::map<int, int> per_step;
  for (int trial = 0; trial < kTrials; ++trial) {
    kxtest::WriteFile(path, base);
    const std::string value = "trial " + std::to_string(trial);
    std::string expected_new = base;
    expected_new.replace(expected_new.find(old_entry), old_entry.size(), "t=" + value + "\n");
    const int step_index = static_cast<int>(random() % std::size(steps));
    g_kill_step = steps[step_index];
    // The copy is written in 512-byte pieces; stop before one of them.
    g_kill_detail = g_kill_step == config::RewriteStep::kTempWriting
                        ? random() % ((expected_new.size() + 511) / 512) * 512
                        : 0;
    pid_t writer = Spawn([&] {
      config::SetRewriteSeam(&KillAtChosenStep);
      return SetText(path, "t", value) == SM_STATUS_SUCCESS ? 0 : 1;
    });
    killed += Reap(writer) == 128 + SIGKILL;
    ++per_step[step_index];
    // The next access rolls back whatever the writer left.
    SMStatus status;
    EXPECT_EQ(GetText(path, "after149", &status), "x");
    const std::string content = kxtest::ReadFile(path);
    if (content.empty()) {
      ++empty;
    } else if (content == base) {
      ++old_seen;
    } else if (content == expected_new) {
      ++new_seen;
    } else {
      ++mixed;
    }
    backups_left += kxtest::FileExists(config::BackupName(path));
    // Killed writers leave their temporary copies behind; clear them.
    for (const std::string &name : DirectoryEntries(sandbox.Path("crash"))) {
      if (name != "c.properties") {
        ++temp_files;
        fs::remove(sandbox.Path("crash/" + name));
      }
    }
  }
  EXPECT_EQ(killed, kTrials);
  EXPECT_EQ(mixed, 0);
  EXPECT_EQ(empty, 0);
  EXPECT_EQ(backups_left, 0);
  EXPECT_EQ(old_seen + new_seen, kTrials);
  EXPECT_GT(old_seen, 0);
  EXPECT_GT(new_seen, 0);
  std::printf(
      "[ figures  ] %d kills at rewrite steps (temp created/writing/written/file to "
      "backup/copy to file/backup removed = %d/%d/%d/%d/%d/%d): old %d, new %d, mixed %d, "
      "empty %d, backups left %d, temporary files left by killed writers %zu\n",
      killed, per_step[0], per_step[1], per_step[2], per_step[3], per_step[4], per_step[5],
      old_seen, new_seen, mixed, empty, backups_left, temp_files);
}

TEST(PropertyReliability, writer_killed_at_random_times_leaves_a_whole_file) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("timed"));
  const std::string path = sandbox.Path("timed/c.properties");
  const std::string base = BaseContent();
  const size_t t_line = base.find("t: old");
  const std::string tail = base.substr(base.find("after100"));
  std::mt19937 random(78);
  constexpr int kTrials = 200;
  int whole = 0, torn = 0, rewritten = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    kxtest::WriteFile(path, base);
    pid_t writer = Spawn([&] {
      for (int n = 0;; ++n) SetText(path, "t", std::string("n").append(std::to_string(n)));
      return 0;
    });
    timespec pause{0, static_cast<long>(random() % 3000000)};
    nanosleep(&pause, nullptr);
    kill(writer, SIGKILL);
    Reap(writer);
    SMStatus status;
    GetText(path, "after100", &status);  // rolls back a half-done rewrite
    const std::string content = kxtest::ReadFile(path);
    // A whole file: the base, or the base with t's entry one line "t=n<k>".
    bool is_whole = content == base;
    if (!is_whole && content.compare(0, t_line, base, 0, t_line) == 0) {
      const size_t end = content.find('\n', t_line);
      const std::string entry =
          end == std::string::npos ? "" : content.substr(t_line, end - t_line);
      is_whole = entry.size() > 3 && entry.compare(0, 3, "t=n") == 0 &&
                 entry.find_first_not_of("0123456789", 3) == std::string::npos &&
                 content.substr(end + 1) == tail;
      rewritten += is_whole;
    }
    whole += is_whole;
    torn += !is_whole;
    for (const std::string &name : DirectoryEntries(sandbox.Path("timed"))) {
      if (name != "c.properties") fs::remove(sandbox.Path("timed/" + name));
    }
  }
  EXPECT_EQ(torn, 0);
  std::printf("[ figures  ] %d timed kills: whole files %d (rewritten %d), torn %d\n", kTrials,
              whole, rewritten, torn);
}

}  // namespace

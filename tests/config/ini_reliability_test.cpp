// The INI engine with real processes: concurrent writers lose nothing, a
// writer killed anywhere in its rewrite leaves the old or the new file,
// readers never see a half-written file, and two spellings of one file
// exclude each other. Each test prints its figures.
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <string>
#include <vector>

#include "config/file_rewrite.h"
#include "config/ini.h"
#include "processes.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
using kx::Status;
using kxtest::DirectoryEntries;
using kxtest::Reap;
using kxtest::Spawn;
namespace config = kx::config;

SMStatus SetText(const std::string &path, const std::string &section, const std::string &key,
                 const char *value) {
  return SMWriteINIPathFileValue(section.c_str(), key.c_str(), 1, value,
                                 value ? static_cast<uint32_t>(strlen(value) + 1) : 0, path.c_str(),
                                 1);
}

// Every line of the file is blank, a header or a key line, and no key repeats
// within a section: the file parses.
bool WellFormed(const std::string &content, size_t *key_lines) {
  std::set<std::string> seen;
  std::string section;
  *key_lines = 0;
  size_t at = 0;
  while (at < content.size()) {
    size_t end = content.find('\n', at);
    if (end == std::string::npos) return false;
    std::string line = content.substr(at, end - at);
    at = end + 1;
    if (line.empty()) continue;  // the blank line before an appended section
    if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
      section = line.substr(1, line.size() - 2);
      continue;
    }
    size_t equals = line.find('=');
    if (equals == std::string::npos ||
        !seen.insert(section + "/" + line.substr(0, equals)).second) {
      return false;
    }
    ++*key_lines;
  }
  return true;
}

TEST(IniReliability, eight_writers_lose_nothing) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("shared"));
  const std::string path = sandbox.Path("shared/w.ini");
  constexpr int kWriters = 8, kKeys = 500;
  std::vector<pid_t> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.push_back(Spawn([&, w] {
      const std::string section = "writer" + std::to_string(w % 3);
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = "p" + std::to_string(w) + "k" + std::to_string(i);
        const std::string value = "v" + std::to_string(w) + "." + std::to_string(i);
        if (SetText(path, section, key, value.c_str()) != 0) return 1;
        // Every even key is deleted again once its successor is written.
        if (i % 2 == 1) {
          const std::string previous = "p" + std::to_string(w) + "k" + std::to_string(i - 1);
          if (SetText(path, section, previous, nullptr) != 0) return 2;
        }
      }
      return 0;
    }));
  }
  int failed = 0;
  for (pid_t writer : writers) failed += Reap(writer) != 0;
  EXPECT_EQ(failed, 0);

  size_t key_lines = 0;
  EXPECT_TRUE(WellFormed(kxtest::ReadFile(path), &key_lines));
  int lost = 0, resurrected = 0, wrong = 0;
  for (int w = 0; w < kWriters; ++w) {
    const std::string section = "writer" + std::to_string(w % 3);
    for (int i = 0; i < kKeys; ++i) {
      std::string value;
      Status status = config::IniReadText(
          path.c_str(), section.c_str(),
          std::string("p").append(std::to_string(w)).append("k").append(std::to_string(i)).c_str(),
          &value, 1);
      if (i % 2 == 0) {
        resurrected += status != Status::kEntryNotFound;
      } else if (status != Status::kSuccess) {
        ++lost;
      } else {
        wrong += value != "v" + std::to_string(w) + "." + std::to_string(i);
      }
    }
  }
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(resurrected, 0);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(key_lines, static_cast<size_t>(kWriters * kKeys / 2));
  EXPECT_EQ(DirectoryEntries(sandbox.Path("shared")), std::set<std::string>{"w.ini"});
  std::printf(
      "[ figures  ] %d writers x %d keys (%d rewrites): lost %d, deleted keys back %d, "
      "wrong values %d, key lines %zu, leftover files %zu\n",
      kWriters, kKeys, kWriters * kKeys * 3 / 2, lost, resurrected, wrong, key_lines,
      DirectoryEntries(sandbox.Path("shared")).size() - 1);
}

TEST(IniReliability, threads_of_one_process_exclude_each_other) {
  kxtest::Sandbox sandbox;
  const std::string path = sandbox.Path("threads.ini");
  constexpr int kThreads = 4, kKeys = 150;
  std::vector<std::thread> threads;
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key =
            std::string("t").append(std::to_string(t)).append("k").append(std::to_string(i));
        failures[t] += SetText(path, "s", key, "1") != 0;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  std::vector<std::string> keys;
  ASSERT_EQ(config::IniListKeys(path.c_str(), "s", &keys, 1), Status::kSuccess);
  EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
  EXPECT_EQ(keys.size(), static_cast<size_t>(kThreads * kKeys));
  std::printf("[ figures  ] %d threads x %d keys in one process: %zu of %d keys present\n",
              kThreads, kKeys, keys.size(), kThreads * kKeys);
}

// The seam's target for the crash test: the step and detail at which the
// writer kills itself.
config::RewriteStep g_kill_step;
uint64_t g_kill_detail;

void KillAtChosenStep(config::RewriteStep step, uint64_t detail) {
  if (step == g_kill_step && detail >= g_kill_detail) raise(SIGKILL);
}

std::string BaseContent() {
  std::string content = "; settings\n[s]\n";
  for (int i = 0; i < 150; ++i)
    content += "key" + std::to_string(i) + "=value " + std::to_string(i) + "\n";
  content += "t=old\n\n[u]\nx=1\n";
  return content;
}

TEST(IniReliability, writer_killed_anywhere_leaves_old_or_new) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("crash"));
  const std::string path = sandbox.Path("crash/c.ini");
  const std::string base = BaseContent();
  const config::RewriteStep steps[] = {
      config::RewriteStep::kTempCreated,     config::RewriteStep::kTempWriting,
      config::RewriteStep::kTempWritten,     config::RewriteStep::kFileMovedToBackup,
      config::RewriteStep::kTempMovedToFile, config::RewriteStep::kBackupRemoved,
  };
  std::mt19937 random(2024);
  constexpr int kTrials = 1000;
  int old_seen = 0, new_seen = 0, mixed = 0, empty = 0, killed = 0, backups_left = 0;
  size_t temp_files = 0;
  std::map<int, int> per_step;
  for (int trial = 0; trial < kTrials; ++trial) {
    kxtest::WriteFile(path, base);
    const std::string value = "trial " + std::to_string(trial);
    std::string expected_new = base;
    expected_new.replace(expected_new.find("t=old\n"), 6, "t=" + value + "\n");
    const int step_index = static_cast<int>(random() % std::size(steps));
    g_kill_step = steps[step_index];
    // The copy is written in 512-byte pieces; stop before one of them.
    g_kill_detail = g_kill_step == config::RewriteStep::kTempWriting
                        ? random() % ((base.size() + 511) / 512) * 512
                        : 0;
    pid_t writer = Spawn([&] {
      config::SetRewriteSeam(&KillAtChosenStep);
      return SetText(path, "s", "t", value.c_str()) == 0 ? 0 : 1;
    });
    killed += Reap(writer) == 128 + SIGKILL;
    ++per_step[step_index];
    // The next access rolls back whatever the writer left.
    std::string read_back;
    ASSERT_EQ(config::IniReadText(path.c_str(), "u", "x", &read_back, 1), Status::kSuccess);
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
      if (name != "c.ini") {
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
  EXPECT_GT(new_seen, 0);  // kills after the last step leave the new file
  std::printf(
      "[ figures  ] %d kills at rewrite steps (temp created/writing/written/file to "
      "backup/copy to file/backup removed = %d/%d/%d/%d/%d/%d): old %d, new %d, mixed %d, "
      "empty %d, backups left %d, temporary files left by killed writers %zu\n",
      killed, per_step[0], per_step[1], per_step[2], per_step[3], per_step[4], per_step[5],
      old_seen, new_seen, mixed, empty, backups_left, temp_files);
}

TEST(IniReliability, writer_killed_at_random_times_leaves_a_whole_file) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("timed"));
  const std::string path = sandbox.Path("timed/c.ini");
  const std::string base = BaseContent();
  const size_t t_line = base.find("t=old\n");
  std::mt19937 random(77);
  constexpr int kTrials = 300;
  int whole = 0, torn = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    kxtest::WriteFile(path, base);
    pid_t writer = Spawn([&] {
      for (int n = 0;; ++n)
        SetText(path, "s", "t", std::string("n").append(std::to_string(n)).c_str());
      return 0;
    });
    timespec pause{0, static_cast<long>(random() % 3000000)};
    nanosleep(&pause, nullptr);
    kill(writer, SIGKILL);
    Reap(writer);
    std::string value;
    ASSERT_EQ(config::IniReadText(path.c_str(), "u", "x", &value, 1), Status::kSuccess);
    const std::string content = kxtest::ReadFile(path);
    // A whole file is the base with the t line holding "old" or some "n<k>".
    const bool same_frame =
        content.size() > t_line && content.compare(0, t_line, base, 0, t_line) == 0;
    const size_t end = same_frame ? content.find('\n', t_line) : std::string::npos;
    const std::string t_value =
        end != std::string::npos ? content.substr(t_line, end - t_line) : "";
    const bool valid_value =
        t_value == "t=old" || (t_value.size() > 3 && t_value.compare(0, 3, "t=n") == 0 &&
                               t_value.find_first_not_of("0123456789", 3) == std::string::npos);
    const bool same_tail =
        end != std::string::npos && content.substr(end) == base.substr(t_line + 5);
    if (valid_value && same_tail) {
      ++whole;
    } else {
      ++torn;
    }
    for (const std::string &name : DirectoryEntries(sandbox.Path("timed"))) {
      if (name != "c.ini") fs::remove(sandbox.Path("timed/" + name));
    }
  }
  EXPECT_EQ(torn, 0);
  std::printf("[ figures  ] %d timed kills: whole files %d, torn %d\n", kTrials, whole, torn);
}

TEST(IniReliability, readers_never_see_a_half_written_file) {
  kxtest::Sandbox sandbox;
  const std::string path = sandbox.Path("big.ini");
  std::string content = "[big]\n";
  constexpr int kKeys = 2000;
  for (int i = 0; i < kKeys; ++i)
    content += "k" + std::to_string(i) + "=" + std::string(20, 'x') + "\n";
  content += "marker=start\n";
  kxtest::WriteFile(path, content);
  int done[2];
  ASSERT_EQ(pipe(done), 0);
  constexpr int kReaders = 3, kRewrites = 300;
  std::vector<pid_t> readers;
  for (int r = 0; r < kReaders; ++r) {
    readers.push_back(Spawn([&] {
      close(done[1]);
      fcntl(done[0], F_SETFL, O_NONBLOCK);
      int reads = 0, bad = 0;
      char byte;
      while (read(done[0], &byte, 1) != 0) {
        std::vector<std::string> keys;
        Status status = config::IniListKeys(path.c_str(), "big", &keys, 1);
        bad += status != Status::kSuccess || keys.size() != kKeys + 1;
        std::string value;
        status = config::IniReadText(path.c_str(), "big", "k1999", &value, 1);
        bad += status != Status::kSuccess || value != std::string(20, 'x');
        reads += 2;
      }
      std::printf("[ figures  ] reader %d: %d reads, %d saw a partial file\n", getpid(), reads,
                  bad);
      return bad == 0 && reads > 0 ? 0 : 1;
    }));
  }
  close(done[0]);
  int write_failures = 0;
  for (int n = 0; n < kRewrites; ++n) {
    write_failures += SetText(path, "big", "marker", ("m" + std::to_string(n)).c_str()) != 0;
  }
  close(done[1]);
  int failed_readers = 0;
  for (pid_t reader : readers) failed_readers += Reap(reader) != 0;
  EXPECT_EQ(write_failures, 0);
  EXPECT_EQ(failed_readers, 0);
  std::printf("[ figures  ] %d rewrites of a %zu-byte file under %d readers: readers failing %d\n",
              kRewrites, content.size(), kReaders, failed_readers);
}

TEST(IniReliability, two_spellings_of_one_file_exclude_each_other) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("x"));
  const std::string plain = sandbox.Path("x/a.ini");
  fs::create_symlink("a.ini", sandbox.Path("x/link.ini"));
  const std::string spellings[] = {plain, sandbox.Path("x/./a.ini"), sandbox.Path("x/link.ini"),
                                   sandbox.Path("x/../x/a.ini")};
  constexpr int kKeys = 200;
  std::vector<pid_t> writers;
  for (size_t w = 0; w < std::size(spellings); ++w) {
    writers.push_back(Spawn([&, w] {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = "w" + std::to_string(w) + "k" + std::to_string(i);
        if (SetText(spellings[w], "s", key, "1") != 0) return 1;
      }
      return 0;
    }));
  }
  int failed = 0;
  for (pid_t writer : writers) failed += Reap(writer) != 0;
  EXPECT_EQ(failed, 0);
  std::vector<std::string> keys;
  ASSERT_EQ(config::IniListKeys(plain.c_str(), "s", &keys, 1), Status::kSuccess);
  const size_t expected = std::size(spellings) * kKeys;
  EXPECT_EQ(keys.size(), expected);
  EXPECT_EQ(std::set<std::string>(keys.begin(), keys.end()).size(), expected);
  EXPECT_TRUE(fs::is_symlink(sandbox.Path("x/link.ini")));
  EXPECT_EQ(DirectoryEntries(sandbox.Path("x")), (std::set<std::string>{"a.ini", "link.ini"}));
  std::printf("[ figures  ] %zu spellings x %d keys: %zu of %zu keys present\n",
              std::size(spellings), kKeys, keys.size(), expected);
}

}  // namespace

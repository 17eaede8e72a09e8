// INI and property files with real processes: concurrent writers lose
// nothing, a writer killed at any rewrite step or at a random time leaves the
// old or the new file (never a mixture or an empty one), readers never see a
// half-written file, and two spellings of one file exclude each other. Each
// test prints its figures.
#include <gtest/gtest.h>
#include <kxsupt.h>
#include <fcntl.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "config/file_rewrite.h"
#include "config/ini.h"
#include "sandbox.h"

namespace {

namespace fs = std::filesystem;
using kx::Status;
using kxtest::DirectoryEntries;
using kxtest::Reap;
using kxtest::Spawn;
namespace config = kx::config;

SMStatus SetIni(const std::string &path, const std::string &section, const std::string &key,
                const char *value) {
  return SMWriteINIPathFileValue(section.c_str(), key.c_str(), 1, value,
                                 value ? static_cast<uint32_t>(strlen(value) + 1) : 0, path.c_str(),
                                 1);
}

SMStatus SetProperty(const std::string &path, const std::string &key, const std::string &value) {
  return SMPropertyFileWriteValue(key.c_str(), SM_XLT_UTF8_STRING, value.c_str(),
                                  static_cast<uint32_t>(value.size() + 1), path.c_str(), 1);
}

std::string GetProperty(const std::string &path, const std::string &key, SMStatus *status) {
  char value[256];
  uint32_t size = sizeof value;
  *status = SMPropertyFileReadValue(key.c_str(), SM_XLT_UTF8_STRING, value, &size, nullptr, 0,
                                    path.c_str(), 1);
  return *status == SM_STATUS_SUCCESS ? std::string(value, size - 1) : "";
}

std::string Name(const char *stem, int a, const char *middle, int b) {
  return std::string(stem).append(std::to_string(a)).append(middle).append(std::to_string(b));
}

// Every line is blank, a header or a key line, and no key repeats within a
// section; counts the key lines.
bool WellFormed(const std::string &content, size_t *key_lines) {
  std::set<std::string> seen;
  std::string section;
  *key_lines = 0;
  for (size_t at = 0, end; at < content.size(); at = end + 1) {
    end = content.find('\n', at);
    if (end == std::string::npos) return false;
    const std::string line = content.substr(at, end - at);
    if (line.empty()) continue;  // the blank line before an appended section
    if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
      section = line;
      continue;
    }
    const size_t equals = line.find('=');
    if (equals == std::string::npos || !seen.insert(section + line.substr(0, equals)).second) {
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
        if (SetIni(path, section, Name("p", w, "k", i), Name("v", w, ".", i).c_str()) != 0) {
          return 1;
        }
        // Every even key is deleted again once its successor is written.
        if (i % 2 == 1 && SetIni(path, section, Name("p", w, "k", i - 1), nullptr) != 0) return 2;
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
      const Status status = config::IniReadText(path.c_str(), section.c_str(),
                                                Name("p", w, "k", i).c_str(), &value, 1);
      if (i % 2 == 0) {
        resurrected += status != Status::kEntryNotFound;
      } else if (status != Status::kSuccess) {
        ++lost;
      } else {
        wrong += value != Name("v", w, ".", i);
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
      for (int i = 0; i < kKeys; ++i)
        failures[t] += SetIni(path, "s", Name("t", t, "k", i), "1") != 0;
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

TEST(IniReliability, readers_never_see_a_half_written_file) {
  kxtest::Sandbox sandbox;
  const std::string path = sandbox.Path("big.ini");
  std::string content = "[big]\n";
  constexpr int kKeys = 2000;
  for (int i = 0; i < kKeys; ++i)
    content.append("k").append(std::to_string(i)).append("=").append(20, 'x').append("\n");
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
    write_failures +=
        SetIni(path, "big", "marker", std::string("m").append(std::to_string(n)).c_str()) != 0;
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
  for (int w = 0; w < 4; ++w) {
    writers.push_back(Spawn([&, w] {
      for (int i = 0; i < kKeys; ++i) {
        if (SetIni(spellings[w], "s", Name("w", w, "k", i), "1") != 0) return 1;
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

// Property keys of one width, so that none is a prefix of another (a line's
// key answers every key that begins with it).
std::string PropertyKey(int writer, int i) {
  char key[16];
  std::snprintf(key, sizeof key, "p%dk%03d", writer, i);
  return key;
}

TEST(PropertyReliability, four_writers_lose_nothing) {
  kxtest::Sandbox sandbox;
  fs::create_directory(sandbox.Path("shared"));
  const std::string path = sandbox.Path("shared/w.properties");
  constexpr int kWriters = 4, kKeys = 250;
  // Every key exists from the start (a write can only replace a line); the
  // writers' keys are interleaved through the file.
  std::string initial = "# four writers\n";
  std::vector<std::string> expected_keys;
  for (int i = 0; i < kKeys; ++i) {
    for (int w = 0; w < kWriters; ++w) {
      initial += PropertyKey(w, i) + "=initial\n";
      expected_keys.push_back(PropertyKey(w, i));
    }
  }
  kxtest::WriteFile(path, initial);
  // Key i ends cleared (a write cannot take a line out), continued over two
  // lines, or one line written over a continued one.
  std::vector<pid_t> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.push_back(Spawn([&, w] {
      int failures = 0;
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = PropertyKey(w, i), stem = Name("v", w, ".", i);
        failures += SetProperty(path, key, stem + ".1") != SM_STATUS_SUCCESS;
        if (i % 3 == 0) {
          failures += SetProperty(path, key, "") != SM_STATUS_SUCCESS;
        } else {
          failures += SetProperty(path, key, stem + ".2\\\n  more") != SM_STATUS_SUCCESS;
          if (i % 3 == 2) failures += SetProperty(path, key, stem + ".3") != SM_STATUS_SUCCESS;
        }
      }
      return failures == 0 ? 0 : 1;
    }));
  }
  int failed = 0;
  for (pid_t writer : writers) failed += Reap(writer) != 0;
  EXPECT_EQ(failed, 0);

  int lost = 0, wrong = 0, rewrites = 0;
  size_t continued = 0;
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kKeys; ++i) {
      const std::string stem = Name("v", w, ".", i);
      const std::string final_value[] = {"", stem + ".2\n  more", stem + ".3"};
      SMStatus status;
      const std::string value = GetProperty(path, PropertyKey(w, i), &status);
      lost += status != SM_STATUS_SUCCESS;
      wrong += status == SM_STATUS_SUCCESS && value != final_value[i % 3];
      continued += i % 3 == 1;
      rewrites += i % 3 == 2 ? 3 : 2;
    }
  }
  // The file parses into exactly the initial keys, in their order, with one
  // continuation line for each continued value.
  std::vector<char> list(1 << 16);
  uint32_t size = static_cast<uint32_t>(list.size());
  ASSERT_EQ(SMPropertyFileReadValue(nullptr, SM_XLT_UTF8_STRING, list.data(), &size, nullptr, 0,
                                    path.c_str(), 1),
            SM_STATUS_SUCCESS);
  std::vector<std::string> keys;
  for (const char *key = list.data(); *key != '\0'; key += std::strlen(key) + 1) {
    keys.push_back(key);
  }
  const std::string content = kxtest::ReadFile(path);
  const size_t lines = static_cast<size_t>(std::count(content.begin(), content.end(), '\n'));
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

// ---- Writers killed during a rewrite ------------------------------------
//
// Both formats: a file of a few kilobytes whose key t is rewritten; the new
// entry is always the one line "t=<value>".

struct CrashFormat {
  const char *name;  // the file's name
  std::string base;
  std::string old_entry;  // t's entry in `base`
  std::function<SMStatus(const std::string &path, const std::string &value)> write_t;
  // An access that rolls back what a killed writer left; true when it read.
  std::function<bool(const std::string &path)> probe;
};

CrashFormat Ini() {
  std::string base = "; settings\n[s]\n";
  for (int i = 0; i < 150; ++i) base += Name("key", i, "=value ", i) + "\n";
  base += "t=old\n\n[u]\nx=1\n";
  return {"c.ini", base, "t=old\n",
          [](const std::string &path, const std::string &value) {
            return SetIni(path, "s", "t", value.c_str());
          },
          [](const std::string &path) {
            std::string value;
            return config::IniReadText(path.c_str(), "u", "x", &value, 1) == Status::kSuccess &&
                   value == "1";
          }};
}

CrashFormat Property() {
  std::string base = "# settings\n";
  for (int i = 0; i < 100; ++i) base += Name("key", 100 + i, " = value ", i) + "\n";
  base += "t: old\\\n  second\\\n  third\n";
  for (int i = 0; i < 50; ++i) base += "after" + std::to_string(100 + i) + "=x\n";
  return {"c.properties", base, "t: old\\\n  second\\\n  third\n",
          [](const std::string &path, const std::string &value) {
            return SetProperty(path, "t", value);
          },
          [](const std::string &path) {
            SMStatus status;
            return GetProperty(path, "after149", &status) == "x";
          }};
}

// The seam's target: the step and detail at which the writer kills itself.
config::RewriteStep g_kill_step;
uint64_t g_kill_detail;

void KillAtChosenStep(config::RewriteStep step, uint64_t detail) {
  if (step == g_kill_step && detail >= g_kill_detail) raise(SIGKILL);
}

// Whether `dir`'s file system makes unnamed files, so that a rewrite's copy
// has no name until it is the file.
bool MakesUnnamedFiles(const std::string &dir) {
  const int fd = open(dir.c_str(), O_TMPFILE | O_WRONLY, 0600);
  if (fd >= 0) close(fd);
  return fd >= 0;
}

// Rewrites with named copies only, for the life of the object.
struct NamedCopiesOnly {
  NamedCopiesOnly() { config::SetUnnamedCopiesForTesting(false); }
  ~NamedCopiesOnly() { config::SetUnnamedCopiesForTesting(true); }
};

// Removes what killed writers left beside the file; returns how many.
size_t ClearLeftovers(const std::string &dir, const std::string &keep) {
  size_t removed = 0;
  for (const std::string &name : DirectoryEntries(dir)) {
    if (name != keep) removed += fs::remove(dir + "/" + name);
  }
  return removed;
}

// `named_copies`: the copies have names (a file system without unnamed files),
// so the killed writers leave some behind.
void KillAtEveryStep(const CrashFormat &format, unsigned seed, bool named_copies = false) {
  kxtest::Sandbox sandbox;
  const std::string dir = sandbox.Path("crash"), path = dir + "/" + format.name;
  fs::create_directory(dir);
  const config::RewriteStep steps[] = {
      config::RewriteStep::kTempCreated,     config::RewriteStep::kTempWriting,
      config::RewriteStep::kTempWritten,     config::RewriteStep::kFileMovedToBackup,
      config::RewriteStep::kTempMovedToFile, config::RewriteStep::kBackupRemoved,
  };
  std::mt19937 random(seed);
  constexpr int kTrials = 1000;
  int old_seen = 0, new_seen = 0, mixed = 0, empty = 0, killed = 0, backups_left = 0;
  size_t temp_files = 0;
  std::map<int, int> per_step;
  for (int trial = 0; trial < kTrials; ++trial) {
    kxtest::WriteFile(path, format.base);
    const std::string value = "trial " + std::to_string(trial);
    std::string expected_new = format.base;
    expected_new.replace(expected_new.find(format.old_entry), format.old_entry.size(),
                         "t=" + value + "\n");
    const int step_index = static_cast<int>(random() % std::size(steps));
    g_kill_step = steps[step_index];
    // The copy is written in 512-byte pieces; stop before one of them.
    g_kill_detail = g_kill_step == config::RewriteStep::kTempWriting
                        ? random() % ((expected_new.size() + 511) / 512) * 512
                        : 0;
    const pid_t writer = Spawn([&] {
      config::SetRewriteSeam(&KillAtChosenStep);
      return format.write_t(path, value) == 0 ? 0 : 1;
    });
    killed += Reap(writer) == 128 + SIGKILL;
    ++per_step[step_index];
    ASSERT_TRUE(format.probe(path));
    const std::string content = kxtest::ReadFile(path);
    empty += content.empty();
    old_seen += content == format.base;
    new_seen += content == expected_new;
    mixed += !content.empty() && content != format.base && content != expected_new;
    backups_left += kxtest::FileExists(config::BackupName(path));
    temp_files += ClearLeftovers(dir, format.name);
  }
  EXPECT_EQ(killed, kTrials);
  EXPECT_EQ(mixed, 0);
  EXPECT_EQ(empty, 0);
  EXPECT_EQ(backups_left, 0);
  if (named_copies) {
    EXPECT_GT(temp_files, 0u);
  } else if (MakesUnnamedFiles(dir)) {
    EXPECT_EQ(temp_files, 0u);
  }
  EXPECT_EQ(old_seen + new_seen, kTrials);
  EXPECT_GT(old_seen, 0);
  EXPECT_GT(new_seen, 0);  // kills after the last step leave the new file
  std::printf(
      "[ figures  ] %s: %d kills at rewrite steps (temp created/writing/written/file to "
      "backup/copy to file/backup removed = %d/%d/%d/%d/%d/%d): old %d, new %d, mixed %d, "
      "empty %d, backups left %d, temporary files left by killed writers %zu\n",
      format.name, killed, per_step[0], per_step[1], per_step[2], per_step[3], per_step[4],
      per_step[5], old_seen, new_seen, mixed, empty, backups_left, temp_files);
}

void KillAtRandomTimes(const CrashFormat &format, unsigned seed, int trials) {
  kxtest::Sandbox sandbox;
  const std::string dir = sandbox.Path("timed"), path = dir + "/" + format.name;
  fs::create_directory(dir);
  // A whole file is the base, or the base with t's entry one line "t=n<k>".
  const size_t at = format.base.find(format.old_entry);
  const std::string head = format.base.substr(0, at);
  const std::string tail = format.base.substr(at + format.old_entry.size());
  const std::regex rewritten_entry("t=n[0-9]+\n");
  std::mt19937 random(seed);
  int whole = 0, torn = 0, rewritten = 0;
  for (int trial = 0; trial < trials; ++trial) {
    kxtest::WriteFile(path, format.base);
    const pid_t writer = Spawn([&] {
      for (int n = 0;; ++n) format.write_t(path, std::string("n").append(std::to_string(n)));
      return 0;
    });
    timespec pause{0, static_cast<long>(random() % 3000000)};
    nanosleep(&pause, nullptr);
    kill(writer, SIGKILL);
    Reap(writer);
    format.probe(path);
    const std::string content = kxtest::ReadFile(path);
    const bool renewed =
        content.size() > head.size() + tail.size() && content.compare(0, at, head) == 0 &&
        content.compare(content.size() - tail.size(), tail.size(), tail) == 0 &&
        std::regex_match(content.substr(at, content.size() - at - tail.size()), rewritten_entry);
    rewritten += renewed;
    whole += renewed || content == format.base;
    torn += !renewed && content != format.base;
    ClearLeftovers(dir, format.name);
  }
  EXPECT_EQ(torn, 0);
  std::printf("[ figures  ] %s: %d timed kills: whole files %d (rewritten %d), torn %d\n",
              format.name, trials, whole, rewritten, torn);
}

TEST(IniReliability, writer_killed_at_every_step_leaves_old_or_new) {
  KillAtEveryStep(Ini(), 2024);
}

TEST(IniReliability, with_named_copies_a_killed_writer_still_leaves_old_or_new) {
  NamedCopiesOnly named;
  KillAtEveryStep(Ini(), 2026, true);
}

TEST(IniReliability, writer_killed_at_random_times_leaves_a_whole_file) {
  KillAtRandomTimes(Ini(), 77, 300);
}

TEST(PropertyReliability, writer_killed_at_every_step_leaves_old_or_new) {
  KillAtEveryStep(Property(), 2025);
}

TEST(PropertyReliability, writer_killed_at_random_times_leaves_a_whole_file) {
  KillAtRandomTimes(Property(), 78, 200);
}

}  // namespace

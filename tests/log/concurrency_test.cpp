// The event logs shared between real processes: eight writers appending to
// the text and XML logs at once while backups rotate, the rotation race, and
// writers killed with SIGKILL at chosen steps and at random moments. Every
// child is reaped; every file lives in the sandbox.
//
// What the rotations drop is kept for counting: a test seam copies each
// backup aside just before a rotation deletes it, so every record written
// must be found exactly once across those copies, the backup and the log.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <fstream>
#include <random>
#include <set>
#include <thread>

#include "log/log_file.h"
#include "log/text_log.h"
#include "log/xml_log.h"
#include "log_test_support.h"

namespace {

using kx::Status;
using kx::log::AppendStep;
using logtest::ReadFile;

namespace fs = std::filesystem;

// Where the seam copies backups that a rotation is about to delete.
std::string g_archive_dir;

void ArchiveBackup(const char *backup) {
  static int copies = 0;
  const std::string name = fs::path(backup).filename().string() + "." + std::to_string(getpid()) +
                           "." + std::to_string(copies++);
  fs::copy_file(backup, g_archive_dir + "/" + name);
}

const kx::log::LogTestHooks kArchiveHooks{nullptr, &ArchiveBackup, false};

// Runs `body` in `count` child processes (argument: the child's index) and
// returns how many exited with status 0. Children never return into the test.
template <typename Body>
int RunChildren(int count, Body body) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) {
    const pid_t pid = fork();
    if (pid == 0) _exit(body(i) ? 0 : 1);
    children.push_back(pid);
  }
  int succeeded = 0;
  for (pid_t pid : children) {
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) ++succeeded;
  }
  return succeeded;
}

// The data block of writer w's event i: 20 bytes that name both.
std::vector<uint8_t> EventData(int w, int i) {
  std::vector<uint8_t> data(20);
  for (size_t k = 0; k < data.size(); ++k) data[k] = static_cast<uint8_t>(w * 31 + i + k);
  return data;
}

class SharedLogs : public ::testing::Test {
 protected:
  SharedLogs() {
    fs::create_directory(box_.Path("c"));
    g_archive_dir = box_.Path("archive");
    fs::create_directory(g_archive_dir);
  }
  ~SharedLogs() override { kx::log::SetLogTestHooksForTesting(nullptr); }

  std::string Text() const { return box_.Path("c/kxsys32.log"); }
  std::string Xml() const { return box_.Path("c/kxsys32.xml"); }
  // Archived copies whose name starts with `stem`.
  std::vector<std::string> Archived(const std::string &stem) const {
    std::vector<std::string> files;
    for (const auto &entry : fs::directory_iterator(g_archive_dir)) {
      if (entry.path().filename().string().rfind(stem, 0) == 0) files.push_back(entry.path());
    }
    return files;
  }

  logtest::LogSandbox box_;
};

constexpr int kWriters = 8;
constexpr int kEvents = 1000;
constexpr uint32_t kTextMax = 256 * 1024;
constexpr uint32_t kXmlMax = 192 * 1024;

TEST_F(SharedLogs, eight_writers_rotating_keep_every_record_exactly_once) {
  kx::log::SetLogTestHooksForTesting(&kArchiveHooks);
  const int clean = RunChildren(kWriters, [&](int w) {
    const std::string source = std::string("w").append(std::to_string(w));
    bool ok = true;
    for (int i = 0; i < kEvents; ++i) {
      const std::string description = source + "-" + std::to_string(i);
      const std::vector<uint8_t> data = EventData(w, i);
      const auto category = static_cast<uint16_t>(1 + w % 6);
      ok &= kx::log::AppendToTextLog(Text().c_str(),
                                     {4, category, static_cast<uint32_t>(i), source.c_str(),
                                      description.c_str(), data.data(), 20},
                                     kTextMax) == Status::kSuccess;
      ok &= kx::log::AppendToXMLLog(Xml().c_str(),
                                    {1, category, static_cast<uint32_t>(i), "user", source.c_str(),
                                     description.c_str(), nullptr, data.data(), 20},
                                    kXmlMax) == Status::kSuccess;
    }
    return ok;
  });
  ASSERT_EQ(clean, kWriters);

  // For each log, the archived backups, the backup and the log hold every
  // record exactly once, and each rotated file was full (a second, racing
  // rotation would move a nearly empty one).
  struct Kept {
    size_t rotations = 0, notices = 0, duplicates = 0;
    std::set<std::string> seen;
  };
  using Descriptions = std::function<std::vector<std::string>(const std::string &bytes)>;
  const auto tally = [&](const std::string &backup, const std::string &live, size_t margin,
                         uint32_t max, const Descriptions &descriptions) {
    Kept kept;
    std::vector<std::string> files = Archived(fs::path(backup).filename());
    if (logtest::FileExists(backup)) files.push_back(backup);
    kept.rotations = files.size();
    for (const std::string &file : files) EXPECT_GE(ReadFile(file).size() + margin, max) << file;
    files.push_back(live);
    for (const std::string &file : files) {
      for (const std::string &description : descriptions(ReadFile(file))) {
        if (description == "Log backup created") {
          ++kept.notices;
        } else {
          kept.duplicates += kept.seen.insert(description).second ? 0 : 1;
        }
      }
    }
    EXPECT_EQ(kept.seen.size(), size_t{kWriters * kEvents});
    EXPECT_EQ(kept.duplicates, 0u);
    EXPECT_EQ(kept.notices, kept.rotations);
    EXPECT_GE(kept.rotations, 10u);
    return kept;
  };
  size_t damaged = 0;
  const Kept text = tally(box_.Path("c/kxsys32.lo_"), Text(), 2400, kTextMax, [&](auto &bytes) {
    const logtest::TextLog log = logtest::DecodeTextLog(bytes);
    EXPECT_TRUE(log.header_ok);
    damaged += log.damaged;
    std::vector<std::string> descriptions;
    for (const logtest::TextRecord &record : log.records) {
      if (record.description != "Log backup created") {
        const int w = std::stoi(record.source.substr(1));
        EXPECT_EQ(record.description.rfind(record.source + "-", 0), 0u);
        EXPECT_EQ(record.data, EventData(w, static_cast<int>(record.event_id)));
      }
      descriptions.push_back(record.description);
    }
    return descriptions;
  });
  // Every kept XML file, archived ones included, is a well-formed document.
  const Kept xml = tally(box_.Path("c/kxsys32.xm_"), Xml(), 600, kXmlMax, [&](auto &bytes) {
    std::string error;
    const auto entries = logtest::ParseXmlLog(bytes, &error);
    EXPECT_TRUE(entries.has_value()) << error;
    damaged += !entries.has_value();
    std::vector<std::string> descriptions;
    for (const auto &entry : entries.value_or(std::vector<logtest::XmlEntry>{})) {
      descriptions.push_back(entry.text.at("Description"));
    }
    return descriptions;
  });
  EXPECT_EQ(damaged, 0u);
  const size_t text_rotations = text.rotations, xml_rotations = xml.rotations;
  const size_t lost = 2 * kWriters * kEvents - text.seen.size() - xml.seen.size();
  RecordProperty("text_rotations", static_cast<int>(text_rotations));
  RecordProperty("xml_rotations", static_cast<int>(xml_rotations));
  std::printf(
      "[ figures  ] %d writers x %d events: %zu text and %zu XML rotations, "
      "%zu and %zu records, %zu lost, %zu duplicated, %zu damaged\n",
      kWriters, kEvents, text_rotations, xml_rotations, text.seen.size(), xml.seen.size(), lost,
      text.duplicates + xml.duplicates, damaged);
}

// Appenders that all find the log full wait on its lock; the first rotates,
// the others must find the fresh log and leave the backup alone.
template <typename Append>
void RaceToRotate(const std::string &path, Append append, uint32_t max_size,
                  const std::string &full_content) {
  constexpr int kRacers = 6;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  std::vector<pid_t> children;
  {
    kx::log::LogFileLock held(path.c_str());
    ASSERT_TRUE(held.ok());
    for (int r = 0; r < kRacers; ++r) {
      const pid_t pid = fork();
      if (pid == 0) {
        close(ready[0]);
        (void)!write(ready[1], "r", 1);
        _exit(append(r, max_size) ? 0 : 1);
      }
      children.push_back(pid);
    }
    close(ready[1]);
    char byte;
    for (int r = 0; r < kRacers; ++r) ASSERT_EQ(read(ready[0], &byte, 1), 1);
    // Give every racer time to pass the unlocked size check and block.
    usleep(300 * 1000);
  }
  close(ready[0]);
  for (pid_t pid : children) {
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(ReadFile(kx::log::BackupName(path.c_str()).c_str()), full_content);
}

TEST_F(SharedLogs, racing_appenders_rotate_each_log_once) {
  constexpr uint32_t kMax = 64 * 1024;
  for (const bool xml : {false, true}) {
    SCOPED_TRACE(xml ? "XML log" : "text log");
    const std::string path = xml ? Xml() : Text();
    const auto append = [&](int r, uint32_t max_size) {
      const std::string description = "racer-" + std::to_string(r);
      return (xml ? kx::log::AppendToXMLLog(
                        path.c_str(),
                        {4, 1, 0, nullptr, "race", description.c_str(), nullptr, nullptr, 0},
                        max_size)
                  : kx::log::AppendToTextLog(path.c_str(),
                                             {4, 1, 0, "race", description.c_str(), nullptr, 0},
                                             max_size)) == Status::kSuccess;
    };
    // Fill until the racers' estimate (2,236 bytes for a text record, about
    // 300 for an XML element) reaches the maximum.
    while (ReadFile(path).size() + (xml ? 200 : 2000) < kMax) ASSERT_TRUE(append(-1, 1 << 22));
    const std::string full = ReadFile(path);
    RaceToRotate(path, append, kMax, full);
    // The fresh log holds the six racers and one notice (which another racer
    // may precede: the notice is appended after the rotation's lock is left).
    std::multiset<std::string> descriptions;
    if (xml) {
      const auto entries = logtest::ParseXmlLog(ReadFile(path));
      ASSERT_TRUE(entries.has_value());
      for (const auto &entry : *entries) descriptions.insert(entry.text.at("Description"));
    } else {
      for (const auto &record : logtest::DecodeTextLog(ReadFile(path)).records) {
        descriptions.insert(record.description);
      }
    }
    EXPECT_EQ(descriptions.size(), 7u);
    EXPECT_EQ(descriptions.count("Log backup created"), 1u);
    for (int r = 0; r < 6; ++r) EXPECT_EQ(descriptions.count("racer-" + std::to_string(r)), 1u);
  }
}

// A child that appends `count` events to both logs and kills itself with
// SIGKILL when it reaches `step` for the `nth` time (counting every append).
AppendStep g_kill_step;
int g_kill_countdown;

void KillAtStep(AppendStep step, const char *) {
  if (step == g_kill_step && --g_kill_countdown == 0) raise(SIGKILL);
}

void KillBeforeBackupDelete(const char *) {
  raise(SIGKILL);
}

bool AppendBoth(const std::string &text, const std::string &xml, int i, uint32_t max_size) {
  const std::string description = "event-" + std::to_string(i);
  const uint8_t data[3] = {1, 2, 3};
  return kx::log::AppendToTextLog(
             text.c_str(), {4, 2, static_cast<uint32_t>(i), "k", description.c_str(), data, 3},
             max_size) == Status::kSuccess &&
         kx::log::AppendToXMLLog(
             xml.c_str(),
             {4, 2, static_cast<uint32_t>(i), nullptr, "k", description.c_str(), nullptr, data, 3},
             max_size) == Status::kSuccess;
}

// Whole records and a closed, well-formed document; returns the counts.
std::pair<size_t, size_t> ExpectConsistent(const std::string &text, const std::string &xml) {
  size_t text_records = 0, xml_entries = 0;
  if (logtest::FileExists(text)) {
    const logtest::TextLog log = logtest::DecodeTextLog(ReadFile(text));
    EXPECT_EQ(log.damaged, 0u);
    text_records = log.records.size();
  }
  if (logtest::FileExists(xml)) {
    const std::string bytes = ReadFile(xml);
    std::string error;
    const auto entries = logtest::ParseXmlLog(bytes, &error);
    EXPECT_TRUE(entries.has_value()) << error;
    EXPECT_EQ(bytes.compare(bytes.size() - 11, 11, "</EventLog>"), 0);
    if (entries) xml_entries = entries->size();
  }
  return {text_records, xml_entries};
}

// Threads of one process take the same file lock through handles of their
// own, which exclude each other as processes do.
TEST_F(SharedLogs, threads_of_one_process_append_whole_records) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) {
        if (!AppendBoth(Text(), Xml(), t * 1000 + i, 1 << 22)) ++failures;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  std::set<std::string> text_seen, xml_seen;
  for (const auto &record : logtest::DecodeTextLog(ReadFile(Text())).records) {
    text_seen.insert(record.description);
  }
  const auto entries = logtest::ParseXmlLog(ReadFile(Xml()));
  ASSERT_TRUE(entries.has_value());
  for (const auto &entry : *entries) xml_seen.insert(entry.text.at("Description"));
  EXPECT_EQ(text_seen.size(), 400u);
  EXPECT_EQ(xml_seen, text_seen);
  ExpectConsistent(Text(), Xml());
}

TEST_F(SharedLogs, sigkill_at_each_step_leaves_whole_records_and_the_closing_tag) {
  const struct {
    AppendStep step;
    int nth;  // counts the text and the XML append of each event
  } rows[] = {{AppendStep::kLocked, 5}, {AppendStep::kLocked, 6},  {AppendStep::kOpened, 5},
              {AppendStep::kOpened, 6}, {AppendStep::kWritten, 5}, {AppendStep::kWritten, 6},
              {AppendStep::kOpened, 1}, {AppendStep::kOpened, 2}};
  const kx::log::LogTestHooks hooks{&KillAtStep, nullptr, false};
  for (const auto &row : rows) {
    fs::remove(Text());
    fs::remove(Xml());
    g_kill_step = row.step;
    g_kill_countdown = row.nth;
    kx::log::SetLogTestHooksForTesting(&hooks);
    const pid_t pid = fork();
    if (pid == 0) {
      for (int i = 0; i < 5; ++i) AppendBoth(Text(), Xml(), i, 1 << 22);
      _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    kx::log::SetLogTestHooksForTesting(nullptr);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    // The (nth)th append stopped: text appends are the odd ones.
    const size_t whole = (row.nth - 1) / 2 + (row.step == AppendStep::kWritten ? 1 : 0);
    const bool text_died = row.nth % 2 == 1;
    const auto [text_records, xml_entries] = ExpectConsistent(Text(), Xml());
    EXPECT_EQ(text_records, text_died ? whole : (row.nth / 2));
    EXPECT_EQ(xml_entries, text_died ? (row.nth - 1) / 2 : whole);
    // The dead writer's lock is gone: the next append goes through.
    ASSERT_TRUE(AppendBoth(Text(), Xml(), 99, 1 << 22));
    const auto after = ExpectConsistent(Text(), Xml());
    EXPECT_EQ(after.first, text_records + 1);
    EXPECT_EQ(after.second, xml_entries + 1);
  }
}

// A writer killed in the middle of its write leaves a cut record or an XML log
// without its closing tag; the next writer finds the journal and undoes it.
TEST_F(SharedLogs, write_cut_by_sigkill_is_undone_by_the_next_writer) {
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(AppendBoth(Text(), Xml(), i, 1 << 22));
  const std::string text_before = ReadFile(Text()), xml_before = ReadFile(Xml());
  const kx::log::LogTestHooks hooks{&KillAtStep, nullptr, true};
  for (const bool xml : {false, true}) {  // cut a text append, then an XML append
    g_kill_step = AppendStep::kTorn;
    g_kill_countdown = 1;
    kx::log::SetLogTestHooksForTesting(&hooks);
    const pid_t pid = fork();
    if (pid == 0) {
      const uint8_t data[3] = {1, 2, 3};
      if (xml) {
        (void)kx::log::AppendToXMLLog(Xml().c_str(),
                                      {4, 2, 3, nullptr, "k", "cut", nullptr, data, 3}, 1 << 22);
      } else {
        (void)kx::log::AppendToTextLog(Text().c_str(), {4, 2, 3, "k", "cut", data, 3}, 1 << 22);
      }
      _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    kx::log::SetLogTestHooksForTesting(nullptr);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  }
  // What the two dead writers left: a cut text record and an XML log whose
  // closing tag is overwritten.
  EXPECT_EQ(logtest::DecodeTextLog(ReadFile(Text())).damaged, 1u);
  EXPECT_GT(ReadFile(Text()).size(), text_before.size());
  EXPECT_EQ(ReadFile(Xml()).find("</EventLog>"), std::string::npos);
  ASSERT_TRUE(AppendBoth(Text(), Xml(), 4, 1 << 22));
  const auto [text_records, xml_entries] = ExpectConsistent(Text(), Xml());
  EXPECT_EQ(text_records, 4u);
  EXPECT_EQ(xml_entries, 4u);
  EXPECT_EQ(ReadFile(Text()).compare(0, text_before.size(), text_before), 0);
  EXPECT_EQ(
      ReadFile(Xml()).compare(0, xml_before.size() - 11, xml_before, 0, xml_before.size() - 11), 0);
}

// A journal record that does not fit the file (the file was replaced or cut
// by other means since) is dropped without touching the file.
TEST_F(SharedLogs, a_journal_that_does_not_fit_the_file_is_dropped) {
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(AppendBoth(Text(), Xml(), i, 1 << 22));
  const std::string before = ReadFile(Xml());
  auto record = [](uint64_t old_size, uint64_t offset, const std::string &saved) {
    std::string value(16, '\0');
    for (int i = 0; i < 8; ++i) {
      value[i] = static_cast<char>(old_size >> (8 * i));
      value[8 + i] = static_cast<char>(offset >> (8 * i));
    }
    return value + saved;
  };
  const std::string misfits[] = {
      record(before.size() + 100, before.size() - 11, "</EventLog>"),  // longer than the file
      record(before.size(), before.size() - 11, "</Event"),            // saved bytes too short
      record(before.size() - 11, before.size(), ""),                   // offset past the end
  };
  for (const std::string &value : misfits) {
    ASSERT_EQ(setxattr(Xml().c_str(), "user.kxsupt.append", value.data(), value.size(), 0), 0);
    ASSERT_TRUE(AppendBoth(Text(), Xml(), 9, 1 << 22));
    EXPECT_EQ(getxattr(Xml().c_str(), "user.kxsupt.append", nullptr, 0), -1);
    const std::string after = ReadFile(Xml());
    EXPECT_EQ(after.compare(0, before.size() - 11, before, 0, before.size() - 11), 0);
    ExpectConsistent(Text(), Xml());
  }
}

TEST_F(SharedLogs, sigkill_inside_a_rotation_keeps_the_full_log) {
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(AppendBoth(Text(), Xml(), i, 1 << 22));
  const std::string text_before = ReadFile(Text()), xml_before = ReadFile(Xml());
  const kx::log::LogTestHooks hooks{nullptr, &KillBeforeBackupDelete, false};
  logtest::WriteFile(box_.Path("c/kxsys32.lo_"), "old backup");
  kx::log::SetLogTestHooksForTesting(&hooks);
  const pid_t pid = fork();
  if (pid == 0) {
    AppendBoth(Text(), Xml(), 20, 4096);  // both logs are past 4 KiB
    _exit(0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  kx::log::SetLogTestHooksForTesting(nullptr);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(ReadFile(Text()), text_before);
  EXPECT_EQ(ReadFile(box_.Path("c/kxsys32.lo_")), "old backup");
  ASSERT_TRUE(AppendBoth(Text(), Xml(), 21, 4096));
  EXPECT_EQ(ReadFile(box_.Path("c/kxsys32.lo_")), text_before);
  EXPECT_EQ(ReadFile(box_.Path("c/kxsys32.xm_")), xml_before);
  ExpectConsistent(Text(), Xml());
}

TEST_F(SharedLogs, sigkill_at_random_moments_never_damages_either_log) {
  std::mt19937 random(2024);
  constexpr int kKills = 60;
  int cut = 0;
  for (int round = 0; round < kKills; ++round) {
    const pid_t pid = fork();
    if (pid == 0) {
      for (int i = 0;; ++i) AppendBoth(Text(), Xml(), i, 48 * 1024);
    }
    usleep(1000 + random() % 20000);
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    // A kill inside a write leaves a cut record at the very end of the text
    // log, or an XML log without its closing tag, until the next writer.
    const logtest::TextLog text = logtest::DecodeTextLog(ReadFile(Text()));
    const std::string xml = ReadFile(Xml());
    const bool text_cut = text.damaged > 0, xml_cut = !logtest::ParseXmlLog(xml).has_value();
    EXPECT_LE(text.damaged, 1u);
    EXPECT_TRUE(!text_cut || text.tail_damaged);
    cut += (text_cut ? 1 : 0) + (xml_cut ? 1 : 0);
    ASSERT_TRUE(AppendBoth(Text(), Xml(), -1, 48 * 1024));
    ExpectConsistent(Text(), Xml());
    if (HasFailure()) break;
  }
  std::printf(
      "[ figures  ] %d writers killed at random moments: %d writes cut mid-copy, all "
      "undone by the next writer; no damaged record or document left\n",
      kKills, cut);
}

}  // namespace

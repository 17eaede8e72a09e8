// The event logs against spdlog's basic file sink with a flush after every
// message: appends per second to the text log and to the XML log, from one
// process and from eight processes appending to the same file at once. Our
// side is the whole exported call: registry path, maximum-size check, the
// cross-process file lock, open, journal, write, close (and, for XML, the
// search for the closing tag); rotation happens as the logs pass 1 MiB. The
// anchor keeps its file open, takes no lock between processes and writes one
// line of the same fields per message. Three cases without anchor take the
// lock, the open and the journal apart. The library runs over a sandbox
// registry in a temporary directory, removed at exit.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <kxsupt.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "config/file_lock.h"
#include "frame/lifecycle.h"

namespace {

constexpr uint32_t kSelectText = 4;
constexpr uint32_t kSelectXml = 8;
constexpr int kProcesses = 8;
constexpr int kAppendsPerProcess = 250;

std::string g_dir;

void RemoveSandbox() {
  std::error_code ignored;
  std::filesystem::remove_all(g_dir, ignored);
}

// The sandbox: a registry with a data directory (for the file locks) and a
// log path, the library reloaded over it.
const std::string &Sandbox() {
  if (g_dir.empty()) {
    char pattern[] = "/tmp/kxsupt-bench-log-XXXXXX";
    g_dir = mkdtemp(pattern);
    std::filesystem::create_directory(g_dir + "/var");
    std::filesystem::create_directory(g_dir + "/logs");
    std::ofstream(g_dir + "/vqreg.cfg") << "mernex.vardatapath=" << g_dir << "/var\n"
                                        << "Wexbridge.logpath=" << g_dir << "/logs\n";
    setenv("KXSUPT_REGISTRY_FILE", (g_dir + "/vqreg.cfg").c_str(), 1);
    kx::frame::Lifecycle &library = kx::frame::Library();
    while (library.load_count() > 0) library.Unload();
    while (library.attach_count() > 0) library.Detach();
    library.Load();
    std::atexit(RemoveSandbox);
  }
  return g_dir;
}

const uint8_t kData[20] = {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90, 0xA0,
                           0xB0, 0xC0, 0xD0, 0xE0, 0xF0, 0x01, 0x02, 0x03, 0x04, 0x05};

bool AppendOurs(uint32_t flags, int i) {
  return SMAppendToLog(flags, 4, 2, static_cast<uint32_t>(i), "bench",
                       "Disk 3 of volume 1 is above its warning threshold", kData,
                       sizeof kData) == SM_STATUS_SUCCESS;
}

// The same fields as one line for the anchor.
void AppendAnchor(spdlog::logger &logger, int i) {
  logger.info(
      "EventID: {} Source: bench Category: Wexbridge Service Type: Information "
      "Description: Disk 3 of volume 1 is above its warning threshold Data: "
      "102030405060708090A0B0C0D0E0F00102030405",
      i);
}

std::shared_ptr<spdlog::logger> AnchorLogger(const std::string &name) {
  auto logger =
      spdlog::basic_logger_mt(name + std::to_string(getpid()), Sandbox() + "/" + name + ".log");
  logger->flush_on(spdlog::level::trace);
  return logger;
}

void OneProcessOurs(benchmark::State &state, uint32_t flags) {
  Sandbox();
  int i = 0;
  for (auto _ : state) {
    if (!AppendOurs(flags, i++)) {
      state.SkipWithError("append failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}

void OneProcessAnchor(benchmark::State &state, const char *name) {
  auto logger = AnchorLogger(name);
  int i = 0;
  for (auto _ : state) AppendAnchor(*logger, i++);
  state.SetItemsProcessed(state.iterations());
  spdlog::drop(logger->name());
}

// Eight processes at once, kAppendsPerProcess appends each; the iteration's
// time is the wall time until the last one is done.
template <typename Body>
void EightProcesses(benchmark::State &state, Body body) {
  Sandbox();
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    pid_t children[kProcesses];
    for (pid_t &child : children) {
      child = fork();
      if (child == 0) _exit(body() ? 0 : 1);
    }
    bool ok = true;
    for (pid_t child : children) {
      int status = 0;
      waitpid(child, &status, 0);
      ok &= WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (!ok) {
      state.SkipWithError("a writer failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kProcesses * kAppendsPerProcess);
}

void TextOneOurs(benchmark::State &state) {
  OneProcessOurs(state, kSelectText);
}
BENCHMARK(TextOneOurs)->Name("event log text, 1 process/ours");
void TextOneAnchor(benchmark::State &state) {
  OneProcessAnchor(state, "text1");
}
BENCHMARK(TextOneAnchor)->Name("event log text, 1 process/anchor");

void XmlOneOurs(benchmark::State &state) {
  OneProcessOurs(state, kSelectXml);
}
BENCHMARK(XmlOneOurs)->Name("event log XML, 1 process/ours");
void XmlOneAnchor(benchmark::State &state) {
  OneProcessAnchor(state, "xml1");
}
BENCHMARK(XmlOneAnchor)->Name("event log XML, 1 process/anchor");

template <uint32_t kFlags>
void EightOurs(benchmark::State &state) {
  EightProcesses(state, [] {
    for (int i = 0; i < kAppendsPerProcess; ++i) {
      if (!AppendOurs(kFlags, i)) return false;
    }
    return true;
  });
}
void EightAnchor(benchmark::State &state, const char *name) {
  EightProcesses(state, [name] {
    auto logger = AnchorLogger(name);
    for (int i = 0; i < kAppendsPerProcess; ++i) AppendAnchor(*logger, i);
    return true;
  });
}
BENCHMARK(EightOurs<kSelectText>)
    ->Name("event log text, 8 processes x 250/ours")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(EightAnchor, text8, "text8")
    ->Name("event log text, 8 processes x 250/anchor")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(EightOurs<kSelectXml>)
    ->Name("event log XML, 8 processes x 250/ours")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(EightAnchor, xml8, "xml8")
    ->Name("event log XML, 8 processes x 250/anchor")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The parts of one append, alone.
void FileLockAlone(benchmark::State &state) {
  const std::string path = Sandbox() + "/logs/parts.log";
  for (auto _ : state) {
    kx::config::FileLockHandle *lock = kx::config::FileLockOpen(path.c_str());
    if (lock == nullptr ||
        !kx::Ok(kx::config::FileLockLock(lock, kx::config::kFileLockWrite, 0xFFFFFFFFu))) {
      state.SkipWithError("lock failed");
      break;
    }
    (void)kx::config::FileLockUnlock(lock);
    kx::config::FileLockClose(lock);
  }
}
BENCHMARK(FileLockAlone)->Name("event log part: file lock open, take, release, close");

void OpenAlone(benchmark::State &state) {
  const std::string path = Sandbox() + "/logs/parts.log";
  for (auto _ : state) {
    struct stat facts {};
    benchmark::DoNotOptimize(stat(path.c_str(), &facts));
    const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0664);
    benchmark::DoNotOptimize(fstat(fd, &facts));
    close(fd);
  }
}
BENCHMARK(OpenAlone)->Name("event log part: stat, open, fstat, close");

void JournalAlone(benchmark::State &state) {
  const std::string path = Sandbox() + "/logs/parts.log";
  const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0664);
  char record[32] = {};
  for (auto _ : state) {
    benchmark::DoNotOptimize(fgetxattr(fd, "user.kxsupt.append", record, sizeof record));
    (void)fsetxattr(fd, "user.kxsupt.append", record, 16, 0);
    (void)fremovexattr(fd, "user.kxsupt.append");
  }
  close(fd);
}
BENCHMARK(JournalAlone)->Name("event log part: journal look, set, remove");

}  // namespace

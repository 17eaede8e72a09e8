// The IPC tests' sandbox, leftover checks and process helpers.
#include "ipc_sandbox.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>

#include "frame/lifecycle.h"

namespace ipctest {

namespace {

// Everything any sandbox of this process gave out, for the final check.
struct RunRecord {
  std::mutex lock;
  std::set<int32_t> keys;
  std::set<int> set_ids;
  std::vector<std::string> dirs;
};
RunRecord &Record() {
  static RunRecord record;
  return record;
}

void UnloadLibrary() {
  kx::frame::Lifecycle &library = kx::frame::Library();
  while (library.load_count() > 0) library.Unload();
  while (library.attach_count() > 0) library.Detach();
}

// The sections of an INI text as ordered (key, value) pairs, read here
// independently of the library's engine.
std::vector<std::pair<std::string, std::string>> SectionEntries(const std::string &text,
                                                                const std::string &section) {
  std::vector<std::pair<std::string, std::string>> entries;
  std::istringstream in(text);
  std::string line;
  bool inside = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line[0] == '[') {
      inside = line == "[" + section + "]";
      continue;
    }
    const size_t equals = line.find('=');
    if (inside && equals != std::string::npos) {
      entries.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
  }
  return entries;
}

bool ParseNumber(const std::string &text, uint64_t *value) {
  if (text.empty() || text.size() > 19) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  *value = std::stoull(text);
  return true;
}

std::string Describe(const SysvObject &object) {
  std::ostringstream out;
  out << (object.is_segment ? "segment" : "semaphore set") << " id " << object.id << " key "
      << static_cast<uint32_t>(object.key);
  return out.str();
}

bool RemoveObject(const SysvObject &object) {
  return object.is_segment ? shmctl(object.id, IPC_RMID, nullptr) == 0
                           : semctl(object.id, 0, IPC_RMID) == 0;
}

// Removes the objects among `objects` that carry one of `keys` or are
// unnamed sets listed in `set_ids`; their descriptions.
std::string RemoveMatching(const std::vector<SysvObject> &objects, const std::set<int32_t> &keys,
                           const std::set<int> &set_ids) {
  std::string found;
  for (const SysvObject &object : objects) {
    const bool ours = (object.key != 0 && keys.count(object.key) != 0) ||
                      (object.key == 0 && !object.is_segment && set_ids.count(object.id) != 0);
    if (!ours) continue;
    found += Describe(object) + (RemoveObject(object) ? "" : " (could not be removed)") + "\n";
  }
  return found;
}

// Checks, once every test of the program has run, that no System V object
// of any sandbox remains and that the sandbox directories are gone.
class LeftoverCheck : public ::testing::Environment {
 public:
  void SetUp() override { before_ = ListSysvObjects(); }
  void TearDown() override {
    RunRecord &record = Record();
    std::lock_guard<std::mutex> hold(record.lock);
    // Only objects that appeared during the run count.
    std::vector<SysvObject> appeared;
    for (const SysvObject &object : ListSysvObjects()) {
      const bool old = std::any_of(before_.begin(), before_.end(), [&](const SysvObject &seen) {
        return seen.is_segment == object.is_segment && seen.id == object.id;
      });
      if (!old) appeared.push_back(object);
    }
    const std::string left = RemoveMatching(appeared, record.keys, record.set_ids);
    EXPECT_EQ(left, "") << "System V objects outlived their sandboxes";
    for (const std::string &dir : record.dirs) {
      EXPECT_FALSE(std::filesystem::exists(dir)) << dir << " was left behind";
    }
  }

 private:
  std::vector<SysvObject> before_;
};
[[maybe_unused]] const ::testing::Environment *const kLeftoverCheck =
    ::testing::AddGlobalTestEnvironment(new LeftoverCheck);

}  // namespace

IpcSandbox::IpcSandbox(Seed seed, const std::string &data_dir) {
  char pattern[] = "/tmp/kxsupt-ipc-XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
  dir_ = pattern;
  data_dir_ = dir_ + "/" + data_dir;
  std::filesystem::create_directories(data_dir_);
  const std::string registry = dir_ + "/vqreg.cfg";
  WriteFile(registry, "mernex.vardatapath=" + data_dir_ + "\n");
  if (seed == kSeeded) {
    // A random base, 65536 keys apart from any other sandbox's.
    std::random_device entropy;
    seed_key_ = 0x10000000u + (entropy() % 0x6000u) * 0x10000u;
    std::filesystem::create_directories(IpcDir());
    WriteFile(KeyRegistry(), "[Unique Numeric Value Key Section]\n" + std::to_string(seed_key_) +
                                 "=sandbox seed\n");
  }
  setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
  Reload();
  std::lock_guard<std::mutex> hold(Record().lock);
  Record().dirs.push_back(dir_);
}

IpcSandbox::~IpcSandbox() {
  const std::string left = RemoveLeftovers();
  EXPECT_EQ(left, "") << "the test left System V objects behind";
  {
    std::lock_guard<std::mutex> hold(Record().lock);
    for (uint32_t key : RegistryKeys(KeyRegistry()))
      Record().keys.insert(static_cast<int32_t>(key));
    for (int id : RegistrySetIds(KeyRegistry())) Record().set_ids.insert(id);
  }
  UnloadLibrary();
  unsetenv("KXSUPT_REGISTRY_FILE");
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

bool IpcSandbox::Reload() const {
  UnloadLibrary();
  return kx::frame::Library().Load() == 1;
}

std::string IpcSandbox::RemoveLeftovers() const {
  std::set<int32_t> keys;
  for (uint32_t key : RegistryKeys(KeyRegistry())) keys.insert(static_cast<int32_t>(key));
  const std::vector<int> ids = RegistrySetIds(KeyRegistry());
  return RemoveMatching(ListSysvObjects(), keys, std::set<int>(ids.begin(), ids.end()));
}

std::vector<uint32_t> RegistryKeys(const std::string &key_registry) {
  const std::string text = ReadFile(key_registry);
  std::set<uint32_t> keys;
  uint64_t value = 0;
  for (const auto &[name, key] : SectionEntries(text, "Unique String Name Key Section")) {
    if (ParseNumber(key, &value) && value <= UINT32_MAX) keys.insert(static_cast<uint32_t>(value));
  }
  for (const auto &[key, name] : SectionEntries(text, "Unique Numeric Value Key Section")) {
    if (name != "sandbox seed" && ParseNumber(key, &value) && value <= UINT32_MAX) {
      keys.insert(static_cast<uint32_t>(value));
    }
  }
  return {keys.begin(), keys.end()};
}

std::vector<int> RegistrySetIds(const std::string &key_registry) {
  std::vector<int> ids;
  uint64_t value = 0;
  for (const auto &[id, pid] : SectionEntries(ReadFile(key_registry), "Semaphore List")) {
    if (ParseNumber(id, &value) && value <= INT32_MAX) ids.push_back(static_cast<int>(value));
  }
  return ids;
}

std::vector<SysvObject> ListSysvObjects() {
  std::vector<SysvObject> objects;
  for (bool segment : {false, true}) {
    std::ifstream in(segment ? "/proc/sysvipc/shm" : "/proc/sysvipc/sem");
    std::string line;
    std::getline(in, line);  // the column titles
    while (std::getline(in, line)) {
      std::istringstream fields(line);
      int64_t key = 0;
      int id = 0;
      if (fields >> key >> id) objects.push_back({segment, static_cast<int32_t>(key), id});
    }
  }
  return objects;
}

pid_t Spawn(const std::function<int()> &body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(body());
  return pid;
}

int Reap(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) != pid) {
    if (errno != EINTR) return -1;
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

Channel::Channel() {
  if (pipe(fds_) != 0) throw std::runtime_error("pipe failed");
}

Channel::~Channel() {
  close(fds_[0]);
  close(fds_[1]);
}

bool Channel::Send(char byte) const {
  return write(fds_[1], &byte, 1) == 1;
}

int Channel::Receive() const {
  unsigned char byte = 0;
  ssize_t got;
  while ((got = read(fds_[0], &byte, 1)) < 0 && errno == EINTR) {
  }
  return got == 1 ? byte : -1;
}

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteFile(const std::string &path, const std::string &content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

}  // namespace ipctest

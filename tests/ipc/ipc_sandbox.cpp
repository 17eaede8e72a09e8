// The IPC tests' sandbox, leftover checks and process helpers.
#include "ipc_sandbox.h"

#include <gtest/gtest.h>
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
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

#include "frame/lifecycle.h"

namespace ipctest {

namespace {

// Everything any sandbox of this process gave out, for the final check.
struct RunRecord {
  std::mutex lock;
  std::set<int64_t> keys;  // named objects' keys; unnamed sets as -1 - id
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

// What a key registry gave out, read independently of the library's INI
// engine: the keys of the name section and of the numeric section (but the
// seed), and the unnamed sets of "Semaphore List" as -1 - identifier.
std::set<int64_t> GivenOut(const std::string &key_registry) {
  std::set<int64_t> given;
  std::istringstream in(ReadFile(key_registry));
  std::string line, section;
  std::smatch match;
  static const std::regex entry("([^=]+)=(.*)");
  // A decimal key of 32 bits; -1 otherwise.
  auto number = [](const std::string &text) -> int64_t {
    static const std::regex digits("[0-9]{1,10}");
    if (!std::regex_match(text, digits) || std::stoull(text) > UINT32_MAX) return -1;
    return static_cast<int64_t>(std::stoull(text));
  };
  while (std::getline(in, line)) {
    if (!line.empty() && line[0] == '[') section = line;
    if (!std::regex_match(line, match, entry)) continue;
    const std::string key = match[1], value = match[2];
    if (section == "[Unique String Name Key Section]" && number(value) >= 0) {
      given.insert(number(value));
    } else if (section == "[Unique Numeric Value Key Section]" && value != "sandbox seed" &&
               number(key) >= 0) {
      given.insert(number(key));
    } else if (section == "[Semaphore List]" && number(key) >= 0) {
      given.insert(-1 - number(key));
    }
  }
  return given;
}

// Removes the objects among `objects` that `given` names; their descriptions.
std::string RemoveGivenOut(const std::vector<SysvObject> &objects, const std::set<int64_t> &given) {
  std::string found;
  for (const SysvObject &object : objects) {
    const bool ours = object.key != 0 ? given.count(static_cast<uint32_t>(object.key)) != 0
                                      : !object.is_segment && given.count(-1 - object.id) != 0;
    if (!ours) continue;
    const bool removed = object.is_segment ? shmctl(object.id, IPC_RMID, nullptr) == 0
                                           : semctl(object.id, 0, IPC_RMID) == 0;
    found += (object.is_segment ? "segment id " : "semaphore set id ") + std::to_string(object.id) +
             " key " + std::to_string(static_cast<uint32_t>(object.key)) +
             (removed ? "\n" : " (could not be removed)\n");
  }
  return found;
}

// Checks, once every test of the program has run, that no System V object
// that appeared during the run under a sandbox's keys remains and that the
// sandbox directories are gone.
class LeftoverCheck : public ::testing::Environment {
 public:
  void SetUp() override { before_ = ListSysvObjects(); }
  void TearDown() override {
    std::lock_guard<std::mutex> hold(Record().lock);
    std::vector<SysvObject> appeared;
    for (const SysvObject &object : ListSysvObjects()) {
      if (std::none_of(before_.begin(), before_.end(), [&](const SysvObject &seen) {
            return seen.is_segment == object.is_segment && seen.id == object.id;
          })) {
        appeared.push_back(object);
      }
    }
    EXPECT_EQ(RemoveGivenOut(appeared, Record().keys), "")
        << "System V objects outlived their sandboxes";
    for (const std::string &dir : Record().dirs) {
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
    const uint32_t seed_key = 0x10000000u + (std::random_device{}() % 0x6000u) * 0x10000u;
    std::filesystem::create_directories(IpcDir());
    WriteFile(KeyRegistry(), "[Unique Numeric Value Key Section]\n" + std::to_string(seed_key) +
                                 "=sandbox seed\n");
  }
  setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
  Reload();
  std::lock_guard<std::mutex> hold(Record().lock);
  Record().dirs.push_back(dir_);
}

IpcSandbox::~IpcSandbox() {
  const std::set<int64_t> given = GivenOut(KeyRegistry());
  EXPECT_EQ(RemoveGivenOut(ListSysvObjects(), given), "") << "the test left System V objects";
  {
    std::lock_guard<std::mutex> hold(Record().lock);
    Record().keys.insert(given.begin(), given.end());
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

std::vector<SysvObject> ListSysvObjects() {
  std::vector<SysvObject> objects;
  for (bool segment : {false, true}) {
    std::ifstream in(segment ? "/proc/sysvipc/shm" : "/proc/sysvipc/sem");
    std::string line;
    std::getline(in, line);  // the column titles
    int64_t key = 0;
    int id = 0;
    while (std::getline(in, line)) {
      if (std::istringstream(line) >> key >> id) {
        objects.push_back({segment, static_cast<int32_t>(key), id});
      }
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
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
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

// The IPC tests' sandbox, leftover checks and process helpers.
#include "ipc_sandbox.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

#include "frame/lifecycle.h"

namespace ipctest {

namespace {

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
}

IpcSandbox::~IpcSandbox() {
  EXPECT_EQ(RemoveGivenOut(ListSysvObjects(), GivenOut(KeyRegistry())), "")
      << "the test left System V objects";
  UnloadLibrary();
  unsetenv("KXSUPT_REGISTRY_FILE");
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
  EXPECT_FALSE(std::filesystem::exists(dir_)) << dir_ << " was left behind";
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

bool ParseKeyRegistry(const std::string &text, KeyRegistrySections *out) {
  std::istringstream in(text);
  std::string line, section;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    if (line.front() == '[' && line.back() == ']') {
      section = line.substr(1, line.size() - 2);
      if (out->count(section) != 0) return false;
      (*out)[section];
      continue;
    }
    const size_t equals = line.find('=');
    if (section.empty() || equals == std::string::npos || equals == 0) return false;
    (*out)[section].emplace_back(line.substr(0, equals), line.substr(equals + 1));
  }
  return text.empty() || text.back() == '\n';
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

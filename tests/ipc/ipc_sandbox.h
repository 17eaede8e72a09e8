// The IPC tests' sandbox and process helpers. A sandbox is a mkdtemp
// directory with a product registry (named by KXSUPT_REGISTRY_FILE) whose
// "mernex.vardatapath" points inside it, so the key registry and every lock
// file land there; the library is reloaded over it. System V objects are
// machine-wide, and every key registry starts at the same key, so a sandbox
// seeds its key registry with a random large key: the keys it hands out
// then do not meet those of a test running beside it.
//
// When a sandbox ends it looks for System V objects left behind under the
// keys its registry gave out (and the unnamed sets it lists): each one is a
// test failure, and is removed so that the machine stays clean. A global
// environment checks at the end that no such object exists and that every
// sandbox directory is gone.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ipctest {

class IpcSandbox {
 public:
  enum Seed { kSeeded, kUnseeded };
  // `data_dir` overrides the data directory (relative to the sandbox).
  explicit IpcSandbox(Seed seed = kSeeded, const std::string &data_dir = "var");
  ~IpcSandbox();
  IpcSandbox(const IpcSandbox &) = delete;
  IpcSandbox &operator=(const IpcSandbox &) = delete;

  const std::string &dir() const { return dir_; }
  std::string DataDir() const { return data_dir_; }
  std::string IpcDir() const { return data_dir_ + "/.ipc"; }
  std::string KeyRegistry() const { return IpcDir() + "/.lxsuptIPCini"; }
  // The key the seed entry holds; keys given out start one above it.
  uint32_t seed_key() const { return seed_key_; }

  // Unloads and loads the library over the sandbox's registry; true when the
  // modules came up.
  bool Reload() const;
  // Removes every System V object under this sandbox's keys and listed sets
  // and returns a description of each, "" when there were none.
  std::string RemoveLeftovers() const;

 private:
  std::string dir_;
  std::string data_dir_;
  uint32_t seed_key_ = 0;
};

// The keys (values of the name section) and unnamed set identifiers (keys
// of "Semaphore List") of a key registry file.
std::vector<uint32_t> RegistryKeys(const std::string &key_registry);
std::vector<int> RegistrySetIds(const std::string &key_registry);

// One System V object as /proc/sysvipc lists it.
struct SysvObject {
  bool is_segment;  // shared memory; else a semaphore set
  int32_t key;
  int id;
};
std::vector<SysvObject> ListSysvObjects();

// Runs `body` in a forked child that ends with its result; the child never
// returns into the test.
pid_t Spawn(const std::function<int()> &body);
// Waits for a child: its exit status, 128 + signal when killed, -1 on error.
int Reap(pid_t pid);

// A one-byte message between processes (both ends open in both).
class Channel {
 public:
  Channel();
  ~Channel();
  Channel(const Channel &) = delete;
  Channel &operator=(const Channel &) = delete;
  bool Send(char byte = '.') const;
  // The byte received; -1 at end or on error.
  int Receive() const;

 private:
  int fds_[2];
};

std::string ReadFile(const std::string &path);
void WriteFile(const std::string &path, const std::string &content);

}  // namespace ipctest

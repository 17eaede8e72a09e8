// The IPC tests' sandbox and process helpers. A sandbox is a mkdtemp
// directory with a product registry (named by KXSUPT_REGISTRY_FILE) whose
// "mernex.vardatapath" points inside it, so the key registry and every lock
// file land there; the library is reloaded over it. System V objects are
// machine-wide, so a sandbox seeds its key registry with a random large key:
// its keys then do not meet those of a test running beside it.
//
// A sandbox that ends with System V objects of its keys (or of the unnamed
// sets it lists) still alive fails the test and removes them.
#pragma once

#include <openssl/evp.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
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

  // Unloads and loads the library over the sandbox's registry; true when the
  // modules came up.
  bool Reload() const;

 private:
  std::string dir_;
  std::string data_dir_;
};

// One System V object as /proc/sysvipc lists it.
struct SysvObject {
  bool is_segment;  // shared memory; else a semaphore set
  int32_t key;
  int id;
};
std::vector<SysvObject> ListSysvObjects();

// Runs `body` in a forked child that ends with its result.
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

// The key registry parsed independently: each section with its entries in
// order. False when a line is neither a header, an entry nor a blank line, or
// a section appears twice.
using KeyRegistrySections = std::map<std::string, std::vector<std::pair<std::string, std::string>>>;
bool ParseKeyRegistry(const std::string &text, KeyRegistrySections *out);

// A name's digest as an independent MD5 (OpenSSL's) computes it: the name
// with its terminating zero, in upper-case hexadecimal.
inline std::string NameDigest(const std::string &name) {
  unsigned char digest[16];
  unsigned int size = 0;
  EVP_Digest(name.c_str(), name.size() + 1, digest, &size, EVP_md5(), nullptr);
  std::string text;
  for (unsigned char byte : digest) {
    text += "0123456789ABCDEF"[byte >> 4];
    text += "0123456789ABCDEF"[byte & 15];
  }
  return text;
}

}  // namespace ipctest

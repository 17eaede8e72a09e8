// A sandbox product registry for the configuration tests: a mkdtemp directory
// holding the registry file (named by KXSUPT_REGISTRY_FILE) and a data
// directory that "mernex.vardatapath" points at, so IPC lock files land
// inside. Creating one reloads the process-wide library over that registry;
// destroying it unloads the library and removes the directory. Also small
// file and process helpers.
#pragma once

#include <sys/types.h>

#include <functional>
#include <set>
#include <string>

namespace kxtest {

class Sandbox {
 public:
  // `extra` lines are appended to the registry after the data-directory line.
  explicit Sandbox(const std::string &extra = "");
  ~Sandbox();
  Sandbox(const Sandbox &) = delete;
  Sandbox &operator=(const Sandbox &) = delete;

  const std::string &dir() const { return dir_; }
  const std::string &registry() const { return registry_; }
  // dir()/name
  std::string Path(const std::string &name) const { return dir_ + "/" + name; }
  // The data directory and the IPC directory under it.
  std::string DataDir() const { return dir_ + "/var"; }
  std::string IpcDir() const { return DataDir() + "/.ipc"; }

  // Replaces the registry's content (the data-directory line is not added).
  void WriteRegistry(const std::string &content) const;
  // Unloads and loads the library again over the current registry; true when
  // the modules came up.
  bool Reload() const;

 private:
  std::string dir_;
  std::string registry_;
};

// Brings the process-wide library to its unloaded state (no registry).
void UnloadLibrary();

// Writes `content` to `path`, replacing it.
void WriteFile(const std::string &path, const std::string &content);
// The whole file, or "" when it cannot be read.
std::string ReadFile(const std::string &path);
bool FileExists(const std::string &path);
// The names of a directory's entries.
std::set<std::string> DirectoryEntries(const std::string &dir);

// Forks a child that runs `body` and exits with its result (standard output
// flushed before and after, so nothing is printed twice).
pid_t Spawn(const std::function<int()> &body);
// Waits for the child: its exit code, 128 + the signal when one ended it,
// -1 when it cannot be reaped.
int Reap(pid_t pid);

}  // namespace kxtest

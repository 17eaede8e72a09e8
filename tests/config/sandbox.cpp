// The configuration tests' sandbox registry, file and process helpers.
#include "sandbox.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "frame/lifecycle.h"

namespace kxtest {

// A failed attach at start-up leaves the attach count raised, so it is
// balanced here too.
void UnloadLibrary() {
  kx::frame::Lifecycle &library = kx::frame::Library();
  while (library.load_count() > 0) library.Unload();
  while (library.attach_count() > 0) library.Detach();
}

Sandbox::Sandbox(const std::string &extra) {
  char pattern[] = "/tmp/kxsupt-config-XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
  dir_ = pattern;
  registry_ = dir_ + "/vqreg.cfg";
  std::filesystem::create_directory(DataDir());
  WriteRegistry("mernex.vardatapath=" + DataDir() + "\n" + extra);
  setenv("KXSUPT_REGISTRY_FILE", registry_.c_str(), 1);
  Reload();
}

Sandbox::~Sandbox() {
  UnloadLibrary();
  unsetenv("KXSUPT_REGISTRY_FILE");
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

void Sandbox::WriteRegistry(const std::string &content) const {
  WriteFile(registry_, content);
}

bool Sandbox::Reload() const {
  UnloadLibrary();
  return kx::frame::Library().Load() == 1;
}

void WriteFile(const std::string &path, const std::string &content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool FileExists(const std::string &path) {
  return access(path.c_str(), F_OK) == 0;
}

std::set<std::string> DirectoryEntries(const std::string &dir) {
  std::set<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(dir)) {
    names.insert(entry.path().filename());
  }
  return names;
}

pid_t Spawn(const std::function<int()> &body) {
  std::fflush(stdout);  // the child must not repeat the parent's pending output
  pid_t pid = fork();
  if (pid == 0) {
    int code = body();
    std::fflush(stdout);
    _exit(code);
  }
  return pid;
}

int Reap(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace kxtest

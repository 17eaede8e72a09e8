// Forking, reaping and directory listings for the reliability tests.
#include "processes.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace kxtest {

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

std::set<std::string> DirectoryEntries(const std::string &dir) {
  std::set<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(dir)) {
    names.insert(entry.path().filename());
  }
  return names;
}

}  // namespace kxtest

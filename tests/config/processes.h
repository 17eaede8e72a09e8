// Process helpers of the configuration reliability tests: fork a child that
// runs a body, reap it, and list what a directory holds afterwards.
#pragma once

#include <sys/types.h>

#include <functional>
#include <set>
#include <string>

namespace kxtest {

// Forks a child that runs `body` and exits with its result (standard output
// flushed before and after, so nothing is printed twice).
pid_t Spawn(const std::function<int()> &body);
// Waits for the child: its exit code, 128 + the signal when one ended it,
// -1 when it cannot be reaped.
int Reap(pid_t pid);
// The names of a directory's entries.
std::set<std::string> DirectoryEntries(const std::string &dir);

}  // namespace kxtest

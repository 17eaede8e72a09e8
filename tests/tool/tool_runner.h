// Runs the kxsupt tool as a separate process with given arguments and standard
// input, capturing standard output, standard error and the exit status.
#pragma once

#include <string>
#include <vector>

namespace kxtest {

struct ToolResult {
  int exit_status = -1;
  std::string out;
  std::string err;
};

ToolResult RunTool(const std::vector<std::string> &args, const std::string &input = "");

// A private temporary directory, removed with everything in it on destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  std::string Write(const std::string &name, const std::string &content) const;

 private:
  std::string path_;
};

std::string ReadFile(const std::string &path);

}  // namespace kxtest

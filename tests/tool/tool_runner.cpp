// Process runner for the tool's end-to-end tests.
#include "tool_runner.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace kxtest {

namespace {

std::string ShellQuote(const std::string &arg) {
  std::string quoted = "'";
  for (char c : arg) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

}  // namespace

TempDir::TempDir() {
  char tmpl[] = "/tmp/kxsupt-test-XXXXXX";
  path_ = mkdtemp(tmpl);
}

TempDir::~TempDir() {
  std::filesystem::remove_all(path_);
}

std::string TempDir::Write(const std::string &name, const std::string &content) const {
  std::string file = path_ + "/" + name;
  std::ofstream(file, std::ios::binary) << content;
  return file;
}

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

ToolResult RunTool(const std::vector<std::string> &args, const std::string &input) {
  TempDir scratch;
  std::string in = scratch.Write("stdin", input);
  std::string command = ShellQuote(KXSUPT_TOOL_PATH);
  for (const std::string &arg : args) command.append(" ").append(ShellQuote(arg));
  command.append(" <").append(ShellQuote(in));
  command.append(" >").append(ShellQuote(scratch.path() + "/stdout"));
  command.append(" 2>").append(ShellQuote(scratch.path() + "/stderr"));
  int raw = std::system(command.c_str());
  ToolResult result;
  result.exit_status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  result.out = ReadFile(scratch.path() + "/stdout");
  result.err = ReadFile(scratch.path() + "/stderr");
  return result;
}

}  // namespace kxtest

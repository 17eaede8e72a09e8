// The tool's command table. A subcommand is one file that defines a class
// derived from Command and registers it with KXSUPT_COMMAND; main() builds the
// command line from the table, so adding a command touches nothing else.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kxtool {

// Exit statuses shared by every command.
enum Exit : int {
  kExitOk = 0,
  kExitNotFound = 1,
  kExitBadInput = 2,  // bad usage or bad input
};

class Command {
 public:
  virtual ~Command() = default;
  // Declares the command's options and positionals on its subcommand.
  virtual void Configure(CLI::App &sub) = 0;
  // Runs after a successful parse; returns an Exit value.
  virtual int Run() = 0;
};

struct CommandInfo {
  const char *name;
  const char *summary;
  std::function<std::unique_ptr<Command>()> make;
};

std::vector<CommandInfo> &CommandTable();

struct CommandRegistration {
  CommandRegistration(const char *name, const char *summary,
                      std::function<std::unique_ptr<Command>()> make) {
    CommandTable().push_back({name, summary, std::move(make)});
  }
};

#define KXSUPT_COMMAND(Class, name, summary)                \
  static ::kxtool::CommandRegistration register_##Class {   \
    name, summary, [] { return std::make_unique<Class>(); } \
  }

// Prints "kxsupt: <message>" on standard error.
void Complain(const std::string &message);

// Exit status for a refused INI or property-file call, after complaining
// about `what`: kExitNotFound for a file that cannot be opened or an absent
// entry (described by `missing_entry`), kExitBadInput otherwise.
int ReportConfigStatus(uint32_t status, const std::string &what, const char *missing_entry);

}  // namespace kxtool

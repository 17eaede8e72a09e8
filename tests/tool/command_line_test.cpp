// The tool's command line: help, version, usage errors and their exit
// statuses.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tool_runner.h"

namespace {

using kxtest::RunTool;

TEST(ToolCommandLine, version_names_tool_and_library_interface) {
  auto result = RunTool({"--version"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.out, "kxsupt " KXSUPT_PACKAGE_VERSION " (libkxsupt interface 1.1.1)\n");
}

TEST(ToolCommandLine, help_lists_every_command_and_each_command_has_its_own) {
  auto result = RunTool({"--help"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_NE(result.out.find("Usage:"), std::string::npos);
  EXPECT_TRUE(result.err.empty());
  for (std::string command : {"sdo", "crc32", "md5", "base64", "printf", "net", "ipc"}) {
    EXPECT_NE(result.out.find("  " + command + " "), std::string::npos) << command;
    auto own = RunTool({command, "--help"});
    EXPECT_EQ(own.exit_status, 0) << command;
    EXPECT_NE(own.out.find("Usage: "), std::string::npos) << command;
    EXPECT_NE(own.out.find(" " + command + " "), std::string::npos) << command;
  }
}

TEST(ToolCommandLine, bad_usage_exits_2_with_prefixed_message) {
  for (auto args : {std::vector<std::string>{}, std::vector<std::string>{"no-such-command"},
                    std::vector<std::string>{"--no-such-flag"}}) {
    auto result = RunTool(args);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err.rfind("kxsupt: ", 0), 0u) << result.err;
    EXPECT_TRUE(result.out.empty());
  }
}

// The commands a help text lists under "Subcommands:", name and description.
std::vector<std::pair<std::string, std::string>> ListedCommands(const std::string &help) {
  std::vector<std::pair<std::string, std::string>> commands;
  std::istringstream lines(help.substr(help.find("Subcommands:")));
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line) && line.rfind("  ", 0) == 0) {
    std::istringstream words(line);
    std::string name, description;
    words >> name >> std::ws;
    std::getline(words, description);
    commands.emplace_back(name, description);
  }
  return commands;
}

// An unknown command is named, with the commands that exist at its level,
// whatever follows it: a script can tell it from a valid line.
TEST(ToolCommandLine, unknown_commands_are_named_with_the_ones_that_exist) {
  struct Case {
    std::vector<std::string> args;
    std::string level;  // "kxsupt" or "kxsupt sdo"
  } cases[] = {
      {{"bogus"}, "kxsupt"},
      {{"bogus", "--help"}, "kxsupt"},
      {{"--help", "bogus"}, "kxsupt"},
      {{"bogus", "sdo"}, "kxsupt"},
      {{"sdo", "bogus"}, "kxsupt sdo"},
      {{"sdo", "bogus", "--help"}, "kxsupt sdo"},
  };
  for (const Case &c : cases) {
    const std::string line = ::testing::PrintToString(c.args);
    std::vector<std::string> helpArgs(c.level == "kxsupt" ? 0 : 1, "sdo");
    helpArgs.push_back("--help");
    const auto commands = ListedCommands(RunTool(helpArgs).out);
    ASSERT_GE(commands.size(), 2u) << line;

    auto result = RunTool(c.args);
    EXPECT_EQ(result.exit_status, 2) << line;
    EXPECT_TRUE(result.out.empty()) << line;
    std::istringstream err(result.err);
    std::string first;
    std::getline(err, first);
    EXPECT_EQ(first,
              "kxsupt: 'bogus' is not a " + c.level + " command; see '" + c.level + " --help'")
        << line;
    for (const auto &[name, description] : commands) {
      EXPECT_NE(result.err.find("  " + name + " "), std::string::npos) << line << " " << name;
      EXPECT_NE(result.err.find(description), std::string::npos) << line << " " << name;
    }
  }
}

}  // namespace

// The tool's command line: help, version, usage errors and their exit
// statuses.
#include <gtest/gtest.h>

#include "tool_runner.h"

namespace {

using kxtest::RunTool;

TEST(ToolCommandLine, version_names_tool_and_library_interface) {
  auto result = RunTool({"--version"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_NE(result.out.find("kxsupt "), std::string::npos);
  EXPECT_NE(result.out.find("libkxsupt interface 1.1.1"), std::string::npos);
}

TEST(ToolCommandLine, help_lists_every_command_and_each_command_has_its_own) {
  auto result = RunTool({"--help"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_NE(result.out.find("Usage:"), std::string::npos);
  EXPECT_TRUE(result.err.empty());
  for (std::string command : {"sdo", "crc32", "md5", "base64", "printf"}) {
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

}  // namespace

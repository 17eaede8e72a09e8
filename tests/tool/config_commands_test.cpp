// ini, prop and paths, end to end over a sandbox registry: every value type
// set and read back in text and JSON, removal and lists, property files with
// their prefix keys and continuations (and a set that refuses to empty the
// file), the exit statuses, and the registry's view with an environment
// override.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tool_runner.h"

namespace {

using Json = nlohmann::json;
using kxtest::ReadFile;
using kxtest::RunTool;
using kxtest::TempDir;

// A registry in a temporary directory, named by KXSUPT_REGISTRY_FILE for the
// tool processes started while it lives.
class ToolSandbox {
 public:
  explicit ToolSandbox(const std::string &extra = "") {
    std::filesystem::create_directories(dir_.path() + "/var");
    registry_ = dir_.Write("vqreg.cfg", "mernex.vardatapath=" + dir_.path() + "/var\n" + extra);
    setenv("KXSUPT_REGISTRY_FILE", registry_.c_str(), 1);
  }
  ~ToolSandbox() { unsetenv("KXSUPT_REGISTRY_FILE"); }
  std::string Path(const std::string &name) const { return dir_.path() + "/" + name; }

 private:
  TempDir dir_;
  std::string registry_;
};

TEST(ToolIni, every_type_round_trips_in_text_and_json) {
  ToolSandbox sandbox;
  const std::string file = sandbox.Path("t.ini");
  struct Case {
    const char *type;
    const char *given;
    const char *printed;
    Json json;
    const char *stored;
  } cases[] = {
      {"text", "hello world", "hello world", "hello world", "hello world"},
      {"ucs2", "h\xC3\xA9", "h\xC3\xA9", "h\xC3\xA9", "0x68,0x00,0xE9,0x00,0x00,0x00"},
      {"bytes", "01ff", "01ff", "01ff", "0x01,0xFF"},
      {"bool", "true", "true", true, "TRUE"},
      {"uint32", "4294967295", "4294967295", 4294967295u, "4294967295"},
      {"int32", "-5", "-5", -5, "-5"},
      {"7", "18446744073709551615", "18446744073709551615", UINT64_MAX, "18446744073709551615"},
      {"int64", "-9000000000", "-9000000000", -9000000000LL, "-9000000000"},
      {"double", "2.5", "2.5", 2.5, "2.50000000"},
  };
  for (const Case &c : cases) {
    auto set = RunTool({"ini", "set", "--type", c.type, file, "s", c.type, c.given});
    ASSERT_EQ(set.exit_status, 0) << c.type << set.err;
    auto get = RunTool({"ini", "get", "--type", c.type, file, "s", c.type});
    EXPECT_EQ(get.exit_status, 0) << c.type;
    EXPECT_EQ(get.out, std::string(c.printed) + "\n") << c.type;
    auto json = RunTool({"ini", "get", "--json", "-t", c.type, file, "s", c.type});
    ASSERT_EQ(json.exit_status, 0) << c.type;
    Json parsed = Json::parse(json.out);
    EXPECT_EQ(parsed["value"], c.json) << c.type;
    EXPECT_EQ(parsed["section"], "s");
    // The stored text, as the text type reads it.
    auto stored = RunTool({"ini", "get", file, "s", c.type});
    EXPECT_EQ(stored.out, std::string(c.stored) + "\n") << c.type;
  }
}

TEST(ToolIni, lists_removal_and_exit_statuses) {
  ToolSandbox sandbox;
  TempDir files;
  const std::string file = files.Write("l.ini", "[a]\nx=1\ny=2\n[b]\nz=3\n");
  auto sections = RunTool({"ini", "list", file});
  EXPECT_EQ(sections.out, "a\nb\n");
  auto keys = RunTool({"ini", "list", "--json", file, "a"});
  ASSERT_EQ(keys.exit_status, 0);
  EXPECT_EQ(Json::parse(keys.out)["keys"], Json({"x", "y"}));
  EXPECT_EQ(RunTool({"ini", "del", file, "a", "x"}).exit_status, 0);
  EXPECT_EQ(RunTool({"ini", "del", file, "b"}).exit_status, 0);
  EXPECT_EQ(ReadFile(file), "[a]\ny=2\n");
  auto missing_key = RunTool({"ini", "get", file, "a", "x"});
  EXPECT_EQ(missing_key.exit_status, 1);
  EXPECT_EQ(missing_key.err.rfind("kxsupt: ", 0), 0u);
  EXPECT_EQ(RunTool({"ini", "get", file, "b", "z"}).exit_status, 1);
  EXPECT_EQ(RunTool({"ini", "get", files.path() + "/none.ini", "a", "y"}).exit_status, 1);
  EXPECT_EQ(RunTool({"ini", "del", file, "b"}).exit_status, 1);
  EXPECT_EQ(RunTool({"ini", "list", file, "none"}).exit_status, 1);
  EXPECT_EQ(RunTool({"ini", "set", "-t", "uint32", file, "a", "n", "-1"}).exit_status, 2);
  EXPECT_EQ(RunTool({"ini", "set", "-t", "bool", file, "a", "n", "maybe"}).exit_status, 2);
  EXPECT_EQ(RunTool({"ini", "set", "-t", "bytes", file, "a", "n", "abc"}).exit_status, 2);
  EXPECT_EQ(RunTool({"ini", "set", "-t", "float", file, "a", "n", "1"}).exit_status, 2);
  EXPECT_EQ(RunTool({"ini", "get", "-t", "uint32", file, "a", "y"}).out, "2\n");
  EXPECT_EQ(RunTool({"ini", "get", "-t", "bool", file, "a", "y"}).exit_status,
            2);  // not TRUE/FALSE
  EXPECT_EQ(RunTool({"ini", "set", file, "a"}).exit_status, 2);
  EXPECT_EQ(ReadFile(file), "[a]\ny=2\n");
}

TEST(ToolPaths, registry_view_with_environment_override) {
  TempDir trees;
  std::filesystem::create_directories(trees.path() + "/w/logs");
  std::filesystem::create_directories(trees.path() + "/k");
  ToolSandbox sandbox("Wexbridge.installpath=" + trees.path() + "/w/\nWexbridge.logpath=" +
                      trees.path() + "/w/logs\nvaxo.installpath=" + trees.path() + "/gone\n");
  auto one = RunTool({"paths", "Wexbridge", "logpath"});
  EXPECT_EQ(one.exit_status, 0);
  EXPECT_EQ(one.out, "Wexbridge.logpath  " + trees.path() + "/w/logs\n");
  auto by_number = RunTool({"paths", "35", "64", "--json"});
  ASSERT_EQ(by_number.exit_status, 0);
  Json entry = Json::parse(by_number.out).at(0);
  EXPECT_EQ(entry["path"], trees.path() + "/w");
  EXPECT_EQ(entry["component"], "Wexbridge");
  EXPECT_EQ(entry["type"], "inipath");
  auto gone = RunTool({"paths", "vaxo", "installpath"});
  EXPECT_EQ(gone.exit_status, 1);
  EXPECT_EQ(gone.out, "vaxo.installpath  (not on disk)\n");
  auto all = RunTool({"paths", "--json"});
  ASSERT_EQ(all.exit_status, 0);
  EXPECT_EQ(Json::parse(all.out).size(), 7u * 6u);
  // The override wins over the registry, in either letter case.
  setenv("KORVANEINSTALLPATH", (trees.path() + "/k").c_str(), 1);
  auto overridden = RunTool({"paths", "korvane", "installpath"});
  unsetenv("KORVANEINSTALLPATH");
  EXPECT_EQ(overridden.out, "Korvane.installpath  " + trees.path() + "/k\n");
  EXPECT_EQ(RunTool({"paths", "Korvane", "installpath"}).exit_status, 1);
  EXPECT_EQ(RunTool({"paths", "nobody"}).exit_status, 2);
  EXPECT_EQ(RunTool({"paths", "35", "3"}).exit_status, 2);
}

TEST(ToolProp, get_set_and_list) {
  ToolSandbox sandbox;
  TempDir files;
  const std::string file =
      files.Write("p.properties", "# settings\nport: 8080\nhost = a\\\n  b\n=all\nname=x\n");
  auto get = RunTool({"prop", "get", file, "port"});
  EXPECT_EQ(get.exit_status, 0);
  EXPECT_EQ(get.out, "8080\n");
  // The line key "port" answers "portal"; a value continues over two lines.
  auto prefix = RunTool({"prop", "get", "--json", file, "portal"});
  ASSERT_EQ(prefix.exit_status, 0);
  EXPECT_EQ(Json::parse(prefix.out), Json({{"file", file}, {"key", "portal"}, {"value", "8080"}}));
  EXPECT_EQ(RunTool({"prop", "get", file, "host"}).out, "a\n  b\n");
  // The list keeps the empty key of the "=all" line.
  EXPECT_EQ(RunTool({"prop", "list", file}).out, "port\nhost\n\nname\n");
  auto list = RunTool({"prop", "list", "--json", file});
  ASSERT_EQ(list.exit_status, 0);
  EXPECT_EQ(Json::parse(list.out)["keys"], Json({"port", "host", "", "name"}));

  auto set = RunTool({"prop", "set", "--json", file, "host", "c d"});
  ASSERT_EQ(set.exit_status, 0) << set.err;
  EXPECT_EQ(Json::parse(set.out)["value"], "c d");
  EXPECT_EQ(ReadFile(file), "# settings\nport: 8080\nhost=c d\n=all\nname=x\n");
  EXPECT_EQ(RunTool({"prop", "get", file, "host"}).out, "c d\n");
}

TEST(ToolProp, refusals_and_exit_statuses) {
  ToolSandbox sandbox;
  TempDir files;
  const std::string content = "a=1\nb=2\n";
  const std::string file = files.Write("p.properties", content);
  // No line answers "c": the library would empty the file, so nothing is
  // written.
  auto absent = RunTool({"prop", "set", file, "c", "3"});
  EXPECT_EQ(absent.exit_status, 1);
  EXPECT_EQ(absent.err.rfind("kxsupt: ", 0), 0u);
  EXPECT_EQ(ReadFile(file), content);
  EXPECT_EQ(RunTool({"prop", "get", file, "c"}).exit_status, 1);
  const std::string missing = files.path() + "/none.properties";
  EXPECT_EQ(RunTool({"prop", "get", missing, "a"}).exit_status, 1);
  EXPECT_EQ(RunTool({"prop", "set", missing, "a", "1"}).exit_status, 1);
  EXPECT_FALSE(std::filesystem::exists(missing));
  EXPECT_EQ(RunTool({"prop", "list", missing}).exit_status, 1);
  const std::string comments = files.Write("c.properties", "# only\n\n");
  auto empty = RunTool({"prop", "list", "--json", comments});
  EXPECT_EQ(empty.exit_status, 0);
  EXPECT_EQ(Json::parse(empty.out)["keys"], Json::array());
  EXPECT_EQ(RunTool({"prop", "set", file, "a"}).exit_status, 2);
  EXPECT_EQ(RunTool({"prop", "frob", file}).exit_status, 2);
  EXPECT_EQ(ReadFile(file), content);
}

}  // namespace

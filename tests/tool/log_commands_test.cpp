// log show|append|clear|path, end to end over a sandbox registry: events
// appended through the tool read back in text and JSON from both logs, the
// clear entries, paths and exit statuses, and damaged logs (cut, flipped and
// foreign bytes) that show must read around without failing.
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

// A registry whose product 35 logs under <dir>/logs, named by
// KXSUPT_REGISTRY_FILE for the tool processes started while it lives.
class LogToolSandbox {
 public:
  LogToolSandbox() {
    std::filesystem::create_directories(dir_.path() + "/var");
    std::filesystem::create_directories(dir_.path() + "/logs");
    const std::string registry =
        dir_.Write("vqreg.cfg", "mernex.vardatapath=" + dir_.path() +
                                    "/var\nWexbridge.logpath=" + dir_.path() + "/logs\n");
    setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
  }
  ~LogToolSandbox() { unsetenv("KXSUPT_REGISTRY_FILE"); }
  std::string Path(const std::string &name) const { return dir_.path() + "/" + name; }
  std::string TextLog() const { return Path("logs/log/kxsys32.log"); }
  std::string XmlLog() const { return Path("logs/log/kxsys32.xml"); }
  std::string Write(const std::string &name, const std::string &content) const {
    return dir_.Write(name, content);
  }

 private:
  TempDir dir_;
};

Json ShowJson(const std::vector<std::string> &args) {
  std::vector<std::string> command = {"log", "show", "--json"};
  command.insert(command.end(), args.begin(), args.end());
  const auto result = RunTool(command);
  EXPECT_EQ(result.exit_status, 0) << result.err;
  return Json::parse(result.out, nullptr, false);
}

TEST(ToolLog, paths_of_the_default_logs_and_their_backups) {
  LogToolSandbox box;
  EXPECT_EQ(RunTool({"log", "path"}).out, box.TextLog() + "\n");
  EXPECT_EQ(RunTool({"log", "path", "--xml"}).out, box.XmlLog() + "\n");
  EXPECT_EQ(RunTool({"log", "path", "--backup"}).out, box.Path("logs/log/kxsys32.lo_") + "\n");
  EXPECT_EQ(RunTool({"log", "path", "--xml", "--backup"}).out,
            box.Path("logs/log/kxsys32.xm_") + "\n");
  EXPECT_EQ(RunTool({"log", "path", "--text", "--xml"}).exit_status, 2);
}

TEST(ToolLog, without_a_log_path_commands_report_not_found) {
  TempDir dir;
  const std::string registry = dir.Write("vqreg.cfg", "");
  setenv("KXSUPT_REGISTRY_FILE", registry.c_str(), 1);
  const auto path = RunTool({"log", "path"});
  const auto show = RunTool({"log", "show"});
  unsetenv("KXSUPT_REGISTRY_FILE");
  EXPECT_EQ(path.exit_status, 1);
  EXPECT_NE(path.err.find("kxsupt: no default log path"), std::string::npos);
  EXPECT_EQ(show.exit_status, 1);
}

TEST(ToolLog, appended_events_read_back_from_both_logs) {
  LogToolSandbox box;
  auto first = RunTool({"log", "append", "--type", "error", "--category", "3", "--id", "42",
                        "--source", "disk", "--data", "00ff41", "full <again> & hot"});
  ASSERT_EQ(first.exit_status, 0) << first.err;
  ASSERT_EQ(RunTool({"log", "append", "--text", "--type", "16", "second"}).exit_status, 0);

  const Json text = ShowJson({});
  EXPECT_EQ(text["format"], "text");
  EXPECT_EQ(text["header"], true);
  EXPECT_EQ(text["damaged"], 0);
  ASSERT_EQ(text["records"].size(), 2u);
  const Json &r = text["records"][0];
  EXPECT_EQ(r["eventId"], "42");
  EXPECT_EQ(r["type"], "Error");
  EXPECT_EQ(r["category"], "Volume Service");
  EXPECT_EQ(r["source"], "disk");
  EXPECT_EQ(r["description"], "full <again> & hot");
  EXPECT_EQ(r["data"], "00ff41");
  EXPECT_EQ(text["records"][1]["type"], "Audit Failure");

  const Json xml = ShowJson({"--xml"});
  EXPECT_EQ(xml["format"], "xml");
  EXPECT_EQ(xml["closed"], true);
  ASSERT_EQ(xml["records"].size(), 1u);  // the second event went to the text log only
  EXPECT_EQ(xml["records"][0]["type"], "1");
  EXPECT_EQ(xml["records"][0]["description"], "full <again> & hot");
  EXPECT_EQ(xml["records"][0]["data"], "00ff41");
  EXPECT_EQ(xml["records"][0]["time"], r["time"]);

  // The readable form, and only the last record with --tail.
  const auto shown = RunTool({"log", "show", "--tail", "1", box.TextLog()});
  ASSERT_EQ(shown.exit_status, 0);
  EXPECT_NE(shown.out.find("2 records, header intact"), std::string::npos);
  EXPECT_EQ(shown.out.find("EventID: 42"), std::string::npos);
  EXPECT_NE(shown.out.find("Description: second"), std::string::npos);
  EXPECT_EQ(ShowJson({"--tail", "0"})["records"].size(), 0u);
}

TEST(ToolLog, bad_arguments_and_library_refusals_exit_2) {
  LogToolSandbox box;
  EXPECT_EQ(RunTool({"log", "append", "--type", "loud", "x"}).exit_status, 2);
  EXPECT_EQ(RunTool({"log", "append", "--data", "0g", "x"}).exit_status, 2);
  const auto refused = RunTool({"log", "append", "--xml", "--category", "9", "x"});
  EXPECT_EQ(refused.exit_status, 2);
  EXPECT_NE(refused.err.find("SMAppendToLog failed with status 4294967295"), std::string::npos);
  EXPECT_EQ(RunTool({"log", "append"}).exit_status, 2);
  EXPECT_EQ(RunTool({"log", "show", "--text", "--xml"}).exit_status, 2);
  EXPECT_EQ(RunTool({"log", "show", box.Path("absent.log")}).exit_status, 1);
}

TEST(ToolLog, clear_writes_the_cleared_entries) {
  LogToolSandbox box;
  ASSERT_EQ(RunTool({"log", "append", "old"}).exit_status, 0);
  ASSERT_EQ(RunTool({"log", "clear", "--category", "2", "--source", "ops"}).exit_status, 0);
  const Json text = ShowJson({"--text"});
  ASSERT_EQ(text["records"].size(), 1u);
  EXPECT_EQ(text["records"][0]["description"], "Log was cleared");
  EXPECT_EQ(text["records"][0]["source"], "ops");
  const Json xml = ShowJson({"--xml"});
  ASSERT_EQ(xml["records"].size(), 1u);
  EXPECT_EQ(xml["records"][0]["userInfo"], "Local System");
  EXPECT_EQ(xml["records"][0]["category"], "Wexbridge Service");
}

TEST(ToolLog, an_xml_log_of_ones_own) {
  LogToolSandbox box;
  const std::string own = box.Path("own/app.xml");
  ASSERT_EQ(RunTool({"log", "append", "--file", own, "--user", "ann", "--link", "a?b=1&c=2", "--id",
                     "7", "hello"})
                .exit_status,
            0);
  Json shown = ShowJson({own});
  ASSERT_EQ(shown["records"].size(), 1u);
  EXPECT_EQ(shown["records"][0]["userInfo"], "ann");
  EXPECT_EQ(shown["records"][0]["link"], "a?b=1&c=2");
  ASSERT_EQ(RunTool({"log", "clear", "--file", own, "--user", "bob"}).exit_status, 0);
  shown = ShowJson({own});
  ASSERT_EQ(shown["records"].size(), 1u);
  EXPECT_EQ(shown["records"][0]["userInfo"], "bob");
  EXPECT_EQ(shown["records"][0]["description"], "Log was cleared");
}

// A text log of three events made through the tool.
std::string ThreeEventTextLog(const LogToolSandbox &box) {
  for (const char *text : {"alpha", "beta", "gamma"}) {
    EXPECT_EQ(
        RunTool({"log", "append", "--text", "--data", "0102030405060708090a0b0c0d0e0f1011", text})
            .exit_status,
        0);
  }
  return ReadFile(box.TextLog());
}

TEST(ToolLogDamaged, text_log_cut_anywhere_is_read_around) {
  LogToolSandbox box;
  const std::string whole = ThreeEventTextLog(box);
  const size_t second = whole.find(std::string("E\0v\0e\0n\0t\0I\0D\0", 14), 300);
  ASSERT_NE(second, std::string::npos);
  for (size_t cut = 0; cut <= whole.size(); cut += 37) {
    const std::string file = box.Write("cut.log", whole.substr(0, cut));
    const auto result = RunTool({"log", "show", "--json", "--text", file});
    ASSERT_TRUE(result.exit_status == 0 || result.exit_status == 2) << cut << result.err;
    if (result.exit_status != 0) {
      EXPECT_LT(cut, 258u) << "only a file without header and records is refused";
      continue;
    }
    const Json shown = Json::parse(result.out);
    // Every record wholly before the cut is read; a cut record is skipped.
    const size_t whole_records = cut >= whole.size() ? 3 : (cut > second ? 1 : 0);
    EXPECT_GE(shown["records"].size(), whole_records) << cut;
    EXPECT_LE(shown["records"].size(), 3u);
    if (!shown["records"].empty()) {
      EXPECT_EQ(shown["records"][0]["description"], "alpha");
    }
  }
}

TEST(ToolLogDamaged, a_broken_record_in_the_middle_is_skipped) {
  LogToolSandbox box;
  std::string bytes = ThreeEventTextLog(box);
  // Damage the second record's "Source:" label.
  const size_t source = bytes.find(std::string("S\0o\0u\0r\0c\0e\0", 12), 600);
  ASSERT_NE(source, std::string::npos);
  bytes[source] = 'X';
  const std::string file = box.Write("flipped.log", bytes + "\x01");  // and an odd byte at the end
  const auto result = RunTool({"log", "show", "--json", file});
  ASSERT_EQ(result.exit_status, 0);
  EXPECT_NE(result.err.find("skipped 1 damaged stretch"), std::string::npos);
  const Json shown = Json::parse(result.out);
  ASSERT_EQ(shown["records"].size(), 2u);
  EXPECT_EQ(shown["records"][0]["description"], "alpha");
  EXPECT_EQ(shown["records"][1]["description"], "gamma");
  EXPECT_EQ(shown["records"][1]["data"], "0102030405060708090a0b0c0d0e0f1011");
}

TEST(ToolLogDamaged, xml_log_without_its_end_or_with_a_broken_entry) {
  LogToolSandbox box;
  for (const char *text : {"one", "two", "three"}) {
    ASSERT_EQ(RunTool({"log", "append", "--xml", text}).exit_status, 0);
  }
  std::string bytes = ReadFile(box.XmlLog());
  const std::string open = bytes.substr(0, bytes.size() - 11);  // no </EventLog>
  auto result = RunTool({"log", "show", "--json", box.Write("open.xml", open)});
  ASSERT_EQ(result.exit_status, 0);
  Json shown = Json::parse(result.out);
  EXPECT_EQ(shown["closed"], false);
  EXPECT_EQ(shown["records"].size(), 3u);

  const size_t two = bytes.find("<Description>two</Description>");
  ASSERT_NE(two, std::string::npos);
  bytes.replace(two, 13, "<Description ");  // a tag that never closes
  result = RunTool({"log", "show", "--json", box.Write("broken.xml", bytes)});
  ASSERT_EQ(result.exit_status, 0);
  shown = Json::parse(result.out);
  ASSERT_EQ(shown["records"].size(), 2u);
  EXPECT_EQ(shown["records"][1]["description"], "three");
  EXPECT_EQ(shown["damaged"], 1);
}

TEST(ToolLogDamaged, foreign_files_are_refused) {
  LogToolSandbox box;
  for (const std::string &content :
       {std::string(), std::string("hello"), std::string("\xFF\xFE", 2) + std::string(300, 'x')}) {
    const auto result = RunTool({"log", "show", box.Write("foreign", content)});
    EXPECT_EQ(result.exit_status, 2) << content.size();
    EXPECT_NE(result.err.find("not a"), std::string::npos);
  }
}

}  // namespace

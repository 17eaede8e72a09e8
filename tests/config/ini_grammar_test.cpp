// The INI grammar and writer placement: a model-based differential run of the
// real engine (random files and random writes, deletions and reads, checked
// byte for byte against a small structural model written from the rules
// alone), and tables over the pure routines for what the model leaves out.
#include <gtest/gtest.h>
#include <kxsupt.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "config/ini_text.h"
#include "sandbox.h"

namespace {

using kx::Status;
namespace config = kx::config;

struct ReadCase {
  const char *name;
  std::string file;
  const char *section;
  const char *key;
  Status status;
  std::string value;
};

TEST(IniGrammar, reads) {
  const std::string long_value(8440, 'v');
  const ReadCase cases[] = {
      {"blank before = belongs to the key", "[s]\nkey = v\n", "s", "key", Status::kEntryNotFound,
       ""},
      {"header with blanks and trailer", "  [s] trailing\nk=v\n", "s", "k", Status::kSuccess, "v"},
      {"names compare with case", "[S]\nk=v\n", "s", "k", Status::kEndOfFile, ""},
      {"column-0 comments skipped", "[s]\n;k=1\n#k=2\nk=3\n", "s", "k", Status::kSuccess, "3"},
      {"indented ; is a key for readers", "[s]\n ;k=1\n", "s", ";k", Status::kSuccess, "1"},
      {"malformed header on the way", "[a\n[s]\nk=1\n", "s", "k", Status::kReadFailed, ""},
      {"malformed header after it is not reached", "[s]\nk=1\n[a\n", "s", "k", Status::kSuccess,
       "1"},
      {"no final line feed", "[s]\nk=v", "s", "k", Status::kSuccess, "v"},
      {"NUL ends the line's text", std::string("[s]\nk=ab\0cd\n", 12), "s", "k", Status::kSuccess,
       "ab"},
      {"a long line splits at 8449 bytes", "[s]\nk=" + long_value + "0123456789j=tail\n", "s",
       "789j", Status::kSuccess, "tail"},
      {"the first piece is the value", "[s]\nk=" + long_value + "0123456789j=tail\n", "s", "k",
       Status::kSuccess, long_value + "0123456"},
  };
  for (const ReadCase &c : cases) {
    std::string_view value;
    EXPECT_EQ(config::FindIniValue(c.file, c.section, c.key, &value), c.status) << c.name;
    if (c.status == Status::kSuccess) {
      EXPECT_EQ(std::string(value), c.value) << c.name;
    }
  }
}

struct EditCase {
  const char *name;
  std::string file;
  const char *section;
  const char *key;
  const char *value;
  Status status;
  std::string expected;
};

TEST(IniGrammar, writer_placement) {
  const EditCase cases[] = {
      {"new key before the comment block of the next section", "[s]\na=1\n\n; about t\n[t]\nb=2\n",
       "s", "k", "v", Status::kSuccess, "[s]\na=1\nk=v\n\n; about t\n[t]\nb=2\n"},
      {"missing section after a file without final line feed", "[s]\na=1", "t", "k", "v",
       Status::kSuccess, "[s]\na=1\n[t]\nk=v\n"},
      {"section removed up to a column-0 # comment", "[s]\na=1\n;x\n  [t]\n#keep\n[u]\n", "s",
       nullptr, nullptr, Status::kSuccess, "#keep\n[u]\n"},
      {"malformed header before the section", "[r\n[s]\n", "s", "k", "v", Status::kReadFailed, ""},
      {"a last line without line feed keeps its value", "[s]\na=1", "s", "k", "v", Status::kSuccess,
       "[s]\na=1\nk=v\n"},
  };
  for (const EditCase &c : cases) {
    std::string out;
    EXPECT_EQ(config::EditIni(c.file, true, c.section, c.key, c.value, &out), c.status) << c.name;
    if (c.status == Status::kSuccess) {
      EXPECT_EQ(out, c.expected) << c.name;
    }
  }
  std::string out;
  EXPECT_EQ(config::EditIni("", false, "s", "k", "v", &out), Status::kSuccess);
  EXPECT_EQ(out, "[s]\nk=v\n");
  EXPECT_EQ(config::EditIni("", true, "s", "k", "v", &out), Status::kSuccess);
  EXPECT_EQ(out, "[s]\nk=v\n");
  EXPECT_EQ(config::EditIni("", false, "s", "k", nullptr, &out), Status::kBadValue);
}

// ---- Model-based differential run ---------------------------------------
//
// The model keeps the file as a list of lines and applies the rules
// structurally: it finds the section's span, the key's line, the last key
// line of the span, instead of streaming like the engine.

struct ModelIni {
  std::vector<std::string> lines;  // each with its "\n"

  static bool Blank(char c) { return c == ' ' || c == '\t'; }
  static std::string Lead(const std::string &line) {
    size_t i = 0;
    while (i < line.size() && Blank(line[i])) ++i;
    return line.substr(i);
  }
  static std::optional<std::string> HeaderName(const std::string &line) {
    std::string lead = Lead(line);
    if (lead.empty() || lead[0] != '[') return std::nullopt;
    return lead.substr(1, lead.find(']') - 1);
  }
  static bool WriterComment(const std::string &line) {
    size_t i = line.find_first_not_of(" \t\r\n");
    return i == std::string::npos || line[i] == ';' || line[i] == '#';
  }
  static std::optional<std::string> Key(const std::string &line) {
    std::string lead = Lead(line);
    size_t eq = lead.find('=');
    if (eq == std::string::npos) return std::nullopt;
    return lead.substr(0, eq);
  }
  // [header index, end of body) of the first section named `name`.
  std::optional<std::pair<size_t, size_t>> Span(const std::string &name) const {
    for (size_t i = 0; i < lines.size(); ++i) {
      if (HeaderName(lines[i]) != name) continue;
      size_t end = i + 1;
      while (end < lines.size() && !HeaderName(lines[end])) ++end;
      return std::make_pair(i, end);
    }
    return std::nullopt;
  }
  std::string Text() const {
    std::string text;
    for (const std::string &line : lines) text += line;
    return text;
  }

  Status Read(const std::string &section, const std::string &key, std::string *value) const {
    auto span = Span(section);
    if (!span) return Status::kEndOfFile;
    for (size_t i = span->first + 1; i < span->second; ++i) {
      if (lines[i][0] == ';' || lines[i][0] == '#') continue;
      if (Key(lines[i]) == key) {
        std::string lead = Lead(lines[i]);
        *value = lead.substr(key.size() + 1, lead.size() - key.size() - 2);
        return Status::kSuccess;
      }
    }
    return Status::kEntryNotFound;
  }
  Status Write(const std::string &section, const std::string &key, const char *value) {
    auto span = Span(section);
    if (!span) {
      if (value == nullptr) return Status::kBadValue;
      if (!lines.empty()) lines.push_back("\n");
      lines.push_back("[" + section + "]\n");
      lines.push_back(key + "=" + value + "\n");
      return Status::kSuccess;
    }
    for (size_t i = span->first + 1; i < span->second; ++i) {
      if (WriterComment(lines[i]) || Key(lines[i]) != key) continue;
      if (value) {
        lines[i] = key + "=" + value + "\n";
      } else {
        lines.erase(lines.begin() + static_cast<long>(i));
      }
      return Status::kSuccess;
    }
    size_t after_last_key = span->first + 1;
    for (size_t i = span->first + 1; i < span->second; ++i) {
      if (!WriterComment(lines[i])) after_last_key = i + 1;
    }
    if (value)
      lines.insert(lines.begin() + static_cast<long>(after_last_key), key + "=" + value + "\n");
    return Status::kSuccess;
  }
  Status DeleteSection(const std::string &section) {
    auto span = Span(section);
    if (!span) return Status::kBadValue;
    size_t end = span->first + 1;
    while (end < lines.size() && lines[end][0] != '[' && lines[end][0] != '#') ++end;
    lines.erase(lines.begin() + static_cast<long>(span->first),
                lines.begin() + static_cast<long>(end));
    return Status::kSuccess;
  }
};

std::string Pick(std::mt19937 &random, const std::vector<std::string> &pool) {
  return pool[random() % pool.size()];
}

TEST(IniModel, random_files_and_operations_match_the_model) {
  kxtest::Sandbox sandbox;
  const std::string path = sandbox.Path("model.ini");
  const std::vector<std::string> sections = {"a", "b", "c", " a", "a "};
  const std::vector<std::string> keys = {"k", "k ", "x", "y", " y", "long_key_name"};
  const std::vector<std::string> values = {"", "1", "v v", "=x", "a;b", "v\r"};
  const std::vector<std::string> fillers = {"\n",    "  \n", "; c\n",  "# c\n",
                                            " ;c\n", "\r\n", "junk\n", "  [b]\n"};
  std::mt19937 random(5);
  int operations = 0;
  for (int file_round = 0; file_round < 60; ++file_round) {
    ModelIni model;
    const int line_count = static_cast<int>(random() % 14);
    for (int i = 0; i < line_count; ++i) {
      switch (random() % 4) {
        case 0:
          model.lines.push_back(std::string("[").append(Pick(random, sections)).append("]\n"));
          break;
        case 1:
          model.lines.push_back(Pick(random, fillers));
          break;
        default:
          model.lines.push_back(std::string(random() % 2, ' ') + Pick(random, keys) + "=" +
                                Pick(random, values) + "\n");
      }
    }
    kxtest::WriteFile(path, model.Text());
    for (int step = 0; step < 25; ++step, ++operations) {
      const std::string section = Pick(random, sections), key = Pick(random, keys);
      const int what = static_cast<int>(random() % 10);
      Status expected, actual;
      if (what < 5) {
        const std::string value = Pick(random, values);
        expected = model.Write(section, key, value.c_str());
        actual = kx::FromC(SMWriteINIPathFileValue(section.c_str(), key.c_str(), 1, value.c_str(),
                                                   static_cast<uint32_t>(value.size() + 1),
                                                   path.c_str(), 1));
      } else if (what < 8) {
        expected = model.Write(section, key, nullptr);
        actual = kx::FromC(
            SMWriteINIPathFileValue(section.c_str(), key.c_str(), 1, nullptr, 0, path.c_str(), 1));
      } else if (what < 9) {
        expected = model.DeleteSection(section);
        actual = kx::FromC(
            SMWriteINIPathFileValue(section.c_str(), nullptr, 1, nullptr, 0, path.c_str(), 1));
      } else {
        std::string model_value;
        expected = model.Read(section, key, &model_value);
        char buffer[64];
        uint32_t size = sizeof buffer;
        actual = kx::FromC(SMReadINIPathFileValue(section.c_str(), key.c_str(), 1, buffer, &size,
                                                  nullptr, 0, path.c_str(), 1));
        if (expected == Status::kSuccess && actual == Status::kSuccess) {
          EXPECT_EQ(std::string(buffer), model_value);
        }
      }
      ASSERT_EQ(actual, expected) << "round " << file_round << " step " << step << " op " << what
                                  << " [" << section << "] " << key << "\n"
                                  << model.Text();
      ASSERT_EQ(kxtest::ReadFile(path), model.Text())
          << "round " << file_round << " step " << step << " op " << what;
    }
  }
  EXPECT_EQ(operations, 60 * 25);
}

}  // namespace

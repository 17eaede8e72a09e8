// The property-file grammar: random files checked against a small model
// written from the rules (lines as whole strings, entries as line ranges), for
// the value found, the key list and the edited text of a write; and the cases
// the random files do not reach.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "config/property_text.h"

namespace {

using kx::Status;
namespace config = kx::config;

std::optional<std::string> Find(const std::string &file, const std::string &key) {
  std::string value;
  if (config::FindPropertyValue(file, key, &value) != Status::kSuccess) return std::nullopt;
  return value;
}

TEST(PropertyGrammar, lines_follow_the_separator_comment_and_continuation_rules) {
  struct Case {
    const char *file;
    const char *key;
    std::optional<std::string> value;
  } cases[] = {
      // What the random files below do not hold: values that look like
      // comments or separators, case, continued comments.
      {"url=http://h:80/x\n", "url", "http://h:80/x"},
      {"k = a = b\n", "k", "a = b"},
      {"   ! port=1\n", "port", std::nullopt},
      {"p\n", "p", std::nullopt},
      {"=x\nport=2\n", "port", "x"},
      {"Port=1\n", "port", std::nullopt},
      {"k=a\\\\\\\nb=2\n", "k", "a\\\\\\"},
      {"k=\\\n#not a comment\n", "k", "\n#not a comment"},
      {"k=a\\\nport=1\n", "port", std::nullopt},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << "file \"" << c.file << "\", key " << c.key);
    EXPECT_EQ(Find(c.file, c.key), c.value);
  }
  // The NUL case, with the bytes after the NUL in the file.
  const std::string with_nul("k=v\0w\nz=1\n", 10);
  EXPECT_EQ(Find(with_nul, "k"), "v");
  EXPECT_EQ(Find(with_nul, "z"), "1");
}

TEST(PropertyGrammar, long_lines_are_read_in_pieces) {
  // 8,449 bytes fill the line buffer; the rest of the line is a line of its
  // own.
  const std::string file = "k=" + std::string(8447, 'a') + "x=1\ny=2\n";
  EXPECT_EQ(Find(file, "k"), std::string(8447, 'a'));
  EXPECT_EQ(Find(file, "x"), "1");
  std::vector<std::string_view> keys;
  ASSERT_EQ(config::ListPropertyKeys(file, &keys), Status::kSuccess);
  EXPECT_EQ(keys, (std::vector<std::string_view>{"k", "x", "y"}));
}

// ---- The model ----------------------------------------------------------

struct ModelEntry {
  std::string key;
  std::string value;
  size_t first_line;
  size_t last_line;
};

struct ModelFile {
  std::vector<std::string> lines;  // without their line feeds
  bool ends_in_line_feed = true;
};

ModelFile Split(const std::string &bytes) {
  ModelFile file;
  std::istringstream in(bytes);
  for (std::string line; std::getline(in, line);) file.lines.push_back(line);
  file.ends_in_line_feed = bytes.empty() || bytes.back() == '\n';
  return file;
}

const char kBlanks[] = "\t\n\r ";
const char kSeparators[] = "\t\n\r :=";

std::string WithoutTrailingBlanks(std::string text) {
  const size_t last = text.find_last_not_of(kBlanks);
  text.erase(last == std::string::npos ? 0 : last + 1);
  return text;
}

std::vector<ModelEntry> Entries(const ModelFile &file) {
  std::vector<ModelEntry> entries;
  for (size_t i = 0; i < file.lines.size(); ++i) {
    std::string line = file.lines[i];
    line.erase(0, line.find_first_not_of(kBlanks));
    if (line.size() < 2) continue;
    if (line[0] == ';' || line[0] == '#' || line[0] == '!') continue;
    if (line.compare(0, 2, "//") == 0) continue;
    ModelEntry entry;
    const size_t key_end = line.find_first_of(kSeparators);
    entry.key = line.substr(0, key_end);
    std::string value = key_end == std::string::npos ? "" : line.substr(key_end);
    value.erase(0, value.find_first_not_of(kSeparators));
    value = WithoutTrailingBlanks(value);
    entry.first_line = i;
    auto one_backslash = [](const std::string &v) {
      return !v.empty() && v.back() == '\\' && (v.size() < 2 || v[v.size() - 2] != '\\');
    };
    while (one_backslash(value)) {
      value.back() = '\n';
      if (i + 1 == file.lines.size()) break;
      value += WithoutTrailingBlanks(file.lines[++i]);
    }
    entry.value = value;
    entry.last_line = i;
    entries.push_back(entry);
  }
  return entries;
}

std::optional<std::string> ModelFind(const ModelFile &file, const std::string &key) {
  for (const ModelEntry &entry : Entries(file)) {
    if (key.size() >= entry.key.size() && key.compare(0, entry.key.size(), entry.key) == 0) {
      return entry.value;
    }
  }
  return std::nullopt;
}

std::string ModelEdit(const ModelFile &file, const std::string &key, const std::string &value) {
  for (const ModelEntry &entry : Entries(file)) {
    if (key.compare(0, entry.key.size(), entry.key) != 0) continue;
    std::string out;
    for (size_t i = 0; i < entry.first_line; ++i) out += file.lines[i] + "\n";
    out += key + "=" + value + "\n";
    for (size_t i = entry.last_line + 1; i < file.lines.size(); ++i) {
      out += file.lines[i];
      if (i + 1 < file.lines.size() || file.ends_in_line_feed) out += "\n";
    }
    return out;
  }
  return "";
}

std::string RandomFile(std::mt19937 &random) {
  static const char *const kKeys[] = {"port", "portal", "p", "host", "host.name", "k", "k1", ""};
  static const char *const kSeparatorRuns[] = {"=", ":", " ", " = ", "\t:\t", "==", ": ", " \t"};
  static const char *const kValues[] = {"8080", "x y", "",   "v\\", "w\\\\", "tail  ",
                                        "a=b",  "c:d", "\\", "t\r", "#x",    "u \\ "};
  static const char *const kOthers[] = {"# c", ";c", "!c", "//c", "  # c",    "/x",  "",
                                        "   ", "a",  " b", "\r",  "  cont  ", "x\\", "\t"};
  static const char *const kLeads[] = {"", "", "", " ", "\t", " \r "};
  auto pick = [&](const auto &table) { return std::string(table[random() % std::size(table)]); };
  std::string file;
  const int lines = static_cast<int>(random() % 12);
  for (int i = 0; i < lines; ++i) {
    if (random() % 3 == 0) {
      file += pick(kOthers);
    } else {
      file += pick(kLeads) + pick(kKeys) + pick(kSeparatorRuns) + pick(kValues);
    }
    file += "\n";
  }
  if (!file.empty() && random() % 4 == 0) file.pop_back();
  return file;
}

TEST(PropertyGrammar, random_files_agree_with_the_model) {
  static const char *const kAsked[] = {"port",      "portal",   "portable", "p",   "host",
                                       "host.name", "hostname", "k10",      "zzz", ""};
  std::mt19937 random(11);
  int compared = 0, found = 0, emptied = 0;
  for (int round = 0; round < 4000; ++round) {
    const std::string bytes = RandomFile(random);
    SCOPED_TRACE(::testing::Message() << "file \"" << bytes << "\"");
    const ModelFile model = Split(bytes);

    std::vector<std::string_view> keys;
    const Status listed = config::ListPropertyKeys(bytes, &keys);
    std::vector<std::string> expected_keys;
    for (const ModelEntry &entry : Entries(model)) expected_keys.push_back(entry.key);
    EXPECT_EQ(std::vector<std::string>(keys.begin(), keys.end()), expected_keys);
    EXPECT_EQ(listed, expected_keys.empty() ? Status::kEntryNotFound : Status::kSuccess);

    for (const char *asked : kAsked) {
      const std::optional<std::string> expected = ModelFind(model, asked);
      EXPECT_EQ(Find(bytes, asked), expected) << "key " << asked;
      std::string edited;
      config::EditProperty(bytes, asked, "NEW", &edited);
      EXPECT_EQ(edited, ModelEdit(model, asked, "NEW")) << "key " << asked;
      ++compared;
      found += expected.has_value();
      emptied += edited.empty();
    }
  }
  std::printf("[ figures  ] %d lookups and edits compared with the model: %d found, %d empty\n",
              compared, found, emptied);
}

}  // namespace

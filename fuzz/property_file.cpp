// Fuzz target for the property-file reader and writer over arbitrary file
// contents. The first byte picks the requested key; the rest is the file.
// Listed keys lie within the file and hold no separator; a key is found
// exactly when a listed key begins it; a write that matches puts the key
// where the first matching entry was, leaves every other entry's key in
// place and reads back; a write that matches nothing leaves nothing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "config/property_text.h"

namespace {

using kx::Status;
namespace config = kx::config;

void Check(bool condition) {
  if (!condition) std::abort();
}

// Keys that a written line always gives back: no blank, ':' or '=', no
// comment marker in front. Some are prefixes of others.
constexpr const char *kKeys[] = {"port", "portal", "p", "k", "a.b", "x1", "/p", "key"};

bool Within(std::string_view part, std::string_view whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

std::vector<std::string> Keys(std::string_view file) {
  std::vector<std::string_view> views;
  const Status status = config::ListPropertyKeys(file, &views);
  Check(status == (views.empty() ? Status::kEntryNotFound : Status::kSuccess));
  for (std::string_view key : views) {
    Check(Within(key, file));
    Check(key.find_first_of(std::string_view("\t\n\r :=\0", 7)) == std::string_view::npos);
  }
  return std::vector<std::string>(views.begin(), views.end());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const std::string key = kKeys[data[0] % std::size(kKeys)];
  const std::string_view file(reinterpret_cast<const char *>(data + 1), size - 1);

  const std::vector<std::string> keys = Keys(file);
  size_t first_match = keys.size();
  for (size_t i = 0; i < keys.size() && first_match == keys.size(); ++i) {
    if (config::PropertyKeyMatches(keys[i], key)) first_match = i;
  }
  std::string value;
  const Status found = config::FindPropertyValue(file, key, &value);
  Check((found == Status::kSuccess) == (first_match < keys.size()));
  Check(found == Status::kSuccess || found == Status::kEntryNotFound);

  std::string out;
  config::EditProperty(file, key, "NEW", &out);
  if (found != Status::kSuccess) {
    Check(out.empty());
    return 0;
  }
  std::vector<std::string> expected = keys;
  expected[first_match] = key;
  Check(Keys(out) == expected);
  std::string read_back;
  Check(config::FindPropertyValue(out, key, &read_back) == Status::kSuccess && read_back == "NEW");
  return 0;
}

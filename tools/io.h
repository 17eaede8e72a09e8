// Input helpers shared by the tool's commands: whole-file reads and chunked
// streaming, with "-" meaning standard input.
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kxtool {

// Reads a whole file (or standard input for "-"); nullopt after complaining.
std::optional<std::vector<unsigned char>> ReadAll(const std::string &path);

// Feeds a file (or standard input) to `sink` in fixed-size chunks. False after
// complaining when the file cannot be opened or read.
bool ForEachChunk(const std::string &path,
                  const std::function<void(const unsigned char *, size_t)> &sink);

}  // namespace kxtool

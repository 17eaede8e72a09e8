// Input helpers shared by the tool's commands: whole-file reads and chunked
// streaming, with "-" meaning standard input.
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace kxtool {

// Reads a whole file (or standard input for "-") into `out`. Returns an Exit
// value: kExitNotFound for a missing file, kExitBadInput for other failures
// (after complaining), kExitOk otherwise.
int ReadAll(const std::string &path, std::vector<unsigned char> *out);

// Feeds a file (or standard input) to `sink` in fixed-size chunks; statuses as
// for ReadAll.
int ForEachChunk(const std::string &path,
                 const std::function<void(const unsigned char *, size_t)> &sink);

}  // namespace kxtool

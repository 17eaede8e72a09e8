// Strings and vectors of the log family, allocated through the library's one
// allocation path (base/memory.h): a refused allocation throws std::bad_alloc,
// which the family's entry points turn into status 272 (CatchNoMemory in
// log_file.h).
#pragma once

#include <string>
#include <vector>

#include "base/memory.h"

namespace kx::log {

using String = std::basic_string<char, std::char_traits<char>, base::Allocator<char>>;
using U16String =
    std::basic_string<char16_t, std::char_traits<char16_t>, base::Allocator<char16_t>>;
template <typename T>
using Vector = std::vector<T, base::Allocator<T>>;

}  // namespace kx::log

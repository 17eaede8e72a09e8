// The library's typed status for internal calls. Every internal routine that
// reports success or failure returns a Status; the exported entry converts it
// with ToC at the C boundary. The numeric values are the public SM_STATUS_*
// codes and are pinned once, in the base tests.
#pragma once

#include <cstdint>

#include "kxsupt/base.h"

namespace kx {

// clang-format misreads the attribute and would mangle the list.
// clang-format off
enum class [[nodiscard]] Status : uint32_t {
  kSuccess = SM_STATUS_SUCCESS,
  kFailed = SM_STATUS_FAILED,
  kInvalidArgs = SM_STATUS_INVALID_ARGS,
  kTimeout = SM_STATUS_TIMEOUT,
  kNotFound = SM_STATUS_NOT_FOUND,
  kCreateFailed = SM_STATUS_CREATE_FAILED,
  kNotInUse = SM_STATUS_NOT_IN_USE,
  kBufferTooSmall = SM_STATUS_BUFFER_TOO_SMALL,
  kNotReady = SM_STATUS_NOT_READY,
  kWriteFailed = SM_STATUS_WRITE_FAILED,
  kSameFile = SM_STATUS_SAME_FILE,
  kNotAvailable = SM_STATUS_NOT_AVAILABLE,
  kOsFailure = SM_STATUS_OS_FAILURE,
  kInUse = SM_STATUS_IN_USE,
  kFileOpenFailed = SM_STATUS_FILE_OPEN_FAILED,
  kReadFailed = SM_STATUS_READ_FAILED,
  kEndOfFile = SM_STATUS_END_OF_FILE,
  kEntryNotFound = SM_STATUS_ENTRY_NOT_FOUND,
  kBadValue = SM_STATUS_BAD_VALUE,
  kAccessDenied = SM_STATUS_ACCESS_DENIED,
  kInvalidParameter = SM_STATUS_INVALID_PARAMETER,
  kNoMemory = SM_STATUS_NO_MEMORY,
  kOverflow = SM_STATUS_OVERFLOW,
  kUnderflow = SM_STATUS_UNDERFLOW,
  kError = SM_STATUS_ERROR,
};
// clang-format on

// The status as the C interface returns it.
constexpr SMStatus ToC(Status status) {
  return static_cast<SMStatus>(status);
}

// A status read back from a C-level value (a callback's or a stored result).
constexpr Status FromC(SMStatus status) {
  return static_cast<Status>(status);
}

constexpr bool Ok(Status status) {
  return status == Status::kSuccess;
}

}  // namespace kx

// The numeric value of every status, pinned once for the whole library: the
// C interface's numbers are fixed, and kx::Status carries the same ones in
// both directions. Every other test names statuses by their constants.
#include "base/status.h"

#include <gtest/gtest.h>

#include <set>

namespace {

struct Pinned {
  kx::Status status;
  SMStatus constant;
  uint32_t number;
};

constexpr Pinned kStatuses[] = {
    {kx::Status::kSuccess, SM_STATUS_SUCCESS, 0},
    {kx::Status::kFailed, SM_STATUS_FAILED, 1},
    {kx::Status::kInvalidArgs, SM_STATUS_INVALID_ARGS, 2},
    {kx::Status::kTimeout, SM_STATUS_TIMEOUT, 3},
    {kx::Status::kNotFound, SM_STATUS_NOT_FOUND, 7},
    {kx::Status::kCreateFailed, SM_STATUS_CREATE_FAILED, 9},
    {kx::Status::kNotInUse, SM_STATUS_NOT_IN_USE, 12},
    {kx::Status::kBufferTooSmall, SM_STATUS_BUFFER_TOO_SMALL, 16},
    {kx::Status::kNotReady, SM_STATUS_NOT_READY, 17},
    {kx::Status::kWriteFailed, SM_STATUS_WRITE_FAILED, 19},
    {kx::Status::kSameFile, SM_STATUS_SAME_FILE, 20},
    {kx::Status::kNotAvailable, SM_STATUS_NOT_AVAILABLE, 256},
    {kx::Status::kOsFailure, SM_STATUS_OS_FAILURE, 257},
    {kx::Status::kInUse, SM_STATUS_IN_USE, 258},
    {kx::Status::kFileOpenFailed, SM_STATUS_FILE_OPEN_FAILED, 260},
    {kx::Status::kReadFailed, SM_STATUS_READ_FAILED, 261},
    {kx::Status::kEndOfFile, SM_STATUS_END_OF_FILE, 262},
    {kx::Status::kEntryNotFound, SM_STATUS_ENTRY_NOT_FOUND, 263},
    {kx::Status::kBadValue, SM_STATUS_BAD_VALUE, 264},
    {kx::Status::kAccessDenied, SM_STATUS_ACCESS_DENIED, 270},
    {kx::Status::kInvalidParameter, SM_STATUS_INVALID_PARAMETER, 271},
    {kx::Status::kNoMemory, SM_STATUS_NO_MEMORY, 272},
    {kx::Status::kOverflow, SM_STATUS_OVERFLOW, 290},
    {kx::Status::kUnderflow, SM_STATUS_UNDERFLOW, 291},
    {kx::Status::kError, SM_STATUS_ERROR, 0xFFFFFFFFu},
};

TEST(Status, every_status_keeps_its_fixed_number_across_the_c_boundary) {
  std::set<uint32_t> numbers;
  for (const Pinned &pinned : kStatuses) {
    SCOPED_TRACE(pinned.number);
    EXPECT_EQ(pinned.constant, pinned.number);
    EXPECT_EQ(kx::ToC(pinned.status), pinned.number);
    EXPECT_EQ(kx::FromC(pinned.number), pinned.status);
    EXPECT_EQ(kx::Ok(pinned.status), pinned.number == 0);
    EXPECT_TRUE(numbers.insert(pinned.number).second) << "two statuses share a number";
  }
}

}  // namespace

// Copy, append, directories, sizes and deletion on real files in a temporary
// directory, through the exported entries. Copy and append are checked
// against a model of the result (content and permission bits) for every
// combination of operation, sync, destination state and permission flag.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "kxsupt/os.h"
#include "os_test_util.h"

namespace {

using kx_test::Exists;
using kx_test::PermissionBits;
using kx_test::ReadBytes;
using kx_test::TempDir;
using kx_test::WriteBytes;

std::string RandomBytes(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char &byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

enum class Operation { kCopy, kAppend };

SMStatus CopyOrAppend(Operation operation, bool sync, const std::string &src,
                      const std::string &dest, int32_t copy_permissions) {
  if (operation == Operation::kCopy) {
    return sync ? SMFileCopyAndSync(src.c_str(), dest.c_str())
                : SMFileCopy(src.c_str(), dest.c_str());
  }
  return sync ? SMFileAppendAndSync(src.c_str(), dest.c_str(), copy_permissions)
              : SMFileAppend(src.c_str(), dest.c_str(), copy_permissions);
}

// Under a restrictive mask: the source's bits reach the destination whenever
// they are copied (copy always, append when asked), a new file otherwise gets
// them narrowed by the mask, and an existing file keeps its own. Sources span
// empty, smaller than, equal to and larger than the 8192-byte buffer.
TEST(Files, copy_and_append_follow_the_content_and_permission_model) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  kx_test::ScopedUmask mask(077);
  constexpr mode_t kSourceBits = 0754;
  constexpr mode_t kExistingBits = 0620;
  const size_t sizes[] = {0, 1, 8191, 8192, 3 * 8192 + 517};
  int case_number = 0;
  for (Operation operation : {Operation::kCopy, Operation::kAppend}) {
    for (bool sync : {false, true}) {
      for (bool dest_exists : {false, true}) {
        for (int32_t flag : {0, 1}) {
          for (size_t size : sizes) {
            ++case_number;
            SCOPED_TRACE("case " + std::to_string(case_number));
            const std::string src = dir / ("src" + std::to_string(case_number));
            const std::string dest = dir / ("dest" + std::to_string(case_number));
            const std::string content = RandomBytes(size, case_number);
            WriteBytes(src, content);
            ASSERT_EQ(chmod(src.c_str(), kSourceBits), 0);
            std::string before;
            if (dest_exists) {
              before = RandomBytes(10000, 1000 + case_number);  // longer than some sources
              WriteBytes(dest, before);
              ASSERT_EQ(chmod(dest.c_str(), kExistingBits), 0);
            }

            ASSERT_EQ(CopyOrAppend(operation, sync, src, dest, flag), SM_STATUS_SUCCESS);

            const bool appending = operation == Operation::kAppend;
            EXPECT_EQ(ReadBytes(dest), appending ? before + content : content);
            EXPECT_EQ(ReadBytes(src), content);
            int expected_bits = kSourceBits;
            if (appending && flag == 0) {
              expected_bits = dest_exists ? kExistingBits : (kSourceBits & ~077);
            }
            EXPECT_EQ(PermissionBits(dest), expected_bits);
          }
        }
      }
    }
  }
}

// The statuses of the shared routine, for all four entries: each case names
// a source and a destination and the status every entry must give.
TEST(Files, copy_and_append_statuses) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string file = dir / "file";
  const std::string other = dir / "other";
  const std::string subdir = dir / "subdir";
  WriteBytes(file, "payload");
  WriteBytes(other, "kept");
  ASSERT_EQ(mkdir(subdir.c_str(), 0755), 0);
  ASSERT_EQ(link(file.c_str(), (dir / "hardlink").c_str()), 0);
  ASSERT_EQ(symlink(file.c_str(), (dir / "symlink").c_str()), 0);

  struct Case {
    const char *what;
    std::string src;
    std::string dest;
    SMStatus status;
  };
  const Case cases[] = {
      {"missing source", dir / "missing", dir / "never", SM_STATUS_NOT_FOUND},
      {"source is a directory", subdir, dir / "never", SM_STATUS_NOT_FOUND},
      {"destination is a directory", file, subdir, SM_STATUS_CREATE_FAILED},
      {"destination under a file", file, file + "/below", SM_STATUS_CREATE_FAILED},
      {"destination directory missing", file, dir / "nodir/x", SM_STATUS_CREATE_FAILED},
      {"onto itself", file, file, SM_STATUS_SAME_FILE},
      {"onto a hard link of itself", file, dir / "hardlink", SM_STATUS_SAME_FILE},
      {"onto a symbolic link to itself", file, dir / "symlink", SM_STATUS_SAME_FILE},
      {"disk full", file, "/dev/full", SM_STATUS_WRITE_FAILED},
      {"source read fails", "/proc/self/mem", dir / "fromproc", SM_STATUS_READ_FAILED},
  };
  for (const Case &c : cases) {
    for (Operation operation : {Operation::kCopy, Operation::kAppend}) {
      for (bool sync : {false, true}) {
        SCOPED_TRACE(std::string(c.what) + (operation == Operation::kCopy ? " copy" : " append") +
                     (sync ? " sync" : ""));
        EXPECT_EQ(CopyOrAppend(operation, sync, c.src, c.dest, 1), c.status);
      }
    }
  }
  // Nothing was created by the failures, and the refused same-file copies
  // left the file whole.
  EXPECT_FALSE(Exists(dir / "never"));
  EXPECT_FALSE(Exists(file + "/below"));
  EXPECT_EQ(ReadBytes(file), "payload");
  EXPECT_EQ(ReadBytes(other), "kept");

  const std::string path = file;
  EXPECT_EQ(SMFileCopy(nullptr, path.c_str()), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMFileCopyAndSync(path.c_str(), nullptr), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMFileAppend(nullptr, nullptr, 0), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMFileAppendAndSync(nullptr, path.c_str(), 1), SM_STATUS_INVALID_ARGS);
}

TEST(Files, make_directory_reports_whether_the_path_exists_afterwards) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  kx_test::ScopedUmask mask(022);
  const std::string made = dir / "made";
  EXPECT_EQ(SMMkDir(made.c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(PermissionBits(made), 0755);
  EXPECT_EQ(SMMkDir(made.c_str()), SM_STATUS_SUCCESS);  // already there
  // Something other than a directory at the path also counts as existing.
  WriteBytes(dir / "file", "x");
  EXPECT_EQ(SMMkDir((dir / "file").c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMkDir((dir / "missing/child").c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMMkDir((dir / "file/child").c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMMkDir(nullptr), SM_STATUS_ERROR);
}

TEST(Files, remove_directory_statuses) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string empty = dir / "empty";
  const std::string full = dir / "full";
  ASSERT_EQ(mkdir(empty.c_str(), 0755), 0);
  ASSERT_EQ(mkdir(full.c_str(), 0755), 0);
  WriteBytes(full + "/inside", "x");
  WriteBytes(dir / "file", "x");

  EXPECT_EQ(SMRmDir(empty.c_str()), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Exists(empty));
  EXPECT_EQ(SMRmDir(empty.c_str()), SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMRmDir(full.c_str()), SM_STATUS_OS_FAILURE);
  EXPECT_TRUE(Exists(full + "/inside"));
  EXPECT_EQ(SMRmDir((dir / "file").c_str()), SM_STATUS_ERROR);  // not a directory
  EXPECT_EQ(SMRmDir(nullptr), SM_STATUS_ERROR);
}

TEST(Files, size_of_file) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  for (size_t size : {size_t{0}, size_t{1}, size_t{8193}, size_t{100000}}) {
    const std::string path = dir / ("sized" + std::to_string(size));
    WriteBytes(path, std::string(size, 'z'));
    uint32_t got = 12345;
    EXPECT_EQ(SMGetSizeOfFile(path.c_str(), &got), SM_STATUS_SUCCESS);
    EXPECT_EQ(got, size);
  }
  uint32_t got = 12345;
  EXPECT_EQ(SMGetSizeOfFile((dir / "missing").c_str(), &got), SM_STATUS_NOT_FOUND);
  EXPECT_EQ(got, 0u);
  got = 12345;
  EXPECT_EQ(SMGetSizeOfFile(dir.path().c_str(), &got), SM_STATUS_NOT_FOUND);
  EXPECT_EQ(got, 0u);
  got = 12345;
  EXPECT_EQ(SMGetSizeOfFile(nullptr, &got), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(got, 0u);
  EXPECT_EQ(SMGetSizeOfFile(dir.path().c_str(), nullptr), SM_STATUS_INVALID_PARAMETER);

  // A sparse file past 4 GiB does not fit the 32-bit size.
  const std::string huge = dir / "huge";
  const int fd = open(huge.c_str(), O_WRONLY | O_CREAT, 0600);
  ASSERT_GE(fd, 0);
  const bool extended = ftruncate(fd, (off_t{1} << 32) + 5) == 0;
  close(fd);
  if (extended) {
    got = 12345;
    EXPECT_EQ(SMGetSizeOfFile(huge.c_str(), &got), SM_STATUS_OVERFLOW);
    EXPECT_EQ(got, 0u);
  }
}

TEST(Files, delete_file) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir / "doomed";
  WriteBytes(path, "x");
  EXPECT_EQ(SMDeleteFile(path.c_str()), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(SMDeleteFile(path.c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMDeleteFile(dir.path().c_str()), SM_STATUS_ERROR);  // a directory
  EXPECT_EQ(SMDeleteFile(nullptr), SM_STATUS_ERROR);
}

}  // namespace

// Copy, append, directories, sizes and deletion on real files in a temporary
// directory. Copy and append are checked against a model of the result
// (content and permission bits) for every combination of operation, sync,
// destination state, permission flag and source size.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <string>

#include "kxsupt/os.h"
#include "os_test_util.h"

namespace {

using kx_test::PermissionBits;
using kx_test::ReadFile;
using kx_test::TempDir;
using kx_test::WriteFile;

// The four entries: 0 copy, 1 copy and sync, 2 append, 3 append and sync.
SMStatus CopyOrAppend(int entry, const std::string &src, const std::string &dest, int32_t flag) {
  const char *s = src.c_str();
  const char *d = dest.c_str();
  switch (entry) {
    case 0:
      return SMFileCopy(s, d);
    case 1:
      return SMFileCopyAndSync(s, d);
    case 2:
      return SMFileAppend(s, d, flag);
    default:
      return SMFileAppendAndSync(s, d, flag);
  }
}

// Under a restrictive mask the source's bits reach the destination whenever
// they are copied (copy always, append when asked); otherwise a new file gets
// them narrowed by the mask and an existing one keeps its own. Sources span
// empty, below, at and well above the 8192-byte copy buffer.
TEST(Files, copy_and_append_follow_the_content_and_permission_model) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const mode_t saved_mask = umask(077);
  std::mt19937 random(7);
  int n = 0;
  for (int entry = 0; entry < 4; ++entry) {
    for (bool dest_exists : {false, true}) {
      for (int32_t flag : {0, 1}) {
        for (size_t size : {0, 1, 8191, 8192, 3 * 8192 + 517}) {
          SCOPED_TRACE("case " + std::to_string(++n));
          const std::string src = dir / ("src" + std::to_string(n));
          const std::string dest = dir / ("dest" + std::to_string(n));
          std::string content(size, '\0'), before;
          for (char &byte : content) byte = static_cast<char>(random());
          WriteFile(src, content);
          ASSERT_EQ(chmod(src.c_str(), 0754), 0);
          if (dest_exists) {
            before.assign(10000, 'b');
            WriteFile(dest, before);
            ASSERT_EQ(chmod(dest.c_str(), 0620), 0);
          }
          ASSERT_EQ(CopyOrAppend(entry, src, dest, flag), SM_STATUS_SUCCESS);
          const bool append = entry >= 2;
          EXPECT_EQ(ReadFile(dest), append ? before + content : content);
          const int kept = dest_exists ? 0620 : (0754 & ~077);
          EXPECT_EQ(PermissionBits(dest), append && flag == 0 ? kept : 0754);
        }
      }
    }
  }
  umask(saved_mask);
}

TEST(Files, copy_and_append_statuses) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string file = dir / "file", subdir = dir / "subdir";
  WriteFile(file, "payload");
  ASSERT_EQ(mkdir(subdir.c_str(), 0755), 0);
  ASSERT_EQ(link(file.c_str(), (dir / "hard").c_str()), 0);
  ASSERT_EQ(symlink(file.c_str(), (dir / "soft").c_str()), 0);
  const struct {
    std::string src, dest;
    SMStatus status;
  } cases[] = {
      {dir / "missing", dir / "never", SM_STATUS_NOT_FOUND},
      {subdir, dir / "never", SM_STATUS_NOT_FOUND},  // a directory is no source
      {file, subdir, SM_STATUS_CREATE_FAILED},
      {file, file + "/below", SM_STATUS_CREATE_FAILED},
      {file, dir / "nodir/x", SM_STATUS_CREATE_FAILED},
      {file, file, SM_STATUS_SAME_FILE},
      {file, dir / "hard", SM_STATUS_SAME_FILE},
      {file, dir / "soft", SM_STATUS_SAME_FILE},
      {file, "/dev/full", SM_STATUS_WRITE_FAILED},
      {"/proc/self/mem", dir / "from_proc", SM_STATUS_READ_FAILED},  // reading fails with EIO
  };
  for (const auto &c : cases) {
    for (int entry = 0; entry < 4; ++entry) {
      EXPECT_EQ(CopyOrAppend(entry, c.src, c.dest, 1), c.status) << c.src << " " << c.dest;
    }
  }
  EXPECT_NE(access((dir / "never").c_str(), F_OK), 0);
  EXPECT_EQ(ReadFile(file), "payload");  // the refused copies onto itself kept it whole
  EXPECT_EQ(SMFileCopy(nullptr, file.c_str()), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMFileCopyAndSync(file.c_str(), nullptr), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMFileAppend(nullptr, nullptr, 0), SM_STATUS_INVALID_ARGS);
  EXPECT_EQ(SMFileAppendAndSync(nullptr, file.c_str(), 1), SM_STATUS_INVALID_ARGS);
}

TEST(Files, directories_sizes_and_deletion) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const mode_t saved_mask = umask(022);
  const std::string made = dir / "made", file = dir / "file";
  WriteFile(file, std::string(8193, 'z'));
  EXPECT_EQ(SMMkDir(made.c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(PermissionBits(made), 0755);
  EXPECT_EQ(SMMkDir(made.c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMMkDir(file.c_str()), SM_STATUS_SUCCESS);  // something exists there
  EXPECT_EQ(SMMkDir((dir / "missing/child").c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMMkDir(nullptr), SM_STATUS_ERROR);
  umask(saved_mask);

  WriteFile(made + "/inside", "x");
  EXPECT_EQ(SMRmDir(made.c_str()), SM_STATUS_OS_FAILURE);  // not empty
  EXPECT_EQ(SMDeleteFile((made + "/inside").c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMDeleteFile((made + "/inside").c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMDeleteFile(made.c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMRmDir(made.c_str()), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMRmDir(made.c_str()), SM_STATUS_NOT_AVAILABLE);
  EXPECT_EQ(SMRmDir(file.c_str()), SM_STATUS_ERROR);
  EXPECT_EQ(SMRmDir(nullptr), SM_STATUS_ERROR);
  EXPECT_EQ(SMDeleteFile(nullptr), SM_STATUS_ERROR);

  // Sizes; a sparse file past 4 GiB does not fit 32 bits.
  const int fd = open((dir / "huge").c_str(), O_WRONLY | O_CREAT, 0600);
  const bool huge = fd >= 0 && ftruncate(fd, (off_t{1} << 32) + 5) == 0;
  close(fd);
  const struct {
    std::string path;
    SMStatus status;
    uint32_t size;
  } sizes[] = {{file, SM_STATUS_SUCCESS, 8193},
               {dir / "missing", SM_STATUS_NOT_FOUND, 0},
               {dir.path(), SM_STATUS_NOT_FOUND, 0},
               {huge ? dir / "huge" : file, huge ? SM_STATUS_OVERFLOW : SM_STATUS_SUCCESS,
                huge ? 0 : 8193u}};
  for (const auto &s : sizes) {
    uint32_t got = 12345;
    EXPECT_EQ(SMGetSizeOfFile(s.path.c_str(), &got), s.status) << s.path;
    EXPECT_EQ(got, s.size) << s.path;
  }
  uint32_t got = 12345;
  EXPECT_EQ(SMGetSizeOfFile(nullptr, &got), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(got, 0u);
  EXPECT_EQ(SMGetSizeOfFile(file.c_str(), nullptr), SM_STATUS_INVALID_PARAMETER);
}

}  // namespace

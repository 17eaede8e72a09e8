// Host facts, the keyboard poll with a pipe standing in for standard input,
// the platform no-ops and the environment copy.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <strings.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "kxsupt/base.h"
#include "kxsupt/os.h"
#include "os/host.h"

namespace {

TEST(Host, os_type_kbhit_and_no_ops) {
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(SMOSTypeGet(), strcasecmp(names.sysname, "VMkernel") == 0 ? 4u : 3u);
  for (const char *name : {"VMkernel", "vmkernel", "VMKERNEL"}) {
    EXPECT_EQ(kx::os::OSTypeFromSystemName(name), 4u) << name;
  }
  for (const char *name : {"Linux", "VMkernel ", "VMkerne", "", (const char *)nullptr}) {
    EXPECT_EQ(kx::os::OSTypeFromSystemName(name), 3u) << (name ? name : "null");
  }

  const int saved = dup(STDIN_FILENO);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  dup2(ends[0], STDIN_FILENO);
  EXPECT_EQ(SMkbhit(), 0);
  ASSERT_EQ(write(ends[1], "ab", 2), 2);
  EXPECT_EQ(SMkbhit(), 1);
  EXPECT_EQ(SMkbhit(), 1);  // polling consumes nothing
  char taken[2];
  ASSERT_EQ(read(STDIN_FILENO, taken, 2), 2);
  EXPECT_EQ(SMkbhit(), 0);
  dup2(saved, STDIN_FILENO);
  close(saved);
  close(ends[0]);
  close(ends[1]);

  EXPECT_EQ(SMOSShutdown(0xFFFFFFFFu), 0);
  EXPECT_EQ(SMLongFileNamesEnable(), 0);
  EXPECT_EQ(SMLongFileNamesDisable(), 0);
}

TEST(Environment, copy_of_a_variable) {
  const char *name = "KXSUPT_TEST_ENVDUP";
  for (const std::string &value :
       {std::string("v"), std::string("a=b c"), std::string(9000, 'q')}) {
    ASSERT_EQ(setenv(name, value.c_str(), 1), 0);
    uint32_t size = 0;
    char *copy = SMEnvDup(name, &size);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy, value);
    EXPECT_EQ(size, value.size() + 1);
    EXPECT_NE(copy, getenv(name));
    SMFreeMem(copy);
    copy = SMEnvDup(name, nullptr);
    EXPECT_NE(copy, nullptr);
    SMFreeMem(copy);
  }
  // Empty and absent variables give null and leave the size alone.
  uint32_t size = 77;
  ASSERT_EQ(setenv(name, "", 1), 0);
  EXPECT_EQ(SMEnvDup(name, &size), nullptr);
  ASSERT_EQ(unsetenv(name), 0);
  EXPECT_EQ(SMEnvDup(name, &size), nullptr);
  EXPECT_EQ(SMEnvDup(nullptr, &size), nullptr);
  EXPECT_EQ(size, 77u);
}

}  // namespace

// Host facts, the keyboard poll on a pipe standing in for standard input,
// the platform no-ops and the environment copy.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "kxsupt/frame.h"
#include "kxsupt/os.h"
#include "os/host.h"

namespace {

TEST(Host, os_type_follows_the_kernel_system_name) {
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(SMOSTypeGet(), strcasecmp(names.sysname, "VMkernel") == 0 ? 4u : 3u);
  struct Row {
    const char *name;
    uint32_t type;
  };
  const Row rows[] = {{"VMkernel", 4},  {"vmkernel", 4}, {"VMKERNEL", 4}, {"Linux", 3},
                      {"VMkernel ", 3}, {"VMkerne", 3},  {"", 3},         {nullptr, 3}};
  for (const Row &row : rows) {
    EXPECT_EQ(kx::os::OSTypeFromSystemName(row.name), row.type) << (row.name ? row.name : "null");
  }
}

// Standard input replaced by a pipe for the scope.
class PipeAsStandardInput {
 public:
  PipeAsStandardInput() {
    saved_ = dup(STDIN_FILENO);
    if (pipe(ends_) == 0) dup2(ends_[0], STDIN_FILENO);
  }
  ~PipeAsStandardInput() {
    dup2(saved_, STDIN_FILENO);
    close(saved_);
    close(ends_[0]);
    close(ends_[1]);
  }
  int writer() const { return ends_[1]; }

 private:
  int saved_ = -1;
  int ends_[2] = {-1, -1};
};

TEST(Host, kbhit_reports_waiting_input_without_blocking) {
  PipeAsStandardInput input;
  EXPECT_EQ(SMkbhit(), 0);
  ASSERT_EQ(write(input.writer(), "ab", 2), 2);
  EXPECT_EQ(SMkbhit(), 1);
  EXPECT_EQ(SMkbhit(), 1);  // polling does not consume
  char taken[2];
  ASSERT_EQ(read(STDIN_FILENO, taken, 2), 2);
  EXPECT_EQ(SMkbhit(), 0);
}

TEST(Host, platform_no_ops_return_zero) {
  EXPECT_EQ(SMOSShutdown(0), 0);
  EXPECT_EQ(SMOSShutdown(0xFFFFFFFFu), 0);
  EXPECT_EQ(SMLongFileNamesEnable(), 0);
  EXPECT_EQ(SMLongFileNamesDisable(), 0);
}

TEST(Environment, copy_of_a_variable) {
  const char *name = "KXSUPT_TEST_ENVDUP";
  for (const std::string &value :
       {std::string("v"), std::string("some value=with=signs"), std::string(10000, 'q')}) {
    ASSERT_EQ(setenv(name, value.c_str(), 1), 0);
    uint32_t size = 0;
    char *copy = SMEnvDup(name, &size);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::string(copy), value);
    EXPECT_EQ(size, value.size() + 1);
    EXPECT_NE(copy, getenv(name));  // a copy, not the environment's own text
    SMFreeMem(copy);
    copy = SMEnvDup(name, nullptr);  // the size is optional
    ASSERT_NE(copy, nullptr);
    SMFreeMem(copy);
  }
  // Empty and absent variables give null and leave the size alone.
  ASSERT_EQ(setenv(name, "", 1), 0);
  uint32_t size = 77;
  EXPECT_EQ(SMEnvDup(name, &size), nullptr);
  ASSERT_EQ(unsetenv(name), 0);
  EXPECT_EQ(SMEnvDup(name, &size), nullptr);
  EXPECT_EQ(size, 77u);
  EXPECT_EQ(SMEnvDup(nullptr, &size), nullptr);
}

}  // namespace

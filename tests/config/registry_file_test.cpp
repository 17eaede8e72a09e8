// Choice of the registry file and its effect on the real attach chain.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "codec/crc32.h"
#include "config/registry_file.h"
#include "frame/lifecycle.h"
#include "sandbox.h"

namespace {

TEST(RegistryFile, override_names_the_only_candidate) {
  kxtest::Sandbox sandbox;
  auto chosen = kx::config::ChooseRegistryFile();
  ASSERT_TRUE(chosen.has_value());
  EXPECT_EQ(*chosen, sandbox.registry());
  std::filesystem::remove(sandbox.registry());
  EXPECT_FALSE(kx::config::ChooseRegistryFile().has_value());
}

TEST(RegistryFile, empty_override_falls_back_to_system_locations) {
  setenv("KXSUPT_REGISTRY_FILE", "", 1);
  auto chosen = kx::config::ChooseRegistryFile();
  bool system_present =
      access("/etc/vqreg.cfg", F_OK) == 0 || access("/usr/lib/ext/quor/vqreg.cfg", F_OK) == 0;
  EXPECT_EQ(chosen.has_value(), system_present);
  if (chosen) {
    EXPECT_TRUE(*chosen == "/etc/vqreg.cfg" || *chosen == "/usr/lib/ext/quor/vqreg.cfg");
  }
  unsetenv("KXSUPT_REGISTRY_FILE");
}

TEST(RegistryFile, real_chain_attaches_only_with_a_registry) {
  kx::frame::Lifecycle &library = kx::frame::Library();
  kxtest::Sandbox sandbox;
  const std::string content = kxtest::ReadFile(sandbox.registry());
  std::filesystem::remove(sandbox.registry());
  kxtest::UnloadLibrary();
  EXPECT_EQ(library.Load(), 0);  // no file: attach fails at step 1
  EXPECT_EQ(library.load_count(), 0);
  EXPECT_EQ(library.attach_count(), 1);
  EXPECT_EQ(kx::codec::Crc32AttachedTable(), nullptr);  // the last step never ran
  EXPECT_TRUE(kx::config::RegistryFile().empty());
  // Balance the count the failed attach left raised, then attach for real.
  kxtest::UnloadLibrary();
  sandbox.WriteRegistry(content);
  EXPECT_EQ(library.Load(), 1);
  EXPECT_EQ(library.load_count(), 1);
  EXPECT_NE(kx::codec::Crc32AttachedTable(), nullptr);  // the chain ran to its end
  EXPECT_EQ(kx::config::RegistryFile(), sandbox.registry());
  EXPECT_EQ(library.Unload(), 1);
  EXPECT_EQ(library.unloading(), 1);
  EXPECT_TRUE(kx::config::RegistryFile().empty());
}

}  // namespace

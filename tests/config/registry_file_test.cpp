// Choice of the registry file and its effect on the real attach chain.
#include "config/registry_file.h"
#include "codec/crc32.h"
#include "frame/lifecycle.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

// A temporary directory holding a sandbox registry, removed on destruction;
// KXSUPT_REGISTRY_FILE points into it while the object lives.
class SandboxRegistry {
 public:
  SandboxRegistry() {
    char tmpl[] = "/tmp/kxsupt-registry-XXXXXX";
    dir_ = mkdtemp(tmpl);
    file_ = dir_ / "vqreg.cfg";
    setenv("KXSUPT_REGISTRY_FILE", file_.c_str(), 1);
  }
  ~SandboxRegistry() {
    unsetenv("KXSUPT_REGISTRY_FILE");
    fs::remove_all(dir_);
  }
  // A registry that attaches: the IPC layer needs a data directory.
  void Create() {
    std::ofstream(file_) << "tesk.installpath=/opt/tesk\nmernex.vardatapath=" << dir_.string()
                         << "\n";
  }
  const fs::path &file() const { return file_; }

 private:
  fs::path dir_;
  fs::path file_;
};

TEST(RegistryFile, override_names_the_only_candidate) {
  SandboxRegistry sandbox;
  EXPECT_FALSE(kx::config::ChooseRegistryFile().has_value());  // not created yet
  sandbox.Create();
  auto chosen = kx::config::ChooseRegistryFile();
  ASSERT_TRUE(chosen.has_value());
  EXPECT_EQ(*chosen, sandbox.file().string());
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

// Reloads the process-wide library under a sandbox registry and without one.
// The test runner may have started with or without a registry, so the library
// is first brought to a known unloaded state and restored afterwards.
TEST(RegistryFile, real_chain_attaches_only_with_a_registry) {
  kx::frame::Lifecycle &library = kx::frame::Library();
  const int32_t loads_before = library.load_count();
  while (library.load_count() > 0) library.Unload();
  // A failed attach at start-up leaves the attach count raised; balance it so
  // that the next load really runs the chain.
  while (library.attach_count() > 0) library.Detach();

  {
    SandboxRegistry sandbox;  // file not created: attach fails at step 1
    EXPECT_EQ(library.Load(), 0);
    EXPECT_EQ(library.load_count(), 0);
    EXPECT_EQ(library.attach_count(), 1);
    EXPECT_EQ(kx::codec::Crc32AttachedTable(), nullptr);  // the last step never ran
    EXPECT_TRUE(kx::config::RegistryFile().empty());
  }
  // Balance the count the failed attach left raised, then attach for real.
  while (library.attach_count() > 0) library.Detach();
  {
    SandboxRegistry sandbox;
    sandbox.Create();
    EXPECT_EQ(library.Load(), 1);
    EXPECT_EQ(library.load_count(), 1);
    EXPECT_NE(kx::codec::Crc32AttachedTable(), nullptr);  // the chain ran to its end
    EXPECT_EQ(kx::config::RegistryFile(), sandbox.file().string());
    EXPECT_EQ(library.Unload(), 1);
    EXPECT_EQ(library.unloading(), 1);
    EXPECT_TRUE(kx::config::RegistryFile().empty());
  }
  // Restore the loads the runner had, without depending on a registry.
  for (int32_t i = 0; i < loads_before; ++i) library.Load();
}

}  // namespace

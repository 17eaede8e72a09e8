// IPC names: paths from the data directory, the name digest against OpenSSL's
// MD5, operating-system names and handle layout per kind, and the
// access-rights word.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <cstring>
#include <random>
#include <string>

#include "config/ipc_paths.h"
#include "base/memory.h"
#include "sandbox.h"

namespace {

using kx::Status;
using kxtest::Sandbox;
namespace config = kx::config;

TEST(IpcPaths, built_from_mernex_else_dulo) {
  Sandbox sandbox;
  const config::IpcPaths *paths = config::CurrentIpcPaths();
  ASSERT_NE(paths, nullptr);
  EXPECT_EQ(paths->directory, sandbox.IpcDir());
  EXPECT_EQ(paths->registry_file, sandbox.IpcDir() + "/.lxsuptIPCini");
  EXPECT_EQ(paths->registry_lock, sandbox.IpcDir() + "/.lxsuptIPCiniSem");

  sandbox.WriteRegistry("dulo.vardatapath=" + sandbox.Path("dulo") + "/\nmernex.vardatapath=\n");
  ASSERT_TRUE(sandbox.Reload());
  paths = config::CurrentIpcPaths();
  ASSERT_NE(paths, nullptr);
  EXPECT_EQ(paths->directory, sandbox.Path("dulo") + "/.ipc");

  // Without a data directory the IPC layer cannot attach (step 4 fails).
  sandbox.WriteRegistry("tesk.vardatapath=/x\n");
  EXPECT_FALSE(sandbox.Reload());
  EXPECT_EQ(config::CurrentIpcPaths(), nullptr);
  EXPECT_EQ(config::EnsureIpcDirectory(), Status::kNotAvailable);
}

TEST(IpcPaths, directory_created_on_first_use_with_0755) {
  Sandbox sandbox;
  sandbox.WriteRegistry("mernex.vardatapath=" + sandbox.Path("a/b") + "\n");
  ASSERT_TRUE(sandbox.Reload());
  ASSERT_FALSE(kxtest::FileExists(sandbox.Path("a")));
  ASSERT_EQ(config::EnsureIpcDirectory(), Status::kSuccess);
  struct stat info;
  ASSERT_EQ(stat(sandbox.Path("a/b/.ipc").c_str(), &info), 0);
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  EXPECT_EQ(info.st_mode & 07777, 0755u & ~umask(umask(0)));
  EXPECT_EQ(config::EnsureIpcDirectory(), Status::kSuccess);
  // A file in the way cannot become the directory.
  sandbox.WriteRegistry("mernex.vardatapath=" + sandbox.registry() + "\n");
  ASSERT_TRUE(sandbox.Reload());
  EXPECT_EQ(config::EnsureIpcDirectory(), Status::kError);
}

std::string OpenSslDigest(const std::string &name) {
  unsigned char digest[16];
  EXPECT_EQ(EVP_Digest(name.c_str(), name.size() + 1, digest, nullptr, EVP_md5(), nullptr), 1);
  std::string hex;
  for (unsigned char byte : digest) {
    static const char kDigits[] = "0123456789ABCDEF";
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

TEST(IpcNames, digest_is_md5_of_the_name_with_its_terminator) {
  std::mt19937 random(11);
  for (int trial = 0; trial < 300; ++trial) {
    std::string name(random() % 300, '\0');
    for (char &c : name) c = static_cast<char>(1 + random() % 255);
    char digest[33];
    uint32_t size = sizeof digest;
    ASSERT_EQ(config::NameDigest(name.c_str(), digest, &size), Status::kSuccess);
    EXPECT_EQ(size, 33u);
    EXPECT_EQ(std::string(digest), OpenSslDigest(name));
  }
  char digest[33];
  uint32_t size = 32;
  EXPECT_EQ(config::NameDigest("x", digest, &size), Status::kBufferTooSmall);
  EXPECT_EQ(size, 33u);
  EXPECT_EQ(config::NameDigest(nullptr, digest, &size), Status::kInvalidParameter);
}

TEST(IpcNames, handle_holds_its_operating_system_name) {
  Sandbox sandbox;
  struct Fields {
    config::IpcHandleHead head;
    uint64_t payload[3];
  };
  const std::pair<uint32_t, std::string> kinds[] = {
      {config::kIpcMutex, sandbox.IpcDir() + "/.kxsupmtx"},
      {config::kIpcSemaphore, "kxsupsmp"},
      {config::kIpcSharedMemory, "kxsupshm"},
      {config::kIpcEvent, "kxsupevt"},
      {config::kIpcRwLock, "kxsuprwl"},
      {config::kIpcFileLock, sandbox.IpcDir() + "/.kxsupflk"},
  };
  for (const auto &[kind, prefix] : kinds) {
    auto *handle = static_cast<Fields *>(config::BuildIpcHandle("obj", sizeof(Fields), kind));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->head.kind, kind);
    EXPECT_EQ(handle->head.name, reinterpret_cast<const char *>(handle + 1));
    EXPECT_EQ(std::string(handle->head.name), prefix + OpenSslDigest("obj"));
    EXPECT_EQ(handle->payload[0] | handle->payload[1] | handle->payload[2], 0u);
    kx::base::FreeMem(handle);

    auto *unnamed = static_cast<Fields *>(config::BuildIpcHandle(nullptr, sizeof(Fields), kind));
    ASSERT_NE(unnamed, nullptr);
    EXPECT_EQ(unnamed->head.name, nullptr);
    kx::base::FreeMem(unnamed);
    EXPECT_EQ(config::BuildIpcHandle("", sizeof(Fields), kind), nullptr);
  }
  EXPECT_EQ(config::BuildIpcHandle("obj", sizeof(Fields), 7), nullptr);
}

TEST(IpcNames, lock_file_names_are_limited_to_256_bytes) {
  Sandbox sandbox;
  // "<data>/.ipc/.kxsupflk" + 32 digits: choose the data directory so that the
  // name is exactly 255 bytes, then one byte longer.
  const size_t fixed = std::strlen("/.ipc/.kxsupflk") + 32;
  for (size_t total : {255u, 256u}) {
    std::string data = sandbox.dir() + "/";
    data += std::string(total - fixed - data.size(), 'd');
    sandbox.WriteRegistry("mernex.vardatapath=" + data + "\n");
    ASSERT_TRUE(sandbox.Reload());
    void *handle = config::BuildIpcHandle("n", sizeof(config::IpcHandleHead), config::kIpcFileLock);
    EXPECT_EQ(handle != nullptr, total == 255) << total;
    kx::base::FreeMem(handle);
    // The other kinds do not depend on the directory.
    handle = config::BuildIpcHandle("n", sizeof(config::IpcHandleHead), config::kIpcEvent);
    EXPECT_NE(handle, nullptr);
    kx::base::FreeMem(handle);
  }
}

TEST(IpcNames, access_rights_word_to_permission_bits) {
  const std::pair<uint32_t, mode_t> table[] = {
      {0xFFFFFFFFu, 0664}, {0, 0600},           {0x01000000u, 0700}, {0x00010000u, 0070},
      {0x00000100u, 0007}, {0x0E0E0E00u, 0777}, {0x02040800u, 0421}, {0x06000000u, 0600},
      {0x0F000000u, 0700}, {0x000000FFu, 0000}, {0xF0F0F0FFu, 0000}, {0x0A0C0600u, 0536},
  };
  for (const auto &[word, mode] : table) {
    EXPECT_EQ(config::PermissionFromAccessRights(word), mode) << std::hex << word;
  }
}

}  // namespace

// The plain and shared library layers against small loadable libraries that
// the test build makes: one exports a function table, one lacks it, one has a
// reference that immediate binding cannot resolve. Whether a library is
// mapped is asked of the system loader itself.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>

#include "kxsupt/os.h"
#include "os/library.h"

namespace {

const char *const kTable = KXSUPT_TESTLIB_WITH_TABLE;
const char *const kNoTable = KXSUPT_TESTLIB_WITHOUT_TABLE;
const char *const kUnbound = KXSUPT_TESTLIB_UNBOUND;

struct ExportTable {
  uint32_t count;
  int32_t (*add)(int32_t, int32_t);
  int32_t (*version)(void);
};

bool Mapped(const char *path) {
  void *handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

int32_t Call(void *function) {
  return reinterpret_cast<int32_t (*)(void)>(function)();
}

TEST(Library, plain_layer) {
  void *library = SMLibLoad(kTable);
  ASSERT_NE(library, nullptr);
  EXPECT_TRUE(Mapped(kTable));
  const auto *table =
      static_cast<const ExportTable *>(SMLibLinkToExportFN(library, "KxTestExportTable"));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->count, 2u);
  EXPECT_EQ(table->add(20, 22), 42);
  EXPECT_EQ(table->version(), 7);
  // An error left pending by an earlier loader call does not spoil a lookup.
  EXPECT_EQ(dlopen("/nonexistent/kxsupt-none.so", RTLD_NOW), nullptr);
  void *answer = SMLibLinkToExportFN(library, "KxTestAnswer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(Call(answer), 42);
  EXPECT_EQ(SMLibLinkToExportFN(library, "KxTestNoSuchSymbol"), nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(library, nullptr), nullptr);
  EXPECT_EQ(SMLibUnLinkFromExportFN(library, answer), SM_STATUS_SUCCESS);
  EXPECT_EQ(Call(answer), 42);  // unlinking releases nothing
  EXPECT_EQ(SMLibUnLoad(library), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Mapped(kTable));

  void *without = SMLibLoad(kNoTable);
  ASSERT_NE(without, nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(without, "KxTestExportTable"), nullptr);
  EXPECT_EQ(Call(SMLibLinkToExportFN(without, "KxTestAnswer")), 43);
  EXPECT_EQ(SMLibUnLoad(without), SM_STATUS_SUCCESS);

  // Every symbol is bound at load: the loader would take this one lazily.
  EXPECT_EQ(SMLibLoad(kUnbound), nullptr);
  void *lazy = dlopen(kUnbound, RTLD_LAZY);
  EXPECT_NE(lazy, nullptr);
  if (lazy != nullptr) dlclose(lazy);
  EXPECT_EQ(SMLibLoad("/nonexistent/kxsupt-none.so"), nullptr);
  EXPECT_EQ(SMLibLoad(nullptr), nullptr);

  kx::os::LibraryHandle other{1, nullptr, nullptr}, unloaded{0, nullptr, nullptr};
  int marker = 0;
  EXPECT_EQ(SMLibUnLoad(nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMLibUnLoad(&other), SM_STATUS_OS_FAILURE);
  EXPECT_EQ(SMLibUnLoad(&unloaded), SM_STATUS_OS_FAILURE);
  EXPECT_EQ(SMLibUnLinkFromExportFN(&other, &marker), SM_STATUS_OS_FAILURE);
  EXPECT_EQ(SMLibUnLinkFromExportFN(nullptr, &marker), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMLibUnLinkFromExportFN(&unloaded, nullptr), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMLibLinkToExportFN(&other, "KxTestAnswer"), nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(nullptr, "KxTestAnswer"), nullptr);
}

// Brings the shared table up for a test when the library's attach did not.
class SharedLibrary : public ::testing::Test {
 protected:
  void SetUp() override { here_ = kx::os::FLibUserCount("") == -1 && kx::os::FLibTableAttach(); }
  void TearDown() override {
    if (here_) kx::os::FLibTableDetach();
  }
  bool here_ = false;
};

TEST_F(SharedLibrary, users_share_one_copy_until_the_count_falls_to_zero) {
  void *first = SMFLibLinkToExportFN("alpha", kTable, "KxTestAnswer");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(SMFLibLinkToExportFN("beta", kTable, "KxTestAnswer"), first);
  EXPECT_EQ(SMFLibLinkToExportFN("gamma", kTable, "KxTestAnswer"), first);
  // A user linking again is still one user; a null name gives the loader's
  // handle of the library.
  void *loader = SMFLibLinkToExportFN("alpha", kTable, nullptr);
  ASSERT_NE(loader, nullptr);
  EXPECT_EQ(dlsym(loader, "KxTestAnswer"), first);
  EXPECT_EQ(kx::os::FLibUserCount(kTable), 3);

  EXPECT_EQ(SMFLibUnLoad("alpha", kTable), SM_STATUS_SUCCESS);
  EXPECT_EQ(kx::os::FLibUserCount(kTable), 2);
  // A name that never linked still takes the count down.
  EXPECT_EQ(SMFLibUnLoad("nobody", kTable), SM_STATUS_SUCCESS);
  EXPECT_EQ(kx::os::FLibUserCount(kTable), 1);
  EXPECT_TRUE(Mapped(kTable));
  EXPECT_EQ(Call(first), 42);
  EXPECT_EQ(SMFLibUnLoad("beta", kTable), SM_STATUS_SUCCESS);  // "gamma" never unlinked
  EXPECT_EQ(kx::os::FLibUserCount(kTable), -1);
  EXPECT_FALSE(Mapped(kTable));
  EXPECT_EQ(SMFLibUnLoad("gamma", kTable), SM_STATUS_SUCCESS);  // not loaded: nothing changes
}

TEST_F(SharedLibrary, failures_and_what_they_leave) {
  // A missing function leaves the library loaded and the user linked.
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", kNoTable, "KxTestExportTable"), nullptr);
  EXPECT_EQ(kx::os::FLibUserCount(kNoTable), 1);
  EXPECT_EQ(Call(SMFLibLinkToExportFN("alpha", kNoTable, "KxTestAnswer")), 43);
  EXPECT_EQ(SMFLibUnLoad("alpha", kNoTable), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Mapped(kNoTable));
  // A library that cannot be loaded leaves no entry.
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", kUnbound, "KxTestCallsNowhere"), nullptr);
  EXPECT_EQ(kx::os::FLibUserCount(kUnbound), -1);
  EXPECT_EQ(SMFLibLinkToExportFN(nullptr, kTable, "KxTestAnswer"), nullptr);
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", nullptr, "KxTestAnswer"), nullptr);
  EXPECT_EQ(kx::os::FLibUserCount(kTable), -1);
  EXPECT_EQ(SMFLibUnLoad(nullptr, kTable), SM_STATUS_INVALID_PARAMETER);
  EXPECT_EQ(SMFLibUnLoad("alpha", nullptr), SM_STATUS_INVALID_PARAMETER);
}

TEST_F(SharedLibrary, detach_unloads_every_library) {
  ASSERT_NE(SMFLibLinkToExportFN("alpha", kTable, "KxTestAnswer"), nullptr);
  ASSERT_NE(SMFLibLinkToExportFN("alpha", kNoTable, "KxTestAnswer"), nullptr);
  kx::os::FLibTableDetach();
  EXPECT_FALSE(Mapped(kTable));
  EXPECT_FALSE(Mapped(kNoTable));
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", kTable, "KxTestAnswer"), nullptr);
  EXPECT_EQ(SMFLibUnLoad("alpha", kTable), SM_STATUS_NOT_READY);
  kx::os::FLibTableDetach();  // safe when down
  ASSERT_EQ(kx::os::FLibTableAttach(), 1);
}

}  // namespace

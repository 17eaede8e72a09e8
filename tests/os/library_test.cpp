// The plain and shared library layers against small loadable libraries that
// the test build makes: one exports a function table, one lacks it, one has
// a reference that immediate binding cannot resolve. Whether a library is
// mapped is asked of the system loader itself.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>

#include "kxsupt/os.h"
#include "os/library.h"

namespace {

const char *const kWithTable = KXSUPT_TESTLIB_WITH_TABLE;
const char *const kWithoutTable = KXSUPT_TESTLIB_WITHOUT_TABLE;
const char *const kUnbound = KXSUPT_TESTLIB_UNBOUND;

struct ExportTable {
  uint32_t count;
  int32_t (*add)(int32_t, int32_t);
  int32_t (*version)(void);
};
using AnswerFunction = int32_t (*)(void);

// Whether the loader has the library mapped now (asked without loading it).
bool Mapped(const char *path) {
  void *handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

int32_t CallAnswer(void *function) {
  return reinterpret_cast<AnswerFunction>(function)();
}

TEST(Library, plain_layer_loads_links_and_unloads) {
  ASSERT_FALSE(Mapped(kWithTable));
  void *library = SMLibLoad(kWithTable);
  ASSERT_NE(library, nullptr);
  EXPECT_TRUE(Mapped(kWithTable));

  const auto *table =
      static_cast<const ExportTable *>(SMLibLinkToExportFN(library, "KxTestExportTable"));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->count, 2u);
  EXPECT_EQ(table->add(20, 22), 42);
  EXPECT_EQ(table->version(), 7);
  void *answer = SMLibLinkToExportFN(library, "KxTestAnswer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(CallAnswer(answer), 42);

  EXPECT_EQ(SMLibLinkToExportFN(library, "KxTestNoSuchSymbol"), nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(library, nullptr), nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(nullptr, "KxTestAnswer"), nullptr);
  // An error left pending by an earlier loader call does not spoil a lookup.
  EXPECT_EQ(dlopen("/nonexistent/kxsupt-no-such-library.so", RTLD_NOW), nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(library, "KxTestAnswer"), answer);

  EXPECT_EQ(SMLibUnLinkFromExportFN(library, answer), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMLibUnLinkFromExportFN(library, nullptr), 271u);
  EXPECT_EQ(SMLibUnLinkFromExportFN(nullptr, answer), 271u);
  EXPECT_EQ(CallAnswer(answer), 42);  // unlinking releases nothing

  EXPECT_EQ(SMLibUnLoad(library), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Mapped(kWithTable));
}

TEST(Library, plain_layer_refusals) {
  void *without = SMLibLoad(kWithoutTable);
  ASSERT_NE(without, nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(without, "KxTestExportTable"), nullptr);
  void *answer = SMLibLinkToExportFN(without, "KxTestAnswer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(CallAnswer(answer), 43);
  EXPECT_EQ(SMLibUnLoad(without), SM_STATUS_SUCCESS);

  // Every symbol is bound at load: a library with an unresolvable reference
  // is refused, though the loader would take it lazily.
  EXPECT_EQ(SMLibLoad(kUnbound), nullptr);
  void *lazy = dlopen(kUnbound, RTLD_LAZY);
  ASSERT_NE(lazy, nullptr);
  dlclose(lazy);
  EXPECT_EQ(SMLibLoad("/nonexistent/kxsupt-no-such-library.so"), nullptr);
  EXPECT_EQ(SMLibLoad(nullptr), nullptr);

  // Handles of another kind, or without a loader handle.
  kx::os::LibraryHandle other{1, nullptr, nullptr};
  kx::os::LibraryHandle empty{0, nullptr, nullptr};
  int marker = 0;
  EXPECT_EQ(SMLibUnLoad(nullptr), 271u);
  EXPECT_EQ(SMLibUnLoad(&other), 257u);
  EXPECT_EQ(SMLibUnLoad(&empty), 257u);
  EXPECT_EQ(SMLibUnLinkFromExportFN(&other, &marker), 257u);
  EXPECT_EQ(SMLibLinkToExportFN(&other, "KxTestAnswer"), nullptr);
  EXPECT_EQ(SMLibLinkToExportFN(&empty, "KxTestAnswer"), nullptr);
}

// Brings the shared table up for a test when the library's attach did not.
class SharedLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    attached_here_ = kx::os::FLibUserCount("") == -1 && kx::os::FLibTableAttach() == 1;
  }
  void TearDown() override {
    if (attached_here_) kx::os::FLibTableDetach();
  }

 private:
  bool attached_here_ = false;
};

TEST_F(SharedLibraryTest, users_share_one_copy_until_the_last_unloads) {
  void *first = SMFLibLinkToExportFN("alpha", kWithTable, "KxTestAnswer");
  void *second = SMFLibLinkToExportFN("beta", kWithTable, "KxTestAnswer");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_EQ(CallAnswer(first), 42);
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), 2);
  // A user linking again is still one user; a null name gives the loader's
  // handle, which the loader recognises as the library's.
  void *loader = SMFLibLinkToExportFN("alpha", kWithTable, nullptr);
  ASSERT_NE(loader, nullptr);
  EXPECT_EQ(dlsym(loader, "KxTestAnswer"), first);
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), 2);

  EXPECT_EQ(SMFLibUnLoad("alpha", kWithTable), SM_STATUS_SUCCESS);
  EXPECT_TRUE(Mapped(kWithTable));
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), 1);
  EXPECT_EQ(CallAnswer(second), 42);
  EXPECT_EQ(SMFLibUnLoad("beta", kWithTable), SM_STATUS_SUCCESS);
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), -1);
  EXPECT_FALSE(Mapped(kWithTable));
  // A path that is not loaded: nothing changes, status 0.
  EXPECT_EQ(SMFLibUnLoad("beta", kWithTable), SM_STATUS_SUCCESS);
}

TEST_F(SharedLibraryTest, unknown_user_still_takes_the_count_down) {
  ASSERT_NE(SMFLibLinkToExportFN("alpha", kWithTable, "KxTestExportTable"), nullptr);
  ASSERT_NE(SMFLibLinkToExportFN("beta", kWithTable, "KxTestExportTable"), nullptr);
  EXPECT_EQ(SMFLibUnLoad("nobody", kWithTable), SM_STATUS_SUCCESS);
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), 1);
  EXPECT_TRUE(Mapped(kWithTable));
  // With one count left, the next unload of anyone unloads the library,
  // though "beta" never unlinked.
  EXPECT_EQ(SMFLibUnLoad("alpha", kWithTable), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Mapped(kWithTable));
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), -1);
}

TEST_F(SharedLibraryTest, failures_and_what_they_leave) {
  // The library loads and the user is linked even when the function is
  // missing.
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", kWithoutTable, "KxTestExportTable"), nullptr);
  EXPECT_EQ(kx::os::FLibUserCount(kWithoutTable), 1);
  EXPECT_TRUE(Mapped(kWithoutTable));
  void *answer = SMFLibLinkToExportFN("alpha", kWithoutTable, "KxTestAnswer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(CallAnswer(answer), 43);
  EXPECT_EQ(SMFLibUnLoad("alpha", kWithoutTable), SM_STATUS_SUCCESS);
  EXPECT_FALSE(Mapped(kWithoutTable));

  // A library that cannot be loaded leaves no entry.
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", kUnbound, "KxTestCallsNowhere"), nullptr);
  EXPECT_EQ(kx::os::FLibUserCount(kUnbound), -1);

  EXPECT_EQ(SMFLibLinkToExportFN(nullptr, kWithTable, "KxTestAnswer"), nullptr);
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", nullptr, "KxTestAnswer"), nullptr);
  EXPECT_EQ(kx::os::FLibUserCount(kWithTable), -1);
  EXPECT_EQ(SMFLibUnLoad(nullptr, kWithTable), 271u);
  EXPECT_EQ(SMFLibUnLoad("alpha", nullptr), 271u);
}

TEST_F(SharedLibraryTest, detach_unloads_every_library_and_the_layer_is_then_down) {
  ASSERT_NE(SMFLibLinkToExportFN("alpha", kWithTable, "KxTestAnswer"), nullptr);
  ASSERT_NE(SMFLibLinkToExportFN("alpha", kWithoutTable, "KxTestAnswer"), nullptr);
  kx::os::FLibTableDetach();
  EXPECT_FALSE(Mapped(kWithTable));
  EXPECT_FALSE(Mapped(kWithoutTable));
  EXPECT_EQ(SMFLibLinkToExportFN("alpha", kWithTable, "KxTestAnswer"), nullptr);
  EXPECT_EQ(SMFLibUnLoad("alpha", kWithTable), SM_STATUS_NOT_READY);
  kx::os::FLibTableDetach();  // safe when down
  ASSERT_EQ(kx::os::FLibTableAttach(), 1);
}

}  // namespace

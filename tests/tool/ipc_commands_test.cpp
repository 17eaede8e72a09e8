// ipc list and ipc clean, end to end: objects made here through the library
// are listed by the tool with their keys, values, sizes and creators; the
// sets of a process killed with SIGKILL are removed (by the tool's own load
// of the library, or by clean on another key registry); exit statuses.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>

#include "../ipc/ipc_sandbox.h"
#include "ipc/event.h"
#include "ipc/key_registry.h"
#include "ipc/shared_memory.h"
#include "kxsupt/ipc.h"
#include "os/semaphore.h"
#include "tool_runner.h"

namespace {

using Json = nlohmann::json;
using ipctest::IpcSandbox;
using kxtest::RunTool;

// The objects of a listing with the given kind, by name (or id for unnamed).
Json Find(const Json &listing, const std::string &kind, const Json &name) {
  for (const Json &object : listing["objects"]) {
    if (object["kind"] == kind && object["name"] == name) return object;
  }
  return Json();
}

bool SetExists(int set_id) {
  struct semid_ds info {};
  return semctl(set_id, 0, IPC_STAT, &info) == 0;
}

// Sets made by a child that is then killed: their creator is gone.
std::vector<int> SetsOfAKilledProcess(int count) {
  int fds[2];
  if (pipe(fds) != 0) return {};
  const pid_t child = ipctest::Spawn([&] {
    for (int i = 0; i < count; ++i) {
      const int id = kx::ipc::CreateSemaphoreSet(0, 1, 0, 0);
      if (write(fds[1], &id, sizeof id) != sizeof id) return 1;
    }
    pause();
    return 0;
  });
  std::vector<int> ids(count);
  for (int &id : ids) {
    if (read(fds[0], &id, sizeof id) != sizeof id) id = 0;
  }
  close(fds[0]);
  close(fds[1]);
  kill(child, SIGKILL);
  ipctest::Reap(child);
  return ids;
}

TEST(ToolIpc, list_shows_every_object_with_what_the_kernel_holds) {
  IpcSandbox sandbox;
  void *semaphore = SMSemaphoreCreate("sem", 3);
  void *event = SMEventCreate("evt", 1, 1);
  void *memory = SMSharedMemCreate("shm", 4096);
  void *mutex = SMMutexCreate("mtx");
  const int unnamed = kx::ipc::CreateSemaphoreSet(0, 1, 0, 2);
  ASSERT_TRUE(semaphore && event && memory && mutex && unnamed > 0);
  const std::string sem_name = static_cast<kx::os::SemaphoreHandle *>(semaphore)->name;
  const int sem_id = static_cast<kx::os::SemaphoreHandle *>(semaphore)->object.set_id;
  ASSERT_EQ(SMMutexLock(mutex, 0), SM_STATUS_SUCCESS);

  auto result = RunTool({"ipc", "list", "--json"});
  ASSERT_EQ(result.exit_status, 0) << result.err;
  const Json listing = Json::parse(result.out);
  EXPECT_EQ(listing["registry"], sandbox.KeyRegistry());
  const Json sem = Find(listing, "semaphore", sem_name);
  ASSERT_FALSE(sem.is_null()) << result.out;
  EXPECT_EQ(sem["key"], kx::ipc::KeyForName(sem_name.c_str()));
  EXPECT_EQ(sem["id"], sem_id);
  EXPECT_EQ(sem["exists"], true);
  EXPECT_EQ(sem["value"], 3);
  const std::string evt_name = static_cast<kx::ipc::EventHandle *>(event)->name;
  const Json evt = Find(listing, "event", evt_name);
  ASSERT_FALSE(evt.is_null()) << result.out;
  EXPECT_EQ(evt["value"], 1);
  EXPECT_EQ(evt["reset"], "manual");
  const std::string shm_name = static_cast<kx::ipc::SharedMemoryHandle *>(memory)->name;
  const Json shm = Find(listing, "shared memory", shm_name);
  ASSERT_FALSE(shm.is_null()) << result.out;
  EXPECT_EQ(shm["size"], 4096);
  EXPECT_EQ(shm["creator"], getpid());
  EXPECT_EQ(shm["guard"], "held");
  bool found_unnamed = false, found_mutex = false;
  for (const Json &object : listing["objects"]) {
    if (object["kind"] == "unnamed semaphore set" && object["id"] == unnamed) {
      found_unnamed = true;
      EXPECT_EQ(object["creator"], getpid());
      EXPECT_EQ(object["creator_alive"], true);
      EXPECT_EQ(object["value"], 2);
    }
    if (object["kind"] == "mutex") {
      found_mutex = true;
      EXPECT_EQ(object["held"], true);
    }
  }
  EXPECT_TRUE(found_unnamed && found_mutex) << result.out;

  // The text form has one line per object.
  auto text = RunTool({"ipc", "list"});
  ASSERT_EQ(text.exit_status, 0);
  EXPECT_NE(text.out.find("semaphore  key " + std::to_string(sem["key"].get<uint32_t>()) + "  id " +
                          std::to_string(sem_id) + "  exists yes  value 3"),
            std::string::npos)
      << text.out;
  EXPECT_NE(text.out.find("shared memory  key"), std::string::npos);
  EXPECT_NE(text.out.find("mutex  key -  id -  exists yes  held yes"), std::string::npos);

  // Once freed, the objects are listed as gone; their names keep their keys.
  EXPECT_EQ(SMMutexUnLock(mutex), SM_STATUS_SUCCESS);
  SMMutexDestroy(mutex);
  SMSharedMemFree(memory);
  SMEventDestroy(event);
  SMSemaphoreDestroy(semaphore);
  kx::ipc::ForgetSemaphoreSet(unnamed);
  EXPECT_EQ(semctl(unnamed, 0, IPC_RMID), 0);
  result = RunTool({"ipc", "list", "--json"});
  const Json after = Json::parse(result.out);
  EXPECT_EQ(Find(after, "semaphore", sem_name)["exists"], false);
  EXPECT_EQ(Find(after, "shared memory", shm_name)["exists"], false);
  EXPECT_EQ(Find(after, "shared memory", shm_name)["guard"], "none");
}

// The tool's own load of the library already removes the sets of dead
// processes from the product's registry; clean then has nothing left.
TEST(ToolIpc, loading_the_library_cleans_the_product_registry) {
  IpcSandbox sandbox;
  const std::vector<int> sets = SetsOfAKilledProcess(2);
  ASSERT_EQ(sets.size(), 2u);
  for (int id : sets) ASSERT_TRUE(SetExists(id));
  auto result = RunTool({"ipc", "clean"});
  EXPECT_EQ(result.exit_status, 0) << result.err;
  EXPECT_EQ(result.out, "no stale semaphore sets\n");
  for (int id : sets) EXPECT_FALSE(SetExists(id));
}

// clean on another data directory's key registry: removes the sets of dead
// creators, drops entries of sets already gone, keeps the living.
TEST(ToolIpc, clean_removes_what_dead_processes_left_in_a_registry) {
  IpcSandbox sandbox;
  const std::vector<int> sets = SetsOfAKilledProcess(2);
  const int living = kx::ipc::CreateSemaphoreSet(0, 1, 0, 0);
  ASSERT_GT(living, 0);
  std::string registry = ipctest::ReadFile(sandbox.KeyRegistry());
  registry += "2147480001=99999999\n";  // a set that no longer exists
  ipctest::WriteFile(sandbox.KeyRegistry(), registry);
  // The tool loads the library over a registry of its own, so that its load
  // leaves this one alone.
  const std::string other = sandbox.dir() + "/other.cfg";
  ipctest::WriteFile(other, "mernex.vardatapath=" + sandbox.dir() + "\n");
  const std::string saved = getenv("KXSUPT_REGISTRY_FILE");
  setenv("KXSUPT_REGISTRY_FILE", other.c_str(), 1);
  auto result = RunTool({"ipc", "clean", "--json", "--file", sandbox.KeyRegistry()});
  setenv("KXSUPT_REGISTRY_FILE", saved.c_str(), 1);
  ASSERT_EQ(result.exit_status, 0) << result.err;
  const Json report = Json::parse(result.out)["stale"];
  ASSERT_EQ(report.size(), 3u) << result.out;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(report[i]["id"], std::to_string(sets[i]));
    EXPECT_EQ(report[i]["outcome"], "removed");
    EXPECT_FALSE(SetExists(sets[i]));
  }
  EXPECT_EQ(report[2]["outcome"], "dropped: the set was already gone");
  EXPECT_TRUE(SetExists(living));
  registry = ipctest::ReadFile(sandbox.KeyRegistry());
  EXPECT_EQ(registry.find("2147480001"), std::string::npos);
  EXPECT_NE(registry.find(std::to_string(living) + "=" + std::to_string(getpid())),
            std::string::npos);
  kx::ipc::ForgetSemaphoreSet(living);
  EXPECT_EQ(semctl(living, 0, IPC_RMID), 0);
}

TEST(ToolIpc, exit_statuses) {
  IpcSandbox sandbox(IpcSandbox::kUnseeded);
  auto missing = RunTool({"ipc", "list"});  // nothing named yet: no key registry
  EXPECT_EQ(missing.exit_status, 1);
  EXPECT_EQ(missing.err.rfind("kxsupt: no key registry at ", 0), 0u) << missing.err;
  EXPECT_EQ(RunTool({"ipc", "clean", "--file", sandbox.dir() + "/none"}).exit_status, 1);
  EXPECT_EQ(RunTool({"ipc"}).exit_status, 2);
  EXPECT_EQ(RunTool({"ipc", "list", "--bogus"}).exit_status, 2);
  const std::string saved = getenv("KXSUPT_REGISTRY_FILE");
  const std::string bare = sandbox.dir() + "/bare.cfg";
  ipctest::WriteFile(bare, "tesk.installpath=/\n");
  setenv("KXSUPT_REGISTRY_FILE", bare.c_str(), 1);
  auto no_data = RunTool({"ipc", "list"});
  setenv("KXSUPT_REGISTRY_FILE", saved.c_str(), 1);
  EXPECT_EQ(no_data.exit_status, 1);
  EXPECT_NE(no_data.err.find("no data directory"), std::string::npos) << no_data.err;
}

}  // namespace

// Events, named and unnamed: the wait, set, reset and pulse rules of both
// reset modes against a small model of the value, open by name in another
// process, and who removes the set.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <random>
#include <string>

#include "ipc/event.h"
#include "ipc_sandbox.h"
#include "kxsupt/ipc.h"

namespace {

using ipctest::Channel;
using ipctest::IpcSandbox;
using ipctest::Reap;
using ipctest::Spawn;

// The event's value as the object behind it holds it.
int ValueOf(void *handle) {
  auto *event = static_cast<kx::ipc::EventHandle *>(handle);
  if (event->name != nullptr) return semctl(event->object.set_id, 0, GETVAL);
  int value = -1;
  sem_getvalue(event->object.local->object.local, &value);
  return value;
}

struct EventKind {
  bool named;
  uint32_t manual;
};

class Event : public ::testing::TestWithParam<EventKind> {
 protected:
  void *Make(uint32_t initial) {
    return SMEventCreate(GetParam().named ? "event" : nullptr, GetParam().manual, initial);
  }
  bool manual() const { return GetParam().manual == 1; }
  IpcSandbox sandbox_;
};

TEST_P(Event, starts_at_its_initial_value_below_the_count_limit) {
  EXPECT_EQ(Make(32768), nullptr);
  void *event = Make(1);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(SMEventWait(event, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMEventWait(event, 20), manual() ? SM_STATUS_SUCCESS : SM_STATUS_TIMEOUT);
  SMEventDestroy(event);
}

// Random operations against a model: set adds one; reset and pulse end at
// 0; a wait succeeds exactly when the value is above 0 and leaves it one
// higher than it took (manual) or at 0 (auto).
TEST_P(Event, follows_the_model_of_its_value) {
  void *event = Make(0);
  ASSERT_NE(event, nullptr);
  std::mt19937 random(7);
  int model = 0;
  for (int step = 0; step < 400; ++step) {
    switch (random() % 4) {
      case 0:
        ASSERT_EQ(SMEventSet(event), SM_STATUS_SUCCESS);
        ++model;
        break;
      case 1:
        ASSERT_EQ(SMEventReset(event), SM_STATUS_SUCCESS);
        model = 0;
        break;
      case 2:
        ASSERT_EQ(SMEventPulse(event), SM_STATUS_SUCCESS);
        model = 0;
        break;
      default:
        ASSERT_EQ(SMEventWait(event, 0), model > 0 ? SM_STATUS_SUCCESS : SM_STATUS_TIMEOUT);
        if (model > 0 && !manual()) model = 0;
        break;
    }
    ASSERT_EQ(ValueOf(event), model) << "step " << step;
  }
  SMEventDestroy(event);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Event,
                         ::testing::Values(EventKind{false, 0}, EventKind{false, 1},
                                           EventKind{true, 0}, EventKind{true, 1}),
                         [](const auto &info) {
                           return std::string(info.param.named ? "named_" : "unnamed_") +
                                  (info.param.manual ? "manual" : "auto");
                         });

// Another process opens the event by name, with its reset mode, and wakes
// a waiter here; the opened handle never removes the set.
TEST(NamedEvent, opened_in_another_process_with_its_reset_mode) {
  IpcSandbox sandbox;
  void *automatic = SMEventCreate("door", 0, 0);
  void *manual = SMEventCreate("gate", 1, 0);
  ASSERT_NE(automatic, nullptr);
  ASSERT_NE(manual, nullptr);
  Channel opened;
  const pid_t child = Spawn([&] {
    auto *door = static_cast<kx::ipc::EventHandle *>(SMEventOpen("door"));
    auto *gate = static_cast<kx::ipc::EventHandle *>(SMEventOpen("gate"));
    const bool ok = door && gate && door->manual_reset == 0 && gate->manual_reset == 1;
    opened.Send(ok ? '.' : 'x');  // a failure must not leave this process waiting
    if (!ok) return 1;
    if (SMEventWait(door, SM_WAIT_FOREVER) != SM_STATUS_SUCCESS) return 3;
    if (SMEventSet(gate) != SM_STATUS_SUCCESS) return 4;
    SMEventDestroy(door);
    SMEventDestroy(gate);
    return 0;
  });
  if (opened.Receive() != '.') {
    ADD_FAILURE() << "the other process did not open both events with their modes";
    EXPECT_EQ(Reap(child), 1);
    SMEventDestroy(manual);
    SMEventDestroy(automatic);
    return;
  }
  EXPECT_EQ(SMEventSet(automatic), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMEventWait(manual, 60000), SM_STATUS_SUCCESS);
  EXPECT_EQ(Reap(child), 0);
  EXPECT_EQ(SMEventWait(manual, 0), SM_STATUS_SUCCESS);  // still signalled
  EXPECT_EQ(SMEventWait(automatic, 0), SM_STATUS_TIMEOUT);
  const int set_id = static_cast<kx::ipc::EventHandle *>(manual)->object.set_id;
  struct semid_ds info {};
  ASSERT_EQ(semctl(set_id, 0, IPC_STAT, &info), 0);
  EXPECT_EQ(info.sem_nsems, 2u);  // a manual-reset event's set has two semaphores
  EXPECT_EQ(info.sem_perm.mode & 0777, 0664u);
  SMEventDestroy(manual);
  EXPECT_NE(semctl(set_id, 0, IPC_STAT, &info), 0);
  SMEventDestroy(automatic);
}

}  // namespace

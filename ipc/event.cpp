// Events over semaphore 0 of a System V set (named) or a process-private
// semaphore (unnamed). Set, reset and pulse are separate operations on the
// value and are not atomic with respect to each other: a reset racing a set
// may lose the set.
#include "ipc/event.h"

#include <sched.h>
#include <semaphore.h>

#include "base/memory.h"
#include "config/ipc_paths.h"
#include "ipc/key_registry.h"
#include "ipc/sysv.h"

namespace kx::ipc {

namespace {

Status CheckHandle(const EventHandle *event) {
  if (event == nullptr) return Status::kInvalidParameter;
  if (event->kind != config::kIpcEvent) return Status::kOsFailure;
  return Status::kSuccess;
}

bool IsNamed(const EventHandle *event) {
  return event->name != nullptr;
}

// A kind-4 handle with the name's key, or null (nothing left behind).
EventHandle *NewNamedHandle(const char *name, uint32_t *key) {
  auto *event = static_cast<EventHandle *>(
      config::BuildIpcHandle(name, sizeof(EventHandle), config::kIpcEvent));
  if (event == nullptr) return nullptr;
  *key = KeyForName(event->name);
  if (*key == 0) {
    base::FreeMem(event);
    return nullptr;
  }
  return event;
}

// The value of the event's semaphore; -1 when it cannot be read.
int Value(const EventHandle *event) {
  if (IsNamed(event)) return SemaphoreValue(event->object.set_id);
  int value = -1;
  if (sem_getvalue(event->object.local->object.local, &value) != 0) return -1;
  return value;
}

Status Signal(EventHandle *event) {
  if (IsNamed(event)) return ReleaseSetSemaphore(event->object.set_id, 1);
  return os::SemaphoreRelease(event->object.local, 1, nullptr);
}

Status Clear(EventHandle *event) {
  if (IsNamed(event)) {
    return SetSemaphoreValue(event->object.set_id, 0) ? Status::kSuccess : Status::kError;
  }
  sem_t *local = event->object.local->object.local;
  for (;;) {
    int value = 0;
    if (sem_getvalue(local, &value) != 0) return Status::kError;
    if (value == 0) return Status::kSuccess;
    (void)sem_trywait(local);
  }
}

}  // namespace

EventHandle *EventCreate(const char *name, uint32_t manual_reset, uint32_t initial_value,
                         uint32_t access_rights) {
  EventHandle *event = nullptr;
  if (name == nullptr) {
    event = static_cast<EventHandle *>(
        config::BuildIpcHandle(nullptr, sizeof(EventHandle), config::kIpcEvent));
    if (event == nullptr) return nullptr;
    event->object.local = os::SemaphoreCreate(nullptr, initial_value);
    if (event->object.local == nullptr) {
      base::FreeMem(event);
      return nullptr;
    }
  } else {
    uint32_t key = 0;
    event = NewNamedHandle(name, &key);
    if (event == nullptr) return nullptr;
    if (initial_value >= os::kSemaphoreCountLimit) {
      base::FreeMem(event);
      return nullptr;
    }
    const int count = manual_reset == 1 ? 2 : 1;
    event->object.set_id =
        CreateSemaphoreSet(key, count, access_rights, static_cast<int>(initial_value));
    if (event->object.set_id == 0) {
      base::FreeMem(event);
      return nullptr;
    }
  }
  event->creator = 1;
  event->manual_reset = manual_reset == 1 ? 1 : 0;
  return event;
}

EventHandle *EventOpen(const char *name) {
  if (name == nullptr) return nullptr;
  uint32_t key = 0;
  EventHandle *event = NewNamedHandle(name, &key);
  if (event == nullptr) return nullptr;
  const int set_id = Sysv().semget(static_cast<key_t>(key), 0, 0600);
  if (set_id < 0) {
    base::FreeMem(event);
    return nullptr;
  }
  event->object.set_id = set_id;
  event->creator = 0;
  event->manual_reset = SemaphoreCount(set_id) == 2 ? 1 : 0;
  return event;
}

Status EventWait(EventHandle *event, uint32_t timeout_ms) {
  if (Status status = CheckHandle(event); !Ok(status)) return status;
  const Status acquired = IsNamed(event)
                              ? AcquireSetSemaphore(event->object.set_id, timeout_ms)
                              : os::SemaphoreAcquireWait(event->object.local, timeout_ms);
  if (!Ok(acquired)) return acquired;
  // A manual-reset event stays signalled for the other waiters; an auto-reset
  // one is consumed, however many sets came before this wait.
  return event->manual_reset == 1 ? Signal(event) : Clear(event);
}

Status EventSet(EventHandle *event) {
  if (Status status = CheckHandle(event); !Ok(status)) return status;
  return Signal(event);
}

Status EventReset(EventHandle *event) {
  if (Status status = CheckHandle(event); !Ok(status)) return status;
  return Clear(event);
}

Status EventPulse(EventHandle *event) {
  if (Status status = CheckHandle(event); !Ok(status)) return status;
  const int value = Value(event);
  if (value < 0) return Status::kError;
  if (value == 0) {
    if (event->manual_reset == 1) {
      do {
        if (Status status = Signal(event); !Ok(status)) return status;
        sched_yield();
      } while (Value(event) == 0);
    } else {
      if (Status status = Signal(event); !Ok(status)) return status;
      sched_yield();
    }
  }
  return Clear(event);
}

void EventDestroy(EventHandle *event) {
  if (!Ok(CheckHandle(event))) return;
  if (event->creator == 1) {
    if (!IsNamed(event)) {
      os::SemaphoreDestroy(event->object.local);
    } else if (RemoveSemaphoreSet(event->object.set_id)) {
      ForgetSemaphoreSet(event->object.set_id);
    }
  }
  base::FreeMem(event);
}

}  // namespace kx::ipc

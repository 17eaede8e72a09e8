// Module tables made at attach and ended at detach: a table object (with an
// unnamed mutex in its `lock` member) placed in a block of the library's
// allocation path and published through an atomic pointer.
#pragma once

#include <atomic>
#include <new>

#include "base/memory.h"
#include "os/mutex.h"

namespace kx::os {

// Ends a table made by AttachLockedTable (its mutex already destroyed or
// never made).
template <typename Table>
void DestroyLockedTable(Table *table) {
  table->~Table();
  base::FreeMem(table);
}

// Makes and publishes the table unless there is one: 1 on success or when
// already attached, 0 when memory or the mutex cannot be had.
template <typename Table>
int AttachLockedTable(std::atomic<Table *> &slot) {
  if (slot.load(std::memory_order_acquire) != nullptr) return 1;
  void *block = base::AllocMem(sizeof(Table));
  if (block == nullptr) return 0;
  auto *table = new (block) Table;
  table->lock = MutexCreate(nullptr);
  if (table->lock == nullptr) {
    DestroyLockedTable(table);
    return 0;
  }
  slot.store(table, std::memory_order_release);
  return 1;
}

// Withdraws the table, lets `release_entries` end what it holds, then ends
// its mutex and the table itself.
template <typename Table, typename ReleaseEntries>
void DetachLockedTable(std::atomic<Table *> &slot, ReleaseEntries release_entries) {
  Table *table = slot.exchange(nullptr, std::memory_order_acq_rel);
  if (table == nullptr) return;
  release_entries(*table);
  MutexDestroy(table->lock);
  DestroyLockedTable(table);
}

}  // namespace kx::os

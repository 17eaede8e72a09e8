// The critical-section table: one unnamed mutex guarding a map from function
// to entry. The table lock is held only to find, count and remove entries,
// never while a caller's function runs; an entry lives exactly while a caller
// of its function is between counting in and counting out.
#include "os/critical_section.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <new>

#include "base/memory.h"
#include "os/locked_table.h"
#include "os/mutex_hold.h"

namespace kx::os {

namespace {

struct CriticalSectionEntry {
  int32_t users = 0;  // callers inside or waiting
  pthread_mutex_t lock;
};

struct CriticalSectionTable {
  MutexHandle *lock = nullptr;
  // Map nodes do not move, so an entry's mutex stays put while the table
  // lock is released around its use.
  std::map<CriticalSectionFunction, CriticalSectionEntry, std::less<>,
           base::Allocator<std::pair<const CriticalSectionFunction, CriticalSectionEntry>>>
      entries;
};

std::atomic<CriticalSectionTable *> g_table{nullptr};

// Finds or makes function's entry and counts the caller in. Null when the
// entry cannot be made.
CriticalSectionEntry *CountIn(CriticalSectionTable &table, CriticalSectionFunction function) {
  MutexHold hold(table.lock);
  auto found = table.entries.find(function);
  if (found == table.entries.end()) {
    try {
      found = table.entries.try_emplace(function).first;
    } catch (const std::bad_alloc &) {
      return nullptr;
    }
    if (pthread_mutex_init(&found->second.lock, nullptr) != 0) {
      table.entries.erase(found);
      return nullptr;
    }
  }
  found->second.users += 1;
  return &found->second;
}

// Counts the caller out, removing the entry after its last caller.
void CountOut(CriticalSectionTable &table, CriticalSectionFunction function) {
  MutexHold hold(table.lock);
  auto found = table.entries.find(function);
  // The caller counted itself in under this key; losing it means the table
  // is corrupt, and running on could let two callers overlap.
  if (found == table.entries.end()) std::abort();
  found->second.users -= 1;
  if (found->second.users < 1) {
    pthread_mutex_destroy(&found->second.lock);
    table.entries.erase(found);
  }
}

}  // namespace

void CriticalSectionExecute(CriticalSectionFunction function, void *argument, uint32_t timeout_ms) {
  CriticalSectionTable *table = g_table.load(std::memory_order_acquire);
  if (function == nullptr || timeout_ms != kWaitForever || table == nullptr) return;
  CriticalSectionEntry *entry = CountIn(*table, function);
  if (entry == nullptr) return;
  pthread_mutex_lock(&entry->lock);
  function(argument);
  pthread_mutex_unlock(&entry->lock);
  CountOut(*table, function);
}

int CriticalSectionAttach() {
  return AttachLockedTable(g_table);
}

void CriticalSectionDetach() {
  DetachLockedTable(g_table, [](CriticalSectionTable &table) {
    for (auto &[function, entry] : table.entries) pthread_mutex_destroy(&entry.lock);
  });
}

int32_t CriticalSectionUsers(CriticalSectionFunction function) {
  CriticalSectionTable *table = g_table.load(std::memory_order_acquire);
  if (table == nullptr) return 0;
  MutexHold hold(table->lock);
  auto found = table->entries.find(function);
  return found == table->entries.end() ? 0 : found->second.users;
}

int32_t CriticalSectionEntryCount() {
  CriticalSectionTable *table = g_table.load(std::memory_order_acquire);
  if (table == nullptr) return -1;
  MutexHold hold(table->lock);
  return static_cast<int32_t>(table->entries.size());
}

}  // namespace kx::os

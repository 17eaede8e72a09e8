// Critical sections by function: CriticalSectionExecute runs a caller's
// function so that calls of the same function never overlap, with one lock
// per distinct function, created when its first caller arrives and removed
// when its last caller leaves. The table behind it is attach step 5.
#pragma once

#include <cstdint>

namespace kx::os {

// A function run under its own lock; its argument is the caller's.
using CriticalSectionFunction = void (*)(void *argument);

// Runs function(argument) holding the function's lock. Does nothing for a
// null function, for a time-out other than kWaitForever, or while the table
// is down. The lock is not recursive: a function that calls this for itself
// deadlocks.
void CriticalSectionExecute(CriticalSectionFunction function, void *argument, uint32_t timeout_ms);

// Attach step: creates the table and its lock (nothing to do when it exists).
// Returns 1 when the table is up. Detach releases it and is safe when down.
int CriticalSectionAttach();
void CriticalSectionDetach();

// The number of callers inside or waiting for function's lock, 0 when it has
// no entry or the table is down.
int32_t CriticalSectionUsers(CriticalSectionFunction function);
// The number of entries in the table, -1 while the table is down.
int32_t CriticalSectionEntryCount();

}  // namespace kx::os

// Threads: start (joinable, with a handle) or start and release (detached),
// stop by joining, kill with signal 9, yield, identify and name the caller.
// Stacks are 131072 bytes.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "base/status.h"

namespace kx::os {

// A thread's entry: one pointer-sized argument; its result is dropped.
using ThreadFunction = void *(*)(void *argument);

// Stack size of every thread the library starts.
inline constexpr size_t kThreadStackSize = 131072;

// The handle of a joinable thread, owned by the caller until ThreadStop or
// ThreadKill frees it.
struct ThreadHandle {
  ThreadFunction entry;
  void *argument;
  pthread_t thread;
};

// Starts entry(argument) on a joinable thread. Null for a null entry or when
// memory or the thread cannot be had. With no stack-size attributes the
// system's default stack is used.
ThreadHandle *ThreadStart(ThreadFunction entry, void *argument);
// Starts entry(argument) on a detached thread and keeps nothing. kSuccess,
// kInvalidParameter for a null entry, kError when the attributes or the
// thread cannot be made.
Status ThreadStartAndRelease(ThreadFunction entry, void *argument);
// Waits for the thread to end and frees its handle. kInvalidParameter for
// null; kError, keeping the handle, when the thread cannot be joined (the
// caller is that thread).
Status ThreadStop(ThreadHandle *handle);
// Sends signal 9 to the thread, which ends the whole process, and frees the
// handle. kInvalidParameter for null.
Status ThreadKill(ThreadHandle *handle);
// Gives up the processor.
void ThreadYield();
// The calling thread's identifier (its pthread_self value).
uint64_t ThreadGetID();
// Names the calling thread; the system keeps the first 15 characters.
// kInvalidParameter for null, kError when the system refuses.
Status ThreadSetName(const char *name);

}  // namespace kx::os

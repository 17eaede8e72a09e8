// Named shared-memory segments. A segment is a System V shared-memory
// segment; beside it, under the same key (the registry's key for
// "kxsupshm<digest>"), lives its guard: a System V set of one semaphore that
// the creating process holds, with undo, for as long as its handle lives. A
// free guard therefore means that no creator is alive: Open refuses such a
// segment, and Create takes it over (keeping its contents) instead of
// failing. The contents themselves are not synchronised here.
#pragma once

#include <cstdint>

namespace kx::ipc {

struct SharedMemoryHandle {
  uint32_t kind;     // kIpcSharedMemory
  const char *name;  // operating-system name behind the fields
  void *address;     // where the segment is mapped, null after release
  int guard;         // the guard set, 0 when none
  int segment;       // the segment, -1 after removal
  uint32_t creator;  // 1 when this handle's creation made the segment
};

// SMSharedMemCreate / SMSharedMemCreate_s: maps the segment of a name,
// creating it with `size` bytes and the access-rights word's permission, and
// takes its guard. Fails (null) when the name is null or empty, another
// creator holds the guard, a segment exists without a guard, or a system
// call fails; only the name's registry key stays behind then.
SharedMemoryHandle *SharedMemCreate(const char *name, uint32_t size, uint32_t access_rights);

// SMSharedMemOpen: maps the segment of a name whose creator is alive. Null
// when there is no segment, or its guard is free.
SharedMemoryHandle *SharedMemOpen(const char *name);

// SMSharedMemGetAddressPtr: the mapped address; null for a null handle or a
// handle of another kind.
void *SharedMemGetAddressPtr(SharedMemoryHandle *memory);

// SMSharedMemFree: unmaps; a handle whose creation made the segment also
// removes it and its guard. A handle that took over an existing segment
// keeps the guard until the process ends. Frees the handle.
void SharedMemFree(SharedMemoryHandle *memory);

}  // namespace kx::ipc

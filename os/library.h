// Shared libraries in two layers. The plain layer (Lib*) wraps the system's
// loader one handle at a time and takes no lock. The shared layer (FLib*)
// keeps one loaded copy of each library per process, counts its users by
// name and caches the function addresses already looked up; its table, under
// one unnamed mutex, is attach step 8 (the function-table libraries).
#pragma once

#include <cstdint>

#include "base/status.h"

namespace kx::os {

// Kind word of a plain library handle.
inline constexpr uint32_t kLibraryKind = 0;

// A loaded library; the path copy lives in the same allocation.
struct LibraryHandle {
  uint32_t kind;  // kLibraryKind
  char *path;
  void *loader;  // the system loader's handle
};

// Loads path with every symbol bound at once. Null for a null path, short
// memory or a loader failure.
LibraryHandle *LibLoad(const char *path);
// Closes the library and frees the handle. kInvalidParameter for null,
// kOsFailure for another kind or no loader handle, kError (handle kept) when
// the loader refuses.
Status LibUnLoad(LibraryHandle *library);
// The address of the exported symbol name, null for an invalid handle, a null
// name or an absent symbol.
void *LibLinkToExportFN(LibraryHandle *library, const char *name);
// Releases nothing: kSuccess for a valid handle and a non-null address,
// kInvalidParameter for a null handle or address, kOsFailure for another kind.
Status LibUnLinkFromExportFN(LibraryHandle *library, void *function);

// Links user to the library at path, loading it on first use, and returns the
// address of function name (cached per library), or the loader's handle of
// the library when name is null. Null on any failure or while the table is
// down; a user linked before a failed lookup stays linked.
void *FLibLinkToExportFN(const char *user, const char *path, const char *name);
// Unlinks user from the library at path: the user count falls by one even for
// a user name that never linked, and at 0 the library is unloaded and its
// cache forgotten. kSuccess (also for an unknown path), kInvalidParameter for
// a null argument, kNotReady while the table is down.
Status FLibUnLoad(const char *user, const char *path);

// Attach step: creates the table and its lock (nothing to do when it exists);
// 1 when the table is up. Detach unloads every library and releases the
// table; safe when down.
int FLibTableAttach();
void FLibTableDetach();

// The user count of the library at path, -1 when it is not in the table (or
// the table is down).
int32_t FLibUserCount(const char *path);

}  // namespace kx::os

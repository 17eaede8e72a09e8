// The IPC key registry: the small INI file "<ipc dir>/.lxsuptIPCini" shared
// by every process, which gives each operating-system name ("kxsupsmp",
// "kxsupevt", "kxsupshm" or "kxsuprwl" and a name digest) one System V key
// for good, and lists the unnamed semaphore sets with the process that made
// them. Also the creation of semaphore sets (never identifier 0, failures
// reported to the system log) and the IPC layer's attach step, which removes
// the unnamed sets of processes that have died.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kx::ipc {

// The registry's sections.
inline constexpr char kNameSection[] = "Unique String Name Key Section";
inline constexpr char kKeySection[] = "Unique Numeric Value Key Section";
inline constexpr char kSetSection[] = "Semaphore List";

// Keys are above this; the first key ever given is one more.
inline constexpr uint32_t kKeyFloor = 300000;

// The key of an operating-system name, allocated (largest key + 1) and
// recorded in both name sections when the name is new. 0 on any failure: no
// IPC paths, the registry lock cannot be taken, the registry cannot be read
// or written, or the keys have run out (the next key would wrap).
uint32_t KeyForName(const char *os_name);

// The allocation on the registry's text (`existed` false when there is no
// file): the key recorded for `os_name`, or else a new key (one more than
// the largest of the numeric section, the first key without that section)
// with `edited` set to the text that records it in both sections, as the
// INI engine's writes of the two entries would, and *added set. 0 when no
// key can be given (the text cannot be read or the keys have run out).
uint32_t KeyInRegistryText(std::string_view bytes, bool existed, const char *os_name,
                           std::string *edited, bool *added);

// Creates a set of `count` semaphores with `key` (0 for an unnamed set) and
// the access-rights word's permission, or opens the existing set of that
// key; then sets semaphore 0 to `initial`. An unnamed set is listed in
// "Semaphore List" with the calling process's id. Returns the set's
// identifier, never 0; 0 on failure (lack of memory and the system's limit
// on sets are written to the system log).
int CreateSemaphoreSet(uint32_t key, int count, uint32_t access_rights, int initial);

// Drops the "Semaphore List" entry of a set that was removed.
void ForgetSemaphoreSet(int set_id);

// A "Semaphore List" entry whose creator has died, as a clean-up found it.
struct StaleSet {
  std::string entry;     // the entry's key text, the set identifier
  uint64_t creator = 0;  // the process id recorded for it
  bool removed = false;  // the set was removed and the entry dropped
};

// Removes the sets of "Semaphore List" whose creator process no longer
// exists (no "/proc/<pid>"), and the entries of those removed; entries whose
// set cannot be removed stay. Runs without the registry lock, as at attach.
std::vector<StaleSet> RemoveStaleSemaphoreSets();

// Attach step 4: builds the IPC paths from the data directory (fails without
// one) and removes stale unnamed sets. Non-zero on success.
int IpcAttach();
// Forgets the IPC paths.
void IpcDetach();

}  // namespace kx::ipc

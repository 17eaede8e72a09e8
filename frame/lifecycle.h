// The library's lifecycle: the load count and unloading flag in front of the
// module attach chain. The process-wide instance is driven by the shared
// object's constructor and destructor and keeps its unloading flag in
// base/unloading.h, where lower layers read it; tests build their own
// instances (each with a flag of its own) over fake module steps to exercise
// the counting and rollback rules.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>

namespace kx::frame {

// One module's place in the attach chain. attach returns non-zero on success.
struct ModuleStep {
  const char *name;
  int (*attach)();
  void (*detach)();
};

class Lifecycle {
 public:
  constexpr explicit Lifecycle(std::span<const ModuleStep> steps) : steps_(steps) {}
  // An instance whose unloading flag is `unloading` (the process-wide one).
  constexpr Lifecycle(std::span<const ModuleStep> steps, std::atomic<uint16_t> *unloading)
      : steps_(steps), unloading_(unloading) {}

  // Load entry: attaches on the first load; returns 1 on success, 0 when the
  // attach failed (the load count is then left unchanged).
  int Load();
  // Unload entry: on the last unload sets the unloading flag, then detaches.
  // Returns 1, or 0 when nothing was loaded.
  int Unload();

  // Library attach: counts, and on the first count runs every module's attach
  // in order, detaching the earlier ones in reverse when one fails. A failed
  // attach leaves the attach count incremented.
  bool Attach();
  // Library detach: uncounts, and at zero detaches every module in reverse.
  void Detach();

  int32_t load_count() const { return load_count_; }
  int32_t attach_count() const { return attach_count_; }
  uint16_t unloading() const { return unloading_->load(std::memory_order_acquire); }

 private:
  std::span<const ModuleStep> steps_;
  int32_t load_count_ = 0;
  int32_t attach_count_ = 0;
  std::atomic<uint16_t> own_unloading_{0};
  std::atomic<uint16_t> *unloading_ = &own_unloading_;
};

// The process-wide lifecycle over the library's real module chain.
Lifecycle &Library();

}  // namespace kx::frame

// Load/unload counting and the module attach chain, plus the constructor and
// destructor that hook the process-wide chain to the shared object's loading.
#include "frame/lifecycle.h"

#include "base/unloading.h"
#include "frame/modules.h"

namespace kx::frame {

int Lifecycle::Load() {
  if (load_count_ < 1) {
    unloading_->store(0, std::memory_order_release);
    if (!Attach()) return 0;
    load_count_ += 1;
    return 1;
  }
  load_count_ += 1;
  return 1;
}

int Lifecycle::Unload() {
  if (load_count_ <= 0) return 0;
  if (load_count_ == 1) {
    unloading_->store(1, std::memory_order_release);
    load_count_ -= 1;
    Detach();
    return 1;
  }
  load_count_ -= 1;
  return 1;
}

bool Lifecycle::Attach() {
  attach_count_ += 1;
  if (attach_count_ > 1) return true;
  for (size_t i = 0; i < steps_.size(); ++i) {
    if (steps_[i].attach() == 0) {
      // Roll back exactly the steps that succeeded, newest first. The attach
      // count stays raised so that a later detach still balances it.
      for (size_t j = i; j-- > 0;) steps_[j].detach();
      return false;
    }
  }
  return true;
}

void Lifecycle::Detach() {
  attach_count_ -= 1;
  if (attach_count_ >= 1) return;
  for (size_t j = steps_.size(); j-- > 0;) steps_[j].detach();
}

Lifecycle &Library() {
  // Trivially destructible, so it outlives every destructor that unloads.
  static Lifecycle library{ModuleChain(), &base::UnloadingFlag()};
  return library;
}

namespace {

__attribute__((constructor)) void LibraryLoad() {
  Library().Load();
}
__attribute__((destructor)) void LibraryUnload() {
  Library().Unload();
}

}  // namespace

}  // namespace kx::frame

// The network module's attached flag, read by every network routine.
#include "net/module.h"

#include <atomic>

namespace kx::net {

namespace {

std::atomic<bool> g_attached{false};

}  // namespace

int NetworkAttach() {
  g_attached.store(true, std::memory_order_release);
  return 1;
}

void NetworkDetach() {
  g_attached.store(false, std::memory_order_release);
}

bool NetworkUp() {
  return g_attached.load(std::memory_order_acquire);
}

}  // namespace kx::net

// The library's module attach chain, in attach order. Each module owns its
// attach and detach routines; this table only fixes their order.
#pragma once

#include <span>

#include "frame/lifecycle.h"

namespace kx::frame {

// The library's module steps in attach order.
std::span<const ModuleStep> ModuleChain();

}  // namespace kx::frame

// This program's operator new: the heap, but refused while the library's
// allocation budget is spent, so that out-of-memory tests reach the standard
// containers inside the library too. Kept in a file of its own so that the
// compiler never sees these bodies inlined at a call site.
#include <cstdlib>
#include <new>

#include "base/memory.h"

void *operator new(std::size_t size) {
  if (kx::base::testing::RefuseRequest()) throw std::bad_alloc();
  if (void *block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}

void operator delete(void *block) noexcept {
  std::free(block);
}

void operator delete(void *block, std::size_t) noexcept {
  std::free(block);
}

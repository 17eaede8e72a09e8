// FrameStack: the explicit stack over which the SDO conversions and the walk
// go depth first instead of recursing, so that an image nested thousands of
// levels deep needs no more native stack than a flat one. The first frames
// live inside the object, so the usual shallow image allocates nothing; deeper
// ones spill to the library's heap, and a growth that fails throws
// std::bad_alloc, which the stack's owner catches.
#pragma once

#include <cstddef>
#include <vector>

#include "base/memory.h"

namespace kx::sdo {

template <typename Frame, size_t kInline = 16>
class FrameStack {
 public:
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  // Frame i from the bottom (< size); a reference stays valid until the frame
  // is popped or a push spills past the inline frames.
  Frame &at(size_t i) { return i < kInline ? inline_[i] : spill_[i - kInline]; }
  Frame &front() { return at(0); }
  Frame &back() { return at(size_ - 1); }

  void push_back(const Frame &frame) {
    if (size_ < kInline) {
      inline_[size_] = frame;
    } else {
      spill_.push_back(frame);
    }
    ++size_;
  }
  void pop_back() {
    if (size_ > kInline) spill_.pop_back();
    --size_;
  }
  void clear() {
    spill_.clear();
    size_ = 0;
  }

 private:
  Frame inline_[kInline] = {};
  std::vector<Frame, base::Allocator<Frame>> spill_;
  size_t size_ = 0;
};

}  // namespace kx::sdo

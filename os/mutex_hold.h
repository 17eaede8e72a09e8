// Holding one of the library's unnamed mutexes for a scope: locked without a
// time-out on construction, unlocked on destruction.
#pragma once

#include "os/mutex.h"

namespace kx::os {

class MutexHold {
 public:
  explicit MutexHold(MutexHandle *mutex) : mutex_(mutex) {
    // A blocking lock of a valid unnamed mutex only fails on a corrupted one.
    (void)MutexLock(mutex_, kWaitForever);
  }
  MutexHold(const MutexHold &) = delete;
  MutexHold &operator=(const MutexHold &) = delete;
  ~MutexHold() { (void)MutexUnLock(mutex_); }

 private:
  MutexHandle *mutex_;
};

}  // namespace kx::os

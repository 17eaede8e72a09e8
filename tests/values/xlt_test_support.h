// Helpers shared by the typed-value translation tests: one call in each
// direction with its status, size out and result, and a fixed time zone.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "text/xlt.h"

namespace xlt_test {

struct Parsed {
  uint32_t status = 0;
  uint32_t size = 0;
  std::vector<uint8_t> bytes;  // the value buffer after the call

  template <typename T>
  T As() const {
    T v{};
    std::memcpy(&v, bytes.data(), sizeof v);
    return v;
  }
};

// Parses `text` as `type` into a buffer of `room` bytes (pre-filled with 0xAA).
inline Parsed Parse(const char *text, uint32_t type, uint32_t room = 64) {
  Parsed p;
  p.bytes.assign(room == 0 ? 1 : room, 0xAA);
  p.size = room;
  p.status = kx::text::XltTextToValue(text, p.bytes.data(), &p.size, type);
  return p;
}

struct Written {
  uint32_t status = 0;
  uint32_t size = 0;
  std::string text;  // up to the terminator when the call succeeded
};

// Writes the value of `value_size` bytes at `value` into a buffer of `room`.
inline Written Write(const void *value, uint32_t value_size, uint32_t type, uint32_t room = 512) {
  Written w;
  std::vector<char> buffer(room == 0 ? 1 : room, '\x7f');
  w.size = room;
  w.status = kx::text::XltValueToText(value, value_size, buffer.data(), &w.size, type);
  if (w.status == 0) w.text.assign(buffer.data());
  return w;
}

template <typename T>
Written WriteValue(T value, uint32_t type, uint32_t room = 512) {
  return Write(&value, sizeof value, type, room);
}

// Sets TZ for the life of the object and restores the previous setting.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char *zone) {
    const char *old = std::getenv("TZ");
    had_old_ = old != nullptr;
    if (had_old_) old_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (had_old_) {
      setenv("TZ", old_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedTimeZone(const ScopedTimeZone &) = delete;
  ScopedTimeZone &operator=(const ScopedTimeZone &) = delete;

 private:
  bool had_old_ = false;
  std::string old_;
};

}  // namespace xlt_test

// The event vocabulary that the text log, the XML log and the system log share:
// the selector bits, the event types with their text-log labels, and the names
// of the categories (the product service that reports an event).
#pragma once

#include <cstdint>

namespace kx::log {

// Selector bits of SMAppendToLog, SMClearLog and the path queries.
inline constexpr uint32_t kSelectSystemLog = 2;
inline constexpr uint32_t kSelectTextLog = 4;
inline constexpr uint32_t kSelectXmlLog = 8;

// Event types.
inline constexpr uint16_t kEventNone = 0;
inline constexpr uint16_t kEventError = 1;
inline constexpr uint16_t kEventWarning = 2;
inline constexpr uint16_t kEventInformation = 4;
inline constexpr uint16_t kEventAuditSuccess = 8;
inline constexpr uint16_t kEventAuditFailure = 16;

// Largest data block of an event, in bytes.
inline constexpr uint32_t kLogDataLimit = 32768;

// The category of the library's own entries ("Core Broker").
inline constexpr uint16_t kCategoryCoreBroker = 1;

// The text-log label of an event type ("Type: Error"), or null for a type
// outside the table.
constexpr const char *TypeLabel(uint16_t type) {
  switch (type) {
    case kEventNone:
      return "Type: None";
    case kEventError:
      return "Type: Error";
    case kEventWarning:
      return "Type: Warning";
    case kEventInformation:
      return "Type: Information";
    case kEventAuditSuccess:
      return "Type: Audit Success";
    case kEventAuditFailure:
      return "Type: Audit Failure";
    default:
      return nullptr;
  }
}

// The name written for a category 1 to 6, or null for any other.
constexpr const char *CategoryName(uint16_t category) {
  constexpr const char *kNames[] = {"Core Broker",    "Wexbridge Service", "Volume Service",
                                    "Bridge Service", "Host Agent Core",   "Release Ledger"};
  if (category < 1 || category > 6) return nullptr;
  return kNames[category - 1];
}

}  // namespace kx::log

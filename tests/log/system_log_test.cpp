// The system-log target against a real receiver: the test binds its own unix
// datagram socket, points the library's writer at it and reads back what a
// system logger would receive (priority and facility, identity, text).
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <string>

#include "kxsupt/log.h"
#include "log/system_log.h"
#include "log_test_support.h"

namespace {

// What a receiver sees: "<PRI>Mmm dd hh:mm:ss identity: message".
struct Received {
  int pri = -1;
  std::string identity;
  std::string message;
};

class SystemLogReceiver : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/kxsupt-syslog-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/log";
    fd_ = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_GE(fd_, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path_.c_str());
    ASSERT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    timeval wait{2, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    kx::log::SetSystemLogSocketForTesting(path_.c_str());
  }
  void TearDown() override {
    kx::log::SetSystemLogSocketForTesting(nullptr);
    if (fd_ >= 0) close(fd_);
    unlink(path_.c_str());
    rmdir(dir_.c_str());
  }

  // The next datagram, split into its parts; nullopt when none arrives.
  std::optional<Received> Next() {
    char buffer[8192];
    const ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
    if (n <= 0) return std::nullopt;
    const std::string datagram(buffer, static_cast<size_t>(n));
    Received got;
    const size_t close_angle = datagram.find('>');
    if (datagram[0] != '<' || close_angle == std::string::npos) return got;
    got.pri = std::stoi(datagram.substr(1, close_angle - 1));
    // The time stamp is "Mmm dd hh:mm:ss " (16 characters).
    const std::string rest = datagram.substr(close_angle + 1 + 16);
    const size_t colon = rest.find(": ");
    got.identity = rest.substr(0, colon);
    got.message = rest.substr(colon + 2);
    return got;
  }

  // True when no datagram is waiting.
  bool Quiet() {
    char byte;
    return recv(fd_, &byte, 1, MSG_DONTWAIT) < 0;
  }

  std::string dir_, path_;
  int fd_ = -1;
};

// Facility daemon (3) and the three priorities, pinned as numbers.
constexpr int kDaemon = 3 << 3;
constexpr int kErr = 3, kWarning = 4, kInfo = 6;

TEST_F(SystemLogReceiver, priority_follows_the_event_type_under_facility_daemon) {
  const struct {
    uint16_t type;
    int priority;
  } rows[] = {{0, kInfo}, {1, kErr},   {2, kWarning}, {4, kInfo},
              {8, kInfo}, {16, kInfo}, {99, kInfo}};
  for (const auto &row : rows) {
    ASSERT_EQ(SMAppendToOSSysLog(row.type, 2, 7, "svc", "d"), SM_STATUS_SUCCESS);
    const auto got = Next();
    ASSERT_TRUE(got.has_value()) << row.type;
    EXPECT_EQ(got->pri, kDaemon | row.priority) << "type " << row.type;
    EXPECT_EQ(got->identity, "svc");
  }
}

TEST_F(SystemLogReceiver, message_carries_category_name_identifier_and_description) {
  const char *names[] = {"Core Broker",    "Wexbridge Service", "Volume Service",
                         "Bridge Service", "Host Agent Core",   "Release Ledger"};
  for (uint16_t category = 1; category <= 6; ++category) {
    ASSERT_EQ(SMAppendToOSSysLog(1, category, 4294967295u, "identity x", "disk full"),
              SM_STATUS_SUCCESS);
    const auto got = Next();
    ASSERT_TRUE(got.has_value());
    EXPECT_EQ(got->identity, "identity x");
    EXPECT_EQ(got->message, std::string(names[category - 1]) + " EventID: 4294967295  disk full");
  }
}

TEST_F(SystemLogReceiver, unknown_category_is_refused_and_nothing_is_sent) {
  EXPECT_EQ(SMAppendToOSSysLog(1, 0, 1, "s", "d"), SM_STATUS_ERROR);
  EXPECT_EQ(SMAppendToOSSysLog(1, 7, 1, "s", "d"), SM_STATUS_ERROR);
  EXPECT_TRUE(Quiet());
}

TEST_F(SystemLogReceiver, descriptions_are_cleaned_and_cut_at_the_message_buffer) {
  const std::string head = "Core Broker EventID: 12  ";
  const struct {
    const char *description;
    std::string message;
  } rows[] = {
      // Carriage returns become blanks; line feeds stay.
      {"line one\r\nline two\r\n\r", head + "line one \nline two \n "},
      {nullptr, head},
      {"", head},
  };
  for (const auto &row : rows) {
    ASSERT_EQ(SMAppendToOSSysLog(4, 1, 12, "s", row.description), SM_STATUS_SUCCESS);
    const auto got = Next();
    ASSERT_TRUE(got.has_value());
    EXPECT_EQ(got->message, row.message);
  }
  const std::string description(5000, 'x');
  ASSERT_EQ(SMAppendToOSSysLog(4, 1, 12, "s", description.c_str()), SM_STATUS_SUCCESS);
  const auto got = Next();
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(got->message, head + std::string(2047 - head.size(), 'x'));
}

TEST_F(SystemLogReceiver, library_reports_under_its_own_identity) {
  const char *text =
      "A semaphore set could not be created because the system has not enough memory for the new "
      "data structure\n";
  ASSERT_EQ(kx::log::ReportLibraryEvent(text), kx::Status::kSuccess);
  const auto got = Next();
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(got->pri, kDaemon | kInfo);
  EXPECT_EQ(got->identity, "Tarvex (Shared Library)");
  EXPECT_EQ(got->message, std::string("Core Broker EventID: 0  ") + text);
}

// The default event log's selector bit 2 reaches the system log too.
TEST_F(SystemLogReceiver, event_log_selector_reaches_the_logger) {
  logtest::LogSandbox box;
  kx::log::SetSystemLogSocketForTesting(path_.c_str());
  EXPECT_EQ(SMAppendToLog(2 | 4, 1, 4, 9, "svc", "both ways", nullptr, 0), SM_STATUS_SUCCESS);
  EXPECT_EQ(SMAppendToLog(2, 1, 9, 9, "svc", "unknown category", nullptr, 0), SM_STATUS_ERROR);
  const auto got = Next();
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(got->message, "Bridge Service EventID: 9  both ways");
  EXPECT_TRUE(Quiet());
  EXPECT_EQ(logtest::DecodeTextLog(logtest::ReadFile(box.TextLog())).records.size(), 1u);
}

}  // namespace

// crc32, md5, base64 and printf commands, end to end: outputs against zlib,
// OpenSSL and glibc as independent oracles, plus bad input and bad usage.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <cstdio>
#include <random>
#include <string>

#include "tool_runner.h"

namespace {

using kxtest::RunTool;
using kxtest::TempDir;

std::string RandomBytes(size_t size, uint32_t seed) {
  std::mt19937 rng(seed);
  std::string bytes(size, '\0');
  for (char &c : bytes) c = static_cast<char>(rng());
  return bytes;
}

std::string ZlibCrc(const std::string &data) {
  char text[9];
  uLong crc =
      crc32(0, reinterpret_cast<const Bytef *>(data.data()), static_cast<uInt>(data.size()));
  std::snprintf(text, sizeof text, "%08lx", crc);
  return text;
}

std::string OpensslMd5(const std::string &data) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(data.data(), data.size(), digest, &size, EVP_md5(), nullptr);
  std::string hex;
  char byte[3];
  for (unsigned i = 0; i < size; ++i) {
    std::snprintf(byte, sizeof byte, "%02x", digest[i]);
    hex += byte;
  }
  return hex;
}

std::string OpensslBase64(const std::string &data) {
  std::string text(4 * ((data.size() + 2) / 3) + 1, '\0');
  int n = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                          reinterpret_cast<const unsigned char *>(data.data()),
                          static_cast<int>(data.size()));
  text.resize(static_cast<size_t>(n));
  return text;
}

// Sizes straddle the tool's 64 KiB read chunks so that chunk joins are tested.
const size_t kSizes[] = {0, 1, 2, 3, 63, 64, 65, 65535, 65536, 65537, 200003};

TEST(DigestCommands, crc32_and_md5_match_zlib_and_openssl_for_files_and_stdin) {
  TempDir dir;
  for (size_t size : kSizes) {
    SCOPED_TRACE(size);
    std::string data = RandomBytes(size, static_cast<uint32_t>(size));
    std::string file = dir.Write("data.bin", data);
    auto crc = RunTool({"crc32", file});
    EXPECT_EQ(crc.exit_status, 0);
    EXPECT_EQ(crc.out, ZlibCrc(data) + "  " + file + "\n");
    auto md5 = RunTool({"md5", "-"}, data);
    EXPECT_EQ(md5.exit_status, 0);
    EXPECT_EQ(md5.out, OpensslMd5(data) + "  -\n");
  }
}

TEST(DigestCommands, missing_file_reports_not_found_but_digests_the_rest) {
  TempDir dir;
  std::string file = dir.Write("abc", "abc");
  auto result = RunTool({"md5", dir.path() + "/missing", file});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_EQ(result.out, "900150983cd24fb0d6963f7d28e17f72  " + file + "\n");
  EXPECT_EQ(result.err.rfind("kxsupt: ", 0), 0u);
}

TEST(Base64Command, encodes_like_openssl_and_round_trips) {
  for (size_t size : kSizes) {
    SCOPED_TRACE(size);
    std::string data = RandomBytes(size, static_cast<uint32_t>(size) + 7);
    auto encoded = RunTool({"base64", "-w", "0"}, data);
    EXPECT_EQ(encoded.exit_status, 0);
    EXPECT_EQ(encoded.out, OpensslBase64(data));
    auto wrapped = RunTool({"base64"}, data);
    auto decoded = RunTool({"base64", "-d"}, wrapped.out);
    EXPECT_EQ(decoded.exit_status, 0);
    EXPECT_EQ(decoded.out, data);
  }
}

TEST(Base64Command, refuses_damaged_text) {
  for (const char *text : {"TWF", "TQ==TWFu", "T===", "TW!u", "TQ=A"}) {
    auto result = RunTool({"base64", "-d"}, text);
    EXPECT_EQ(result.exit_status, 2) << text;
    EXPECT_NE(result.err.find("kxsupt: "), std::string::npos) << text;
  }
}

TEST(PrintfCommand, agrees_with_glibc_where_the_engines_agree) {
  struct Case {
    std::vector<std::string> args;
    std::string expected;
  };
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, "[%-6d|%+05ld|%#x|%o|%.3s|%c|%5.2f]", 42, -7L, 255U, 8U,
                "abcdef", 'Z', 3.14159);
  const Case cases[] = {
      {{"[%-6d|%+05ld|%#x|%o|%.3s|%c|%5.2f]", "42", "-7", "255", "8", "abcdef", "Z", "3.14159"},
       buffer},
      {{"%s=%d\\n", "a", "1", "b", "2"}, "a=1\nb=2\n"},  // the format is reused
      {{"%*d|%-*s|", "4", "7", "3", "x"}, "   7|x  |"},
      {{"%g %e", "1000000", "1"}, "1000000 1e+00"},  // the engine's own rules
      {{"100%%"}, "100%"},
  };
  for (const Case &c : cases) {
    std::vector<std::string> args = {"printf"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    auto result = RunTool(args);
    EXPECT_EQ(result.exit_status, 0) << c.args[0];
    EXPECT_EQ(result.out, c.expected) << c.args[0];
  }
}

TEST(PrintfCommand, bad_arguments_and_usage_exit_2) {
  for (auto args :
       {std::vector<std::string>{"printf"}, std::vector<std::string>{"printf", "%d", "x"},
        std::vector<std::string>{"printf", "%n"}, std::vector<std::string>{"printf", "%"},
        std::vector<std::string>{"printf", "%S", "\xC3"}}) {
    auto result = RunTool(args);
    EXPECT_EQ(result.exit_status, 2) << args.back();
    EXPECT_EQ(result.err.rfind("kxsupt: ", 0), 0u) << result.err;
  }
}

}  // namespace

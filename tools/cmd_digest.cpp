// kxsupt crc32|md5 [FILE...]: the library's checksum and digest over files or
// standard input, streamed in fixed-size chunks and printed as "HASH  NAME".
#include <kxsupt.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"
#include "crc32_combine.h"
#include "io.h"

namespace kxtool {

namespace {

std::string Hex(const uint8_t *bytes, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < size; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  return out;
}

// Runs `digest` over each named file, printing one line per file; the exit
// status is the worst seen, and the remaining files are still processed.
class DigestCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.add_option("files", files_, "files to read; \"-\" or none reads standard input");
  }

  int Run() override {
    if (files_.empty()) files_.push_back("-");
    int worst = kExitOk;
    for (const std::string &file : files_) {
      std::string hash;
      int status = Digest(file, &hash);
      if (status != kExitOk) {
        worst = std::max(worst, status);
        continue;
      }
      std::cout << hash << "  " << file << '\n';
    }
    return worst;
  }

 protected:
  virtual int Digest(const std::string &file, std::string *hash) = 0;

 private:
  std::vector<std::string> files_;
};

class Crc32Command : public DigestCommand {
  int Digest(const std::string &file, std::string *hash) override {
    uint32_t crc = 0;  // the CRC-32 of nothing
    int status = ForEachChunk(file, [&](const unsigned char *data, size_t size) {
      crc = Crc32Combine(crc, SMCRC32Compute_vn(data, static_cast<uint32_t>(size)), size);
    });
    char text[9];
    std::snprintf(text, sizeof text, "%08x", crc);
    *hash = text;
    return status;
  }
};

class Md5Command : public DigestCommand {
  int Digest(const std::string &file, std::string *hash) override {
    SMRFC1321Context context;
    SMRFC1321Load(&context);
    int status = ForEachChunk(file, [&](const unsigned char *data, size_t size) {
      SMRFC1321AddMsg(&context, data, static_cast<uint32_t>(size));
    });
    SMRFC1321ComputeMsgDigest(&context);
    *hash = Hex(context.digest, sizeof context.digest);
    SMRFC1321UnLoad(&context);
    return status;
  }
};

}  // namespace

KXSUPT_COMMAND(Crc32Command, "crc32", "CRC-32 of files, as \"HASH  NAME\" lines");
KXSUPT_COMMAND(Md5Command, "md5", "MD5 digest of files, as \"HASH  NAME\" lines");

}  // namespace kxtool

// kxsupt base64 [-d] [FILE...]: the library's Base64 over files or standard
// input, streamed in chunks. Encoding wraps lines at 76 columns (-w 0: no
// wrapping, no final line break); decoding ignores line breaks and refuses text outside the
// standard alphabet rather than decoding it to garbage.
#include <kxsupt.h>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"
#include "io.h"

namespace kxtool {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

class Base64Command : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.add_flag("-d,--decode", decode_, "decode instead of encode");
    sub.add_option("-w,--wrap", wrap_, "wrap encoded lines after this many characters (0: none)")
        ->check(CLI::NonNegativeNumber);
    sub.add_option("files", files_, "files to read; \"-\" or none reads standard input");
  }

  int Run() override {
    if (files_.empty()) files_.push_back("-");
    for (const std::string &file : files_) {
      int status = decode_ ? Decode(file) : Encode(file);
      if (status != kExitOk) return status;
    }
    return kExitOk;
  }

 private:
  // Encodes whole groups of three; the encoder reads one byte past a final
  // one-byte group, so the input always carries a zero byte behind it.
  void EmitEncoded(const unsigned char *data, size_t size) {
    if (size == 0) return;
    std::vector<unsigned char> input(data, data + size);
    input.push_back(0);
    std::vector<char> text(4 * ((size + 2) / 3) + 1);
    SMBase64Encode(text.data(), input.data(), static_cast<int32_t>(size), nullptr);
    for (const char *c = text.data(); *c != '\0'; ++c) {
      std::cout.put(*c);
      if (wrap_ != 0 && ++column_ == wrap_) {
        std::cout.put('\n');
        column_ = 0;
      }
    }
  }

  int Encode(const std::string &file) {
    std::vector<unsigned char> pending;
    column_ = 0;
    int status = ForEachChunk(file, [&](const unsigned char *data, size_t size) {
      pending.insert(pending.end(), data, data + size);
      size_t whole = pending.size() - pending.size() % 3;
      EmitEncoded(pending.data(), whole);
      pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(whole));
    });
    if (status != kExitOk) return status;
    EmitEncoded(pending.data(), pending.size());
    if (wrap_ != 0 && column_ != 0) std::cout.put('\n');
    return kExitOk;
  }

  // Decodes complete four-character groups from `text`, keeping the rest.
  bool EmitDecoded(std::string *text, bool final) {
    size_t whole = text->size() - text->size() % 4;
    if (final && whole != text->size()) return false;
    for (size_t group = 0; group < whole; group += 4) {
      // Padding may only end the text's last group.
      if (text->find('=', group) < group + 2) return false;
    }
    std::vector<uint8_t> bytes(whole / 4 * 3 + 1);
    SMBase64Decode(bytes.data(), text->data(), static_cast<int32_t>(whole));
    size_t produced = 0;
    for (size_t group = 0; group < whole; group += 4) {
      produced += 1 + ((*text)[group + 2] != '=') +
                  ((*text)[group + 2] != '=' && (*text)[group + 3] != '=');
    }
    std::cout.write(reinterpret_cast<const char *>(bytes.data()),
                    static_cast<std::streamsize>(produced));
    text->erase(0, whole);
    return true;
  }

  int Decode(const std::string &file) {
    std::string text;
    bool valid = true;
    bool padded = false;
    int status = ForEachChunk(file, [&](const unsigned char *data, size_t size) {
      for (size_t i = 0; i < size && valid; ++i) {
        char c = static_cast<char>(data[i]);
        if (c == '\n' || c == '\r' || c == ' ' || c == '\t') continue;
        bool is_pad = c == '=';
        if (!is_pad && (c == '\0' || std::strchr(kAlphabet, c) == nullptr)) valid = false;
        // After padding only the rest of that group's padding may follow.
        if (padded && !is_pad) valid = false;
        padded = padded || is_pad;
        text += c;
      }
      if (valid) valid = EmitDecoded(&text, /*final=*/false);
    });
    if (status != kExitOk) return status;
    if (!valid || !EmitDecoded(&text, /*final=*/true)) {
      std::cout.flush();
      Complain(file + ": invalid Base64 input");
      return kExitBadInput;
    }
    return kExitOk;
  }

  bool decode_ = false;
  size_t wrap_ = 76;
  size_t column_ = 0;
  std::vector<std::string> files_;
};

}  // namespace

KXSUPT_COMMAND(Base64Command, "base64", "Base64 encode or decode (-d) files or standard input");

}  // namespace kxtool

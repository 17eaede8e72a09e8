// kxsupt printf FORMAT [ARG...]: formats with the library's own engine, each
// argument converted to the type its conversion takes, so that the engine's
// behaviour can be seen from the shell. Backslash escapes in FORMAT are
// interpreted as printf(1) does; nothing is appended to the output.
#include <kxsupt.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

namespace {

// One conversion of the format: its text ("%-08.3lx") and what it consumes.
struct Conversion {
  std::string directive;
  char letter = 0;
  bool is_long = false;
};

class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string Unescape(const std::string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    char next = text[++i];
    switch (next) {
      case 'n':
        out += '\n';
        break;
      case 't':
        out += '\t';
        break;
      case 'r':
        out += '\r';
        break;
      case 'a':
        out += '\a';
        break;
      case 'b':
        out += '\b';
        break;
      case 'f':
        out += '\f';
        break;
      case 'v':
        out += '\v';
        break;
      case '\\':
        out += '\\';
        break;
      case '0': {
        int value = 0;
        for (int digits = 0;
             digits < 3 && i + 1 < text.size() && text[i + 1] >= '0' && text[i + 1] <= '7';
             ++digits) {
          value = value * 8 + (text[++i] - '0');
        }
        out += static_cast<char>(value);
        break;
      }
      default:
        out += '\\';
        out += next;
    }
  }
  return out;
}

class ArgumentCursor {
 public:
  explicit ArgumentCursor(const std::vector<std::string> &args) : args_(args) {}

  // The next argument, or "" once they run out (printf(1) treats missing
  // arguments as empty or zero).
  const std::string &Next() {
    static const std::string empty;
    return next_ < args_.size() ? args_[next_++] : empty;
  }
  bool Exhausted() const { return next_ >= args_.size(); }
  bool Consumed() const { return next_ > 0; }

  long Signed() { return ParseInteger(Next(), /*is_signed=*/true); }
  unsigned long Unsigned() { return ParseInteger(Next(), /*is_signed=*/false); }

  double Real() {
    const std::string &text = Next();
    if (text.empty()) return 0;
    errno = 0;
    char *end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    if (*end != '\0' || errno == ERANGE) throw UsageError("invalid number: " + text);
    return value;
  }

 private:
  static long ParseInteger(const std::string &text, bool is_signed) {
    if (text.empty()) return 0;
    errno = 0;
    char *end = nullptr;
    long value = is_signed ? std::strtol(text.c_str(), &end, 0)
                           : static_cast<long>(std::strtoul(text.c_str(), &end, 0));
    if (*end != '\0' || errno == ERANGE) throw UsageError("invalid number: " + text);
    return value;
  }

  const std::vector<std::string> &args_;
  size_t next_ = 0;
};

// Formats one conversion with one argument through the library's engine.
template <typename Arg>
std::string Engine(const std::string &directive, Arg arg) {
  std::vector<char> buffer(256);
  for (;;) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    int32_t stored =
        SMsnprintf(buffer.data(), static_cast<uint32_t>(buffer.size()), directive.c_str(), arg);
#pragma GCC diagnostic pop
    // The result counts bytes stored: a full buffer may mean it was cut short.
    if (stored >= 0 && static_cast<size_t>(stored) + 1 < buffer.size()) {
      return std::string(buffer.data(), static_cast<size_t>(stored));
    }
    if (buffer.size() >= (1u << 26)) throw UsageError("output too large");
    buffer.resize(buffer.size() * 4);
  }
}

// Converts UTF-8 argument text to the UCS-2 string that %S takes.
std::vector<uint16_t> ToUcs2(const std::string &text) {
  uint32_t size = 0;
  if (SMUTF8StrToUCS2Str(nullptr, &size, text.c_str()) != SM_STATUS_SUCCESS) {
    throw UsageError("not valid UTF-8: " + text);
  }
  std::vector<uint16_t> units(size / 2 + 1, 0);
  if (SMUTF8StrToUCS2Str(units.data(), &size, text.c_str()) != SM_STATUS_SUCCESS) {
    throw UsageError("not valid UTF-8: " + text);
  }
  return units;
}

std::string FormatOne(const Conversion &conversion, ArgumentCursor &args) {
  const std::string &directive = conversion.directive;
  switch (conversion.letter) {
    case 'd':
    case 'i':
      if (conversion.is_long) return Engine(directive, args.Signed());
      return Engine(directive, static_cast<int>(args.Signed()));
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      if (conversion.is_long) return Engine(directive, args.Unsigned());
      return Engine(directive, static_cast<unsigned>(args.Unsigned()));
    case 'c': {
      const std::string &text = args.Next();
      return Engine(directive, text.empty() ? 0 : static_cast<unsigned char>(text[0]));
    }
    case 'p':
      return Engine(directive, reinterpret_cast<void *>(args.Unsigned()));
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G':
      return Engine(directive, args.Real());
    case 's':
      return Engine(directive, args.Next().c_str());
    case 'S': {
      std::vector<uint16_t> units = ToUcs2(args.Next());
      return Engine(directive, units.data());
    }
    default:
      throw UsageError(std::string("unsupported conversion: %") + conversion.letter);
  }
}

// Walks the format, copying literal text and formatting each conversion.
// A '*' width or precision takes its value from the next argument and is
// written into the conversion text, so the engine sees one argument a call.
std::string Render(const std::string &format, ArgumentCursor &args) {
  std::string out;
  size_t i = 0;
  while (i < format.size()) {
    if (format[i] != '%') {
      out += format[i++];
      continue;
    }
    if (i + 1 < format.size() && format[i + 1] == '%') {
      out += '%';
      i += 2;
      continue;
    }
    Conversion conversion;
    conversion.directive = "%";
    ++i;
    while (i < format.size() && std::string("-+ #0").find(format[i]) != std::string::npos) {
      conversion.directive += format[i++];
    }
    auto number_or_star = [&] {
      if (i < format.size() && format[i] == '*') {
        conversion.directive += std::to_string(static_cast<int>(args.Signed()));
        ++i;
        return;
      }
      while (i < format.size() && format[i] >= '0' && format[i] <= '9')
        conversion.directive += format[i++];
    };
    number_or_star();
    if (i < format.size() && format[i] == '.') {
      conversion.directive += format[i++];
      number_or_star();
    }
    while (i < format.size() && std::string("hlL").find(format[i]) != std::string::npos) {
      if (format[i] == 'l') conversion.is_long = true;
      conversion.directive += format[i++];
    }
    if (i == format.size()) throw UsageError("format ends inside a conversion");
    conversion.letter = format[i++];
    conversion.directive += conversion.letter;
    if (conversion.letter == 'n') throw UsageError("%n is not supported");
    out += FormatOne(conversion, args);
  }
  return out;
}

class PrintfCommand : public Command {
 public:
  void Configure(CLI::App &sub) override {
    sub.add_option("format", format_, "format string, with printf(1) backslash escapes")
        ->required();
    sub.add_option("args", args_, "arguments, converted to what each conversion takes");
  }

  int Run() override {
    try {
      std::string format = Unescape(format_);
      ArgumentCursor cursor(args_);
      std::string out = Render(format, cursor);
      // As printf(1) does, reuse the format while arguments remain.
      while (cursor.Consumed() && !cursor.Exhausted()) out += Render(format, cursor);
      std::cout << out;
      return kExitOk;
    } catch (const UsageError &error) {
      Complain(error.what());
      return kExitBadInput;
    }
  }

 private:
  std::string format_;
  std::vector<std::string> args_;
};

}  // namespace

KXSUPT_COMMAND(PrintfCommand, "printf", "format arguments with the library's printf engine");

}  // namespace kxtool

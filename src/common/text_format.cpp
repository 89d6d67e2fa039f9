#include "common/text_format.h"

#include <cstdio>
#include <cstring>

namespace kestrand {

uint64_t CFormatArg::Bits() const {
  switch (kind_) {
    case Kind::Signed:
    case Kind::Unsigned:
      return int_;
    case Kind::Real:
      return static_cast<uint64_t>(static_cast<int64_t>(real_));
    default:
      return 0;
  }
}

double CFormatArg::Real() const {
  switch (kind_) {
    case Kind::Real:
      return real_;
    case Kind::Signed:
      return static_cast<double>(static_cast<int64_t>(int_));
    case Kind::Unsigned:
      return static_cast<double>(int_);
    default:
      return 0.0;
  }
}

size_t WideLength(const char16_t* text) {
  if (text == nullptr) return 0;
  size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

std::string WideToAnsi(std::u16string_view text, bool* lossless) {
  std::string out;
  out.reserve(text.size());
  bool exact = true;
  for (char16_t unit : text) {
    if (unit < 0x80) {
      out.push_back(static_cast<char>(unit));
    } else {
      out.push_back('?');
      exact = false;
    }
  }
  if (lossless != nullptr) *lossless = exact;
  return out;
}

std::u16string AnsiToWide(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (char c : text) out.push_back(static_cast<unsigned char>(c));
  return out;
}

namespace {

// One conversion directive: %[flags][width][.precision][size]type
struct Spec {
  bool left = false, plus = false, space = false, alt = false, zero = false;
  int width = 0;
  int precision = -1;
  enum class Size { None, Short, Char, Long, LongLong, I64, I32, Wide } size = Size::None;
  char type = 0;
};

// Integer width in bits that a spec reads: "long" is 32 bits here.
int IntegerBits(const Spec& s) {
  switch (s.size) {
    case Spec::Size::Short: return 16;
    case Spec::Size::Char: return 8;
    case Spec::Size::LongLong:
    case Spec::Size::I64: return 64;
    default: return 32;
  }
}

std::string FormatReal(const Spec& s, double value) {
  char fmt[32];
  char* p = fmt;
  *p++ = '%';
  if (s.left) *p++ = '-';
  if (s.plus) *p++ = '+';
  if (s.space) *p++ = ' ';
  if (s.alt) *p++ = '#';
  if (s.zero) *p++ = '0';
  *p = 0;
  std::string f(fmt);
  f += "*.*";
  f += s.type;
  const int precision = s.precision < 0 ? 6 : (s.precision > 60 ? 60 : s.precision);
  const int width = s.width > 400 ? 400 : s.width;
  char buffer[512];
  const int n = std::snprintf(buffer, sizeof buffer, f.c_str(), width, precision, value);
  if (n < 0) return std::string();
  return std::string(buffer, static_cast<size_t>(n) < sizeof buffer ? static_cast<size_t>(n) : sizeof buffer - 1);
}

// Where the formatter puts its text: units of the format's width into a
// string of that width, or wide units narrowed as WideToAnsi does into a
// narrow string (the text writer's line, formatted without a wide copy).
template <class C>
struct PlainOut {
  std::basic_string<C>& text;
  void Unit(C c) { text.push_back(c); }
  void Units(const C* units, size_t count) { text.append(units, count); }
  void Ascii(std::string_view ascii) { text.append(ascii.begin(), ascii.end()); }
  void Repeat(char c, size_t count) { text.append(count, static_cast<C>(c)); }
  void Blanks(size_t count) { Repeat(' ', count); }
  // Narrow bytes, each as the unit of the same value.
  void Bytes(const char* bytes, size_t count) {
    if constexpr (sizeof(C) == 1) {
      text.append(bytes, count);
    } else {
      for (size_t i = 0; i < count; ++i) text.push_back(static_cast<C>(static_cast<unsigned char>(bytes[i])));
    }
  }
};

struct NarrowingOut {
  std::string& text;
  void Unit(char16_t c) { text.push_back(c < 0x80 ? static_cast<char>(c) : '?'); }
  void Units(const char16_t* units, size_t count) {
    const size_t start = text.size();
    text.resize(start + count);
    char* place = text.data() + start;
    for (size_t i = 0; i < count; ++i) place[i] = units[i] < 0x80 ? static_cast<char>(units[i]) : '?';
  }
  void Ascii(std::string_view ascii) { text.append(ascii); }
  void Repeat(char c, size_t count) { text.append(count, c); }
  void Blanks(size_t count) { Repeat(' ', count); }
  // Narrow bytes widened, then narrowed again: ASCII stays, the rest is "?".
  void Bytes(const char* bytes, size_t count) {
    const size_t start = text.size();
    text.resize(start + count);
    char* place = text.data() + start;
    for (size_t i = 0; i < count; ++i)
      place[i] = static_cast<unsigned char>(bytes[i]) < 0x80 ? bytes[i] : '?';
  }
};

// An integer conversion, written straight to `out` without a string of its
// own: the digits (at most 22, or the 16 of a pointer), zeros up to the
// precision, the octal "0" of "#", the sign or "0x" prefix, and the padding.
template <class Out>
void AppendInteger(Out& out, const Spec& s, uint64_t bits) {
  const int width_bits = IntegerBits(s);
  const uint64_t mask = width_bits == 64 ? ~uint64_t{0} : ((uint64_t{1} << width_bits) - 1);
  uint64_t value = bits & mask;
  bool negative = false;
  if (s.type == 'd' || s.type == 'i') {
    const uint64_t sign = uint64_t{1} << (width_bits - 1);
    if (value & sign) {
      negative = true;
      value = (~value + 1) & mask;
    }
  }
  unsigned base = 10;
  const char* digits = "0123456789abcdef";
  if (s.type == 'x') base = 16;
  if (s.type == 'X' || s.type == 'p') {
    base = 16;
    digits = "0123456789ABCDEF";
  }
  if (s.type == 'o') base = 8;

  char body[24];
  char* const end = body + sizeof body;
  char* first = end;
  if (value == 0) {
    if (s.precision != 0) *--first = '0';
  } else if (base == 10) {
    // Constant divisors, so that no digit costs a division instruction.
    for (; value != 0; value /= 10) *--first = static_cast<char>('0' + value % 10);
  } else if (base == 16) {
    for (; value != 0; value >>= 4) *--first = digits[value & 0xF];
  } else {
    for (; value != 0; value >>= 3) *--first = digits[value & 0x7];
  }
  if (s.type == 'p')
    while (end - first < 16) *--first = '0';
  size_t bodyLength = static_cast<size_t>(end - first);
  size_t precisionZeros = 0;
  if (s.precision > 0 && bodyLength < static_cast<size_t>(s.precision))
    precisionZeros = static_cast<size_t>(s.precision) - bodyLength;
  if (s.alt && s.type == 'o' && precisionZeros == 0 && (bodyLength == 0 || *first != '0')) precisionZeros = 1;

  char prefix[4];
  size_t prefixLength = 0;
  if (negative)
    prefix[prefixLength++] = '-';
  else if ((s.type == 'd' || s.type == 'i') && s.plus)
    prefix[prefixLength++] = '+';
  else if ((s.type == 'd' || s.type == 'i') && s.space)
    prefix[prefixLength++] = ' ';
  if (s.alt && (bits & mask) != 0 && (s.type == 'x' || s.type == 'X')) {
    prefix[prefixLength++] = '0';
    prefix[prefixLength++] = s.type;
  }

  const size_t length = prefixLength + precisionZeros + bodyLength;
  const size_t width = static_cast<size_t>(s.width);
  const size_t pad = length >= width ? 0 : width - length;
  if (pad != 0 && !s.left && !(s.zero && s.precision < 0)) out.Blanks(pad);
  out.Ascii(std::string_view(prefix, prefixLength));
  if (pad != 0 && !s.left && s.zero && s.precision < 0) out.Repeat('0', pad);
  out.Repeat('0', precisionZeros);
  out.Ascii(std::string_view(first, bodyLength));
  if (pad != 0 && s.left) out.Blanks(pad);
}

template <class Out>
void Pad(Out& out, const Spec& s, size_t len, bool before) {
  if (s.width <= 0 || len >= static_cast<size_t>(s.width)) return;
  if (before == s.left) return;
  out.Blanks(static_cast<size_t>(s.width) - len);
}

// Appends a string argument. The argument carries its own width, so a wide
// string given to a narrow format (or the reverse) still prints its text.
template <class C, class Out>
void AppendText(Out& out, const Spec& s, const CFormatArg* arg) {
  const char* narrow = arg ? arg->Narrow() : nullptr;
  const char16_t* wide = arg ? arg->Wide() : nullptr;
  if (narrow == nullptr && wide == nullptr) {
    Pad(out, s, 6, true);
    out.Ascii("(null)");
    Pad(out, s, 6, false);
  } else if (narrow != nullptr) {
    size_t n = std::strlen(narrow);
    if (s.precision >= 0 && n > static_cast<size_t>(s.precision)) n = static_cast<size_t>(s.precision);
    Pad(out, s, n, true);
    out.Bytes(narrow, n);
    Pad(out, s, n, false);
  } else {
    size_t n = WideLength(wide);
    if (s.precision >= 0 && n > static_cast<size_t>(s.precision)) n = static_cast<size_t>(s.precision);
    Pad(out, s, n, true);
    if constexpr (sizeof(C) == 1) {
      for (size_t i = 0; i < n; ++i) out.Unit(wide[i] < 0x80 ? static_cast<char>(wide[i]) : '?');
    } else {
      out.Units(wide, n);
    }
    Pad(out, s, n, false);
  }
}

template <class C, class Out>
void FormatAny(Out& out, std::basic_string_view<C> format, FormatArgs args) {
  constexpr bool kWideFormat = sizeof(C) == 2;
  const CFormatArg* next = args.begin();
  auto take = [&]() -> const CFormatArg* { return next != args.end() ? next++ : nullptr; };

  size_t i = 0;
  const size_t n = format.size();
  while (i < n) {
    if (format[i] != '%') {
      // The text up to the next directive, in one piece.
      size_t stop = i + 1;
      while (stop < n && format[stop] != '%') ++stop;
      out.Units(format.data() + i, stop - i);
      i = stop;
      continue;
    }
    ++i;
    if (i >= n) break;
    if (format[i] == '%') {
      out.Unit('%');
      ++i;
      continue;
    }
    Spec s;
    for (; i < n; ++i) {
      const C f = format[i];
      if (f == '-') s.left = true;
      else if (f == '+') s.plus = true;
      else if (f == ' ') s.space = true;
      else if (f == '#') s.alt = true;
      else if (f == '0') s.zero = true;
      else break;
    }
    auto read_number = [&](int& target) {
      if (i < n && format[i] == '*') {
        const CFormatArg* a = take();
        int64_t v = a ? static_cast<int32_t>(a->Bits()) : 0;
        if (v < 0) {
          s.left = true;
          v = -v;
        }
        target = static_cast<int>(v > 4096 ? 4096 : v);
        ++i;
        return;
      }
      int64_t v = 0;
      while (i < n && format[i] >= '0' && format[i] <= '9') {
        v = v * 10 + (format[i] - '0');
        if (v > 4096) v = 4096;
        ++i;
      }
      target = static_cast<int>(v);
    };
    read_number(s.width);
    if (i < n && format[i] == '.') {
      ++i;
      read_number(s.precision);
    }
    // Size prefix.
    if (i < n) {
      const C f = format[i];
      if (f == 'h') {
        ++i;
        s.size = Spec::Size::Short;
        if (i < n && format[i] == 'h') {
          ++i;
          s.size = Spec::Size::Char;
        }
      } else if (f == 'l') {
        ++i;
        s.size = Spec::Size::Long;
        if (i < n && format[i] == 'l') {
          ++i;
          s.size = Spec::Size::LongLong;
        }
      } else if (f == 'w') {
        ++i;
        s.size = Spec::Size::Wide;
      } else if (f == 'L' || f == 'z' || f == 't' || f == 'j') {
        ++i;
        s.size = (f == 'L') ? Spec::Size::None : Spec::Size::I64;
      } else if (f == 'I') {
        ++i;
        if (i + 1 < n && format[i] == '6' && format[i + 1] == '4') {
          i += 2;
          s.size = Spec::Size::I64;
        } else if (i + 1 < n && format[i] == '3' && format[i + 1] == '2') {
          i += 2;
          s.size = Spec::Size::I32;
        } else {
          s.size = Spec::Size::I64;  // pointer-sized on x86-64
        }
      }
    }
    if (i >= n) break;
    const C type = format[i++];
    s.type = static_cast<char>(type);
    switch (type) {
      case 'd': case 'i': case 'u': case 'x': case 'X': case 'o': case 'p': {
        const CFormatArg* a = take();
        if (type == 'p') s.size = Spec::Size::I64;
        AppendInteger(out, s, a ? a->Bits() : 0);
        break;
      }
      case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': case 'a': case 'A': {
        const CFormatArg* a = take();
        out.Ascii(FormatReal(s, a ? a->Real() : 0.0));
        break;
      }
      case 'c': case 'C': {
        const CFormatArg* a = take();
        const uint64_t v = a ? a->Bits() : 0;
        // In a wide format %c is a wide character unless marked narrow (h).
        const bool wide_char = (type == 'c') == kWideFormat ? s.size != Spec::Size::Short
                                                           : (s.size == Spec::Size::Long || s.size == Spec::Size::Wide);
        C ch;
        if (wide_char) {
          const char16_t u = static_cast<char16_t>(v & 0xFFFF);
          ch = kWideFormat ? static_cast<C>(u) : static_cast<C>(u < 0x80 ? u : '?');
        } else {
          ch = static_cast<C>(static_cast<unsigned char>(v & 0xFF));
        }
        Pad(out, s, 1, true);
        out.Unit(ch);
        Pad(out, s, 1, false);
        break;
      }
      case 's': case 'S': case 'Z': {
        AppendText<C>(out, s, take());
        break;
      }
      case 'n':
        take();  // never writes through an argument
        break;
      default:
        // Unknown conversion: written as it stands.
        out.Unit('%');
        out.Unit(type);
        break;
    }
  }
}

}  // namespace

std::u16string FormatWideArgs(std::u16string_view format, FormatArgs args) {
  std::u16string text;
  PlainOut<char16_t> out{text};
  FormatAny<char16_t>(out, format, args);
  return text;
}

std::string FormatNarrowArgs(std::string_view format, FormatArgs args) {
  std::string text;
  PlainOut<char> out{text};
  FormatAny<char>(out, format, args);
  return text;
}

void AppendWideAsAnsiArgs(std::string& line, std::u16string_view format, FormatArgs args) {
  NarrowingOut out{line};
  FormatAny<char16_t>(out, format, args);
}

void AppendNarrowArgs(std::string& line, std::string_view format, FormatArgs args) {
  PlainOut<char> out{line};
  FormatAny<char>(out, format, args);
}

std::string& ReusedLine() {
  thread_local std::string line;
  line.clear();
  return line;
}

int WriteBytes(FILE* stream, std::string_view bytes) {
  if (stream == nullptr) return -1;
  if (bytes.empty()) return 0;
  const size_t written = std::fwrite(bytes.data(), 1, bytes.size(), stream);
  return static_cast<int>(written);
}

}  // namespace kestrand

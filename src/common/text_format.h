// printf-style formatting in the dialect the report formats are written in
// (the Windows C runtime's): "long" is 32 bits, "%I64u" is a 64-bit number,
// and in a wide format "%s" takes a wide string while "%S" takes a narrow one
// (the reverse in a narrow format). Arguments are typed, so a format can never
// read past what it was given; a missing argument prints as 0 or "(null)".
//
// Also the text writer, which writes report lines to a C stream as bytes.
// Wide lines are formatted, then narrowed with WideToAnsi, so both builds
// write the same bytes; the stream's own text mode turns "\n" into the
// platform's line end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace kestrand {

// One argument of a format, with its kind.
class CFormatArg {
 public:
  enum class Kind { Signed, Unsigned, Real, Narrow, Wide };

  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>, int> = 0>
  CFormatArg(T v) : kind_(Kind::Signed), int_(static_cast<uint64_t>(static_cast<int64_t>(v))) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T>, int> = 0>
  CFormatArg(T v) : kind_(Kind::Unsigned), int_(static_cast<uint64_t>(v)) {}
  template <class T, std::enable_if_t<std::is_enum_v<T>, int> = 0>
  CFormatArg(T v) : CFormatArg(static_cast<std::underlying_type_t<T>>(v)) {}
  CFormatArg(double v) : kind_(Kind::Real), real_(v) {}
  CFormatArg(const char* s) : kind_(Kind::Narrow), narrow_(s) {}
  CFormatArg(char* s) : kind_(Kind::Narrow), narrow_(s) {}
  CFormatArg(const std::string& s) : kind_(Kind::Narrow), narrow_(s.c_str()) {}
  CFormatArg(const char16_t* s) : kind_(Kind::Wide), wide_(s) {}
  CFormatArg(char16_t* s) : kind_(Kind::Wide), wide_(s) {}
  CFormatArg(const std::u16string& s) : kind_(Kind::Wide), wide_(s.c_str()) {}
  CFormatArg(char16_t c) : kind_(Kind::Unsigned), int_(c) {}

  Kind kind() const { return kind_; }
  uint64_t Bits() const;  // the argument as a 64-bit integer (0 for strings)
  double Real() const;
  const char* Narrow() const { return kind_ == Kind::Narrow ? narrow_ : nullptr; }
  const char16_t* Wide() const { return kind_ == Kind::Wide ? wide_ : nullptr; }

 private:
  Kind kind_;
  union {
    uint64_t int_;
    double real_;
    const char* narrow_;
    const char16_t* wide_;
  };
};

using FormatArgs = std::initializer_list<CFormatArg>;

// Formats a wide (UTF-16) format into wide text.
std::u16string FormatWideArgs(std::u16string_view format, FormatArgs args);
// Formats a narrow format into narrow text.
std::string FormatNarrowArgs(std::string_view format, FormatArgs args);

template <class... A>
std::u16string FormatWide(std::u16string_view format, const A&... args) {
  return FormatWideArgs(format, {CFormatArg(args)...});
}

template <class... A>
std::string FormatNarrow(std::string_view format, const A&... args) {
  return FormatNarrowArgs(format, {CFormatArg(args)...});
}

// Wide text to the narrow report code page, the same way on every build:
// ASCII passes unchanged, every other UTF-16 code unit becomes "?".
// `lossless` (when given) tells whether every unit was ASCII.
std::string WideToAnsi(std::u16string_view text, bool* lossless = nullptr);
// Narrow report text to wide: each byte becomes the code unit of the same value.
std::u16string AnsiToWide(std::string_view text);

// Length of a terminated UTF-16 string (0 for nullptr).
size_t WideLength(const char16_t* text);

// The text writer.

// Writes raw bytes; returns the count written or -1 without a stream.
int WriteBytes(FILE* stream, std::string_view bytes);

// Appends to `line` what WideToAnsi(FormatWideArgs(format, args)) gives,
// without the wide copy.
void AppendWideAsAnsiArgs(std::string& line, std::u16string_view format, FormatArgs args);
// Appends to `line` what FormatNarrowArgs(format, args) gives.
void AppendNarrowArgs(std::string& line, std::string_view format, FormatArgs args);
// The writer's line buffer, emptied: one per thread, kept between lines so
// that printing a line allocates nothing once it is large enough.
std::string& ReusedLine();

// Append to `text` the bytes PrintWide and PrintNarrow would write, for a
// caller that gathers many lines and writes them at once.
template <class... A>
void AppendWide(std::string& text, std::u16string_view format, const A&... args) {
  AppendWideAsAnsiArgs(text, format, {CFormatArg(args)...});
}

template <class... A>
void AppendNarrow(std::string& text, std::string_view format, const A&... args) {
  AppendNarrowArgs(text, format, {CFormatArg(args)...});
}

template <class... A>
int PrintWide(FILE* stream, std::u16string_view format, const A&... args) {
  std::string& line = ReusedLine();
  AppendWideAsAnsiArgs(line, format, {CFormatArg(args)...});
  return WriteBytes(stream, line);
}

template <class... A>
int PrintNarrow(FILE* stream, std::string_view format, const A&... args) {
  std::string& line = ReusedLine();
  AppendNarrowArgs(line, format, {CFormatArg(args)...});
  return WriteBytes(stream, line);
}

}  // namespace kestrand

// A holder of one heap UTF-16 string, owned. Failures are signalled by a
// false result and the process's last error (87 missing source, 8 no memory);
// a failed operation leaves the held string as it was.
#pragma once

#include <cstdint>

namespace kestrand {

class CWideString {
 public:
  CWideString() = default;
  // A one-character string; empty (last error 8) when no memory.
  explicit CWideString(char16_t character);
  ~CWideString();
  CWideString(const CWideString&) = delete;
  CWideString& operator=(const CWideString&) = delete;

  // Replaces the string by a copy of `source`.
  bool Assign(const char16_t* source);
  // Appends `text`; on an empty holder this is Assign.
  bool Append(const char16_t* text);
  // A new heap copy (free it with free()); nullptr when empty or no memory.
  char16_t* Duplicate() const;
  // The held string; nullptr when empty.
  const char16_t* Get() const { return text_; }

 private:
  char16_t* text_ = nullptr;
};

}  // namespace kestrand

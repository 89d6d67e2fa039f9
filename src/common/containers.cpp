#include "common/containers.h"

#include <cstdlib>
#include <cstring>

#include "common/text_format.h"
#include "platform/types.h"

namespace kestrand {

namespace {

// The tool is single-threaded, so one value per process is enough.
uint32_t lastErrorCode = 0;

// A heap buffer of `length` units plus a terminator, from the C runtime.
char16_t* AllocateUnits(size_t length) {
  return static_cast<char16_t*>(std::malloc((length + 1) * sizeof(char16_t)));
}

char16_t* CopyOf(const char16_t* text) {
  size_t length = WideLength(text);
  char16_t* copy = AllocateUnits(length);
  if (copy) std::memcpy(copy, text, (length + 1) * sizeof(char16_t));
  return copy;
}

}  // namespace

void SetLastErrorCode(uint32_t code) { lastErrorCode = code; }

uint32_t GetLastErrorCode() { return lastErrorCode; }

CWideString::CWideString(char16_t character) {
  text_ = AllocateUnits(1);
  if (!text_) {
    SetLastErrorCode(ERROR_NOT_ENOUGH_MEMORY_CODE);
    return;
  }
  text_[0] = character;
  text_[1] = u'\0';
}

CWideString::~CWideString() { std::free(text_); }

bool CWideString::Assign(const char16_t* source) {
  if (!source) {
    SetLastErrorCode(ERROR_INVALID_PARAMETER_CODE);
    return false;
  }
  char16_t* copy = CopyOf(source);
  if (!copy) {
    SetLastErrorCode(ERROR_NOT_ENOUGH_MEMORY_CODE);
    return false;
  }
  std::free(text_);
  text_ = copy;
  return true;
}

bool CWideString::Append(const char16_t* text) {
  if (!text_) return Assign(text);
  if (!text) {
    SetLastErrorCode(ERROR_INVALID_PARAMETER_CODE);
    return false;
  }
  size_t oldLength = WideLength(text_);
  size_t addedLength = WideLength(text);
  char16_t* joined = AllocateUnits(oldLength + addedLength);
  if (!joined) {
    SetLastErrorCode(ERROR_NOT_ENOUGH_MEMORY_CODE);
    return false;
  }
  std::memcpy(joined, text_, oldLength * sizeof(char16_t));
  std::memcpy(joined + oldLength, text, (addedLength + 1) * sizeof(char16_t));
  std::free(text_);
  text_ = joined;
  return true;
}

char16_t* CWideString::Duplicate() const {
  if (!text_) return nullptr;
  char16_t* copy = CopyOf(text_);
  if (!copy) SetLastErrorCode(ERROR_NOT_ENOUGH_MEMORY_CODE);
  return copy;
}

}  // namespace kestrand

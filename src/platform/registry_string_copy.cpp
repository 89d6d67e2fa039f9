#include "platform/registry_string_copy.h"

#include <cstdlib>
#include <cstring>

namespace kestrand {

RegistryStringCopy::~RegistryStringCopy() { std::free(bytes_); }

NTSTATUS RegistryStringCopy::Assign(uint32_t valueType, const void* data, uint32_t dataBytes) {
  if (valueType != REG_SZ_TYPE) return STATUS_UNSUCCESSFUL_CODE;
  if (data == nullptr && dataBytes != 0) return STATUS_INVALID_PARAMETER_CODE;
  // Room for the data, a zero character, and the odd byte a broken value may have.
  uint8_t* bytes = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(dataBytes) + 3, 1));
  if (bytes == nullptr) return STATUS_INSUFFICIENT_RESOURCES_CODE;
  if (dataBytes != 0) std::memcpy(bytes, data, dataBytes);
  std::free(bytes_);
  bytes_ = bytes;
  length_ = dataBytes;
  return STATUS_SUCCESS_CODE;
}

std::u16string RegistryStringCopy::Text() const {
  std::u16string text;
  for (size_t at = 0; at + 2 <= length_; at += 2) {
    const char16_t unit = static_cast<char16_t>(bytes_[at] | bytes_[at + 1] << 8);
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

}  // namespace kestrand

// What the registry query routine keeps of the "PrimaryPackId" value: the
// value's bytes as stored (a terminator included when the writer stored one)
// followed by one more zero character. Kept apart from the registry call so
// that it can be tested on every build.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace kestrand {

constexpr uint32_t REG_SZ_TYPE = 1;

class RegistryStringCopy {
 public:
  RegistryStringCopy() = default;
  ~RegistryStringCopy();
  RegistryStringCopy(const RegistryStringCopy&) = delete;
  RegistryStringCopy& operator=(const RegistryStringCopy&) = delete;

  // Copies a value handed to the query routine. Only REG_SZ is accepted
  // (other types: STATUS_UNSUCCESSFUL); no memory gives
  // STATUS_INSUFFICIENT_RESOURCES. A later copy replaces an earlier one.
  NTSTATUS Assign(uint32_t valueType, const void* data, uint32_t dataBytes);

  // The value as text: its characters up to the first zero one.
  std::u16string Text() const;

 private:
  uint8_t* bytes_ = nullptr;  // dataBytes plus a zero character
  uint32_t length_ = 0;       // dataBytes
};

}  // namespace kestrand

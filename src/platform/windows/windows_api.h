// The Windows headers and the few NT entry points they leave out, for the
// files of this folder only. Also the small conversions between the
// platform interface's portable types and the API's own.
#pragma once

#include <windows.h>
#include <winioctl.h>
#include <winternl.h>

// The A/W name macros of the SDK would rename the interface's methods.
#undef GetComputerName
#undef QueryDosDevice
#undef GetDriveType

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/platform.h"

// Query routine and table entry of RtlQueryRegistryValues (the kernel-mode
// headers have them; user mode does not).
typedef NTSTATUS(NTAPI* KESTRAND_RTL_QUERY_REGISTRY_ROUTINE)(PWSTR valueName, ULONG valueType,
                                                             PVOID valueData, ULONG valueLength,
                                                             PVOID context, PVOID entryContext);
struct KESTRAND_RTL_QUERY_REGISTRY_TABLE {
  KESTRAND_RTL_QUERY_REGISTRY_ROUTINE QueryRoutine;
  ULONG Flags;
  PWSTR Name;
  PVOID EntryContext;
  ULONG DefaultType;
  PVOID DefaultData;
  ULONG DefaultLength;
};

extern "C" {
NTSYSAPI BOOLEAN NTAPI RtlCreateUnicodeString(PUNICODE_STRING destination, PCWSTR source);
NTSYSAPI NTSTATUS NTAPI NtReadFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE apcRoutine,
                                   PVOID apcContext, PIO_STATUS_BLOCK ioStatus, PVOID buffer,
                                   ULONG length, PLARGE_INTEGER byteOffset, PULONG key);
NTSYSAPI NTSTATUS NTAPI RtlGetLastNtStatus(void);
NTSYSAPI NTSTATUS NTAPI RtlQueryRegistryValues(ULONG relativeTo, PCWSTR path,
                                               KESTRAND_RTL_QUERY_REGISTRY_TABLE* queryTable,
                                               PVOID context, PVOID environment);
}

namespace kestrand {

static_assert(sizeof(WCHAR) == sizeof(char16_t));
static_assert(sizeof(HANDLE) == sizeof(PlatformHandle));

inline HANDLE ToHandle(PlatformHandle handle) {
  return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(handle));
}

// INVALID_HANDLE_VALUE becomes kInvalidHandle: both are all bits set.
inline PlatformHandle FromHandle(HANDLE handle) {
  return static_cast<PlatformHandle>(reinterpret_cast<uintptr_t>(handle));
}

inline const WCHAR* ToWide(const char16_t* text) { return reinterpret_cast<const WCHAR*>(text); }
inline const WCHAR* ToWide(const std::u16string& text) { return ToWide(text.c_str()); }

// The characters of `text` up to its first zero, reading at most `capacity`.
inline std::u16string FromWide(const WCHAR* text, size_t capacity) {
  size_t length = 0;
  while (length < capacity && text[length] != 0) ++length;
  return std::u16string(reinterpret_cast<const char16_t*>(text), length);
}

// Owns one handle of the API and gives it back with its closing routine
// (CloseHandle, FindVolumeClose, FreeLibrary, SetupDiDestroyDeviceInfoList)
// when it goes; a handle equal to `invalid` was never opened. A handle that
// fails to close leaves nothing for the report to say, so what the routine
// answers is not looked at.
template <class Handle>
class CScopedHandle {
 public:
  using CloseRoutine = BOOL(WINAPI*)(Handle);

  CScopedHandle(Handle handle, Handle invalid, CloseRoutine close)
      : handle_(handle), invalid_(invalid), close_(close) {}
  ~CScopedHandle() {
    if (handle_ != invalid_) close_(handle_);
  }
  CScopedHandle(const CScopedHandle&) = delete;
  CScopedHandle& operator=(const CScopedHandle&) = delete;
  Handle Get() const { return handle_; }

 private:
  Handle handle_;
  Handle invalid_;
  CloseRoutine close_;
};

// A buffer from the C runtime's heap, whose exhaustion the callers report
// as a code rather than ending the process.
class CHeapBuffer {
 public:
  CHeapBuffer() = default;
  explicit CHeapBuffer(size_t bytes) { Reset(bytes); }
  ~CHeapBuffer() { std::free(bytes_); }
  CHeapBuffer(const CHeapBuffer&) = delete;
  CHeapBuffer& operator=(const CHeapBuffer&) = delete;

  // Replaces the contents by `bytes` zero bytes; false when out of memory.
  bool Reset(size_t bytes) {
    std::free(bytes_);
    bytes_ = std::calloc(bytes == 0 ? 1 : bytes, 1);
    size_ = bytes_ != nullptr ? bytes : 0;
    return bytes_ != nullptr;
  }

  bool Allocated() const { return bytes_ != nullptr; }
  size_t Size() const { return size_; }
  void* Get() const { return bytes_; }
  template <class T>
  T* As() const {
    return static_cast<T*>(bytes_);
  }

 private:
  void* bytes_ = nullptr;
  size_t size_ = 0;
};

}  // namespace kestrand

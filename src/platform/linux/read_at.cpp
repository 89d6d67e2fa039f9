#include "platform/linux/read_at.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "platform/linux/errno_status.h"

namespace kestrand {

NTSTATUS ReadAtOffset(int fd, int64_t offset, uint32_t length, void* buffer) {
  if (offset < 0 || offset > INT64_MAX - int64_t{length} || (buffer == nullptr && length != 0))
    return STATUS_INVALID_PARAMETER_CODE;
  auto* bytes = static_cast<uint8_t*>(buffer);
  uint32_t done = 0;
  while (done < length) {
    const ssize_t got = pread(fd, bytes + done, length - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return NtStatusFromErrno(errno);
    if (got == 0) return done == 0 ? STATUS_END_OF_FILE_CODE : STATUS_SUCCESS_CODE;
    done += static_cast<uint32_t>(got);
  }
  return STATUS_SUCCESS_CODE;
}

}  // namespace kestrand

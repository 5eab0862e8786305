// The bytes of a Media Foundation buffer, for one scope.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <cstdint>

namespace talu {

class LockedBuffer {
 public:
  // The buffer must outlive this.
  explicit LockedBuffer(IMFMediaBuffer& locked) : buffer(&locked) {
    if (FAILED(locked.Lock(&data, &capacity, &length))) {
      buffer = nullptr;
    }
  }
  ~LockedBuffer() { Unlock(); }
  LockedBuffer(const LockedBuffer&) = delete;
  LockedBuffer& operator=(const LockedBuffer&) = delete;

  explicit operator bool() const { return buffer != nullptr; }
  uint8_t* Data() const { return data; }
  // Bytes in use, and bytes there is room for.
  uint32_t Length() const { return length; }
  uint32_t Capacity() const { return capacity; }

  // Ends the lock early. False when the buffer reports a failure.
  bool Unlock() {
    IMFMediaBuffer* const held = buffer;
    buffer = nullptr;
    return held == nullptr || SUCCEEDED(held->Unlock());
  }

 private:
  IMFMediaBuffer* buffer;
  BYTE* data = nullptr;
  DWORD capacity = 0;
  DWORD length = 0;
};

}  // namespace talu

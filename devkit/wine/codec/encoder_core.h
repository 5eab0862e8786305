// The encoder under both transforms: Media Foundation samples in, coded units out.
//
// Owned by a transform. One thread at a time; OpenH264 itself lives in a Winelib library, which is
// loaded once and stays for the process's life.
#pragma once

#include <windows.h>
// The media headers need it before them.
#include <mfidl.h>
#include <wrl/client.h>

#include <cstdint>
#include <vector>

#include "devkit/wine/codec/codec_abi.h"

namespace talu {

struct EncodedUnit {
  std::vector<uint8_t> bytes;  // Annex B; key frames begin with their parameter sets
  bool keyFrame = false;
  LONGLONG time = 0;  // of the picture's sample, 100 ns
  LONGLONG duration = 0;
};

class EncoderCore {
 public:
  EncoderCore() = default;
  ~EncoderCore() { Close(); }
  EncoderCore(const EncoderCore&) = delete;
  EncoderCore& operator=(const EncoderCore&) = delete;

  // Whether OpenH264 can be reached at all.
  static bool Available();

  bool IsOpen() const { return encoder != nullptr; }
  // S_OK, ERROR_MOD_NOT_FOUND as an HRESULT, or MF_E_INVALIDMEDIATYPE for a shape that is refused.
  HRESULT Open(const EncoderShape& wanted);
  void Close();

  // Bit rate and key-frame interval for the pictures from now on. Nothing to do is cheap.
  void Follow(uint32_t bitsPerSecond, uint32_t keyFrameInterval);
  // S_OK with a unit, S_FALSE when the encoder left the picture out, or what went wrong.
  HRESULT Encode(IMFSample& sample, bool forceKeyFrame, EncodedUnit& unit);

 private:
  void* encoder = nullptr;
  EncoderShape shape = {};
};

// Puts a unit into ProcessOutput's record: into the caller's sample, or into one made here when the
// transform provides samples. MF_E_BUFFERTOOSMALL when the unit does not fit; E_INVALIDARG when the
// caller's sample is missing, or there although the transform provides its own.
HRESULT HandOver(const EncodedUnit& unit, bool providesSamples, IMFSample** slot);

}  // namespace talu

// The media types of an encoder transform: which are taken, in which order, and what they say.
//
// The output type (H.264) comes first and fixes size, rate and bit rate; the input type (NV12) must
// agree with it. Guarded by its owner's lock.
#pragma once

#include <windows.h>
// The media headers need it before them.
#include <mfapi.h>
#include <mfidl.h>
#include <wrl/client.h>

#include <cstdint>

namespace talu {

class StreamFormat {
 public:
  // `flags` as IMFTransform's: MFT_SET_TYPE_TEST_ONLY checks without taking. A null type takes the
  // type back. A new output type of another size or rate takes the input type back with it.
  HRESULT SetOutput(IMFMediaType* type, DWORD flags);
  HRESULT SetInput(IMFMediaType* type, DWORD flags);

  HRESULT AvailableOutput(DWORD index, IMFMediaType** type) const;
  HRESULT AvailableInput(DWORD index, IMFMediaType** type) const;
  // Copies, so that a caller's changes stay the caller's.
  HRESULT CurrentOutput(IMFMediaType** type) const;
  HRESULT CurrentInput(IMFMediaType** type) const;

  bool HasOutput() const { return output != nullptr; }
  bool Ready() const { return output && input; }

  // Valid while there is an output type.
  uint32_t Width() const { return width; }
  uint32_t Height() const { return height; }
  uint32_t RateNumerator() const { return rateNumerator; }
  uint32_t RateDenominator() const { return rateDenominator; }
  uint32_t BitsPerSecond() const { return bitsPerSecond; }
  uint32_t PictureBytes() const { return width * height * 3 / 2; }
  // Clients make a buffer of this size for every picture, and making one costs as much time for
  // each byte as copying it does: half the raw picture, which only noise needs, is enough.
  uint32_t LargestUnitBytes() const { return PictureBytes() / 2 + 64 * 1024; }

 private:
  Microsoft::WRL::ComPtr<IMFMediaType> output;
  Microsoft::WRL::ComPtr<IMFMediaType> input;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t rateNumerator = 0;
  uint32_t rateDenominator = 0;
  uint32_t bitsPerSecond = 0;
};

}  // namespace talu

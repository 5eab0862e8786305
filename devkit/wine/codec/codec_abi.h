// The boundary between the transforms (Windows code) and OpenH264 (a native library).
//
// The functions behind it live in Winelib libraries: talu_openh264 encodes, talu_openh264_decoder
// decodes for the tests. Plain C, Windows' calling convention on both sides, so either side can be
// built by its own compiler. No function keeps a pointer that it is given; a handle is used by one
// thread at a time.
#pragma once

#include <cstdint>

namespace talu {

inline constexpr wchar_t kEncoderLibraryName[] = L"talu_openh264.dll";
inline constexpr wchar_t kDecoderLibraryName[] = L"talu_openh264_decoder.dll";

extern "C" {

struct EncoderShape {
  int32_t width;  // pixels, even
  int32_t height;
  int32_t frameRateNumerator;
  int32_t frameRateDenominator;
  int32_t bitsPerSecond;
  int32_t keyFrameInterval;  // pictures from one key frame to the next
  int32_t
      largestUnitBytes;  // no unit is larger: a picture that will not fit is coded more coarsely
};

// One coded picture, Annex B. The bytes stay valid until the next call with the same handle.
struct CodedPicture {
  const uint8_t* data;
  uint32_t size;  // 0 when the encoder left the picture out
  uint32_t keyFrame;
};

// One decoded picture, planar 4:2:0. The planes stay valid until the next call with the handle.
struct DecodedPicture {
  const uint8_t* luma;
  const uint8_t* chromaBlue;
  const uint8_t* chromaRed;
  int32_t lumaPitch;
  int32_t chromaPitch;
  int32_t width;
  int32_t height;
};

// Null when the shape is refused.
typedef void* OpenEncoderFunction(const EncoderShape* shape) __attribute__((ms_abi));
// Takes an NV12 picture of the encoder's size. 0, or OpenH264's error.
typedef int32_t EncodePictureFunction(void* encoder, const uint8_t* nv12, int32_t pitch,
                                      int64_t timeMs, int32_t forceKeyFrame, CodedPicture* coded)
    __attribute__((ms_abi));
// Each takes effect with the next picture. 0, or OpenH264's error.
typedef int32_t SetEncoderBitRateFunction(void* encoder, int32_t bitsPerSecond)
    __attribute__((ms_abi));
typedef int32_t SetKeyFrameIntervalFunction(void* encoder, int32_t pictures)
    __attribute__((ms_abi));
typedef void CloseEncoderFunction(void* encoder) __attribute__((ms_abi));

typedef void* OpenDecoderFunction() __attribute__((ms_abi));
// 1 with a picture, 0 with none, negative when the unit cannot be decoded.
typedef int32_t DecodeUnitFunction(void* decoder, const uint8_t* data, uint32_t size,
                                   DecodedPicture* picture) __attribute__((ms_abi));
typedef void CloseDecoderFunction(void* decoder) __attribute__((ms_abi));

OpenEncoderFunction TaluOpenEncoder;
EncodePictureFunction TaluEncodePicture;
SetEncoderBitRateFunction TaluSetEncoderBitRate;
SetKeyFrameIntervalFunction TaluSetKeyFrameInterval;
CloseEncoderFunction TaluCloseEncoder;

OpenDecoderFunction TaluOpenDecoder;
DecodeUnitFunction TaluDecodeUnit;
CloseDecoderFunction TaluCloseDecoder;
}

}  // namespace talu

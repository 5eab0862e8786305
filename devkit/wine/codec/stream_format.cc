#include "devkit/wine/codec/stream_format.h"

#include <codecapi.h>
#include <mferror.h>

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// What the format's highest level holds, and what OpenH264 takes.
constexpr uint32_t kSmallestSide = 32;
constexpr uint32_t kLargestWidth = 4096;
constexpr uint32_t kLargestHeight = 2304;
constexpr uint32_t kLargestBitsPerSecond = 240'000'000;

struct Shape {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t rateNumerator = 0;
  uint32_t rateDenominator = 0;
};

bool IsVideo(IMFMediaType& type, const GUID& wanted) {
  GUID major = {};
  GUID subtype = {};
  return SUCCEEDED(type.GetGUID(MF_MT_MAJOR_TYPE, &major)) &&
         IsEqualGUID(major, MFMediaType_Video) &&
         SUCCEEDED(type.GetGUID(MF_MT_SUBTYPE, &subtype)) && IsEqualGUID(subtype, wanted);
}

bool SizeFits(const Shape& shape) {
  return shape.width >= kSmallestSide && shape.height >= kSmallestSide &&
         shape.width <= kLargestWidth && shape.height <= kLargestHeight && shape.width % 2 == 0 &&
         shape.height % 2 == 0;
}

bool ReadShape(IMFMediaType& type, Shape& shape) {
  return SUCCEEDED(MFGetAttributeSize(&type, MF_MT_FRAME_SIZE, &shape.width, &shape.height)) &&
         SizeFits(shape) &&
         SUCCEEDED(MFGetAttributeRatio(&type, MF_MT_FRAME_RATE, &shape.rateNumerator,
                                       &shape.rateDenominator)) &&
         shape.rateNumerator > 0 && shape.rateDenominator > 0;
}

bool IsProgressive(IMFMediaType& type) {
  return MFGetAttributeUINT32(&type, MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive) ==
         MFVideoInterlace_Progressive;
}

bool ProfileTaken(IMFMediaType& type) {
  const UINT32 profile = MFGetAttributeUINT32(&type, MF_MT_MPEG2_PROFILE, eAVEncH264VProfile_Main);
  return profile == eAVEncH264VProfile_Base || profile == eAVEncH264VProfile_Main ||
         profile == eAVEncH264VProfile_High;
}

HRESULT MakeVideoType(const GUID& subtype, ComPtr<IMFMediaType>& type) {
  HRESULT hr = MFCreateMediaType(&type);
  if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
  if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_SUBTYPE, subtype);
  if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
  return hr;
}

HRESULT CopyType(IMFMediaType* from, IMFMediaType** to) {
  if (!to) return E_POINTER;
  *to = nullptr;
  if (!from) return MF_E_TRANSFORM_TYPE_NOT_SET;
  ComPtr<IMFMediaType> copy;
  HRESULT hr = MFCreateMediaType(&copy);
  if (SUCCEEDED(hr)) hr = from->CopyAllItems(copy.Get());
  if (SUCCEEDED(hr)) *to = copy.Detach();
  return hr;
}

}  // namespace

HRESULT StreamFormat::SetOutput(IMFMediaType* type, DWORD flags) {
  if (flags & ~static_cast<DWORD>(MFT_SET_TYPE_TEST_ONLY)) return E_INVALIDARG;
  const bool testOnly = flags & MFT_SET_TYPE_TEST_ONLY;
  if (!type) {
    if (testOnly) return E_INVALIDARG;
    output.Reset();
    input.Reset();
    return S_OK;
  }
  Shape shape;
  if (!IsVideo(*type, MFVideoFormat_H264) || !ReadShape(*type, shape) || !IsProgressive(*type) ||
      !ProfileTaken(*type)) {
    return MF_E_INVALIDMEDIATYPE;
  }
  const UINT32 bits = MFGetAttributeUINT32(type, MF_MT_AVG_BITRATE, 0);
  if (bits == 0 || bits > kLargestBitsPerSecond) return MF_E_INVALIDMEDIATYPE;
  if (testOnly) return S_OK;
  ComPtr<IMFMediaType> copy;
  if (const HRESULT hr = CopyType(type, &copy); FAILED(hr)) return hr;
  const bool same = shape.width == width && shape.height == height &&
                    shape.rateNumerator == rateNumerator &&
                    shape.rateDenominator == rateDenominator;
  if (!same) input.Reset();
  output = copy;
  width = shape.width;
  height = shape.height;
  rateNumerator = shape.rateNumerator;
  rateDenominator = shape.rateDenominator;
  bitsPerSecond = bits;
  return S_OK;
}

HRESULT StreamFormat::SetInput(IMFMediaType* type, DWORD flags) {
  if (flags & ~static_cast<DWORD>(MFT_SET_TYPE_TEST_ONLY)) return E_INVALIDARG;
  const bool testOnly = flags & MFT_SET_TYPE_TEST_ONLY;
  if (!type) {
    if (testOnly) return E_INVALIDARG;
    input.Reset();
    return S_OK;
  }
  if (!output) return MF_E_TRANSFORM_TYPE_NOT_SET;
  Shape shape;
  if (!IsVideo(*type, MFVideoFormat_NV12) || !ReadShape(*type, shape) || !IsProgressive(*type)) {
    return MF_E_INVALIDMEDIATYPE;
  }
  const bool agrees = shape.width == width && shape.height == height &&
                      uint64_t{shape.rateNumerator} * rateDenominator ==
                          uint64_t{rateNumerator} * shape.rateDenominator;
  // Only tight rows: the rows' distance cannot be told from a sample's length.
  const UINT32 pitch = MFGetAttributeUINT32(type, MF_MT_DEFAULT_STRIDE, shape.width);
  if (!agrees || pitch != shape.width) return MF_E_INVALIDMEDIATYPE;
  if (testOnly) return S_OK;
  ComPtr<IMFMediaType> copy;
  if (const HRESULT hr = CopyType(type, &copy); FAILED(hr)) return hr;
  input = copy;
  return S_OK;
}

HRESULT StreamFormat::AvailableOutput(DWORD index, IMFMediaType** type) const {
  if (!type) return E_POINTER;
  *type = nullptr;
  if (index > 0) return MF_E_NO_MORE_TYPES;
  if (output) return CopyType(output.Get(), type);
  ComPtr<IMFMediaType> made;
  const HRESULT hr = MakeVideoType(MFVideoFormat_H264, made);
  if (SUCCEEDED(hr)) *type = made.Detach();
  return hr;
}

HRESULT StreamFormat::AvailableInput(DWORD index, IMFMediaType** type) const {
  if (!type) return E_POINTER;
  *type = nullptr;
  if (!output) return MF_E_TRANSFORM_TYPE_NOT_SET;
  if (index > 0) return MF_E_NO_MORE_TYPES;
  ComPtr<IMFMediaType> made;
  HRESULT hr = MakeVideoType(MFVideoFormat_NV12, made);
  if (SUCCEEDED(hr)) hr = MFSetAttributeSize(made.Get(), MF_MT_FRAME_SIZE, width, height);
  if (SUCCEEDED(hr)) {
    hr = MFSetAttributeRatio(made.Get(), MF_MT_FRAME_RATE, rateNumerator, rateDenominator);
  }
  if (SUCCEEDED(hr)) hr = MFSetAttributeRatio(made.Get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1);
  if (SUCCEEDED(hr)) *type = made.Detach();
  return hr;
}

HRESULT StreamFormat::CurrentOutput(IMFMediaType** type) const {
  return CopyType(output.Get(), type);
}

HRESULT StreamFormat::CurrentInput(IMFMediaType** type) const {
  return CopyType(input.Get(), type);
}

}  // namespace talu

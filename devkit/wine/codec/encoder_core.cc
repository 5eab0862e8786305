#include "devkit/wine/codec/encoder_core.h"

#include <mfapi.h>
#include <mferror.h>

#include <cstring>

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

constexpr LONGLONG kTicksPerMs = 10'000;

struct EncoderLibrary {
  OpenEncoderFunction* open = nullptr;
  EncodePictureFunction* encode = nullptr;
  SetEncoderBitRateFunction* setBitRate = nullptr;
  SetKeyFrameIntervalFunction* setKeyFrameInterval = nullptr;
  CloseEncoderFunction* close = nullptr;

  bool Complete() const { return open && encode && setBitRate && setKeyFrameInterval && close; }
};

template <typename Function>
void Resolve(HMODULE module, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

EncoderLibrary LoadEncoderLibrary() {
  EncoderLibrary library;
  const HMODULE module = LoadLibraryW(kEncoderLibraryName);
  if (!module) return library;
  Resolve(module, "TaluOpenEncoder", library.open);
  Resolve(module, "TaluEncodePicture", library.encode);
  Resolve(module, "TaluSetEncoderBitRate", library.setBitRate);
  Resolve(module, "TaluSetKeyFrameInterval", library.setKeyFrameInterval);
  Resolve(module, "TaluCloseEncoder", library.close);
  return library;
}

const EncoderLibrary& Library() {
  static const EncoderLibrary library = LoadEncoderLibrary();
  return library;
}

// A media buffer's bytes for as long as this lives.
class LockedBuffer {
 public:
  explicit LockedBuffer(IMFMediaBuffer& locked) : buffer(locked) {
    result = buffer.Lock(&data, &capacity, &length);
  }
  ~LockedBuffer() {
    if (SUCCEEDED(result)) buffer.Unlock();
  }
  LockedBuffer(const LockedBuffer&) = delete;
  LockedBuffer& operator=(const LockedBuffer&) = delete;

  HRESULT result;
  BYTE* data = nullptr;
  DWORD capacity = 0;
  DWORD length = 0;

 private:
  IMFMediaBuffer& buffer;
};

HRESULT Fill(IMFMediaBuffer& buffer, const std::vector<uint8_t>& bytes) {
  {
    const LockedBuffer locked(buffer);
    if (FAILED(locked.result)) return locked.result;
    if (locked.capacity < bytes.size()) return MF_E_BUFFERTOOSMALL;
    std::memcpy(locked.data, bytes.data(), bytes.size());
  }
  return buffer.SetCurrentLength(static_cast<DWORD>(bytes.size()));
}

HRESULT Describe(IMFSample& sample, const EncodedUnit& unit) {
  HRESULT hr = sample.SetUINT32(MFSampleExtension_CleanPoint, unit.keyFrame);
  if (SUCCEEDED(hr)) hr = sample.SetSampleTime(unit.time);
  if (SUCCEEDED(hr)) hr = sample.SetSampleDuration(unit.duration);
  return hr;
}

HRESULT MakeSample(size_t bytes, ComPtr<IMFSample>& sample) {
  ComPtr<IMFMediaBuffer> buffer;
  HRESULT hr = MFCreateMemoryBuffer(static_cast<DWORD>(bytes), &buffer);
  if (SUCCEEDED(hr)) hr = MFCreateSample(&sample);
  if (SUCCEEDED(hr)) hr = sample->AddBuffer(buffer.Get());
  return hr;
}

}  // namespace

bool EncoderCore::Available() { return Library().Complete(); }

HRESULT EncoderCore::Open(const EncoderShape& wanted) {
  Close();
  if (!Available()) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  encoder = Library().open(&wanted);
  if (!encoder) return MF_E_INVALIDMEDIATYPE;
  shape = wanted;
  return S_OK;
}

// An encoder that is open comes from a library that has all of its functions.
// NOLINTBEGIN(clang-analyzer-core.CallAndMessage)
void EncoderCore::Close() {
  if (encoder) Library().close(encoder);
  encoder = nullptr;
}

void EncoderCore::Follow(uint32_t bitsPerSecond, uint32_t keyFrameInterval) {
  const auto bits = static_cast<int32_t>(bitsPerSecond);
  const auto interval = static_cast<int32_t>(keyFrameInterval);
  // A refused value leaves the old one in force, and is not tried again with every picture.
  if (bits != shape.bitsPerSecond) Library().setBitRate(encoder, bits);
  if (interval != shape.keyFrameInterval) Library().setKeyFrameInterval(encoder, interval);
  shape.bitsPerSecond = bits;
  shape.keyFrameInterval = interval;
}
// NOLINTEND(clang-analyzer-core.CallAndMessage)

HRESULT EncoderCore::Encode(IMFSample& sample, bool forceKeyFrame, EncodedUnit& unit) {
  // Missing times are zero, as they are for whoever reads them from the unit.
  unit.time = unit.duration = 0;
  sample.GetSampleTime(&unit.time);
  sample.GetSampleDuration(&unit.duration);
  ComPtr<IMFMediaBuffer> buffer;
  if (const HRESULT hr = sample.ConvertToContiguousBuffer(&buffer); FAILED(hr)) return hr;
  const LockedBuffer locked(*buffer.Get());
  if (FAILED(locked.result)) return locked.result;
  if (locked.length < static_cast<DWORD>(shape.width * shape.height * 3 / 2)) {
    return MF_E_BUFFERTOOSMALL;
  }
  CodedPicture coded = {};
  if (Library().encode(encoder, locked.data, shape.width, unit.time / kTicksPerMs, forceKeyFrame,
                       &coded) != 0) {
    return E_FAIL;
  }
  unit.bytes.assign(coded.data, coded.data + coded.size);
  unit.keyFrame = coded.keyFrame != 0;
  return coded.size > 0 ? S_OK : S_FALSE;
}

HRESULT HandOver(const EncodedUnit& unit, bool providesSamples, IMFSample** slot) {
  if (providesSamples == (*slot != nullptr)) return E_INVALIDARG;
  ComPtr<IMFSample> sample = *slot;
  HRESULT hr = providesSamples ? MakeSample(unit.bytes.size(), sample) : S_OK;
  ComPtr<IMFMediaBuffer> buffer;
  if (SUCCEEDED(hr)) hr = sample->GetBufferByIndex(0, &buffer);
  if (SUCCEEDED(hr)) hr = Fill(*buffer.Get(), unit.bytes);
  if (SUCCEEDED(hr)) hr = Describe(*sample.Get(), unit);
  if (SUCCEEDED(hr) && providesSamples) *slot = sample.Detach();
  return hr;
}

}  // namespace talu

#include "devkit/wine/codec/codec_testing.h"

#include <codecapi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace talu {
namespace {

constexpr LONGLONG kTicksPerMs = 10'000;
constexpr GUID kBetweenPictures = {STATIC_CODECAPI_AVEncMPVDefaultBPictureCount};
constexpr GUID kRateControlMode = {STATIC_CODECAPI_AVEncCommonRateControlMode};
constexpr GUID kMeanBitRate = {STATIC_CODECAPI_AVEncCommonMeanBitRate};
constexpr GUID kLowLatency = {STATIC_CODECAPI_AVEncCommonLowLatency};
constexpr GUID kKeyFrameInterval = {STATIC_CODECAPI_AVEncMPVGOPSize};
constexpr GUID kForceKeyFrame = {STATIC_CODECAPI_AVEncVideoForceKeyFrame};

HMODULE Module() {
  static const HMODULE module = LoadLibraryW(L"talu_h264.dll");
  return module;
}

template <typename Function>
Function* Find(HMODULE module, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// Enters COM and Media Foundation.
class Setting : public testing::Environment {
 public:
  void SetUp() override {
    ASSERT_NE(Module(), nullptr) << "talu_h264.dll is not on the path";
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_FULL), S_OK);
  }
  void TearDown() override {
    EXPECT_TRUE(NothingHeld());
    MFShutdown();
    CoUninitialize();
  }
};

[[maybe_unused]] const auto* const kSetting = testing::AddGlobalTestEnvironment(new Setting);

uint32_t Scramble(uint32_t& state) {
  state = state * 1664525u + 1013904223u;
  return state >> 24;
}

std::wstring Widen(const char* text) { return std::wstring(text, text + std::strlen(text)); }

}  // namespace

Nv12Picture::Nv12Picture(int pictureWidth, int pictureHeight, uint8_t luma, uint8_t blue,
                         uint8_t red)
    : width(pictureWidth), height(pictureHeight) {
  const size_t pixels = static_cast<size_t>(width) * height;
  bytes.assign(pixels * 3 / 2, luma);
  for (size_t i = pixels; i + 1 < bytes.size(); i += 2) {
    bytes[i] = blue;
    bytes[i + 1] = red;
  }
}

Nv12Picture MovingPicture(int width, int height, int index) {
  Nv12Picture picture(width, height, 120, 128, 128);
  const int side = std::min(width, height) / 4;
  const int left = index * 4 % (width - side);
  for (int row = 0; row < side; ++row) {
    const auto begin = picture.bytes.begin() + static_cast<ptrdiff_t>(row) * width + left;
    std::fill(begin, begin + side, static_cast<uint8_t>(200));
  }
  return picture;
}

Nv12Picture NoisyPicture(int width, int height, int index) {
  Nv12Picture picture(width, height, 0, 128, 128);
  uint32_t state = static_cast<uint32_t>(index) * 2654435761u + 1;
  for (size_t i = 0; i < static_cast<size_t>(width) * height; ++i) {
    picture.bytes[i] = static_cast<uint8_t>(64 + Scramble(state) / 2);
  }
  return picture;
}

ComPtr<IMFSample> MakeSample(const Nv12Picture& picture, int64_t timeMs, int fps) {
  ComPtr<IMFMediaBuffer> buffer;
  const auto size = static_cast<DWORD>(picture.bytes.size());
  EXPECT_EQ(MFCreateMemoryBuffer(size, &buffer), S_OK);
  BYTE* data = nullptr;
  EXPECT_EQ(buffer->Lock(&data, nullptr, nullptr), S_OK);
  std::memcpy(data, picture.bytes.data(), size);
  EXPECT_EQ(buffer->Unlock(), S_OK);
  EXPECT_EQ(buffer->SetCurrentLength(size), S_OK);
  ComPtr<IMFSample> sample;
  EXPECT_EQ(MFCreateSample(&sample), S_OK);
  EXPECT_EQ(sample->AddBuffer(buffer.Get()), S_OK);
  EXPECT_EQ(sample->SetSampleTime(timeMs * kTicksPerMs), S_OK);
  EXPECT_EQ(sample->SetSampleDuration(10'000'000 / fps), S_OK);
  return sample;
}

std::vector<NalUnit> NalUnits(const std::vector<uint8_t>& bytes) {
  std::vector<NalUnit> found;
  for (size_t i = 0; i + 3 < bytes.size(); ++i) {
    if (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1) continue;
    const size_t start = i > 0 && bytes[i - 1] == 0 ? i - 1 : i;
    found.push_back({bytes[i + 3] & 0x1f, start});
    i += 2;
  }
  return found;
}

std::vector<int> NalTypes(const std::vector<uint8_t>& bytes) {
  std::vector<int> types;
  for (const NalUnit& nal : NalUnits(bytes)) types.push_back(nal.type);
  return types;
}

UnitDecoder::UnitDecoder() {
  const HMODULE module = LoadLibraryW(kDecoderLibraryName);
  EXPECT_NE(module, nullptr) << "WINEDLLPATH does not lead to the decoder";
  if (!module) return;
  open = Find<OpenDecoderFunction>(module, "TaluOpenDecoder");
  decode = Find<DecodeUnitFunction>(module, "TaluDecodeUnit");
  close = Find<CloseDecoderFunction>(module, "TaluCloseDecoder");
  decoder = open();
}

UnitDecoder::~UnitDecoder() {
  if (decoder) close(decoder);
}

std::optional<Nv12Picture> UnitDecoder::Decode(const std::vector<uint8_t>& unit) {
  DecodedPicture decoded = {};
  if (!decoder || decode(decoder, unit.data(), static_cast<uint32_t>(unit.size()), &decoded) != 1) {
    return std::nullopt;
  }
  Nv12Picture picture(decoded.width, decoded.height, 0, 0, 0);
  uint8_t* to = picture.bytes.data();
  for (int row = 0; row < decoded.height; ++row, to += decoded.width) {
    std::memcpy(to, decoded.luma + static_cast<ptrdiff_t>(row) * decoded.lumaPitch,
                static_cast<size_t>(decoded.width));
  }
  for (int row = 0; row < decoded.height / 2; ++row) {
    const ptrdiff_t from = static_cast<ptrdiff_t>(row) * decoded.chromaPitch;
    for (int column = 0; column < decoded.width / 2; ++column) {
      *to++ = decoded.chromaBlue[from + column];
      *to++ = decoded.chromaRed[from + column];
    }
  }
  return picture;
}

Difference LumaDifference(const Nv12Picture& a, const Nv12Picture& b) {
  Difference difference;
  const size_t pixels = static_cast<size_t>(a.width) * a.height;
  double sum = 0;
  for (size_t i = 0; i < pixels; ++i) {
    const int one = std::abs(a.bytes[i] - b.bytes[i]);
    difference.largest = std::max(difference.largest, one);
    sum += one;
  }
  difference.mean = sum / static_cast<double>(pixels);
  return difference;
}

ComPtr<IMFMediaType> MakeInputType(const StreamSettings& settings) {
  ComPtr<IMFMediaType> type;
  EXPECT_EQ(MFCreateMediaType(&type), S_OK);
  type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
  type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12);
  MFSetAttributeSize(type.Get(), MF_MT_FRAME_SIZE, static_cast<UINT32>(settings.width),
                     static_cast<UINT32>(settings.height));
  MFSetAttributeRatio(type.Get(), MF_MT_FRAME_RATE, static_cast<UINT32>(settings.fps), 1);
  MFSetAttributeRatio(type.Get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1);
  type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
  return type;
}

ComPtr<IMFMediaType> MakeOutputType(const StreamSettings& settings) {
  ComPtr<IMFMediaType> type = MakeInputType(settings);
  type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_H264);
  type->SetUINT32(MF_MT_AVG_BITRATE, static_cast<UINT32>(settings.kbps * 1000));
  type->SetUINT32(MF_MT_MPEG2_PROFILE, eAVEncH264VProfile_Main);
  return type;
}

HRESULT Client::SetNumber(const GUID& property, VARTYPE type, uint32_t value) {
  if (!controls) return E_NOINTERFACE;
  VARIANT variant;
  VariantInit(&variant);
  V_VT(&variant) = type;
  if (type == VT_BOOL) {
    V_BOOL(&variant) = value ? VARIANT_TRUE : VARIANT_FALSE;
  } else {
    V_UI4(&variant) = value;
  }
  return controls->SetValue(&property, &variant);
}

HRESULT Client::SetBitRate(int kbps) {
  return SetNumber(kMeanBitRate, VT_UI4, static_cast<uint32_t>(kbps * 1000));
}

HRESULT Client::ForceKeyFrame() { return SetNumber(kForceKeyFrame, VT_UI4, 1); }

HRESULT Client::Start(ComPtr<IMFTransform> made, const StreamSettings& wanted) {
  transform = std::move(made);
  settings = wanted;
  ComPtr<IMFAttributes> attributes;
  if (SUCCEEDED(transform->GetAttributes(&attributes))) {
    attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, 1);
    attributes->SetUINT32(MF_LOW_LATENCY, 1);
  }
  // Either may be missing; the tests look.
  transform.As(&events);
  transform->QueryInterface(IID_ICodecAPI, &controls);
  if (controls) {
    EXPECT_EQ(SetNumber(kRateControlMode, VT_UI4, 0), S_OK);
    EXPECT_EQ(SetBitRate(wanted.kbps), S_OK);
    EXPECT_EQ(SetNumber(kBetweenPictures, VT_UI4, 0), S_OK);
    EXPECT_EQ(SetNumber(kLowLatency, VT_BOOL, 1), S_OK);
    EXPECT_EQ(SetNumber(kKeyFrameInterval, VT_UI4, static_cast<uint32_t>(wanted.fps * 2)), S_OK);
  }
  HRESULT hr = transform->SetOutputType(0, MakeOutputType(wanted).Get(), 0);
  if (SUCCEEDED(hr)) hr = transform->SetInputType(0, MakeInputType(wanted).Get(), 0);
  if (SUCCEEDED(hr)) hr = transform->GetOutputStreamInfo(0, &outputInfo);
  if (SUCCEEDED(hr)) hr = transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0);
  if (SUCCEEDED(hr)) hr = transform->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0);
  if (SUCCEEDED(hr)) hr = transform->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0);
  return hr;
}

bool Client::Finish() {
  transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0);
  transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_STREAMING, 0);
  transform.Reset();
  controls.Reset();
  events.Reset();
  return NothingHeld();
}

HRESULT Client::Put(const Nv12Picture& picture, int64_t timeMs) {
  return transform->ProcessInput(0, MakeSample(picture, timeMs, settings.fps).Get(), 0);
}

HRESULT Client::Get(Unit& got) {
  MFT_OUTPUT_DATA_BUFFER record = {};
  ComPtr<IMFSample> own;
  if (!(outputInfo.dwFlags & MFT_OUTPUT_STREAM_PROVIDES_SAMPLES)) {
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(MFCreateMemoryBuffer(outputInfo.cbSize, &buffer), S_OK);
    EXPECT_EQ(MFCreateSample(&own), S_OK);
    EXPECT_EQ(own->AddBuffer(buffer.Get()), S_OK);
    record.pSample = own.Get();
  }
  DWORD status = 0;
  const HRESULT hr = transform->ProcessOutput(0, 1, &record, &status);
  EXPECT_EQ(record.pEvents, nullptr);
  if (FAILED(hr)) return hr;
  ComPtr<IMFSample> sample = record.pSample;
  if (!own) record.pSample->Release();
  UINT32 clean = 0;
  sample->GetUINT32(MFSampleExtension_CleanPoint, &clean);
  got.keyFrame = clean != 0;
  LONGLONG time = 0;
  EXPECT_EQ(sample->GetSampleTime(&time), S_OK);
  got.timeMs = time / kTicksPerMs;
  LONGLONG duration = 0;
  EXPECT_EQ(sample->GetSampleDuration(&duration), S_OK);
  EXPECT_EQ(duration, 10'000'000 / settings.fps);
  ComPtr<IMFMediaBuffer> buffer;
  EXPECT_EQ(sample->ConvertToContiguousBuffer(&buffer), S_OK);
  BYTE* data = nullptr;
  DWORD length = 0;
  EXPECT_EQ(buffer->Lock(&data, nullptr, &length), S_OK);
  got.bytes.assign(data, data + length);
  EXPECT_EQ(buffer->Unlock(), S_OK);
  return hr;
}

std::vector<Unit> Client::Encode(const Nv12Picture& picture, int64_t timeMs) {
  std::vector<Unit> units;
  const HRESULT hr = Put(picture, timeMs);
  EXPECT_EQ(hr, S_OK);
  if (FAILED(hr)) return units;
  for (;;) {
    Unit unit;
    if (SUCCEEDED(Get(unit))) units.push_back(std::move(unit));
    DWORD flags = 0;
    if (transform->GetOutputStatus(&flags) != S_OK || !(flags & MFT_OUTPUT_STATUS_SAMPLE_READY)) {
      return units;
    }
  }
}

std::optional<MediaEventType> Client::NextEvent(int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    ComPtr<IMFMediaEvent> event;
    if (events->GetEvent(MF_EVENT_FLAG_NO_WAIT, &event) == S_OK) {
      MediaEventType type = MEUnknown;
      EXPECT_EQ(event->GetType(&type), S_OK);
      return type;
    }
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    Sleep(1);
  }
}

bool Client::AwaitEvent(MediaEventType type, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  do {
    if (NextEvent(0) == type) return true;
    Sleep(1);
  } while (std::chrono::steady_clock::now() < deadline);
  return false;
}

ComPtr<IMFTransform> MakeSoftwareTransform() {
  ComPtr<IMFTransform> transform;
  // Null is the answer when there is none.
  CoCreateInstance(kSoftwareClass, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&transform));
  return transform;
}

std::vector<ComPtr<IMFActivate>> ListHardware() {
  const MFT_REGISTER_TYPE_INFO input = {MFMediaType_Video, MFVideoFormat_NV12};
  const MFT_REGISTER_TYPE_INFO output = {MFMediaType_Video, MFVideoFormat_H264};
  IMFActivate** found = nullptr;
  UINT32 count = 0;
  std::vector<ComPtr<IMFActivate>> list;
  if (FAILED(MFTEnumEx(MFT_CATEGORY_VIDEO_ENCODER,
                       MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SORTANDFILTER, &input, &output,
                       &found, &count))) {
    return list;
  }
  for (UINT32 i = 0; i < count; ++i) {
    list.emplace_back(found[i]);
    found[i]->Release();
  }
  CoTaskMemFree(found);
  return list;
}

ComPtr<IMFTransform> MakeHardwareTransform() {
  ComPtr<IMFTransform> transform;
  for (const ComPtr<IMFActivate>& entry : ListHardware()) {
    if (SUCCEEDED(entry->ActivateObject(IID_PPV_ARGS(&transform)))) break;
  }
  return transform;
}

bool NothingHeld() { return Find<HRESULT()>(Module(), "DllCanUnloadNow")() == S_OK; }

ControlFile::ControlFile(const wchar_t* controlVariable) : variable(controlVariable) {
  // Outside Wine's own folders when there is a place for it: then the name is a Unix path, as it is
  // when a script sets it.
  const std::wstring leaf = std::wstring(variable) + L"." + std::to_wstring(GetCurrentProcessId());
  std::wstring named;
  if (const char* scratch = std::getenv("TALU_CODEC_SCRATCH")) {
    named = Widen(scratch) + L"/" + leaf;
    path = L"Z:" + named;
  } else {
    wchar_t folder[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, folder);
    named = path = folder + leaf;
  }
  // Left by a program that was killed; usually there is none.
  DeleteFileW(path.c_str());
  SetEnvironmentVariableW(variable, named.c_str());
}

ControlFile::~ControlFile() {
  DeleteFileW(path.c_str());
  SetEnvironmentVariableW(variable, nullptr);
}

void ControlFile::Write(std::string_view text) {
  // Each version has a size of its own, so that none is missed where time stamps are coarse.
  std::string padded(text);
  padded += '\n';
  padded.append(static_cast<size_t>(++writes), ' ');
  const std::wstring next = path + L".next";
  const HANDLE file = CreateFileW(next.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(file, padded.data(), static_cast<DWORD>(padded.size()), &written, nullptr));
  CloseHandle(file);
  ASSERT_TRUE(MoveFileExW(next.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING));
}

}  // namespace talu

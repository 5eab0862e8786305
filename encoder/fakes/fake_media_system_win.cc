#include "encoder/fakes/fake_media_system_win.h"

#include <mfapi.h>
#include <objbase.h>
#include <wmcodecdsp.h>

#include <cstdio>

namespace talu {
namespace {

FakeMediaSystem* current = nullptr;

// "flags 0x44", with "unusual " before it when an argument is not what it always should be.
std::string FlagsText(bool usual, uint32_t flags) {
  char text[32];
  std::snprintf(text, sizeof(text), "%sflags 0x%X", usual ? "" : "unusual ", flags);
  return text;
}

std::string LevelsText(const D3D_FEATURE_LEVEL* levels, UINT count) {
  std::string text;
  for (UINT index = 0; index < count; ++index) {
    char level[16];
    std::snprintf(level, sizeof(level), " 0x%X", static_cast<unsigned>(levels[index]));
    text += level;
  }
  return text;
}

std::string TypeText(const MFT_REGISTER_TYPE_INFO* info) {
  const std::string major = IsEqualGUID(info->guidMajorType, MFMediaType_Video) ? "Video" : "?";
  if (IsEqualGUID(info->guidSubtype, MFVideoFormat_NV12)) return major + "/NV12";
  if (IsEqualGUID(info->guidSubtype, MFVideoFormat_H264)) return major + "/H264";
  return major + "/?";
}

}  // namespace

struct FakeSystemEntries {
  static HRESULT CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                              UINT flags, const D3D_FEATURE_LEVEL* levels, UINT levelCount,
                              UINT sdkVersion, ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                              ID3D11DeviceContext** context) {
    const bool usual = adapter == nullptr && type == D3D_DRIVER_TYPE_HARDWARE &&
                       software == nullptr && sdkVersion == D3D11_SDK_VERSION && level == nullptr;
    const HRESULT result = current->script.Called(
        "D3d11CreateDevice", FlagsText(usual, flags) + LevelsText(levels, levelCount));
    if (FAILED(result)) {
      return result;
    }
    *device = new FakeDirect3dDevice(current->script, current->graphics);
    if (context != nullptr) {
      *context = new FakeContext;
    }
    return S_OK;
  }

  static HRESULT Startup(ULONG version, DWORD flags) {
    const bool usual = version == MF_VERSION && flags == MFSTARTUP_FULL;
    const HRESULT result = current->script.Called("MFStartup", usual ? "" : "unusual");
    if (SUCCEEDED(result)) {
      ++current->mediaFoundationHeld;
    }
    return result;
  }

  static HRESULT Shutdown() {
    --current->mediaFoundationHeld;
    return current->script.Called("MFShutdown");
  }

  static HRESULT EnumTransforms(GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* input,
                                const MFT_REGISTER_TYPE_INFO* output, IMFActivate*** activates,
                                UINT32* count) {
    const bool usual = IsEqualGUID(category, MFT_CATEGORY_VIDEO_ENCODER);
    const HRESULT result = current->script.Called(
        "MFTEnumEx", FlagsText(usual, flags) + " " + TypeText(input) + " " + TypeText(output));
    if (FAILED(result)) {
      return result;
    }
    *count = static_cast<UINT32>(current->hardware.size());
    *activates = nullptr;
    if (*count == 0) {
      return S_OK;
    }
    *activates = static_cast<IMFActivate**>(CoTaskMemAlloc(*count * sizeof(IMFActivate*)));
    IMFActivate** next = *activates;
    for (TransformScript& transform : current->hardware) {
      *next++ = new FakeActivation(current->script, transform);
    }
    return S_OK;
  }

  static HRESULT CreateType(IMFMediaType** type) {
    const HRESULT result = current->script.Called("MFCreateMediaType");
    if (SUCCEEDED(result)) {
      *type = new FakeMediaType;
    }
    return result;
  }

  static HRESULT CreateSample(IMFSample** sample) {
    const HRESULT result = current->script.Called("MFCreateSample");
    if (SUCCEEDED(result)) {
      *sample = new FakeSample(current->script);
    }
    return result;
  }

  static HRESULT CreateBuffer(DWORD size, IMFMediaBuffer** buffer) {
    const HRESULT result = current->script.Called("MFCreateMemoryBuffer", std::to_string(size));
    if (SUCCEEDED(result)) {
      *buffer = new FakeBuffer(current->script, size - current->bufferShortage);
    }
    return result;
  }

  static HRESULT CreateManager(UINT* token, IMFDXGIDeviceManager** manager) {
    const HRESULT result = current->script.Called("MFCreateDXGIDeviceManager");
    if (SUCCEEDED(result)) {
      *token = 4711;
      *manager = new FakeDeviceManager(current->script);
    }
    return result;
  }

  static HRESULT EnterCom(DWORD apartment) {
    const HRESULT result = current->script.Called(
        "CoInitializeEx", apartment == COINIT_MULTITHREADED ? "" : "unusual");
    if (SUCCEEDED(result)) {
      ++current->comHeld;
    }
    return result;
  }

  static void LeaveCom() {
    --current->comHeld;
    current->script.Called("CoUninitialize");
  }

  static HRESULT Create(REFCLSID classId, IUnknown* outer, DWORD context, REFIID id,
                        void** object) {
    const bool usual = IsEqualGUID(classId, CLSID_CMSH264EncoderMFT) && outer == nullptr &&
                       context == CLSCTX_INPROC_SERVER && IsEqualGUID(id, __uuidof(IMFTransform));
    const HRESULT result = current->script.Called("CoCreateInstance", usual ? "" : "unusual");
    if (SUCCEEDED(result)) {
      *object = static_cast<IMFTransform*>(new FakeTransform(current->script, current->software));
    }
    return result;
  }
};

const SystemCalls FakeMediaSystem::kCalls{
    FakeSystemEntries::CreateDevice, FakeSystemEntries::Startup,
    FakeSystemEntries::Shutdown,     FakeSystemEntries::EnumTransforms,
    FakeSystemEntries::CreateType,   FakeSystemEntries::CreateSample,
    FakeSystemEntries::CreateBuffer, FakeSystemEntries::CreateManager,
    FakeSystemEntries::EnterCom,     FakeSystemEntries::LeaveCom,
    FakeSystemEntries::Create};

FakeMediaSystem::FakeMediaSystem() {
  software.name = "sw";
  current = this;
  ReplaceSystemCalls(&kCalls);
}

FakeMediaSystem::~FakeMediaSystem() {
  ReplaceSystemCalls(nullptr);
  current = nullptr;
}

TransformScript& FakeMediaSystem::AddHardware(const std::string& name) {
  TransformScript& added = hardware.emplace_back();
  added.name = name;
  added.async = true;
  return added;
}

}  // namespace talu

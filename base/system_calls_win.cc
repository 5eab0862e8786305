#include "base/system_calls_win.h"

#include <objbase.h>

#include <atomic>

#include "base/log.h"

namespace talu {
namespace {

// One DLL that may be missing. Loaded once, never freed.
class LateLibrary {
 public:
  constexpr LateLibrary(const wchar_t* fileName, const char* logName)
      : file(fileName), name(logName) {}

  FARPROC Find(const char* function) {
    HMODULE loaded = module.load();
    if (loaded == nullptr) {
      loaded = LoadLibraryW(file);
      module.store(loaded);
    }
    const FARPROC found = loaded == nullptr ? nullptr : GetProcAddress(loaded, function);
    if (found == nullptr && !reported.exchange(true)) {
      LogPrintf("[agent] Windows component missing: %s (%s, err=%lu)\n", name, function,
                GetLastError());
    }
    return found;
  }

 private:
  const wchar_t* file;
  const char* name;
  std::atomic<HMODULE> module{nullptr};
  std::atomic<bool> reported{false};
};

LateLibrary direct3d(L"d3d11.dll", "Direct3D 11, d3d11.dll");
LateLibrary mediaFoundation(L"mfplat.dll", "Media Foundation, mfplat.dll");

const HRESULT kMissing = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);

// One function of such a DLL. Looked for until it is found, then kept.
class LateFunction {
 public:
  constexpr LateFunction(LateLibrary& owner, const char* functionName)
      : library(owner), name(functionName) {}

  FARPROC Find() {
    FARPROC known = found.load();
    if (known == nullptr) {
      known = library.Find(name);
      found.store(known);
    }
    return known;
  }

 private:
  LateLibrary& library;
  const char* name;
  std::atomic<FARPROC> found{nullptr};
};

LateFunction createDevice(direct3d, "D3D11CreateDevice");
LateFunction startMedia(mediaFoundation, "MFStartup");
LateFunction shutDownMedia(mediaFoundation, "MFShutdown");
LateFunction listTransforms(mediaFoundation, "MFTEnumEx");
LateFunction createMediaType(mediaFoundation, "MFCreateMediaType");
LateFunction createSample(mediaFoundation, "MFCreateSample");
LateFunction createMemoryBuffer(mediaFoundation, "MFCreateMemoryBuffer");
LateFunction createDeviceManager(mediaFoundation, "MFCreateDXGIDeviceManager");

// Calls function, which is a Function, with arguments, or fails when it is missing.
template <typename Function, typename... Arguments>
HRESULT CallLate(LateFunction& function, Arguments... arguments) {
  const FARPROC found = function.Find();
  if (found == nullptr) {
    return kMissing;
  }
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(found))(arguments...);
}

HRESULT LateD3d11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                              UINT flags, const D3D_FEATURE_LEVEL* levels, UINT levelCount,
                              UINT sdkVersion, ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                              ID3D11DeviceContext** context) {
  return CallLate<decltype(D3D11CreateDevice)>(createDevice, adapter, type, software, flags, levels,
                                               levelCount, sdkVersion, device, level, context);
}

HRESULT LateMfStartup(ULONG version, DWORD flags) {
  // What could not be ended is not begun.
  if (shutDownMedia.Find() == nullptr) {
    return kMissing;
  }
  return CallLate<decltype(MFStartup)>(startMedia, version, flags);
}

HRESULT LateMfShutdown() { return CallLate<decltype(MFShutdown)>(shutDownMedia); }

HRESULT LateMftEnumEx(GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* input,
                      const MFT_REGISTER_TYPE_INFO* output, IMFActivate*** activates,
                      UINT32* count) {
  return CallLate<decltype(MFTEnumEx)>(listTransforms, category, flags, input, output, activates,
                                       count);
}

HRESULT LateMfCreateMediaType(IMFMediaType** type) {
  return CallLate<decltype(MFCreateMediaType)>(createMediaType, type);
}

HRESULT LateMfCreateSample(IMFSample** sample) {
  return CallLate<decltype(MFCreateSample)>(createSample, sample);
}

HRESULT LateMfCreateMemoryBuffer(DWORD maxLength, IMFMediaBuffer** buffer) {
  return CallLate<decltype(MFCreateMemoryBuffer)>(createMemoryBuffer, maxLength, buffer);
}

HRESULT LateMfCreateDxgiDeviceManager(UINT* resetToken, IMFDXGIDeviceManager** manager) {
  return CallLate<decltype(MFCreateDXGIDeviceManager)>(createDeviceManager, resetToken, manager);
}

HRESULT RealCoInitialize(DWORD apartment) { return CoInitializeEx(nullptr, apartment); }
void RealCoUninitialize() { CoUninitialize(); }

HRESULT RealCoCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                     void** object) {
  return CoCreateInstance(classId, outer, context, interfaceId, object);
}

constexpr SystemCalls kRealCalls{LateD3d11CreateDevice,
                                 LateMfStartup,
                                 LateMfShutdown,
                                 LateMftEnumEx,
                                 LateMfCreateMediaType,
                                 LateMfCreateSample,
                                 LateMfCreateMemoryBuffer,
                                 LateMfCreateDxgiDeviceManager,
                                 RealCoInitialize,
                                 RealCoUninitialize,
                                 RealCoCreate};

std::atomic<const SystemCalls*> callsInForce{&kRealCalls};

}  // namespace

const SystemCalls& System() { return *callsInForce.load(); }

const SystemCalls& RealSystemCalls() { return kRealCalls; }

void ReplaceSystemCalls(const SystemCalls* calls) {
  callsInForce.store(calls == nullptr ? &kRealCalls : calls);
}

}  // namespace talu

#include "devkit/wine/desktop/output.h"

#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <optional>
#include <utility>

#include "devkit/wine/desktop/duplication.h"
#include "devkit/wine/desktop/method_table.h"
#include "devkit/wine/desktop/x11_library.h"

namespace talu {

namespace {

using Microsoft::WRL::ComPtr;

constexpr size_t kEnumOutputsSlot = 7;

using EnumOutputsMethod = HRESULT(STDMETHODCALLTYPE*)(IDXGIAdapter*, UINT, IDXGIOutput**);

ReplacedMethod<EnumOutputsMethod> enumOutputs;

RECT DesktopRect(const X11Monitor& monitor) {
  return {monitor.left, monitor.top, monitor.left + monitor.width, monitor.top + monitor.height};
}

// The monitor that shows as this display now.
std::optional<X11Monitor> FindMonitor(int32_t display) {
  const auto monitors = ListMonitors();
  if (!monitors) return std::nullopt;
  const auto found =
      std::find_if(monitors->begin(), monitors->end(),
                   [display](const X11Monitor& monitor) { return monitor.display == display; });
  if (found == monitors->end()) return std::nullopt;
  return *found;
}

// Wine's output of the same display, if it has one.
ComPtr<IDXGIOutput1> FindWineOutput(IDXGIAdapter* adapter, int32_t display) {
  wchar_t name[32];
  swprintf(name, std::size(name), L"\\\\.\\DISPLAY%d", display);
  for (UINT i = 0;; ++i) {
    ComPtr<IDXGIOutput> output;
    if (FAILED(enumOutputs.Original()(adapter, i, &output))) return {};
    DXGI_OUTPUT_DESC desc;
    if (FAILED(output->GetDesc(&desc)) || std::wcscmp(desc.DeviceName, name) != 0) continue;
    ComPtr<IDXGIOutput1> output1;
    // Left null where it fails.
    output.As(&output1);
    return output1;
  }
}

class Output final : public IDXGIOutput1 {
 public:
  Output(int32_t ownDisplay, ComPtr<IDXGIAdapter> ownAdapter)
      : display(ownDisplay), adapter(std::move(ownAdapter)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id != __uuidof(IUnknown) && id != __uuidof(IDXGIObject) && id != __uuidof(IDXGIOutput) &&
        id != __uuidof(IDXGIOutput1)) {
      return E_NOINTERFACE;
    }
    AddRef();
    *object = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references;
    if (left == 0) delete this;
    return left;
  }

  // Nothing is kept for the program on this object.
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return DXGI_ERROR_NOT_FOUND;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID id, void** parent) override {
    return adapter->QueryInterface(id, parent);
  }

  HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC* desc) override;
  HRESULT STDMETHODCALLTYPE GetDisplayModeList(DXGI_FORMAT format, UINT flags, UINT* count,
                                               DXGI_MODE_DESC* modes) override {
    return AskWine(&IDXGIOutput1::GetDisplayModeList, format, flags, count, modes);
  }
  HRESULT STDMETHODCALLTYPE FindClosestMatchingMode(const DXGI_MODE_DESC* wanted,
                                                    DXGI_MODE_DESC* found,
                                                    IUnknown* device) override {
    return AskWine(&IDXGIOutput1::FindClosestMatchingMode, wanted, found, device);
  }
  HRESULT STDMETHODCALLTYPE WaitForVBlank() override {
    return AskWine(&IDXGIOutput1::WaitForVBlank);
  }
  HRESULT STDMETHODCALLTYPE TakeOwnership(IUnknown* device, BOOL exclusive) override {
    return AskWine(&IDXGIOutput1::TakeOwnership, device, exclusive);
  }
  void STDMETHODCALLTYPE ReleaseOwnership() override {
    if (const auto wine = FindWineOutput(adapter.Get(), display)) wine->ReleaseOwnership();
  }
  HRESULT STDMETHODCALLTYPE
  GetGammaControlCapabilities(DXGI_GAMMA_CONTROL_CAPABILITIES* capabilities) override {
    return AskWine(&IDXGIOutput1::GetGammaControlCapabilities, capabilities);
  }
  HRESULT STDMETHODCALLTYPE SetGammaControl(const DXGI_GAMMA_CONTROL* gamma) override {
    return AskWine(&IDXGIOutput1::SetGammaControl, gamma);
  }
  HRESULT STDMETHODCALLTYPE GetGammaControl(DXGI_GAMMA_CONTROL* gamma) override {
    return AskWine(&IDXGIOutput1::GetGammaControl, gamma);
  }
  HRESULT STDMETHODCALLTYPE SetDisplaySurface(IDXGISurface* surface) override {
    return AskWine(&IDXGIOutput1::SetDisplaySurface, surface);
  }
  HRESULT STDMETHODCALLTYPE GetDisplaySurfaceData(IDXGISurface* surface) override {
    return AskWine(&IDXGIOutput1::GetDisplaySurfaceData, surface);
  }
  HRESULT STDMETHODCALLTYPE GetFrameStatistics(DXGI_FRAME_STATISTICS* statistics) override {
    return AskWine(&IDXGIOutput1::GetFrameStatistics, statistics);
  }
  HRESULT STDMETHODCALLTYPE GetDisplayModeList1(DXGI_FORMAT format, UINT flags, UINT* count,
                                                DXGI_MODE_DESC1* modes) override {
    return AskWine(&IDXGIOutput1::GetDisplayModeList1, format, flags, count, modes);
  }
  HRESULT STDMETHODCALLTYPE FindClosestMatchingMode1(const DXGI_MODE_DESC1* wanted,
                                                     DXGI_MODE_DESC1* found,
                                                     IUnknown* device) override {
    return AskWine(&IDXGIOutput1::FindClosestMatchingMode1, wanted, found, device);
  }
  HRESULT STDMETHODCALLTYPE GetDisplaySurfaceData1(IDXGIResource* resource) override {
    return AskWine(&IDXGIOutput1::GetDisplaySurfaceData1, resource);
  }
  HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown* device,
                                            IDXGIOutputDuplication** duplication) override;

 private:
  ~Output() = default;

  // Fails for a monitor that Wine does not know of.
  template <class Method, class... Arguments>
  HRESULT AskWine(Method method, Arguments... arguments) {
    const auto wine = FindWineOutput(adapter.Get(), display);
    if (wine == nullptr) return DXGI_ERROR_NOT_CURRENTLY_AVAILABLE;
    return (wine.Get()->*method)(arguments...);
  }

  const int32_t display;
  const ComPtr<IDXGIAdapter> adapter;
  std::atomic<ULONG> references = 1;
};

HRESULT STDMETHODCALLTYPE Output::GetDesc(DXGI_OUTPUT_DESC* desc) {
  if (desc == nullptr) return E_INVALIDARG;
  *desc = {};
  swprintf(desc->DeviceName, std::size(desc->DeviceName), L"\\\\.\\DISPLAY%d", display);
  desc->Rotation = DXGI_MODE_ROTATION_IDENTITY;
  // A monitor that was unplugged since the output was listed is told as detached.
  const auto monitor = FindMonitor(display);
  if (!monitor) return S_OK;
  desc->DesktopCoordinates = DesktopRect(*monitor);
  desc->AttachedToDesktop = TRUE;
  desc->Monitor = MonitorFromRect(&desc->DesktopCoordinates, MONITOR_DEFAULTTONULL);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE Output::DuplicateOutput(IUnknown* device,
                                                  IDXGIOutputDuplication** duplication) {
  if (duplication == nullptr) return E_INVALIDARG;
  *duplication = nullptr;
  const auto monitor = FindMonitor(display);
  if (!monitor) return DXGI_ERROR_UNSUPPORTED;
  return OpenDuplication(*monitor, device, duplication);
}

bool IsInDxgi(const void* code) {
  HMODULE module = nullptr;
  return GetModuleHandleExW(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             static_cast<const wchar_t*>(code), &module) &&
         module == GetModuleHandleW(L"dxgi.dll");
}

HRESULT STDMETHODCALLTYPE EnumDesktopOutputs(IDXGIAdapter* adapter, UINT index,
                                             IDXGIOutput** output) {
  // Wine itself, when it makes a device or a swap chain, must meet objects of its own.
  if (IsInDxgi(__builtin_return_address(0))) {
    return enumOutputs.Original()(adapter, index, output);
  }
  const auto monitors = ListMonitors();
  if (!monitors) return enumOutputs.Original()(adapter, index, output);
  if (output == nullptr) return E_INVALIDARG;
  *output = nullptr;
  if (index >= monitors->size()) return DXGI_ERROR_NOT_FOUND;
  *output = new Output((*monitors)[index].display, adapter);
  return S_OK;
}

}  // namespace

void InstallOutputs(IDXGIAdapter* adapter) {
  // When it fails, Wine's own outputs stay, which say that they cannot be duplicated.
  [[maybe_unused]] const bool installed =
      enumOutputs.Install(adapter, kEnumOutputsSlot, EnumDesktopOutputs);
}

}  // namespace talu

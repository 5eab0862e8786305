#include "devkit/wine/desktop/duplication.h"

#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "devkit/wine/desktop/desktop_capture.h"
#include "devkit/wine/desktop/fault_file.h"
#include "devkit/wine/desktop/frame_texture.h"

namespace talu {

namespace {

using Microsoft::WRL::ComPtr;

static_assert(sizeof(RECT) == sizeof(X11Rect));

// The displays that this process duplicates; Windows allows one duplication of each.
class DisplayClaims {
 public:
  bool Claim(int32_t display) {
    const std::lock_guard hold(lock);
    return claimed.insert(display).second;
  }
  void Release(int32_t display) {
    const std::lock_guard hold(lock);
    claimed.erase(display);
  }

 private:
  std::mutex lock;
  std::set<int32_t> claimed;
};

// Lives until the process ends, as duplications may.
DisplayClaims& TheClaims() {
  static DisplayClaims* claims = new DisplayClaims;
  return *claims;
}

class DisplayClaim {
 public:
  explicit DisplayClaim(int32_t wanted) : display(TheClaims().Claim(wanted) ? wanted : 0) {}
  ~DisplayClaim() {
    if (display != 0) TheClaims().Release(display);
  }
  DisplayClaim(DisplayClaim&& other) noexcept : display(std::exchange(other.display, 0)) {}
  DisplayClaim& operator=(DisplayClaim&&) = delete;
  explicit operator bool() const { return display != 0; }

 private:
  int32_t display;
};

class Duplication final : public IDXGIOutputDuplication {
 public:
  Duplication(const X11Monitor& shown, DisplayClaim ownClaim,
              ComPtr<ID3D11DeviceContext> deviceContext, ComPtr<ID3D11Texture2D> frameTexture,
              std::unique_ptr<DesktopCapture> ownCapture)
      : monitor(shown),
        claim(std::move(ownClaim)),
        context(std::move(deviceContext)),
        frame(std::move(frameTexture)),
        capture(std::move(ownCapture)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id != __uuidof(IUnknown) && id != __uuidof(IDXGIObject) &&
        id != __uuidof(IDXGIOutputDuplication)) {
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
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void** parent) override {
    if (parent != nullptr) *parent = nullptr;
    return E_NOINTERFACE;
  }

  void STDMETHODCALLTYPE GetDesc(DXGI_OUTDUPL_DESC* desc) override;
  HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT timeoutMs, DXGI_OUTDUPL_FRAME_INFO* info,
                                             IDXGIResource** resource) override;
  HRESULT STDMETHODCALLTYPE GetFrameDirtyRects(UINT size, RECT* rects, UINT* needed) override;
  HRESULT STDMETHODCALLTYPE GetFrameMoveRects(UINT size, DXGI_OUTDUPL_MOVE_RECT* rects,
                                              UINT* needed) override;
  HRESULT STDMETHODCALLTYPE GetFramePointerShape(UINT size, void* shape, UINT* needed,
                                                 DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) override;
  // As where the desktop lies in the graphics card's memory.
  HRESULT STDMETHODCALLTYPE MapDesktopSurface(DXGI_MAPPED_RECT*) override {
    return DXGI_ERROR_UNSUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE UnMapDesktopSurface() override { return DXGI_ERROR_INVALID_CALL; }
  HRESULT STDMETHODCALLTYPE ReleaseFrame() override;

 private:
  ~Duplication() = default;
  HRESULT TakeFrame(UINT timeoutMs, const AcquireFaults& faults);
  HRESULT CheckHeld() const;

  const X11Monitor monitor;
  const DisplayClaim claim;
  const ComPtr<ID3D11DeviceContext> context;
  const ComPtr<ID3D11Texture2D> frame;
  const std::unique_ptr<DesktopCapture> capture;
  std::atomic<ULONG> references = 1;

  // The program's calls on one duplication wait for each other, as Windows makes them.
  mutable std::mutex lock;
  bool held = false;
  bool lost = false;
  CapturedDesktop desktop;
};

void STDMETHODCALLTYPE Duplication::GetDesc(DXGI_OUTDUPL_DESC* desc) {
  *desc = {};
  desc->ModeDesc.Width = static_cast<UINT>(monitor.width);
  desc->ModeDesc.Height = static_cast<UINT>(monitor.height);
  desc->ModeDesc.RefreshRate = {60, 1};
  desc->ModeDesc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
  desc->Rotation = DXGI_MODE_ROTATION_IDENTITY;
}

HRESULT Duplication::TakeFrame(UINT timeoutMs, const AcquireFaults& faults) {
  if (faults.accessLost) lost = true;
  if (lost) return DXGI_ERROR_ACCESS_LOST;
  if (held) return DXGI_ERROR_INVALID_CALL;
  if (faults.result) return static_cast<HRESULT>(*faults.result);
  switch (capture->Take({timeoutMs, faults.noFrames, faults.hideCursor}, &desktop)) {
    case DesktopCapture::Outcome::kTimeout:
      return DXGI_ERROR_WAIT_TIMEOUT;
    case DesktopCapture::Outcome::kLost:
      lost = true;
      return DXGI_ERROR_ACCESS_LOST;
    case DesktopCapture::Outcome::kTaken:
      break;
  }
  held = true;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE Duplication::AcquireNextFrame(UINT timeoutMs,
                                                        DXGI_OUTDUPL_FRAME_INFO* info,
                                                        IDXGIResource** resource) {
  if (info == nullptr || resource == nullptr) return E_INVALIDARG;
  *info = {};
  *resource = nullptr;
  const std::lock_guard hold(lock);
  const HRESULT result = TakeFrame(timeoutMs, TakeAcquireFaults());
  if (FAILED(result)) return result;

  SetFramePicture(context.Get(), frame.Get(), desktop.picture);
  info->LastPresentTime.QuadPart = desktop.imageTicks;
  info->LastMouseUpdateTime.QuadPart = desktop.pointerTicks;
  info->AccumulatedFrames = desktop.grabs;
  info->PointerPosition.Visible = desktop.pointerVisible;
  info->PointerPosition.Position = {desktop.pointerX, desktop.pointerY};
  info->TotalMetadataBufferSize = static_cast<UINT>(desktop.changed.size() * sizeof(RECT));
  info->PointerShapeBufferSize = desktop.shape ? static_cast<UINT>(desktop.shape->bytes.size()) : 0;
  return frame->QueryInterface(__uuidof(IDXGIResource), reinterpret_cast<void**>(resource));
}

HRESULT Duplication::CheckHeld() const {
  if (lost) return DXGI_ERROR_ACCESS_LOST;
  return held ? S_OK : DXGI_ERROR_INVALID_CALL;
}

HRESULT STDMETHODCALLTYPE Duplication::GetFrameDirtyRects(UINT size, RECT* rects, UINT* needed) {
  if (needed == nullptr) return E_INVALIDARG;
  const std::lock_guard hold(lock);
  *needed = 0;
  if (const HRESULT result = CheckHeld(); FAILED(result)) return result;
  *needed = static_cast<UINT>(desktop.changed.size() * sizeof(RECT));
  if (size < *needed) return DXGI_ERROR_MORE_DATA;
  if (*needed == 0) return S_OK;
  if (rects == nullptr) return E_INVALIDARG;
  std::transform(desktop.changed.begin(), desktop.changed.end(), rects, [](const X11Rect& rect) {
    return RECT{rect.left, rect.top, rect.right, rect.bottom};
  });
  return S_OK;
}

HRESULT STDMETHODCALLTYPE Duplication::GetFrameMoveRects(UINT, DXGI_OUTDUPL_MOVE_RECT*,
                                                         UINT* needed) {
  if (needed == nullptr) return E_INVALIDARG;
  const std::lock_guard hold(lock);
  // The X server tells what was drawn, not what was moved.
  *needed = 0;
  return CheckHeld();
}

HRESULT STDMETHODCALLTYPE Duplication::GetFramePointerShape(UINT size, void* shape, UINT* needed,
                                                            DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) {
  if (needed == nullptr || info == nullptr) return E_INVALIDARG;
  const std::lock_guard hold(lock);
  *needed = 0;
  if (const HRESULT result = CheckHeld(); FAILED(result)) return result;
  *info = {};
  if (!desktop.shape) return S_OK;
  const CursorShape& pointer = *desktop.shape;
  *needed = static_cast<UINT>(pointer.bytes.size());
  if (size < *needed) return DXGI_ERROR_MORE_DATA;
  if (shape == nullptr) return E_INVALIDARG;
  info->Type = static_cast<UINT>(pointer.kind);
  info->Width = pointer.width;
  info->Height = pointer.height;
  info->Pitch = pointer.pitch;
  info->HotSpot = {pointer.hotX, pointer.hotY};
  std::copy(pointer.bytes.begin(), pointer.bytes.end(), static_cast<uint8_t*>(shape));
  return S_OK;
}

HRESULT STDMETHODCALLTYPE Duplication::ReleaseFrame() {
  const std::lock_guard hold(lock);
  const HRESULT result = CheckHeld();
  held = false;
  return result;
}

}  // namespace

HRESULT OpenDuplication(const X11Monitor& monitor, IUnknown* device,
                        IDXGIOutputDuplication** duplication) {
  *duplication = nullptr;
  ComPtr<ID3D11Device> d3dDevice;
  if (device == nullptr ||
      FAILED(device->QueryInterface(__uuidof(ID3D11Device),
                                    reinterpret_cast<void**>(d3dDevice.GetAddressOf())))) {
    return E_INVALIDARG;
  }
  if (TakeDuplicateFault()) return E_ACCESSDENIED;
  DisplayClaim claim(monitor.display);
  if (!claim) return E_INVALIDARG;
  const CursorKind kind = ParseCursorKind(ReadEnvironment("TALU_DESKTOP_CURSOR_KIND"));
  auto capture = DesktopCapture::Start(monitor, kind);
  if (capture == nullptr) return DXGI_ERROR_UNSUPPORTED;
  auto frame = CreateFrameTexture(d3dDevice.Get(), static_cast<uint32_t>(monitor.width),
                                  static_cast<uint32_t>(monitor.height));
  if (frame == nullptr) return E_OUTOFMEMORY;
  ComPtr<ID3D11DeviceContext> context;
  d3dDevice->GetImmediateContext(&context);
  *duplication = new Duplication(monitor, std::move(claim), std::move(context), std::move(frame),
                                 std::move(capture));
  return S_OK;
}

}  // namespace talu

#include "capture/screen_capturer.h"

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <optional>
#include <utility>

#include "base/clock.h"
#include "base/gate.h"
#include "capture/capture_remedy.h"
#include "capture/cursor_image.h"
#include "capture/graphics_device_win.h"
#include "capture/staging_copy_win.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

static_assert(kCursorMonochrome == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME &&
              kCursorColor == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR &&
              kCursorMaskedColor == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MASKED_COLOR);

// A new device takes a driver some 100 ms; one that dies at once is not to be made again and again.
constexpr int64_t kDeviceRenewalPauseMs = 1000;

// Grabs in a row that fail for no known reason before a fresh duplication is tried.
constexpr int kFailuresBeforeReopening = 20;

// Far beyond any pointer; a driver that asks for more is not asked for its shape.
constexpr UINT kLargestShapeBytes = 4 * 1024 * 1024;

// A frame held from the system, for one scope.
class AcquiredFrame {
 public:
  explicit AcquiredFrame(IDXGIOutputDuplication* source) : duplication(source) {}
  // A failed release needs no answer: the next acquisition fails for the same reason.
  ~AcquiredFrame() { duplication->ReleaseFrame(); }
  AcquiredFrame(const AcquiredFrame&) = delete;
  AcquiredFrame& operator=(const AcquiredFrame&) = delete;

 private:
  IDXGIOutputDuplication* duplication;
};

}  // namespace

// The members are destroyed from the last to the first: duplication, staging texture, context,
// device.
struct ScreenCapturer::CaptureDevice {
  bool Init(uint32_t index);
  bool EnsureOpen();
  void CloseDuplication() { duplication.Reset(); }
  bool Select(uint32_t index);
  HRESULT Grab(uint32_t timeoutMs);
  void Mend(HRESULT failure, uint32_t timeoutMs);

  // The device for a thread that only asks for the monitors; null before Init.
  ComPtr<ID3D11Device> SharedGraphics();

  Pixels pixels;
  CursorUpdate cursor;
  bool cursorChanged = false;
  bool reopened = false;
  std::atomic<uint32_t> outputIndex{0};

 private:
  bool Open(uint32_t index);
  void RenewGraphicsWhereNeeded();
  void AdoptGraphics(ComPtr<ID3D11Device> newGraphics, ComPtr<ID3D11DeviceContext> newContext);
  CaptureRemedy Diagnose(HRESULT failure) const;
  void NoteVisibility(const DXGI_OUTDUPL_FRAME_INFO& frame);
  void NoteShape(const DXGI_OUTDUPL_FRAME_INFO& frame);

  std::vector<uint8_t> shapeBytes;
  bool graphicsLost = false;
  // A picture was acquired but could not be read, and no newer one has come.
  bool pictureOwed = false;
  int failuresInARow = 0;
  std::optional<int64_t> lastRenewalNs;

  // Only the capturing thread changes graphics, with the gate closed; other threads take their own
  // reference inside the gate.
  Gate graphicsGate;
  ComPtr<ID3D11Device> graphics;
  ComPtr<ID3D11DeviceContext> context;
  StagingCopy staging;
  ComPtr<IDXGIOutputDuplication> duplication;
};

ComPtr<ID3D11Device> ScreenCapturer::CaptureDevice::SharedGraphics() {
  graphicsGate.Enter();
  ComPtr<ID3D11Device> shared = graphics;
  graphicsGate.Leave();
  return shared;
}

bool ScreenCapturer::CaptureDevice::Init(uint32_t index) {
  outputIndex.store(index);
  duplication.Reset();
  AdoptGraphics(nullptr, nullptr);
  ComPtr<ID3D11Device> newGraphics;
  ComPtr<ID3D11DeviceContext> newContext;
  if (FAILED(CreateGraphicsDevice(newGraphics, newContext))) {
    return false;
  }
  AdoptGraphics(std::move(newGraphics), std::move(newContext));
  return Open(index);
}

bool ScreenCapturer::CaptureDevice::EnsureOpen() {
  if (duplication) {
    return true;
  }
  if (!graphics || !Open(outputIndex.load())) {
    return false;
  }
  reopened = true;
  return true;
}

bool ScreenCapturer::CaptureDevice::Open(uint32_t index) {
  duplication.Reset();
  RenewGraphicsWhereNeeded();
  if (graphicsLost) {
    return false;
  }
  const HRESULT opened = OpenDuplication(graphics.Get(), index, duplication);
  if (FAILED(opened)) {
    graphicsLost = Diagnose(opened) == CaptureRemedy::kReplaceDevice;
    return false;
  }
  failuresInARow = 0;
  pictureOwed = false;
  return true;
}

bool ScreenCapturer::CaptureDevice::Select(uint32_t index) {
  if (!graphics) {
    return false;
  }
  const uint32_t previous = outputIndex.load();
  if (index == previous) {
    return true;
  }
  duplication.Reset();
  staging.Release();
  if (!Open(index)) {
    // The next capture tries again if this fails, too.
    Open(previous);
    return false;
  }
  outputIndex.store(index);
  cursorChanged = true;
  return true;
}

// The old device stays until there is a new one, so that the monitors can be listed meanwhile.
void ScreenCapturer::CaptureDevice::RenewGraphicsWhereNeeded() {
  if (!graphicsLost && KnowsCurrentOutputs(graphics.Get())) {
    return;
  }
  const int64_t nowNs = MonotonicNowNs();
  if (lastRenewalNs && nowNs - *lastRenewalNs < kDeviceRenewalPauseMs * kNsPerMs) {
    return;
  }
  lastRenewalNs = nowNs;
  ComPtr<ID3D11Device> newGraphics;
  ComPtr<ID3D11DeviceContext> newContext;
  if (SUCCEEDED(CreateGraphicsDevice(newGraphics, newContext))) {
    AdoptGraphics(std::move(newGraphics), std::move(newContext));
  }
}

void ScreenCapturer::CaptureDevice::AdoptGraphics(ComPtr<ID3D11Device> newGraphics,
                                                  ComPtr<ID3D11DeviceContext> newContext) {
  staging.Release();
  context = std::move(newContext);
  graphicsLost = false;
  const GateClosing closing(graphicsGate);
  graphics.Swap(newGraphics);
}

// Returns S_OK when pixels hold a new picture.
HRESULT ScreenCapturer::CaptureDevice::Grab(uint32_t timeoutMs) {
  DXGI_OUTDUPL_FRAME_INFO frame{};
  ComPtr<IDXGIResource> resource;
  ComPtr<ID3D11Texture2D> texture;
  const HRESULT acquired = duplication->AcquireNextFrame(timeoutMs, &frame, &resource);
  if (FAILED(acquired)) {
    return acquired;
  }
  // Given back before the picture's own references, which are declared above.
  const AcquiredFrame held(duplication.Get());
  NoteVisibility(frame);
  NoteShape(frame);
  HRESULT read = resource ? resource.As(&texture) : E_POINTER;
  if (SUCCEEDED(read)) {
    read = staging.Read(graphics.Get(), context.Get(), texture.Get(), pixels);
  }
  pictureOwed = FAILED(read);
  if (SUCCEEDED(read)) {
    failuresInARow = 0;
  }
  return read;
}

CaptureRemedy ScreenCapturer::CaptureDevice::Diagnose(HRESULT failure) const {
  const CaptureRemedy remedy = RemedyFor(failure);
  // A call on a dead device may fail with anything.
  if (remedy == CaptureRemedy::kTryAgain && FAILED(graphics->GetDeviceRemovedReason())) {
    return CaptureRemedy::kReplaceDevice;
  }
  return remedy;
}

// Prepares the next grab after one that gave no picture.
void ScreenCapturer::CaptureDevice::Mend(HRESULT failure, uint32_t timeoutMs) {
  switch (Diagnose(failure)) {
    case CaptureRemedy::kGoOn:
      return;
    case CaptureRemedy::kNothingNew:
      // A fresh duplication begins with the whole desktop, the picture that was missed included.
      if (pictureOwed) {
        duplication.Reset();
      }
      return;
    case CaptureRemedy::kReopenDuplication:
      duplication.Reset();
      return;
    case CaptureRemedy::kReplaceDevice:
      duplication.Reset();
      graphicsLost = true;
      return;
    case CaptureRemedy::kTryAgain:
      if (++failuresInARow >= kFailuresBeforeReopening) {
        duplication.Reset();
      }
      SleepForMs(timeoutMs);
      return;
  }
}

void ScreenCapturer::CaptureDevice::NoteVisibility(const DXGI_OUTDUPL_FRAME_INFO& frame) {
  if (frame.LastMouseUpdateTime.QuadPart == 0) {
    return;
  }
  const bool visible = frame.PointerPosition.Visible != FALSE;
  if (visible != cursor.visible) {
    cursor.visible = visible;
    cursorChanged = true;
  }
}

void ScreenCapturer::CaptureDevice::NoteShape(const DXGI_OUTDUPL_FRAME_INFO& frame) {
  const UINT size = frame.PointerShapeBufferSize;
  if (size == 0 || size > kLargestShapeBytes) {
    return;
  }
  shapeBytes.assign(size, 0);
  UINT required = 0;
  DXGI_OUTDUPL_POINTER_SHAPE_INFO info{};
  if (FAILED(duplication->GetFramePointerShape(size, shapeBytes.data(), &required, &info))) {
    return;
  }
  const CursorShape shape{info.Type,  info.Width,     info.Height,
                          info.Pitch, info.HotSpot.x, info.HotSpot.y};
  ConvertCursorShape(shape, shapeBytes, cursor);
  cursorChanged = true;
}

ScreenCapturer::ScreenCapturer() : device(new (std::nothrow) CaptureDevice) {}

ScreenCapturer::~ScreenCapturer() = default;

bool ScreenCapturer::Init(uint32_t outputIndex) { return device && device->Init(outputIndex); }

CapturedFrame ScreenCapturer::CaptureFrame(uint32_t timeoutMs) {
  if (!device || !device->EnsureOpen()) {
    // Nothing waits in the system now, and a caller that only grabs must not spin.
    SleepForMs(timeoutMs);
    return {};
  }
  const HRESULT grabbed = device->Grab(timeoutMs);
  if (FAILED(grabbed)) {
    device->Mend(grabbed, timeoutMs);
    return {};
  }
  const Pixels& pixels = device->pixels;
  return {pixels.bytes.data(), pixels.width, pixels.height, true};
}

void ScreenCapturer::StartAfresh() {
  if (device) {
    device->CloseDuplication();
  }
}

bool ScreenCapturer::TakeReopening() { return device && std::exchange(device->reopened, false); }

bool ScreenCapturer::SelectOutput(uint32_t index) { return device && device->Select(index); }

uint32_t ScreenCapturer::CurrentOutput() const { return device ? device->outputIndex.load() : 0; }

std::vector<ScreenInfo> ScreenCapturer::EnumerateScreens() {
  if (!device) {
    return {};
  }
  const ComPtr<ID3D11Device> graphics = device->SharedGraphics();
  return graphics ? ListScreens(graphics.Get()) : std::vector<ScreenInfo>{};
}

bool ScreenCapturer::TakeCursorUpdate(CursorUpdate& update) {
  if (!device || !device->cursorChanged) {
    return false;
  }
  device->cursorChanged = false;
  update = device->cursor;
  return true;
}

}  // namespace talu

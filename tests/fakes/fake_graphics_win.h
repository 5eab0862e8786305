// A graphics card, its monitors and their desktops in the hands of a test.
//
// Stands in for Direct3D 11 and DXGI behind base/system_calls_win.h: install it with
// ReplaceSystemCalls(&graphics.calls). Duplication behaves as the real one: a fresh one begins with
// the whole desktop, an unchanged desktop times out (at once), a mode change costs the access.
// Every object is counted and checked: a use after the last release, a frame acquired or released
// out of turn, or memory read beyond what was mapped ends the program. One at a time; any thread
// may call anything.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/system_calls_win.h"

namespace talu {

// One output of the fake card.
struct FakeMonitor {
  std::wstring name = L"\\\\.\\DISPLAY1";
  RECT desktop{0, 0, 64, 48};
  bool attached = true;
  HRESULT describeResult = S_OK;
  // What duplication shows, and how. The size may differ from the desktop's (a turned monitor).
  UINT width = 64;
  UINT height = 48;
  DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM;
  UINT arraySize = 1;
  uint8_t shade = 1;  // the value of every byte of the picture
};

struct FakePointer {
  bool updated = false;
  bool visible = false;
  DXGI_OUTDUPL_POINTER_SHAPE_INFO shape{};
  std::vector<uint8_t> shapeBytes;
  UINT claimedShapeBytes = 0;  // instead of the true size, when not 0
};

// How the device was asked for.
struct FakeDeviceRequest {
  bool ownAdapter = false;
  D3D_DRIVER_TYPE driver = D3D_DRIVER_TYPE_UNKNOWN;
  bool software = false;
  UINT flags = 0;
  std::vector<D3D_FEATURE_LEVEL> levels;
  UINT sdkVersion = 0;
  bool wantsLevel = false;
};

struct FakeGraphicsState;

class FakeGraphics {
 public:
  FakeGraphics();
  ~FakeGraphics();
  FakeGraphics(const FakeGraphics&) = delete;
  FakeGraphics& operator=(const FakeGraphics&) = delete;

  // The system's calls with this card behind D3d11CreateDevice.
  SystemCalls calls;

  // The monitors, by output number. Change them through these, so that duplications notice.
  void SetMonitors(std::vector<FakeMonitor> monitors);
  void ShowNewPicture(size_t monitor, uint8_t shade);
  void ChangeMode(size_t monitor, UINT width, UINT height);
  void ChangeMonitor(size_t monitor, const std::function<void(FakeMonitor&)>& change);
  // Every duplication loses its access; new ones work.
  void TakeAccess();
  // Every device made so far is gone; new ones work.
  void RemoveDevices(HRESULT reason);
  // DXGI objects made so far no longer know the current outputs.
  void MakeOutputsStale();
  // What the next acquired frame tells about the pointer; makes it come even without a new picture.
  void MovePointer(FakePointer pointer);

  // Calls, numbered from 1 since the last Fail...: the one of that number fails, once.
  void FailStep(int number, HRESULT result);
  // The next count calls of that name fail (kForever: all).
  void Fail(const std::string& call, HRESULT result, int count = kForever);
  void StopFailing();
  static constexpr int kForever = -1;

  // Bytes between the rows that Map shows, beyond the rows' own; kShortPitch tells of a pitch that
  // is less than a row.
  void SetRowPadding(UINT bytes);
  static constexpr UINT kShortPitch = 0xFFFFFFFF;

  int Alive() const;  // objects that exist
  int Steps() const;  // calls since the last FailStep
  int Count(const std::string& call) const;
  // The calls in their order, releases of objects that go away among them ("~Device").
  std::vector<std::string> Log() const;
  void ClearLog();
  FakeDeviceRequest LastDevice() const;
  D3D11_TEXTURE2D_DESC LastTexture() const;
  UINT LastTimeoutMs() const;

 private:
  std::unique_ptr<FakeGraphicsState> state;
};

}  // namespace talu

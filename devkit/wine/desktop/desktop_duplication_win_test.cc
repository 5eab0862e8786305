// Desktop duplication as programs see it, on a real X server with two monitors of different sizes.
#include <d3d11.h>
#include <dxgi1_2.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// Nothing here takes long; what takes this long will not happen any more.
constexpr UINT kPatienceMs = 60'000;
// Long enough that what was drawn before has arrived.
constexpr UINT kQuietMs = 300;
constexpr COLORREF kRed = RGB(200, 10, 30);
constexpr COLORREF kGreen = RGB(20, 180, 40);

struct Area {
  LONG left, top, right, bottom;
  bool operator==(const Area&) const = default;
};

Area AreaOf(const RECT& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

Area Union(const Area& one, const Area& other) {
  return {std::min(one.left, other.left), std::min(one.top, other.top),
          std::max(one.right, other.right), std::max(one.bottom, other.bottom)};
}

uint32_t PixelOf(COLORREF color) {
  return uint32_t{GetRValue(color)} << 16 | uint32_t{GetGValue(color)} << 8 | GetBValue(color);
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  EXPECT_NE(value, nullptr) << name << " is not set; this test is started by ctest";
  return value == nullptr ? "" : value;
}

void Pump() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

bool WaitUntil(const std::function<bool()>& condition) {
  const ULONGLONG end = GetTickCount64() + kPatienceMs;
  while (!condition()) {
    if (GetTickCount64() >= end) return false;
    Pump();
    Sleep(1);
  }
  return true;
}

// A window of one colour without a frame.
class Patch {
 public:
  Patch(int x, int y, COLORREF color) : rect{x, y, x + kSide, y + kSide} {
    window = CreateWindowExW(WS_EX_TOPMOST, L"STATIC", L"", WS_POPUP, x, y, kSide, kSide, nullptr,
                             nullptr, nullptr, nullptr);
    SetWindowPos(window, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    Pump();
    Paint(color);
  }
  ~Patch() {
    DestroyWindow(window);
    Pump();
  }
  Patch(const Patch&) = delete;
  Patch& operator=(const Patch&) = delete;

  void Paint(COLORREF color) {
    HDC dc = GetDC(window);
    HBRUSH brush = CreateSolidBrush(color);
    const RECT whole{0, 0, kSide, kSide};
    FillRect(dc, &whole, brush);
    DeleteObject(brush);
    ReleaseDC(window, dc);
    GdiFlush();
    Pump();
  }

  // A window gets the pointer's shape from its own thread while the pointer is over it.
  void PutPointer() {
    SetCursorPos(rect.left + kSide / 2, rect.top + kSide / 2);
    Pump();
  }

  HWND Window() const { return window; }

  static constexpr int kSide = 120;

 private:
  RECT rect;
  HWND window;
};

struct Frame {
  HRESULT result = E_FAIL;
  DXGI_OUTDUPL_FRAME_INFO info{};
  ComPtr<IDXGIResource> resource;
};

struct Shape {
  HRESULT result = E_FAIL;
  DXGI_OUTDUPL_POINTER_SHAPE_INFO info{};
  std::vector<uint8_t> bytes;
};

struct Picture {
  UINT width = 0;
  UINT height = 0;
  std::vector<uint32_t> pixels;
  uint32_t At(int x, int y) const {
    return pixels[static_cast<size_t>(y) * width + static_cast<size_t>(x)] & 0xFFFFFF;
  }
};

void SetMonitors(const std::string& layout) {
  std::string command = "Z:" + Environment("TALU_SET_MONITORS") + " " + layout;
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  // What it does shows on the display. For a Unix program Wine leaves the handles unset, with
  // whatever value was there; to close them would close some other object's.
  ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
}

class FaultFile {
 public:
  explicit FaultFile(const std::string& text) { Write(text); }
  ~FaultFile() { std::remove(Path().c_str()); }
  FaultFile(const FaultFile&) = delete;
  FaultFile& operator=(const FaultFile&) = delete;

  // In one step, so that no half-written file is read.
  void Write(const std::string& text) {
    const std::string fresh = Path() + ".new";
    std::ofstream(fresh, std::ios::binary) << text;
    ASSERT_TRUE(MoveFileExA(fresh.c_str(), Path().c_str(), MOVEFILE_REPLACE_EXISTING));
  }

 private:
  static std::string Path() { return "Z:" + Environment("TALU_DESKTOP_FAULTS"); }
};

class DesktopDuplication : public testing::Test {
 protected:
  static constexpr const char* kUsualLayout = "1280x720,1024x768";

  void SetUp() override {
    ASSERT_HRESULT_SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0,
                                               nullptr, 0, D3D11_SDK_VERSION, &device, nullptr,
                                               &context));
    ComPtr<IDXGIDevice> dxgiDevice;
    ASSERT_HRESULT_SUCCEEDED(device.As(&dxgiDevice));
    ASSERT_HRESULT_SUCCEEDED(dxgiDevice->GetAdapter(&adapter));
    if (Layout() != UsualRects()) SetMonitors(kUsualLayout);
    ASSERT_TRUE(WaitForLayout(UsualRects()));
    SetCursorPos(1200, 700);
  }

  static std::vector<Area> UsualRects() { return {{0, 0, 1280, 720}, {1280, 0, 2304, 768}}; }

  ComPtr<IDXGIOutput1> Output(UINT index) {
    ComPtr<IDXGIOutput> output;
    ComPtr<IDXGIOutput1> output1;
    if (SUCCEEDED(adapter->EnumOutputs(index, &output))) output.As(&output1);
    return output1;
  }

  // The rectangles of the outputs that are attached.
  std::vector<Area> Layout() {
    std::vector<Area> rects;
    ComPtr<IDXGIOutput> output;
    for (UINT i = 0; SUCCEEDED(adapter->EnumOutputs(i, output.ReleaseAndGetAddressOf())); ++i) {
      DXGI_OUTPUT_DESC desc;
      if (FAILED(output->GetDesc(&desc)) || !desc.AttachedToDesktop) continue;
      rects.push_back(AreaOf(desc.DesktopCoordinates));
    }
    return rects;
  }

  // Wine's own idea of the desktop, which windows and the pointer go by, follows a little later.
  bool WaitForLayout(const std::vector<Area>& rects) {
    Area all = rects.front();
    for (const Area& rect : rects) all = Union(all, rect);
    return WaitUntil([&] {
      return Layout() == rects && GetSystemMetrics(SM_XVIRTUALSCREEN) == all.left &&
             GetSystemMetrics(SM_CXVIRTUALSCREEN) == all.right - all.left &&
             GetSystemMetrics(SM_CYVIRTUALSCREEN) == all.bottom - all.top;
    });
  }

  ComPtr<IDXGIOutputDuplication> Duplicate(UINT index) {
    ComPtr<IDXGIOutputDuplication> duplication;
    const auto output = Output(index);
    if (output != nullptr) output->DuplicateOutput(device.Get(), &duplication);
    EXPECT_NE(duplication, nullptr);
    return duplication;
  }

  // Opens it and takes frames until nothing comes any more.
  ComPtr<IDXGIOutputDuplication> DuplicateQuiet(UINT index) {
    auto duplication = Duplicate(index);
    if (duplication != nullptr) TakeUntilQuiet(duplication.Get());
    return duplication;
  }

  static Frame Acquire(IDXGIOutputDuplication* duplication, UINT timeoutMs) {
    Frame frame;
    frame.result = duplication->AcquireNextFrame(timeoutMs, &frame.info, &frame.resource);
    return frame;
  }

  static void TakeUntilQuiet(IDXGIOutputDuplication* duplication) {
    EXPECT_TRUE(WaitUntil([&] {
      const Frame frame = Acquire(duplication, kQuietMs);
      if (FAILED(frame.result)) return true;
      duplication->ReleaseFrame();
      return false;
    }));
  }

  // The first answer that is not a time-out, which may have to wait for Wine to draw.
  static Frame AcquireSomething(IDXGIOutputDuplication* duplication) {
    Frame frame;
    EXPECT_TRUE(WaitUntil([&] {
      frame = Acquire(duplication, 10);
      return frame.result != DXGI_ERROR_WAIT_TIMEOUT;
    }));
    return frame;
  }

  // Takes frames until one satisfies the condition, and leaves that one held.
  static Frame AcquireUntil(IDXGIOutputDuplication* duplication,
                            const std::function<bool(const Frame&)>& condition) {
    Frame frame;
    EXPECT_TRUE(WaitUntil([&] {
      frame = Acquire(duplication, 10);
      if (FAILED(frame.result)) return frame.result != DXGI_ERROR_WAIT_TIMEOUT;
      if (condition(frame)) return true;
      duplication->ReleaseFrame();
      return false;
    }));
    return frame;
  }

  static HRESULT AcquireFailure(IDXGIOutputDuplication* duplication) {
    return AcquireUntil(duplication, [](const Frame&) { return false; }).result;
  }

  ComPtr<ID3D11Texture2D> NewStaging(UINT width, UINT height, UINT access = D3D11_CPU_ACCESS_READ) {
    D3D11_TEXTURE2D_DESC desc{};
    desc.Width = width;
    desc.Height = height;
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    desc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    desc.SampleDesc.Count = 1;
    desc.Usage = D3D11_USAGE_STAGING;
    desc.CPUAccessFlags = access;
    ComPtr<ID3D11Texture2D> texture;
    EXPECT_HRESULT_SUCCEEDED(device->CreateTexture2D(&desc, nullptr, &texture));
    return texture;
  }

  Picture ReadStaging(ID3D11Texture2D* staging, D3D11_MAP type = D3D11_MAP_READ) {
    D3D11_TEXTURE2D_DESC desc;
    staging->GetDesc(&desc);
    Picture picture{desc.Width, desc.Height, {}};
    D3D11_MAPPED_SUBRESOURCE mapped{};
    EXPECT_HRESULT_SUCCEEDED(context->Map(staging, 0, type, 0, &mapped));
    if (mapped.pData == nullptr) return picture;
    for (UINT y = 0; y < desc.Height; ++y) {
      const auto* row = reinterpret_cast<const uint32_t*>(
          static_cast<const uint8_t*>(mapped.pData) + size_t{y} * mapped.RowPitch);
      picture.pixels.insert(picture.pixels.end(), row, row + desc.Width);
    }
    context->Unmap(staging, 0);
    return picture;
  }

  static ComPtr<ID3D11Texture2D> TextureOf(const Frame& frame) {
    ComPtr<ID3D11Texture2D> texture;
    EXPECT_HRESULT_SUCCEEDED(frame.resource.As(&texture));
    return texture;
  }

  Picture ReadFrame(const Frame& frame) {
    const auto texture = TextureOf(frame);
    D3D11_TEXTURE2D_DESC desc;
    texture->GetDesc(&desc);
    EXPECT_EQ(desc.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
    const auto staging = NewStaging(desc.Width, desc.Height);
    context->CopyResource(staging.Get(), texture.Get());
    return ReadStaging(staging.Get());
  }

  bool Shows(const Frame& frame, int x, int y, COLORREF color) {
    return SUCCEEDED(frame.result) && ReadFrame(frame).At(x, y) == PixelOf(color);
  }

  static Shape ReadShape(IDXGIOutputDuplication* duplication, const Frame& frame) {
    Shape shape;
    shape.bytes.resize(frame.info.PointerShapeBufferSize);
    UINT needed = 0;
    shape.result = duplication->GetFramePointerShape(static_cast<UINT>(shape.bytes.size()),
                                                     shape.bytes.data(), &needed, &shape.info);
    EXPECT_EQ(needed, shape.bytes.size());
    return shape;
  }

  ComPtr<ID3D11Device> device;
  ComPtr<ID3D11DeviceContext> context;
  ComPtr<IDXGIAdapter> adapter;
};

TEST_F(DesktopDuplication, OutputsAreTheMonitorsWithTheirPlacesOnTheDesktop) {
  EXPECT_EQ(Layout(), UsualRects());
  DXGI_OUTPUT_DESC desc;
  ASSERT_HRESULT_SUCCEEDED(Output(1)->GetDesc(&desc));
  EXPECT_STREQ(desc.DeviceName, L"\\\\.\\DISPLAY2");
  EXPECT_EQ(Output(2), nullptr);
}

TEST_F(DesktopDuplication, TheFirstFrameIsTheWholeDesktopAtOnce) {
  const auto duplication = Duplicate(0);
  DXGI_OUTDUPL_DESC desc;
  duplication->GetDesc(&desc);
  EXPECT_EQ(desc.ModeDesc.Width, 1280u);
  EXPECT_EQ(desc.ModeDesc.Height, 720u);
  const Frame frame = Acquire(duplication.Get(), 0);
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  EXPECT_NE(frame.info.LastPresentTime.QuadPart, 0);
  EXPECT_NE(frame.info.LastMouseUpdateTime.QuadPart, 0);
  EXPECT_GE(frame.info.AccumulatedFrames, 1u);
  const Picture picture = ReadFrame(frame);
  EXPECT_EQ(picture.width, 1280u);
  EXPECT_EQ(picture.height, 720u);
}

TEST_F(DesktopDuplication, TheSecondMonitorHasItsOwnSizeAndItsOwnPixels) {
  Patch left(100, 100, kGreen);
  Patch right(1280 + 100, 100, kRed);
  const auto duplication = Duplicate(1);
  const Frame frame = AcquireUntil(duplication.Get(),
                                   [&](const Frame& seen) { return Shows(seen, 150, 150, kRed); });
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  EXPECT_EQ(ReadFrame(frame).width, 1024u);
  EXPECT_EQ(ReadFrame(frame).height, 768u);
}

TEST_F(DesktopDuplication, AnUnchangedDesktopTimesOut) {
  const auto duplication = DuplicateQuiet(0);
  int inARow = 0;
  ASSERT_TRUE(WaitUntil([&] {
    const Frame frame = Acquire(duplication.Get(), 20);
    inARow = frame.result == DXGI_ERROR_WAIT_TIMEOUT ? inARow + 1 : 0;
    EXPECT_EQ(FAILED(frame.result), frame.resource == nullptr);
    if (SUCCEEDED(frame.result)) duplication->ReleaseFrame();
    return inARow == 5;
  }));
}

TEST_F(DesktopDuplication, DrawingWakesAWaitingCall) {
  Patch patch(100, 100, kRed);
  const auto duplication = DuplicateQuiet(0);
  Frame frame;
  std::thread waiter([&] { frame = Acquire(duplication.Get(), kPatienceMs); });
  patch.Paint(kGreen);
  waiter.join();
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  EXPECT_NE(frame.info.LastPresentTime.QuadPart, 0);
}

TEST_F(DesktopDuplication, DirtyRectanglesCoverWhatWasDrawnAndNoMore) {
  Patch patch(100, 140, kRed);
  const auto duplication = DuplicateQuiet(0);
  const Area drawn{100, 140, 100 + Patch::kSide, 140 + Patch::kSide};
  int shade = 0;
  const auto rects = [&] {
    patch.Paint(RGB(++shade % 256, 90, 90));
    const Frame frame = AcquireSomething(duplication.Get());
    UINT needed = 0;
    duplication->GetFrameDirtyRects(0, nullptr, &needed);
    EXPECT_EQ(needed, frame.info.TotalMetadataBufferSize);
    std::vector<RECT> taken(needed / sizeof(RECT));
    EXPECT_HRESULT_SUCCEEDED(duplication->GetFrameDirtyRects(needed, taken.data(), &needed));
    duplication->ReleaseFrame();
    return taken;
  };
  EXPECT_TRUE(WaitUntil([&] {
    const auto taken = rects();
    if (taken.empty()) return false;
    Area all = AreaOf(taken.front());
    for (const RECT& rect : taken) all = Union(all, AreaOf(rect));
    return all == drawn;
  }));
}

TEST_F(DesktopDuplication, RectanglesNeedRoomAndNothingIsMoved) {
  const auto duplication = Duplicate(0);
  ASSERT_HRESULT_SUCCEEDED(Acquire(duplication.Get(), 0).result);
  UINT needed = 0;
  RECT rect;
  EXPECT_EQ(duplication->GetFrameDirtyRects(0, nullptr, &needed), DXGI_ERROR_MORE_DATA);
  ASSERT_EQ(needed, sizeof rect);
  EXPECT_HRESULT_SUCCEEDED(duplication->GetFrameDirtyRects(needed, &rect, &needed));
  EXPECT_EQ(AreaOf(rect), (Area{0, 0, 1280, 720}));
  EXPECT_HRESULT_SUCCEEDED(duplication->GetFrameMoveRects(0, nullptr, &needed));
  EXPECT_EQ(needed, 0u);
}

TEST_F(DesktopDuplication, AfterManyChangesTheLastPictureIsNotStale) {
  Patch patch(100, 100, kRed);
  const auto duplication = DuplicateQuiet(0);
  for (int round = 0; round < 50; ++round) {
    for (int step = 0; step < 20; ++step) patch.Paint(RGB(step * 10, round * 4, 77));
    const COLORREF last = RGB(round, 255 - round, 5);
    patch.Paint(last);
    // Nothing is drawn any more, so only a picture that was told of can show it.
    const Frame frame = AcquireUntil(duplication.Get(), [&](const Frame& seen) {
      const Picture picture = ReadFrame(seen);
      return picture.At(150, 150) == PixelOf(last) && picture.At(101, 101) == PixelOf(last);
    });
    ASSERT_HRESULT_SUCCEEDED(frame.result);
    duplication->ReleaseFrame();
  }
}

TEST_F(DesktopDuplication, WhatHappensOnAnotherMonitorIsNoFrame) {
  Patch patch(1280 + 100, 100, kRed);
  const auto watched = DuplicateQuiet(0);
  const auto other = DuplicateQuiet(1);
  int frames = 0;
  for (int i = 0; i < 20; ++i) {
    patch.Paint(RGB(i * 10, 100, 100));
    ASSERT_HRESULT_SUCCEEDED(AcquireSomething(other.Get()).result);
    other->ReleaseFrame();
    if (FAILED(Acquire(watched.Get(), 0).result)) continue;
    ++frames;
    watched->ReleaseFrame();
  }
  // A busy machine may still bring a frame of what was before.
  EXPECT_LE(frames, 2);
}

TEST_F(DesktopDuplication, EveryWayOfCopyingAFrameGivesTheSamePicture) {
  Patch patch(100, 100, kRed);
  const auto duplication = Duplicate(0);
  const Frame frame = AcquireUntil(duplication.Get(),
                                   [&](const Frame& seen) { return Shows(seen, 150, 150, kRed); });
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  const auto texture = TextureOf(frame);
  const auto plain = NewStaging(1280, 720);
  context->CopyResource(plain.Get(), texture.Get());
  const Picture expected = ReadStaging(plain.Get());
  ASSERT_EQ(expected.At(150, 150), PixelOf(kRed));
  const auto differs = [&expected](const Picture& picture) {
    for (UINT y = 0; y < picture.height; ++y) {
      for (UINT x = 0; x < picture.width; ++x) {
        if (picture.At(static_cast<int>(x), static_cast<int>(y)) !=
            expected.At(static_cast<int>(x), static_cast<int>(y))) {
          return true;
        }
      }
    }
    return false;
  };

  const auto region = NewStaging(1280, 720);
  context->CopySubresourceRegion(region.Get(), 0, 0, 0, 0, texture.Get(), 0, nullptr);
  EXPECT_FALSE(differs(ReadStaging(region.Get())));

  const auto small = NewStaging(300, 300);
  const D3D11_BOX box{0, 0, 0, 300, 300, 1};
  context->CopySubresourceRegion(small.Get(), 0, 0, 0, 0, texture.Get(), 0, &box);
  EXPECT_FALSE(differs(ReadStaging(small.Get())));

  const auto second = NewStaging(1280, 720);
  context->CopyResource(second.Get(), plain.Get());
  EXPECT_FALSE(differs(ReadStaging(second.Get())));

  const auto writable = NewStaging(1280, 720, D3D11_CPU_ACCESS_READ | D3D11_CPU_ACCESS_WRITE);
  context->CopyResource(writable.Get(), texture.Get());
  EXPECT_FALSE(differs(ReadStaging(writable.Get(), D3D11_MAP_READ_WRITE)));

  ComPtr<ID3D11ShaderResourceView> view;
  ASSERT_HRESULT_SUCCEEDED(device->CreateShaderResourceView(texture.Get(), nullptr, &view));
  context->CopyResource(region.Get(), texture.Get());
  EXPECT_FALSE(differs(ReadStaging(region.Get())));
}

TEST_F(DesktopDuplication, APartWrittenOverACopiedFrameShowsWithTheRestAround) {
  Patch patch(100, 100, kRed);
  const auto duplication = Duplicate(0);
  const Frame frame = AcquireUntil(duplication.Get(),
                                   [&](const Frame& seen) { return Shows(seen, 150, 150, kRed); });
  const auto staging = NewStaging(1280, 720);
  context->CopyResource(staging.Get(), TextureOf(frame).Get());
  const auto source = NewStaging(8, 8, D3D11_CPU_ACCESS_WRITE);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  ASSERT_HRESULT_SUCCEEDED(context->Map(source.Get(), 0, D3D11_MAP_WRITE, 0, &mapped));
  for (UINT y = 0; y < 8; ++y) {
    std::memset(static_cast<uint8_t*>(mapped.pData) + size_t{y} * mapped.RowPitch, 0x11,
                size_t{8} * 4);
  }
  context->Unmap(source.Get(), 0);
  context->CopySubresourceRegion(staging.Get(), 0, 150, 150, 0, source.Get(), 0, nullptr);
  const Picture picture = ReadStaging(staging.Get());
  EXPECT_EQ(picture.At(150, 150), 0x111111u);
  EXPECT_EQ(picture.At(157, 157), 0x111111u);
  EXPECT_EQ(picture.At(158, 158), PixelOf(kRed));
  EXPECT_EQ(picture.At(110, 110), PixelOf(kRed));
}

TEST_F(DesktopDuplication, ACopiedFrameStaysWhenTheDesktopGoesOn) {
  Patch patch(100, 100, kRed);
  const auto duplication = Duplicate(0);
  const auto staging = NewStaging(1280, 720);
  const Frame frame = AcquireUntil(duplication.Get(),
                                   [&](const Frame& seen) { return Shows(seen, 150, 150, kRed); });
  context->CopyResource(staging.Get(), TextureOf(frame).Get());
  duplication->ReleaseFrame();
  for (int i = 0; i < 8; ++i) {
    patch.Paint(RGB(i, i, 200));
    ASSERT_HRESULT_SUCCEEDED(AcquireSomething(duplication.Get()).result);
    duplication->ReleaseFrame();
  }
  EXPECT_EQ(ReadStaging(staging.Get()).At(150, 150), PixelOf(kRed));
}

TEST_F(DesktopDuplication, ACopiedFrameOutlivesTheDuplication) {
  Patch patch(100, 100, kRed);
  auto duplication = Duplicate(0);
  const auto staging = NewStaging(1280, 720);
  Frame frame = AcquireUntil(duplication.Get(),
                             [&](const Frame& seen) { return Shows(seen, 150, 150, kRed); });
  context->CopyResource(staging.Get(), TextureOf(frame).Get());
  duplication->ReleaseFrame();
  frame.resource.Reset();
  duplication.Reset();
  EXPECT_EQ(ReadStaging(staging.Get()).At(150, 150), PixelOf(kRed));
}

TEST_F(DesktopDuplication, FramesAreHeldOneAtATime) {
  const auto duplication = Duplicate(0);
  EXPECT_EQ(duplication->ReleaseFrame(), DXGI_ERROR_INVALID_CALL);
  UINT needed = 0;
  DXGI_OUTDUPL_POINTER_SHAPE_INFO info;
  EXPECT_EQ(duplication->GetFramePointerShape(0, nullptr, &needed, &info), DXGI_ERROR_INVALID_CALL);
  EXPECT_EQ(duplication->GetFrameDirtyRects(0, nullptr, &needed), DXGI_ERROR_INVALID_CALL);
  ASSERT_HRESULT_SUCCEEDED(Acquire(duplication.Get(), 0).result);
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_INVALID_CALL);
  EXPECT_EQ(duplication->ReleaseFrame(), S_OK);
  EXPECT_EQ(duplication->ReleaseFrame(), DXGI_ERROR_INVALID_CALL);
}

TEST_F(DesktopDuplication, AnOutputIsDuplicatedOnceAtATime) {
  auto duplication = Duplicate(0);
  ComPtr<IDXGIOutputDuplication> again;
  EXPECT_EQ(Output(0)->DuplicateOutput(device.Get(), &again), E_INVALIDARG);
  EXPECT_EQ(again, nullptr);
  duplication.Reset();
  EXPECT_HRESULT_SUCCEEDED(Output(0)->DuplicateOutput(device.Get(), &again));
}

TEST_F(DesktopDuplication, OnlyADeviceOfDirect3D11CanDuplicate) {
  ComPtr<IDXGIOutputDuplication> duplication;
  EXPECT_EQ(Output(0)->DuplicateOutput(nullptr, &duplication), E_INVALIDARG);
  EXPECT_EQ(Output(0)->DuplicateOutput(adapter.Get(), &duplication), E_INVALIDARG);
  EXPECT_EQ(Output(0)->DuplicateOutput(device.Get(), nullptr), E_INVALIDARG);
}

// --- The pointer ---------------------------------------------------------------------------------

class Pointer : public DesktopDuplication {
 protected:
  void SetUp() override {
    DesktopDuplication::SetUp();
    patch = std::make_unique<Patch>(100, 100, kRed);
    patch->PutPointer();
  }
  void TearDown() override {
    SetEnvironmentVariableA("TALU_DESKTOP_CURSOR_KIND", nullptr);
    patch.reset();
  }

  // A pointer of 32 x 32 pixels, its upper half of the colour, its lower half transparent.
  static HCURSOR NewColorPointer(uint32_t argb) {
    BITMAPV5HEADER header{};
    header.bV5Size = sizeof header;
    header.bV5Width = 32;
    header.bV5Height = -32;
    header.bV5Planes = 1;
    header.bV5BitCount = 32;
    header.bV5Compression = BI_BITFIELDS;
    header.bV5RedMask = 0x00FF0000;
    header.bV5GreenMask = 0x0000FF00;
    header.bV5BlueMask = 0x000000FF;
    header.bV5AlphaMask = 0xFF000000;
    void* bits = nullptr;
    HBITMAP color = CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&header),
                                     DIB_RGB_COLORS, &bits, nullptr, 0);
    for (int i = 0; i < 32 * 32; ++i) static_cast<uint32_t*>(bits)[i] = i < 32 * 16 ? argb : 0;
    std::vector<uint8_t> blank(size_t{32} * 4, 0);
    HBITMAP mask = CreateBitmap(32, 32, 1, 1, blank.data());
    ICONINFO icon{FALSE, 3, 5, mask, color};
    HCURSOR cursor = CreateIconIndirect(&icon);
    DeleteObject(mask);
    DeleteObject(color);
    return cursor;
  }

  // The window's class gives the shape whenever the pointer is told to be over it.
  void Show(HCURSOR cursor) {
    SetClassLongPtrW(patch->Window(), GCLP_HCURSOR, reinterpret_cast<LONG_PTR>(cursor));
    SetCursor(cursor);
    Pump();
  }

  Frame AcquireShape(IDXGIOutputDuplication* duplication) {
    return AcquireUntil(duplication,
                        [](const Frame& frame) { return frame.info.PointerShapeBufferSize > 0; });
  }

  // Waits for a shape that fits, told by a duplication that delivers pointers as this kind.
  Shape AwaitShape(const char* kind, HCURSOR cursor,
                   const std::function<bool(const Shape&)>& fits) {
    SetEnvironmentVariableA("TALU_DESKTOP_CURSOR_KIND", kind);
    const auto duplication = Duplicate(0);
    Show(cursor);
    Shape shape;
    const Frame frame = AcquireUntil(duplication.Get(), [&](const Frame& seen) {
      if (seen.info.PointerShapeBufferSize == 0) return false;
      shape = ReadShape(duplication.Get(), seen);
      return SUCCEEDED(shape.result) && fits(shape);
    });
    EXPECT_HRESULT_SUCCEEDED(frame.result);
    return shape;
  }

  static bool IsKind(const Shape& shape, DXGI_OUTDUPL_POINTER_SHAPE_TYPE kind) {
    return shape.info.Type == static_cast<UINT>(kind);
  }

  std::unique_ptr<Patch> patch;
};

TEST_F(Pointer, AChangedShapeAloneIsAFrameWithTheDesktopAsItWas) {
  const auto duplication = DuplicateQuiet(0);
  HCURSOR pointers[] = {NewColorPointer(0xFF20C040), NewColorPointer(0xFF4020C0)};
  int shown = 0;
  Frame frame;
  // A busy machine may bring what was drawn before together with the pointer.
  ASSERT_TRUE(WaitUntil([&] {
    if (frame.resource != nullptr) duplication->ReleaseFrame();
    Show(pointers[++shown % 2]);
    frame = AcquireShape(duplication.Get());
    return frame.info.LastPresentTime.QuadPart == 0;
  }));
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  EXPECT_NE(frame.info.LastMouseUpdateTime.QuadPart, 0);
  EXPECT_EQ(frame.info.PointerPosition.Visible, TRUE);
  EXPECT_EQ(frame.info.AccumulatedFrames, 0u);
  EXPECT_EQ(frame.info.TotalMetadataBufferSize, 0u);
  EXPECT_EQ(ReadFrame(frame).At(110, 110), PixelOf(kRed));
}

TEST_F(Pointer, AColourShapeHasItsPixelsAndItsHotSpot) {
  const Shape shape = AwaitShape("", NewColorPointer(0xFF3070B0), [](const Shape& seen) {
    return IsKind(seen, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR) && seen.bytes[0] == 0xB0;
  });
  EXPECT_EQ(shape.info.Width, 32u);
  EXPECT_EQ(shape.info.Height, 32u);
  EXPECT_EQ(shape.info.Pitch, 128u);
  EXPECT_EQ(shape.info.HotSpot.x, 3);
  EXPECT_EQ(shape.info.HotSpot.y, 5);
  ASSERT_EQ(shape.bytes.size(), 32u * 32 * 4);
  EXPECT_EQ(std::vector<uint8_t>(shape.bytes.begin(), shape.bytes.begin() + 4),
            (std::vector<uint8_t>{0xB0, 0x70, 0x30, 0xFF}));
  EXPECT_EQ(shape.bytes.back(), 0);
}

TEST_F(Pointer, TheShapeIsToldOnceAndNeedsRoom) {
  const auto duplication = Duplicate(0);
  Show(NewColorPointer(0xFF102030));
  const Frame frame = AcquireUntil(duplication.Get(), [&](const Frame& seen) {
    return seen.info.PointerShapeBufferSize == 32 * 32 * 4 &&
           ReadShape(duplication.Get(), seen).bytes[0] == 0x30;
  });
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  UINT needed = 0;
  DXGI_OUTDUPL_POINTER_SHAPE_INFO info;
  uint8_t little[16];
  EXPECT_EQ(duplication->GetFramePointerShape(sizeof little, little, &needed, &info),
            DXGI_ERROR_MORE_DATA);
  EXPECT_EQ(needed, 32u * 32 * 4);
  duplication->ReleaseFrame();
  patch->Paint(kGreen);
  const Frame next = AcquireUntil(duplication.Get(), [&](const Frame& seen) {
    EXPECT_EQ(seen.info.PointerShapeBufferSize, 0u);
    EXPECT_EQ(seen.info.LastMouseUpdateTime.QuadPart, 0);
    return Shows(seen, 110, 110, kGreen);
  });
  EXPECT_HRESULT_SUCCEEDED(next.result);
}

TEST_F(Pointer, AHiddenPointerIsToldAsInvisibleAndComesBack) {
  const auto duplication = Duplicate(0);
  Show(NewColorPointer(0xFF20C040));
  const auto visible = [](const Frame& frame) {
    return frame.info.LastMouseUpdateTime.QuadPart != 0 && frame.info.PointerPosition.Visible;
  };
  const auto hidden = [](const Frame& frame) {
    return frame.info.LastMouseUpdateTime.QuadPart != 0 && !frame.info.PointerPosition.Visible;
  };
  ASSERT_HRESULT_SUCCEEDED(AcquireUntil(duplication.Get(), visible).result);
  duplication->ReleaseFrame();
  Show(nullptr);
  const Frame gone = AcquireUntil(duplication.Get(), hidden);
  ASSERT_HRESULT_SUCCEEDED(gone.result);
  EXPECT_EQ(gone.info.PointerShapeBufferSize, 0u);
  duplication->ReleaseFrame();
  Show(NewColorPointer(0xFF4080C0));
  EXPECT_HRESULT_SUCCEEDED(AcquireUntil(duplication.Get(), visible).result);
}

TEST_F(Pointer, BlackAndWhitePointersComeAsMonochromeShapes) {
  const Shape shape = AwaitShape("", NewColorPointer(0xFF000000), [](const Shape& seen) {
    return IsKind(seen, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME) && seen.info.HotSpot.x == 3;
  });
  EXPECT_EQ(shape.info.Width, 32u);
  EXPECT_EQ(shape.info.Height, 64u);
  EXPECT_EQ(shape.info.Pitch, 4u);
  ASSERT_EQ(shape.bytes.size(), 64u * 4);
  // Black above, the screen below, and nothing flipped.
  EXPECT_EQ(shape.bytes[0], 0);
  EXPECT_EQ(shape.bytes[size_t{31} * 4], 0xFF);
  EXPECT_EQ(shape.bytes[size_t{32} * 4], 0);
}

TEST_F(Pointer, TheBeamOverTextInvertsTheScreen) {
  AwaitShape("monochrome", LoadCursorA(nullptr, IDC_IBEAM), [](const Shape& seen) {
    const size_t half = seen.bytes.size() / 2;
    bool inverts = false;
    for (size_t i = 0; i < half; ++i) {
      inverts = inverts || (seen.bytes[i] & seen.bytes[half + i]) != 0;
    }
    return inverts && IsKind(seen, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME);
  });
}

TEST_F(Pointer, EveryKindCanBeAskedFor) {
  AwaitShape("color", NewColorPointer(0xFF000000),
             [](const Shape& seen) { return IsKind(seen, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR); });
  AwaitShape("monochrome", NewColorPointer(0xFF123456), [](const Shape& seen) {
    return IsKind(seen, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME);
  });
  const Shape masked = AwaitShape("masked", NewColorPointer(0xFF123456), [](const Shape& seen) {
    return IsKind(seen, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MASKED_COLOR) && seen.bytes[0] == 0x56;
  });
  EXPECT_EQ(std::vector<uint8_t>(masked.bytes.begin(), masked.bytes.begin() + 4),
            (std::vector<uint8_t>{0x56, 0x34, 0x12, 0}));
  EXPECT_EQ(masked.bytes.back(), 255);
}

// --- The monitors' layout ------------------------------------------------------------------------

TEST_F(DesktopDuplication, AModeChangeLosesAccessAndTheNextDuplicationHasTheNewSize) {
  auto duplication = DuplicateQuiet(0);
  SetMonitors("1024x768,800x600");
  EXPECT_EQ(AcquireFailure(duplication.Get()), DXGI_ERROR_ACCESS_LOST);
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_ACCESS_LOST);
  EXPECT_EQ(duplication->ReleaseFrame(), DXGI_ERROR_ACCESS_LOST);
  duplication.Reset();
  ASSERT_TRUE(WaitForLayout({{0, 0, 1024, 768}, {1024, 0, 1824, 600}}));
  duplication = Duplicate(0);
  const Frame frame = Acquire(duplication.Get(), 0);
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  const Picture picture = ReadFrame(frame);
  EXPECT_EQ(picture.width, 1024u);
  EXPECT_EQ(picture.height, 768u);
}

TEST_F(DesktopDuplication, AWaitingCallIsWokenByAModeChange) {
  const auto duplication = DuplicateQuiet(0);
  Frame frame;
  std::thread waiter([&] {
    for (;;) {
      frame = Acquire(duplication.Get(), kPatienceMs);
      if (FAILED(frame.result)) return;
      duplication->ReleaseFrame();
    }
  });
  SetMonitors("800x600");
  waiter.join();
  EXPECT_EQ(frame.result, DXGI_ERROR_ACCESS_LOST);
}

TEST_F(DesktopDuplication, AMonitorLeftOfThePrimaryHasANegativePlace) {
  SetMonitors("1280x720,1024x768@left");
  ASSERT_TRUE(WaitForLayout({{0, 0, 1280, 720}, {-1024, 0, 0, 768}}));
  Patch patch(-1024 + 30, 40, kGreen);
  const auto duplication = Duplicate(1);
  const Frame frame = AcquireUntil(duplication.Get(),
                                   [&](const Frame& seen) { return Shows(seen, 50, 60, kGreen); });
  EXPECT_HRESULT_SUCCEEDED(frame.result);
}

TEST_F(DesktopDuplication, AnUnpluggedMonitorIsGoneAndCannotBeDuplicated) {
  const auto kept = Output(1);
  const auto duplication = DuplicateQuiet(1);
  SetMonitors("1280x720");
  EXPECT_EQ(AcquireFailure(duplication.Get()), DXGI_ERROR_ACCESS_LOST);
  ASSERT_TRUE(WaitForLayout({{0, 0, 1280, 720}}));
  EXPECT_EQ(Output(1), nullptr);
  DXGI_OUTPUT_DESC desc;
  ASSERT_HRESULT_SUCCEEDED(kept->GetDesc(&desc));
  EXPECT_EQ(desc.AttachedToDesktop, FALSE);
  ComPtr<IDXGIOutputDuplication> again;
  EXPECT_EQ(kept->DuplicateOutput(device.Get(), &again), DXGI_ERROR_UNSUPPORTED);
}

TEST_F(DesktopDuplication, AMonitorPluggedInLaterIsListedAndCanBeDuplicated) {
  SetMonitors("1280x720,1024x768,800x600");
  ASSERT_TRUE(WaitForLayout({{0, 0, 1280, 720}, {1280, 0, 2304, 768}, {2304, 0, 3104, 600}}));
  DXGI_OUTPUT_DESC desc;
  ASSERT_HRESULT_SUCCEEDED(Output(2)->GetDesc(&desc));
  EXPECT_STREQ(desc.DeviceName, L"\\\\.\\DISPLAY3");
  Patch patch(2304 + 100, 100, kGreen);
  const auto duplication = Duplicate(2);
  const Frame frame = AcquireUntil(
      duplication.Get(), [&](const Frame& seen) { return Shows(seen, 150, 150, kGreen); });
  ASSERT_HRESULT_SUCCEEDED(frame.result);
  EXPECT_EQ(ReadFrame(frame).width, 800u);
}

TEST_F(DesktopDuplication, AMonitorOfOddSizeIsWhole) {
  SetMonitors("1367x769");
  ASSERT_TRUE(WaitForLayout({{0, 0, 1367, 769}}));
  Patch patch(1367 - Patch::kSide, 769 - Patch::kSide, kGreen);
  const auto duplication = Duplicate(0);
  const Frame frame = AcquireUntil(
      duplication.Get(), [&](const Frame& seen) { return Shows(seen, 1366, 768, kGreen); });
  EXPECT_HRESULT_SUCCEEDED(frame.result);
}

// --- Faults --------------------------------------------------------------------------------------

TEST_F(DesktopDuplication, AccessIsLostOnceForEachWritingOfTheFault) {
  auto duplication = Duplicate(0);
  FaultFile faults("access-lost\n");
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_ACCESS_LOST);
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_ACCESS_LOST);
  duplication.Reset();
  duplication = Duplicate(0);
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, S_OK);
  duplication->ReleaseFrame();
  faults.Write("# again\naccess-lost\n");
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_ACCESS_LOST);
}

TEST_F(DesktopDuplication, FaultsFailAcquiringUntilTheyAreTakenBack) {
  const auto duplication = Duplicate(0);
  FaultFile faults("device-removed\n");
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_DEVICE_REMOVED);
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, DXGI_ERROR_DEVICE_REMOVED);
  faults.Write("acquire-fails 0x8000FFFF\n");
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, E_UNEXPECTED);
  faults.Write("no-frames\n");
  EXPECT_EQ(Acquire(duplication.Get(), 10).result, DXGI_ERROR_WAIT_TIMEOUT);
  faults.Write("");
  EXPECT_EQ(Acquire(duplication.Get(), 0).result, S_OK);
}

TEST_F(DesktopDuplication, FaultsFailTheNextFewDuplications) {
  const FaultFile faults("duplicate-fails 2\n");
  ComPtr<IDXGIOutputDuplication> duplication;
  EXPECT_EQ(Output(0)->DuplicateOutput(device.Get(), &duplication), E_ACCESSDENIED);
  EXPECT_EQ(Output(0)->DuplicateOutput(device.Get(), &duplication), E_ACCESSDENIED);
  EXPECT_EQ(Output(0)->DuplicateOutput(device.Get(), &duplication), S_OK);
}

TEST_F(Pointer, AFaultHidesIt) {
  const auto duplication = Duplicate(0);
  Show(NewColorPointer(0xFF20C040));
  ASSERT_HRESULT_SUCCEEDED(AcquireShape(duplication.Get()).result);
  duplication->ReleaseFrame();
  const auto pointerChanged = [](const Frame& frame) {
    return frame.info.LastMouseUpdateTime.QuadPart != 0;
  };
  FaultFile faults("hide-cursor\n");
  const Frame hidden = AcquireUntil(duplication.Get(), pointerChanged);
  ASSERT_HRESULT_SUCCEEDED(hidden.result);
  EXPECT_EQ(hidden.info.PointerPosition.Visible, FALSE);
  duplication->ReleaseFrame();
  faults.Write("");
  const Frame shown = AcquireUntil(duplication.Get(), pointerChanged);
  ASSERT_HRESULT_SUCCEEDED(shown.result);
  EXPECT_EQ(shown.info.PointerPosition.Visible, TRUE);
}

// --- What is left behind -------------------------------------------------------------------------

size_t CountOpenFiles() {
  size_t count = 0;
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW(L"\\\\?\\unix\\proc\\self\\fd\\*", &found);
  if (search == INVALID_HANDLE_VALUE) return 0;
  do {
    ++count;
  } while (FindNextFileW(search, &found));
  FindClose(search);
  return count;
}

size_t CountSharedMemory() {
  std::ifstream maps(R"(\\?\unix\proc\self\maps)");
  size_t count = 0;
  for (std::string line; std::getline(maps, line);) count += line.find("SYSV") != std::string::npos;
  return count;
}

DWORD CountHandles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

TEST_F(DesktopDuplication, ManyDuplicationsLeaveNothingBehind) {
  const auto staging = NewStaging(1280, 720);
  const auto use = [&] {
    const auto duplication = Duplicate(0);
    ASSERT_NE(duplication, nullptr);
    const Frame frame = Acquire(duplication.Get(), 0);
    ASSERT_HRESULT_SUCCEEDED(frame.result);
    context->CopyResource(staging.Get(), TextureOf(frame).Get());
    duplication->ReleaseFrame();
  };
  // What is made once and kept is made here.
  for (int i = 0; i < 10; ++i) use();
  const size_t files = CountOpenFiles();
  const size_t memory = CountSharedMemory();
  const DWORD handles = CountHandles();
  ASSERT_GT(files, 0u);
  // More than an X server takes connections.
  for (int i = 0; i < 300 && !HasFatalFailure(); ++i) use();
  EXPECT_LE(CountOpenFiles(), files + 2);
  EXPECT_LE(CountSharedMemory(), memory);
  EXPECT_LE(CountHandles(), handles + 8);
}

TEST_F(DesktopDuplication, ReferencesOfDeviceAndAdapterComeBack) {
  const auto count = [](IUnknown* object) {
    object->AddRef();
    return object->Release();
  };
  const ULONG deviceReferences = count(device.Get());
  const ULONG adapterReferences = count(adapter.Get());
  {
    const auto duplication = Duplicate(0);
    const Frame frame = Acquire(duplication.Get(), 0);
    ReadFrame(frame);
    duplication->ReleaseFrame();
  }
  EXPECT_EQ(count(device.Get()), deviceReferences);
  EXPECT_EQ(count(adapter.Get()), adapterReferences);
}

TEST_F(DesktopDuplication, OpeningAndClosingFromManyThreadsIsSafe) {
  std::vector<std::thread> threads;
  std::atomic<int> surprises = 0;
  for (UINT i = 0; i < 4; ++i) {
    threads.emplace_back([this, i, &surprises] {
      for (int round = 0; round < 50; ++round) {
        ComPtr<IDXGIOutputDuplication> duplication;
        const HRESULT result = Output(i % 2)->DuplicateOutput(device.Get(), &duplication);
        if (result != S_OK && result != E_INVALIDARG) ++surprises;
        Layout();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(surprises, 0);
}

// --- Without a display ---------------------------------------------------------------------------

// Run by itself, where DISPLAY names no server.
TEST(DesktopDuplicationWithoutAnXServer, FailsWithoutACrash) {
  ComPtr<ID3D11Device> device;
  const HRESULT created = D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr,
                                            0, D3D11_SDK_VERSION, &device, nullptr, nullptr);
  if (FAILED(created)) return;
  ComPtr<IDXGIDevice> dxgiDevice;
  ComPtr<IDXGIAdapter> adapter;
  ASSERT_HRESULT_SUCCEEDED(device.As(&dxgiDevice));
  ASSERT_HRESULT_SUCCEEDED(dxgiDevice->GetAdapter(&adapter));
  ComPtr<IDXGIOutput> output;
  for (UINT i = 0; SUCCEEDED(adapter->EnumOutputs(i, output.ReleaseAndGetAddressOf())); ++i) {
    ComPtr<IDXGIOutput1> output1;
    ASSERT_HRESULT_SUCCEEDED(output.As(&output1));
    ComPtr<IDXGIOutputDuplication> duplication;
    EXPECT_HRESULT_FAILED(output1->DuplicateOutput(device.Get(), &duplication));
  }
}

}  // namespace
}  // namespace talu

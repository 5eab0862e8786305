#include "devkit/stage/stage_window_win.h"

#include <windowsx.h>

#include <array>
#include <cstdio>
#include <utility>
#include <vector>

namespace talu {
namespace {

constexpr wchar_t kClassName[] = L"talu_stage";
constexpr int kEditId = 1;
constexpr int kWindowTries = 100;
constexpr DWORD kWindowRetryMs = 100;
// The pattern comes again after so many pixels.
constexpr int kPatternPeriod = 512;
constexpr int kPatternStep = 4;
constexpr int kDiscSize = 96;
constexpr int kDiscStep = 6;

std::wstring Widen(const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  std::wstring wide(MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Narrow(const std::wstring& text) {
  const int units = static_cast<int>(text.size());
  std::string narrow(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), units, narrow.data(),
                      static_cast<int>(narrow.size()), nullptr, nullptr);
  return narrow;
}

int64_t UnixTimeUs() {
  constexpr int64_t kStepsPerUs = 10;
  constexpr int64_t kUsFrom1601To1970 = 11'644'473'600'000'000;
  FILETIME time;
  GetSystemTimePreciseAsFileTime(&time);
  const uint64_t steps = uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  return static_cast<int64_t>(steps) / kStepsPerUs - kUsFrom1601To1970;
}

COLORREF ToColorRef(uint32_t rgb) { return RGB(rgb >> 16 & 255, rgb >> 8 & 255, rgb & 255); }

// 32-bit pixels, the top row first.
HBITMAP MakeBitmap(int width, int height, uint32_t** pixels) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  return CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(pixels), nullptr,
                          0);
}

// Opaque, with its hot spot where a swapped or lost coordinate shows.
HCURSOR MakeColourCursor() {
  constexpr int kSize = 24;
  uint32_t* pixels = nullptr;
  HBITMAP colour = MakeBitmap(kSize, kSize, &pixels);
  if (colour == nullptr) return nullptr;
  for (int i = 0; i < kSize * kSize; ++i) {
    pixels[i] = i / kSize < kSize / 2 ? 0xffff4020u : 0xff2040ffu;
  }
  const std::vector<uint8_t> empty(kSize * kSize / 8);
  HBITMAP mask = CreateBitmap(kSize, kSize, 1, 1, empty.data());
  ICONINFO info{FALSE, 5, 7, mask, colour};
  HCURSOR made = CreateIconIndirect(&info);
  DeleteObject(mask);
  DeleteObject(colour);
  return made;
}

// A quarter each: black, white, see-through, inverting.
HCURSOR MakeMonoCursor() {
  constexpr int kSize = 32;
  std::array<uint8_t, kSize * kSize / 8> andMask{};
  std::array<uint8_t, kSize * kSize / 8> xorMask{};
  for (int row = 0; row < kSize; ++row) {
    for (int byte = 0; byte < kSize / 8; ++byte) {
      const size_t at = static_cast<size_t>(row) * (kSize / 8) + byte;
      andMask[at] = row < kSize / 2 ? 0x00 : 0xff;
      xorMask[at] = byte < kSize / 16 ? 0x00 : 0xff;
    }
  }
  return CreateCursor(nullptr, 9, 3, kSize, kSize, andMask.data(), xorMask.data());
}

HCURSOR CursorOf(const std::string& kind) {
  if (kind == "hidden") return nullptr;
  if (kind == "colour") return MakeColourCursor();
  if (kind == "mono") return MakeMonoCursor();
  if (kind == "ibeam") return LoadCursorA(nullptr, IDC_IBEAM);
  if (kind == "cross") return LoadCursorA(nullptr, IDC_CROSS);
  if (kind == "hand") return LoadCursorA(nullptr, IDC_HAND);
  return LoadCursorA(nullptr, IDC_ARROW);
}

const char* SideButton(WPARAM wide) { return GET_XBUTTON_WPARAM(wide) == XBUTTON1 ? "x1" : "x2"; }

}  // namespace

StageWindow::StageWindow(Actor shown) : actor(std::move(shown)), cursor(CursorOf(actor.cursor)) {}

StageWindow::~StageWindow() {
  if (window != nullptr) DestroyWindow(window);
  for (HDC context : {pattern, picture}) {
    if (context != nullptr) DeleteDC(context);
  }
  for (HBITMAP bitmap : {patternBitmap, pictureBitmap}) {
    if (bitmap != nullptr) DeleteObject(bitmap);
  }
}

bool StageWindow::RegisterWindowClass() {
  WNDCLASSEXW type{};
  type.cbSize = sizeof(type);
  type.lpfnWndProc = OnMessage;
  type.hInstance = GetModuleHandleW(nullptr);
  type.lpszClassName = kClassName;
  return RegisterClassExW(&type) != 0;
}

bool StageWindow::Open() {
  const bool framed = !actor.title.empty();
  const DWORD style = framed ? WS_OVERLAPPEDWINDOW : WS_POPUP;
  RECT place{actor.x, actor.y, actor.x + actor.width, actor.y + actor.height};
  if (framed) AdjustWindowRectEx(&place, style, FALSE, 0);
  // Wine on a busy machine has been seen to refuse a window whose settings were right.
  for (int tries = 0; window == nullptr && tries < kWindowTries; ++tries) {
    if (tries > 0) Sleep(kWindowRetryMs);
    window =
        CreateWindowExW(0, kClassName, Widen(actor.title).c_str(), style | WS_CLIPCHILDREN,
                        place.left, place.top, place.right - place.left, place.bottom - place.top,
                        nullptr, nullptr, GetModuleHandleW(nullptr), this);
  }
  if (window == nullptr) return false;
  if (actor.kind == ActorKind::kMoving && !PreparePattern()) return false;
  if (actor.kind == ActorKind::kTarget) Note("open");
  ShowWindow(window, SW_SHOW);
  UpdateWindow(window);
  return true;
}

LRESULT CALLBACK StageWindow::OnMessage(HWND window, UINT message, WPARAM wide, LPARAM parameter) {
  if (message == WM_NCCREATE) {
    auto* self =
        static_cast<StageWindow*>(reinterpret_cast<CREATESTRUCTW*>(parameter)->lpCreateParams);
    self->window = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
  }
  auto* self = reinterpret_cast<StageWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) return DefWindowProcW(window, message, wide, parameter);
  if (message == WM_NCDESTROY) {
    self->window = nullptr;
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    return DefWindowProcW(window, message, wide, parameter);
  }
  return self->Handle(message, wide, parameter);
}

LRESULT StageWindow::Handle(UINT message, WPARAM wide, LPARAM parameter) {
  const bool notes = actor.kind == ActorKind::kTarget;
  switch (message) {
    case WM_CREATE:
      if (actor.kind == ActorKind::kEdit) {
        edit = CreateWindowExW(
            0, L"EDIT", Widen(actor.text).c_str(),
            WS_CHILD | WS_VISIBLE | WS_VSCROLL | ES_MULTILINE | ES_WANTRETURN | ES_AUTOVSCROLL, 0,
            0, actor.width, actor.height, window,
            reinterpret_cast<HMENU>(static_cast<INT_PTR>(kEditId)), GetModuleHandleW(nullptr),
            nullptr);
        SendMessageW(edit, EM_SETLIMITTEXT, 0, 0);
        SaveText();
      }
      return 0;
    case WM_SIZE:
      if (edit != nullptr) {
        MoveWindow(edit, 0, 0, GET_X_LPARAM(parameter), GET_Y_LPARAM(parameter), TRUE);
      }
      return 0;
    case WM_SETFOCUS:
      if (edit != nullptr) SetFocus(edit);
      return 0;
    case WM_COMMAND:
      if (LOWORD(wide) == kEditId && HIWORD(wide) == EN_CHANGE) SaveText();
      return 0;
    case WM_PAINT:
      Paint();
      return 0;
    case WM_ERASEBKGND:
      return 1;
    case WM_SETCURSOR:
      if (LOWORD(parameter) != HTCLIENT || edit != nullptr) break;
      SetCursor(cursor);
      return TRUE;
    case WM_LBUTTONDOWN:
      Press("left", parameter);
      return 0;
    case WM_LBUTTONUP:
      Release("left", parameter);
      return 0;
    case WM_RBUTTONDOWN:
      Press("right", parameter);
      return 0;
    case WM_RBUTTONUP:
      Release("right", parameter);
      return 0;
    case WM_MBUTTONDOWN:
      Press("middle", parameter);
      return 0;
    case WM_MBUTTONUP:
      Release("middle", parameter);
      return 0;
    case WM_XBUTTONDOWN:
      Press(SideButton(wide), parameter);
      return TRUE;
    case WM_XBUTTONUP:
      Release(SideButton(wide), parameter);
      return TRUE;
    case WM_MOUSEWHEEL:
      if (!notes) break;
      Note("wheel " + std::to_string(GET_WHEEL_DELTA_WPARAM(wide)) + " " +
           std::to_string(GET_X_LPARAM(parameter)) + " " + std::to_string(GET_Y_LPARAM(parameter)));
      return 0;
    case WM_KEYDOWN:
    case WM_SYSKEYDOWN:
    case WM_KEYUP:
    case WM_SYSKEYUP:
      if (!notes) break;
      Note("key " + std::to_string(wide) +
           (message == WM_KEYDOWN || message == WM_SYSKEYDOWN ? " down" : " up"));
      // The default handling of Alt+F4 and the like would take the window away.
      return 0;
    case WM_CHAR:
      if (!notes) break;
      Note("char " + std::to_string(wide));
      return 0;
    case WM_CLOSE:
      // The stage alone decides how long its windows stay.
      return 0;
    default:
      break;
  }
  return DefWindowProcW(window, message, wide, parameter);
}

void StageWindow::Paint() {
  PAINTSTRUCT paint;
  HDC context = BeginPaint(window, &paint);
  if (actor.kind == ActorKind::kMoving && picture != nullptr) {
    BitBlt(context, 0, 0, actor.width, actor.height, picture, 0, 0, SRCCOPY);
  } else if (edit == nullptr) {
    // A target's colour turns into its opposite and back.
    const uint32_t colour = presses % 2 == 0 ? actor.colour : actor.colour ^ 0xffffffu;
    HBRUSH brush = CreateSolidBrush(ToColorRef(colour));
    FillRect(context, &paint.rcPaint, brush);
    DeleteObject(brush);
  }
  EndPaint(window, &paint);
}

void StageWindow::Press(const char* button, LPARAM place) {
  SetForegroundWindow(window);
  SetFocus(window);
  SetCapture(window);
  if (actor.kind != ActorKind::kTarget) return;
  ++presses;
  const int64_t receivedUs = UnixTimeUs();
  InvalidateRect(window, nullptr, FALSE);
  UpdateWindow(window);
  // So that the new colour is on the screen now and not when Windows sees fit.
  GdiFlush();
  const int64_t paintedUs = UnixTimeUs();
  NotePointer(std::string("down ") + button, place,
              actor.times ? " received " + std::to_string(receivedUs) + " painted " +
                                std::to_string(paintedUs)
                          : "");
}

void StageWindow::Release(const char* button, LPARAM place) {
  ReleaseCapture();
  if (actor.kind == ActorKind::kTarget) NotePointer(std::string("up ") + button, place);
}

void StageWindow::NotePointer(const std::string& what, LPARAM place,
                              const std::string& more) const {
  POINT point{GET_X_LPARAM(place), GET_Y_LPARAM(place)};
  ClientToScreen(window, &point);
  Note(what + " " + std::to_string(point.x) + " " + std::to_string(point.y) + more);
}

// Opened for each line, so that a reader sees every line at once, whole.
void StageWindow::Note(const std::string& line) const {
  FILE* file = _wfopen(Widen(actor.file).c_str(), L"ab");
  if (file == nullptr) return;
  const std::string whole = line + "\n";
  std::fwrite(whole.data(), 1, whole.size(), file);
  std::fclose(file);
}

// Written whole and then renamed, so that a reader never sees half a text.
void StageWindow::SaveText() const {
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(edit)) + 1, L'\0');
  text.resize(
      static_cast<size_t>(GetWindowTextW(edit, text.data(), static_cast<int>(text.size()))));
  const std::string bytes = Narrow(text);
  const std::wstring path = Widen(actor.file);
  const std::wstring fresh = path + L".new";
  FILE* file = _wfopen(fresh.c_str(), L"wb");
  if (file == nullptr) return;
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
  MoveFileExW(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING);
}

// A colourful pattern, one period wider than the window, so that any offset into it fills it.
bool StageWindow::PreparePattern() {
  uint32_t* pixels = nullptr;
  const int width = actor.width + kPatternPeriod;
  patternBitmap = MakeBitmap(width, actor.height, &pixels);
  uint32_t* unused = nullptr;
  pictureBitmap = MakeBitmap(actor.width, actor.height, &unused);
  pattern = CreateCompatibleDC(nullptr);
  picture = CreateCompatibleDC(nullptr);
  if (patternBitmap == nullptr || pictureBitmap == nullptr || pattern == nullptr ||
      picture == nullptr) {
    return false;
  }
  for (int y = 0; y < actor.height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto wave = [](int at) { return static_cast<uint32_t>(Bounce(at, 255)); };
      const uint32_t red = wave((x + y) % kPatternPeriod);
      const uint32_t green = wave((x + 2 * y + 170) % kPatternPeriod);
      const uint32_t blue = (x / 32 + y / 32) % 2 == 0 ? 96 : 160;
      pixels[static_cast<size_t>(y) * width + x] = red << 16 | green << 8 | blue;
    }
  }
  SelectObject(pattern, patternBitmap);
  SelectObject(picture, pictureBitmap);
  return true;
}

void StageWindow::DrawNext() {
  const auto offset = static_cast<int>(step * kPatternStep % kPatternPeriod);
  BitBlt(picture, 0, 0, actor.width, actor.height, pattern, offset, 0, SRCCOPY);
  const int x = Bounce(step * kDiscStep, actor.width - kDiscSize);
  const int y = Bounce(step * kDiscStep * 2 / 3, actor.height - kDiscSize);
  SelectObject(picture, GetStockObject(WHITE_BRUSH));
  Ellipse(picture, x, y, x + kDiscSize, y + kDiscSize);
  ++step;
  HDC context = GetDC(window);
  BitBlt(context, 0, 0, actor.width, actor.height, picture, 0, 0, SRCCOPY);
  ReleaseDC(window, context);
}

}  // namespace talu

#include "tests/fakes/fake_screen_capturer.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "capture/desktop_repaint.h"
#include "capture/screen_capturer.h"

namespace talu {
namespace {

struct Grab {
  bool frame = false;
  int32_t width = 0;
  int32_t height = 0;
  uint32_t bgra = FakeCapture::kDefaultPixel;
};

struct Script {
  std::vector<ScreenInfo> screens;
  int initFailures = 0;
  int selectFailures = 0;
  std::deque<Grab> grabs;
  bool still = false;
  std::optional<CursorUpdate> cursor;
  bool reopened = false;
  std::function<void(int64_t, uint32_t)> onGrab;

  int64_t inits = 0;
  int64_t grabCount = 0;
  int64_t framesGiven = 0;
  int64_t selects = 0;
  int64_t enumerations = 0;
  int64_t repaints = 0;
  int64_t freshStarts = 0;
  uint32_t currentOutput = 0;
  std::vector<std::string> calls;
};

Script FreshScript() {
  ScreenInfo only;
  only.name = "\\\\.\\DISPLAY1";
  only.width = 1280;
  only.height = 720;
  only.primary = true;
  Script script;
  script.screens = {only};
  return script;
}

std::mutex scriptLock;
Script script = FreshScript();
std::atomic<int64_t> capturersAlive{0};
std::atomic<int64_t> overlaps{0};

// Runs act on the script, alone.
template <typename Act>
auto WithScript(Act act) {
  const std::lock_guard<std::mutex> hold(scriptLock);
  return act(script);
}

void Note(Script& of, std::string call) {
  if (of.calls.size() < FakeCapture::kCallsKept) {
    of.calls.push_back(std::move(call));
  }
}

bool TakeFailure(int& left) {
  if (left == 0) {
    return false;
  }
  if (left != FakeCapture::kForever) {
    --left;
  }
  return true;
}

const ScreenInfo* FindScreen(const Script& of, uint32_t index) {
  const auto found = std::find_if(of.screens.begin(), of.screens.end(),
                                  [index](const ScreenInfo& s) { return s.index == index; });
  return found == of.screens.end() ? nullptr : &*found;
}

Grab NextGrab(Script& of, uint32_t output) {
  if (!of.grabs.empty()) {
    const Grab next = of.grabs.front();
    of.grabs.pop_front();
    return next;
  }
  const ScreenInfo* screen = FindScreen(of, output);
  if (of.still || screen == nullptr) {
    return {};
  }
  return {true, screen->width, screen->height, FakeCapture::kDefaultPixel};
}

void Fill(std::vector<uint8_t>& pixels, const Grab& grab) {
  pixels.clear();
  pixels.resize(static_cast<size_t>(grab.width) * static_cast<size_t>(grab.height) * 4);
  for (size_t i = 0; i < pixels.size(); i += sizeof(grab.bgra)) {
    std::memcpy(&pixels[i], &grab.bgra, sizeof(grab.bgra));
  }
}

// Notices callers that do not keep to one thread at a time.
class Visit {
 public:
  explicit Visit(std::atomic<int>& visitors) : inside(visitors) {
    if (inside.fetch_add(1) > 0) {
      ++overlaps;
    }
  }
  ~Visit() { inside.fetch_sub(1); }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

 private:
  std::atomic<int>& inside;
};

}  // namespace

struct ScreenCapturer::CaptureDevice {
  std::atomic<int> visitors{0};
  std::atomic<uint32_t> output{0};
  bool open = false;
  bool cursorChanged = false;
  CursorUpdate cursor;
  std::vector<uint8_t> pixels;
};

ScreenCapturer::ScreenCapturer() : device(std::make_unique<CaptureDevice>()) { ++capturersAlive; }

ScreenCapturer::~ScreenCapturer() {
  {
    const Visit visit(device->visitors);
    WithScript([](Script& s) { Note(s, "Destroy"); });
  }
  --capturersAlive;
}

bool ScreenCapturer::Init(uint32_t outputIndex) {
  const Visit visit(device->visitors);
  device->output.store(outputIndex);
  device->open = WithScript([outputIndex](Script& s) {
    ++s.inits;
    Note(s, "Init " + std::to_string(outputIndex));
    if (TakeFailure(s.initFailures) || FindScreen(s, outputIndex) == nullptr) {
      return false;
    }
    s.currentOutput = outputIndex;
    return true;
  });
  return device->open;
}

CapturedFrame ScreenCapturer::CaptureFrame(uint32_t timeoutMs) {
  const Visit visit(device->visitors);
  int64_t number = 0;
  const auto hook = WithScript([&](Script& s) {
    number = ++s.grabCount;
    Note(s, "CaptureFrame " + std::to_string(timeoutMs));
    return s.onGrab;
  });
  if (hook) {
    hook(number, timeoutMs);
  }
  const Grab grab = WithScript([this](Script& s) { return NextGrab(s, device->output.load()); });
  if (!device->open || !grab.frame) {
    return {};
  }
  Fill(device->pixels, grab);
  WithScript([](Script& s) { ++s.framesGiven; });
  return {device->pixels.data(), grab.width, grab.height, true};
}

void ScreenCapturer::StartAfresh() {
  const Visit visit(device->visitors);
  WithScript([](Script& s) { ++s.freshStarts; });
}

bool ScreenCapturer::TakeReopening() {
  const Visit visit(device->visitors);
  return WithScript([](Script& s) { return std::exchange(s.reopened, false); });
}

bool ScreenCapturer::SelectOutput(uint32_t index) {
  const Visit visit(device->visitors);
  const bool selected = WithScript([this, index](Script& s) {
    ++s.selects;
    Note(s, "SelectOutput " + std::to_string(index));
    if (TakeFailure(s.selectFailures) || !device->open) {
      return false;
    }
    if (index == device->output.load()) {
      return true;
    }
    if (FindScreen(s, index) == nullptr) {
      return false;
    }
    device->cursorChanged = true;
    s.currentOutput = index;
    return true;
  });
  if (selected) {
    device->output.store(index);
  }
  return selected;
}

uint32_t ScreenCapturer::CurrentOutput() const { return device->output.load(); }

std::vector<ScreenInfo> ScreenCapturer::EnumerateScreens() {
  return WithScript([](Script& s) {
    ++s.enumerations;
    Note(s, "EnumerateScreens");
    return s.screens;
  });
}

bool ScreenCapturer::TakeCursorUpdate(CursorUpdate& update) {
  const Visit visit(device->visitors);
  const bool given = WithScript([this](Script& s) {
    Note(s, "TakeCursorUpdate");
    if (!s.cursor) {
      return false;
    }
    device->cursor = *std::exchange(s.cursor, std::nullopt);
    return true;
  });
  if (!std::exchange(device->cursorChanged, false) && !given) {
    return false;
  }
  update = device->cursor;
  return true;
}

void ProvokeDesktopRepaint() {
  WithScript([](Script& s) {
    ++s.repaints;
    Note(s, "ProvokeDesktopRepaint");
  });
}

FakeCapture& FakeCapture::Get() {
  static FakeCapture capture;
  return capture;
}

void FakeCapture::Reset() {
  WithScript([](Script& s) { s = FreshScript(); });
  overlaps.store(0);
}

void FakeCapture::SetScreens(std::vector<ScreenInfo> screens) {
  WithScript([&screens](Script& s) { s.screens = std::move(screens); });
}

void FakeCapture::FailInits(int count) {
  WithScript([count](Script& s) { s.initFailures = count; });
}

void FakeCapture::FailSelects(int count) {
  WithScript([count](Script& s) { s.selectFailures = count; });
}

void FakeCapture::GiveFrame(int32_t width, int32_t height, uint32_t bgra) {
  WithScript([=](Script& s) { s.grabs.push_back({true, width, height, bgra}); });
}

void FakeCapture::GiveNothing(int count) {
  WithScript([count](Script& s) { s.grabs.insert(s.grabs.end(), count, Grab{}); });
}

void FakeCapture::SetStill(bool still) {
  WithScript([still](Script& s) { s.still = still; });
}

void FakeCapture::GiveCursor(CursorUpdate update) {
  WithScript([&update](Script& s) { s.cursor = std::move(update); });
}

void FakeCapture::GiveReopening() {
  WithScript([](Script& s) { s.reopened = true; });
}

void FakeCapture::OnGrab(std::function<void(int64_t, uint32_t)> hook) {
  WithScript([&hook](Script& s) { s.onGrab = std::move(hook); });
}

int64_t FakeCapture::Inits() const {
  return WithScript([](Script& s) { return s.inits; });
}
int64_t FakeCapture::Grabs() const {
  return WithScript([](Script& s) { return s.grabCount; });
}
int64_t FakeCapture::FramesGiven() const {
  return WithScript([](Script& s) { return s.framesGiven; });
}
int64_t FakeCapture::Selects() const {
  return WithScript([](Script& s) { return s.selects; });
}
int64_t FakeCapture::Enumerations() const {
  return WithScript([](Script& s) { return s.enumerations; });
}
int64_t FakeCapture::Repaints() const {
  return WithScript([](Script& s) { return s.repaints; });
}
int64_t FakeCapture::Alive() const { return capturersAlive.load(); }
int64_t FakeCapture::Overlaps() const { return overlaps.load(); }
int64_t FakeCapture::FreshStarts() const {
  return WithScript([](Script& s) { return s.freshStarts; });
}
uint32_t FakeCapture::CurrentOutput() const {
  return WithScript([](Script& s) { return s.currentOutput; });
}
std::vector<std::string> FakeCapture::Calls() const {
  return WithScript([](Script& s) { return s.calls; });
}

}  // namespace talu

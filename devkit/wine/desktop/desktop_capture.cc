#include "devkit/wine/desktop/desktop_capture.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace talu {

namespace {

// Pictures that nobody has taken yet are grabbed anew no more often than this: fresh enough for any
// taker, without spending the processor on every stroke of a busy program.
constexpr uint32_t kRegrabMs = 8;
// The thread looks up now and then even when nothing wakes it.
constexpr int32_t kIdleWaitMs = 1000;
constexpr size_t kMaxSpareBuffers = 3;

class Hold {
 public:
  explicit Hold(SRWLOCK* heldLock) : lock(heldLock) { AcquireSRWLockExclusive(lock); }
  ~Hold() { ReleaseSRWLockExclusive(lock); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  SRWLOCK* lock;
};

int64_t NowTicks() {
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return ticks.QuadPart;
}

uint32_t MillisecondsSince(int64_t ticks) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return static_cast<uint32_t>(
      std::min<int64_t>((NowTicks() - ticks) * 1000 / frequency.QuadPart, UINT32_MAX));
}

X11Rect RootRect(const X11Monitor& monitor) {
  return {monitor.x, monitor.y, monitor.x + monitor.width, monitor.y + monitor.height};
}

X11Rect WholeRect(const X11Monitor& monitor) { return {0, 0, monitor.width, monitor.height}; }

X11Rect Join(const std::vector<X11Rect>& rects) {
  X11Rect all = rects.front();
  for (const X11Rect& rect : rects) {
    all = {std::min(all.left, rect.left), std::min(all.top, rect.top),
           std::max(all.right, rect.right), std::max(all.bottom, rect.bottom)};
  }
  return all;
}

}  // namespace

// The connection to the X server with the memory that it grabs into. Pictures hold the store, so
// that their memory outlives the capture where it must.
class PictureStore : public std::enable_shared_from_this<PictureStore> {
 public:
  PictureStore(const X11Library* openLibrary, X11Desktop* openDesktop)
      : library(openLibrary), desktop(openDesktop) {}
  ~PictureStore() {
    for (const Buffer& buffer : spare) library->freeBuffer(desktop, buffer.buffer);
    library->close(desktop);
  }
  PictureStore(const PictureStore&) = delete;
  PictureStore& operator=(const PictureStore&) = delete;

  X11Desktop* Desktop() const { return desktop; }

  // Null when there is no memory or the area is no longer on the desktop.
  PicturePtr Grab(const X11Rect& area) {
    const auto width = static_cast<uint32_t>(area.right - area.left);
    const auto height = static_cast<uint32_t>(area.bottom - area.top);
    const auto buffer = TakeBuffer(uint64_t{width} * height * 4);
    if (!buffer) return nullptr;
    if (library->grab(desktop, buffer->buffer, &area) == 0) {
      Return(*buffer);
      return nullptr;
    }
    const auto* picture = new Picture{buffer->pixels, width, height};
    return {picture, [store = shared_from_this(), buffer = *buffer](const Picture* done) {
              store->Return(buffer);
              delete done;
            }};
  }

 private:
  struct Buffer {
    X11Buffer* buffer;
    uint8_t* pixels;
  };

  // All buffers of a store are of one size, its monitor's.
  std::optional<Buffer> TakeBuffer(uint64_t size) {
    {
      const std::lock_guard hold(lock);
      if (!spare.empty()) {
        const Buffer buffer = spare.back();
        spare.pop_back();
        return buffer;
      }
    }
    Buffer buffer{};
    buffer.buffer = library->newBuffer(desktop, size, &buffer.pixels);
    if (buffer.buffer == nullptr) return std::nullopt;
    return buffer;
  }

  void Return(const Buffer& buffer) {
    {
      const std::lock_guard hold(lock);
      if (spare.size() < kMaxSpareBuffers) {
        spare.push_back(buffer);
        return;
      }
    }
    library->freeBuffer(desktop, buffer.buffer);
  }

  const X11Library* const library;
  X11Desktop* const desktop;
  std::mutex lock;
  std::vector<Buffer> spare;
};

std::unique_ptr<DesktopCapture> DesktopCapture::Start(const X11Monitor& monitor, CursorKind kind) {
  const X11Library* library = LoadX11Library();
  if (library == nullptr) return nullptr;
  X11Desktop* desktop = library->open(/*watch=*/1);
  if (desktop == nullptr) return nullptr;
  auto store = std::make_shared<PictureStore>(library, desktop);
  std::unique_ptr<DesktopCapture> capture(new DesktopCapture(monitor, kind, std::move(store)));
  if (!capture->Begin()) return nullptr;
  return capture;
}

DesktopCapture::DesktopCapture(const X11Monitor& monitor, CursorKind kind,
                               std::shared_ptr<PictureStore> openStore)
    : library(LoadX11Library()), shown(monitor), cursorKind(kind), store(std::move(openStore)) {}

DesktopCapture::~DesktopCapture() {
  stopping = true;
  library->wake(store->Desktop());
  if (worker.joinable()) worker.join();
}

bool DesktopCapture::Begin() {
  X11Monitor monitors[kX11MaxMonitors];
  const int32_t count = library->listMonitors(store->Desktop(), monitors);
  if (count <= 0) return false;
  layout.assign(monitors, monitors + count);
  if (std::find(layout.begin(), layout.end(), shown) == layout.end()) return false;

  // From here on damage is told anew; what was drawn before is in the first picture.
  X11Rect drawn[kX11MaxRects];
  const X11Rect area = RootRect(shown);
  if (library->takeDamage(store->Desktop(), &area, drawn) < 0) return false;
  if (!GrabInto({WholeRect(shown)})) return false;
  ReadPointer();
  worker = std::thread([this] { Run(); });
  return true;
}

void DesktopCapture::Run() {
  while (!stopping) {
    const auto delay = static_cast<int32_t>(damaged ? GrabDelayMs() : kIdleWaitMs);
    const uint32_t changes = library->waitForChange(store->Desktop(), delay);
    if (stopping) return;
    if (!Handle(changes)) return Lose();
  }
}

bool DesktopCapture::Handle(uint32_t changes) {
  if ((changes & kX11Lost) != 0) return false;
  if ((changes & kX11Layout) != 0 && !SameLayout()) return false;
  if ((changes & kX11Cursor) != 0) ReadPointer();
  if ((changes & kX11Damage) != 0) damaged = true;
  if (!damaged || GrabDelayMs() > 0) return true;
  return Grab();
}

bool DesktopCapture::SameLayout() {
  X11Monitor monitors[kX11MaxMonitors];
  const int32_t count = library->listMonitors(store->Desktop(), monitors);
  return count >= 0 && std::equal(layout.begin(), layout.end(), monitors, monitors + count);
}

uint32_t DesktopCapture::GrabDelayMs() {
  const Hold hold(&lock);
  const uint32_t age = latestGrabs == 0 ? kRegrabMs : MillisecondsSince(latestTicks);
  thinksOfGrabbing = age < kRegrabMs;
  return thinksOfGrabbing ? kRegrabMs - age : 0;
}

bool DesktopCapture::Grab() {
  damaged = false;
  X11Rect drawn[kX11MaxRects];
  const X11Rect area = RootRect(shown);
  const int32_t count = library->takeDamage(store->Desktop(), &area, drawn);
  if (count < 0) return false;
  if (count == 0) return true;
  return GrabInto(std::vector<X11Rect>(drawn, drawn + count));
}

bool DesktopCapture::GrabInto(std::vector<X11Rect> changed) {
  PicturePtr picture = store->Grab(RootRect(shown));
  if (picture == nullptr) return false;
  // The picture that it replaces is let go of after the lock.
  {
    const Hold hold(&lock);
    std::swap(latest, picture);
    latestTicks = NowTicks();
    if (latestGrabs == 0) latestChanged.clear();
    ++latestGrabs;
    latestChanged.insert(latestChanged.end(), changed.begin(), changed.end());
    if (latestChanged.size() > kX11MaxRects) latestChanged = {Join(latestChanged)};
  }
  WakeAllConditionVariable(&changedOrLost);
  return true;
}

void DesktopCapture::ReadPointer() {
  X11Cursor cursor{};
  std::vector<uint32_t> pixels(size_t{kX11MaxCursorSide} * kX11MaxCursorSide);
  CursorImage image;
  if (library->readCursor(store->Desktop(), &cursor, pixels.data()) != 0) {
    pixels.resize(static_cast<size_t>(cursor.width) * cursor.height);
    image = {cursor.width, cursor.height, cursor.hotX, cursor.hotY, std::move(pixels)};
  }
  const bool visible = !IsHidden(image);
  const bool sameShape = image.width == pointerImage.width && image.height == pointerImage.height &&
                         image.hotX == pointerImage.hotX && image.hotY == pointerImage.hotY &&
                         image.pixels == pointerImage.pixels;
  CursorShape shape = visible && !sameShape ? ConvertCursor(image, cursorKind) : CursorShape{};
  {
    const Hold hold(&lock);
    pointerTicks = NowTicks();
    pointerVisible = visible;
    pointerX = cursor.x - cursor.hotX - shown.x;
    pointerY = cursor.y - cursor.hotY - shown.y;
    if (visible && !sameShape) {
      pointer = std::move(shape);
      ++pointerVersion;
    }
  }
  // A hidden pointer has no shape: the one before it stays the last that was shown.
  if (visible) pointerImage = std::move(image);
  WakeAllConditionVariable(&changedOrLost);
}

void DesktopCapture::Lose() {
  {
    const Hold hold(&lock);
    lost = true;
  }
  WakeAllConditionVariable(&changedOrLost);
}

bool DesktopCapture::HasNews(const Wishes& wishes) const {
  if (wishes.noFrames) return false;
  const bool visible = pointerVisible && !wishes.hidePointer;
  return latestGrabs > 0 || takenVisible != visible || (visible && takenVersion != pointerVersion);
}

DesktopCapture::Outcome DesktopCapture::Take(const Wishes& wishes, CapturedDesktop* desktop) {
  *desktop = {};
  const int64_t start = NowTicks();
  const Hold hold(&lock);
  while (!lost && !HasNews(wishes)) {
    const uint32_t waited = wishes.timeoutMs == INFINITE ? 0 : MillisecondsSince(start);
    if (waited >= wishes.timeoutMs) return Outcome::kTimeout;
    // Whether it was woken or the time is over shows in the next look.
    SleepConditionVariableSRW(&changedOrLost, &lock, wishes.timeoutMs - waited, 0);
  }
  if (lost) return Outcome::kLost;
  TakePicture(desktop);
  TakePointer(wishes, desktop);
  return Outcome::kTaken;
}

void DesktopCapture::TakePicture(CapturedDesktop* desktop) {
  desktop->picture = latest;
  if (latestGrabs == 0) return;
  desktop->imageTicks = latestTicks;
  desktop->grabs = std::exchange(latestGrabs, 0);
  desktop->changed = std::move(latestChanged);
  latestChanged.clear();
  // It was holding back because this picture had not been taken.
  if (thinksOfGrabbing) library->wake(store->Desktop());
}

void DesktopCapture::TakePointer(const Wishes& wishes, CapturedDesktop* desktop) {
  desktop->pointerVisible = pointerVisible && !wishes.hidePointer;
  desktop->pointerX = pointerX;
  desktop->pointerY = pointerY;
  const bool newShape = desktop->pointerVisible && takenVersion != pointerVersion;
  if (takenVisible == desktop->pointerVisible && !newShape) return;
  takenVisible = desktop->pointerVisible;
  desktop->pointerTicks = pointerTicks;
  if (!newShape) return;
  takenVersion = pointerVersion;
  desktop->shape = pointer;
}

}  // namespace talu

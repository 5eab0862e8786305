#include "devkit/wine/desktop/x11_desktop.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "devkit/wine/desktop/layout.h"

namespace talu {

namespace {

struct Freed {
  void operator()(void* memory) const { std::free(memory); }
};

template <class Reply>
using ReplyPtr = std::unique_ptr<Reply, Freed>;

// The reply of a request such as xcb_get_geometry; null when the server answered with an error.
template <class ReplyFunction, class Cookie>
auto TakeReply(xcb_connection_t* connection, ReplyFunction function, Cookie cookie) {
  xcb_generic_error_t* error = nullptr;
  auto* reply = function(connection, cookie, &error);
  std::free(error);
  return ReplyPtr<std::remove_pointer_t<decltype(reply)>>(reply);
}

bool Succeeds(xcb_connection_t* connection, xcb_void_cookie_t checked) {
  return !ReplyPtr<xcb_generic_error_t>(xcb_request_check(connection, checked)) &&
         xcb_connection_has_error(connection) == 0;
}

bool HasExtension(xcb_connection_t* connection, xcb_extension_t* extension) {
  const auto* data = xcb_get_extension_data(connection, extension);
  return data != nullptr && data->present != 0;
}

xcb_screen_t* FindScreen(xcb_connection_t* connection, int number) {
  auto it = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (; it.rem > 0 && number > 0; --number) xcb_screen_next(&it);
  return it.rem > 0 ? it.data : nullptr;
}

const xcb_visualtype_t* FindVisual(const xcb_screen_t* screen) {
  for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0;
       xcb_depth_next(&depth)) {
    for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
         xcb_visualtype_next(&visual)) {
      if (visual.data->visual_id == screen->root_visual) return visual.data;
    }
  }
  return nullptr;
}

int BitsPerPixel(const xcb_setup_t* setup, uint8_t depth) {
  for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem > 0;
       xcb_format_next(&format)) {
    if (format.data->depth == depth) return format.data->bits_per_pixel;
  }
  return 0;
}

// Bytes in memory must come as blue, green, red and a fourth.
bool IsBgrx(xcb_connection_t* connection, const xcb_screen_t* screen) {
  const xcb_setup_t* setup = xcb_get_setup(connection);
  const xcb_visualtype_t* visual = FindVisual(screen);
  return visual != nullptr && setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST &&
         BitsPerPixel(setup, screen->root_depth) == 32 && visual->red_mask == 0xFF0000 &&
         visual->green_mask == 0x00FF00 && visual->blue_mask == 0x0000FF;
}

X11Rect Intersection(const xcb_rectangle_t& drawn, const X11Rect& area) {
  return {std::max<int32_t>(drawn.x, area.left) - area.left,
          std::max<int32_t>(drawn.y, area.top) - area.top,
          std::min<int32_t>(drawn.x + drawn.width, area.right) - area.left,
          std::min<int32_t>(drawn.y + drawn.height, area.bottom) - area.top};
}

X11Rect Union(const X11Rect& one, const X11Rect& other) {
  return {std::min(one.left, other.left), std::min(one.top, other.top),
          std::max(one.right, other.right), std::max(one.bottom, other.bottom)};
}

int32_t CollectRects(const xcb_rectangle_t* drawn, int count, const X11Rect& area, X11Rect* rects) {
  int32_t collected = 0;
  X11Rect all{};
  bool tooMany = false;
  for (int i = 0; i < count; ++i) {
    const X11Rect rect = Intersection(drawn[i], area);
    if (rect.left >= rect.right || rect.top >= rect.bottom) continue;
    all = collected == 0 ? rect : Union(all, rect);
    tooMany = tooMany || collected == kX11MaxRects;
    if (!tooMany) rects[collected++] = rect;
  }
  if (!tooMany) return collected;
  rects[0] = all;
  return 1;
}

}  // namespace

struct X11Buffer {
  xcb_shm_seg_t segment = 0;
  void* memory = nullptr;
  uint64_t size = 0;
};

struct X11Desktop {
  X11Desktop() = default;
  X11Desktop(const X11Desktop&) = delete;
  X11Desktop& operator=(const X11Desktop&) = delete;
  ~X11Desktop() {
    if (connection != nullptr) xcb_disconnect(connection);
    if (wakeEvent >= 0) close(wakeEvent);
  }

  xcb_connection_t* connection = nullptr;
  xcb_window_t root = 0;
  xcb_damage_damage_t damage = 0;
  // What TaluTakeDamage takes.
  xcb_xfixes_region_t taken = 0;
  uint8_t damageEvent = 0;
  uint8_t fixesEvent = 0;
  uint8_t layoutEvent = 0;
  int wakeEvent = -1;
};

namespace {

bool HasExtensions(X11Desktop* desktop) {
  xcb_connection_t* connection = desktop->connection;
  for (xcb_extension_t* extension : {&xcb_shm_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_randr_id}) {
    xcb_prefetch_extension_data(connection, extension);
  }
  if (!HasExtension(connection, &xcb_shm_id) || !HasExtension(connection, &xcb_damage_id) ||
      !HasExtension(connection, &xcb_xfixes_id) || !HasExtension(connection, &xcb_randr_id)) {
    return false;
  }
  desktop->damageEvent = xcb_get_extension_data(connection, &xcb_damage_id)->first_event;
  desktop->fixesEvent = xcb_get_extension_data(connection, &xcb_xfixes_id)->first_event;
  desktop->layoutEvent = xcb_get_extension_data(connection, &xcb_randr_id)->first_event;
  // The server refuses the extensions' other requests before it was told a version.
  const auto damage = xcb_damage_query_version(connection, 1, 1);
  const auto fixes = xcb_xfixes_query_version(connection, 4, 0);
  const auto randr = xcb_randr_query_version(connection, 1, 3);
  const bool damageKnown = TakeReply(connection, xcb_damage_query_version_reply, damage) != nullptr;
  const bool fixesKnown = TakeReply(connection, xcb_xfixes_query_version_reply, fixes) != nullptr;
  const bool randrKnown = TakeReply(connection, xcb_randr_query_version_reply, randr) != nullptr;
  return damageKnown && fixesKnown && randrKnown;
}

bool WatchDesktop(X11Desktop* desktop) {
  xcb_connection_t* connection = desktop->connection;
  desktop->damage = xcb_generate_id(connection);
  desktop->taken = xcb_generate_id(connection);
  xcb_randr_select_input(connection, desktop->root,
                         XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                             XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
  xcb_xfixes_select_cursor_input(connection, desktop->root,
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
  xcb_xfixes_create_region(connection, desktop->taken, 0, nullptr);
  return Succeeds(connection, xcb_damage_create_checked(connection, desktop->damage, desktop->root,
                                                        XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY));
}

std::unique_ptr<X11Desktop> OpenDesktop(bool watch) {
  auto desktop = std::make_unique<X11Desktop>();
  int screenNumber = 0;
  desktop->connection = xcb_connect(nullptr, &screenNumber);
  if (xcb_connection_has_error(desktop->connection) != 0) return nullptr;
  // Programs that the host starts have no business with this connection.
  fcntl(xcb_get_file_descriptor(desktop->connection), F_SETFD, FD_CLOEXEC);
  desktop->wakeEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (desktop->wakeEvent < 0) return nullptr;
  const xcb_screen_t* screen = FindScreen(desktop->connection, screenNumber);
  if (screen == nullptr || !IsBgrx(desktop->connection, screen)) return nullptr;
  desktop->root = screen->root;
  if (!HasExtensions(desktop.get())) return nullptr;
  if (watch && !WatchDesktop(desktop.get())) return nullptr;
  return desktop;
}

uint32_t ChangeOf(const X11Desktop* desktop, const xcb_generic_event_t* event) {
  // The highest bit marks events that other clients sent.
  const uint8_t type = event->response_type & 0x7F;
  if (type == desktop->damageEvent + XCB_DAMAGE_NOTIFY) return kX11Damage;
  if (type == desktop->fixesEvent + XCB_XFIXES_CURSOR_NOTIFY) return kX11Cursor;
  if (type == desktop->layoutEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY) return kX11Layout;
  if (type == desktop->layoutEvent + XCB_RANDR_NOTIFY) return kX11Layout;
  return 0;
}

uint32_t TakeChanges(X11Desktop* desktop) {
  uint32_t changes = 0;
  while (auto event = ReplyPtr<xcb_generic_event_t>(xcb_poll_for_event(desktop->connection))) {
    changes |= ChangeOf(desktop, event.get());
  }
  uint64_t wakes = 0;
  if (read(desktop->wakeEvent, &wakes, sizeof wakes) == sizeof wakes) changes |= kX11Woken;
  if (xcb_connection_has_error(desktop->connection) != 0) changes |= kX11Lost;
  return changes;
}

X11Output ReadOutput(X11Desktop* desktop, xcb_randr_output_t id,
                     xcb_randr_get_output_info_cookie_t cookie) {
  X11Output output{id, false, 0, 0, 0, 0};
  const auto info = TakeReply(desktop->connection, xcb_randr_get_output_info_reply, cookie);
  if (info == nullptr) return output;
  output.connected = info->connection == XCB_RANDR_CONNECTION_CONNECTED;
  if (!output.connected || info->crtc == 0) return output;
  const auto crtc =
      TakeReply(desktop->connection, xcb_randr_get_crtc_info_reply,
                xcb_randr_get_crtc_info(desktop->connection, info->crtc, XCB_CURRENT_TIME));
  if (crtc == nullptr || crtc->mode == 0) return output;
  output.x = crtc->x;
  output.y = crtc->y;
  output.width = crtc->width;
  output.height = crtc->height;
  return output;
}

}  // namespace

X11Desktop* TaluOpenDesktop(int32_t watch) { return OpenDesktop(watch != 0).release(); }

void TaluCloseDesktop(X11Desktop* desktop) { delete desktop; }

int32_t TaluListMonitors(X11Desktop* desktop, X11Monitor* monitors) {
  xcb_connection_t* connection = desktop->connection;
  const auto primaryCookie = xcb_randr_get_output_primary(connection, desktop->root);
  const auto resources =
      TakeReply(connection, xcb_randr_get_screen_resources_current_reply,
                xcb_randr_get_screen_resources_current(connection, desktop->root));
  const auto primary = TakeReply(connection, xcb_randr_get_output_primary_reply, primaryCookie);
  if (resources == nullptr) return -1;

  const xcb_randr_output_t* ids = xcb_randr_get_screen_resources_current_outputs(resources.get());
  std::vector<std::pair<xcb_randr_output_t, xcb_randr_get_output_info_cookie_t>> asked;
  asked.reserve(resources->num_outputs);
  for (int i = 0; i < resources->num_outputs; ++i) {
    asked.emplace_back(ids[i],
                       xcb_randr_get_output_info(connection, ids[i], resources->config_timestamp));
  }
  std::vector<X11Output> outputs;
  outputs.reserve(asked.size());
  for (const auto& [id, cookie] : asked) outputs.push_back(ReadOutput(desktop, id, cookie));
  if (xcb_connection_has_error(connection) != 0) return -1;

  const auto arranged = ArrangeMonitors(outputs, primary == nullptr ? 0 : primary->output);
  std::copy(arranged.begin(), arranged.end(), monitors);
  return static_cast<int32_t>(arranged.size());
}

uint32_t TaluWaitForChange(X11Desktop* desktop, int32_t timeoutMs) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
  xcb_flush(desktop->connection);
  for (;;) {
    if (const uint32_t changes = TakeChanges(desktop); changes != 0) return changes;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return 0;
    pollfd sources[] = {{xcb_get_file_descriptor(desktop->connection), POLLIN, 0},
                        {desktop->wakeEvent, POLLIN, 0}};
    // An interrupted or failed wait is followed by another look, like any other.
    poll(sources, std::size(sources), static_cast<int>(left));
  }
}

void TaluWakeDesktop(X11Desktop* desktop) {
  const uint64_t one = 1;
  // It fails only when the counter is full, and then the waiter is awake already.
  [[maybe_unused]] const ssize_t written = write(desktop->wakeEvent, &one, sizeof one);
}

int32_t TaluTakeDamage(X11Desktop* desktop, const X11Rect* area, X11Rect* rects) {
  xcb_damage_subtract(desktop->connection, desktop->damage, XCB_NONE, desktop->taken);
  const auto region = TakeReply(desktop->connection, xcb_xfixes_fetch_region_reply,
                                xcb_xfixes_fetch_region(desktop->connection, desktop->taken));
  if (region == nullptr) return -1;
  return CollectRects(xcb_xfixes_fetch_region_rectangles(region.get()),
                      xcb_xfixes_fetch_region_rectangles_length(region.get()), *area, rects);
}

X11Buffer* TaluNewBuffer(X11Desktop* desktop, uint64_t size, uint8_t** pixels) {
  const int id = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
  if (id < 0) return nullptr;
  auto buffer = std::make_unique<X11Buffer>();
  buffer->size = size;
  buffer->segment = xcb_generate_id(desktop->connection);
  buffer->memory = shmat(id, nullptr, 0);
  const bool mapped = reinterpret_cast<intptr_t>(buffer->memory) != -1;
  const bool attached =
      mapped &&
      Succeeds(desktop->connection,
               xcb_shm_attach_checked(desktop->connection, buffer->segment, id, /*read_only=*/0));
  // Both sides hold it now; from here on it goes when they do, however they end.
  shmctl(id, IPC_RMID, nullptr);
  if (!attached) {
    if (mapped) shmdt(buffer->memory);
    return nullptr;
  }
  *pixels = static_cast<uint8_t*>(buffer->memory);
  return buffer.release();
}

void TaluFreeBuffer(X11Desktop* desktop, X11Buffer* buffer) {
  xcb_shm_detach(desktop->connection, buffer->segment);
  xcb_flush(desktop->connection);
  shmdt(buffer->memory);
  delete buffer;
}

int32_t TaluGrab(X11Desktop* desktop, X11Buffer* buffer, const X11Rect* area) {
  const int64_t width = int64_t{area->right} - area->left;
  const int64_t height = int64_t{area->bottom} - area->top;
  constexpr int64_t kMaxSide = INT16_MAX;
  if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) return 0;
  if (static_cast<uint64_t>(width * height) * 4 > buffer->size) return 0;
  const auto cookie = xcb_shm_get_image(
      desktop->connection, desktop->root, static_cast<int16_t>(area->left),
      static_cast<int16_t>(area->top), static_cast<uint16_t>(width), static_cast<uint16_t>(height),
      /*plane_mask=*/~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, buffer->segment, /*offset=*/0);
  return TakeReply(desktop->connection, xcb_shm_get_image_reply, cookie) != nullptr ? 1 : 0;
}

int32_t TaluReadCursor(X11Desktop* desktop, X11Cursor* cursor, uint32_t* pixels) {
  const auto image = TakeReply(desktop->connection, xcb_xfixes_get_cursor_image_reply,
                               xcb_xfixes_get_cursor_image(desktop->connection));
  if (image == nullptr || image->width == 0 || image->height == 0) return 0;
  if (image->width > kX11MaxCursorSide || image->height > kX11MaxCursorSide) return 0;
  *cursor = {image->width, image->height, image->xhot, image->yhot, image->x, image->y};
  std::memcpy(pixels, xcb_xfixes_get_cursor_image_cursor_image(image.get()),
              size_t{image->width} * image->height * 4);
  return 1;
}

int32_t TaluReadChangedFile(const char* path, uint64_t* stamp, char* text, int32_t capacity) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  struct stat state {};
  const bool known = file >= 0 && fstat(file, &state) == 0;
  uint64_t found[3] = {};
  if (known) {
    found[0] = state.st_ino;
    found[1] = static_cast<uint64_t>(state.st_mtim.tv_sec) * 1'000'000'000 +
               static_cast<uint64_t>(state.st_mtim.tv_nsec);
    // One more, so that even an empty file differs from none.
    found[2] = static_cast<uint64_t>(state.st_size) + 1;
  }
  int32_t length = -1;
  if (!std::equal(std::begin(found), std::end(found), stamp)) {
    std::copy(std::begin(found), std::end(found), stamp);
    const ssize_t got = known ? read(file, text, static_cast<size_t>(capacity)) : 0;
    length = got > 0 ? static_cast<int32_t>(got) : 0;
  }
  if (file >= 0) close(file);
  return length;
}

}  // namespace talu

// What the host's work costs without Wine: a picture of the desktop through the X server's shared
// memory, libyuv's conversion to NV12, OpenH264 as the development kit's transforms set it up.
//
// Usage: DISPLAY=:N native_pipeline WIDTH HEIGHT FPS KBPS SECONDS
// Takes the desktop's upper left WIDTH x HEIGHT pixels, FPS times a second. Prints one line for
// each figure: name, tab, number. Times are the process's own, for each frame.

#include <libyuv.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <time.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "base/clock.h"
#include "devkit/wine/codec/codec_abi.h"

namespace talu {
namespace {

struct Wanted {
  int width;
  int height;
  int fps;
  int kbps;
  int seconds;
};

struct Disconnect {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

double CpuMs() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// The desktop's upper left corner, in memory that the X server writes.
class Desktop {
 public:
  bool Open(const Wanted& wanted) {
    connection.reset(xcb_connect(nullptr, nullptr));
    if (xcb_connection_has_error(connection.get()) != 0) return false;
    root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
    width = static_cast<uint16_t>(wanted.width);
    height = static_cast<uint16_t>(wanted.height);
    const int id = shmget(IPC_PRIVATE, size_t{4} * width * height, IPC_CREAT | 0600);
    if (id < 0) return false;
    pixels = static_cast<const uint8_t*>(shmat(id, nullptr, SHM_RDONLY));
    segment = xcb_generate_id(connection.get());
    const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(
        connection.get(), xcb_shm_attach_checked(connection.get(), segment, id, 0)));
    // Lives as long as somebody has it.
    shmctl(id, IPC_RMID, nullptr);
    return error == nullptr;
  }

  // Null when the server refuses.
  const uint8_t* Grab() {
    constexpr uint32_t kAllPlanes = ~0u;
    const auto cookie = xcb_shm_get_image(connection.get(), root, 0, 0, width, height, kAllPlanes,
                                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0);
    const std::unique_ptr<xcb_shm_get_image_reply_t, Free> reply(
        xcb_shm_get_image_reply(connection.get(), cookie, nullptr));
    return reply == nullptr ? nullptr : pixels;
  }

 private:
  std::unique_ptr<xcb_connection_t, Disconnect> connection;
  xcb_window_t root = 0;
  xcb_shm_seg_t segment = 0;
  uint16_t width = 0;
  uint16_t height = 0;
  const uint8_t* pixels = nullptr;
};

struct Costs {
  int frames = 0;
  double grabMs = 0;
  double convertMs = 0;
  double encodeMs = 0;
  double bytes = 0;
};

bool Run(const Wanted& wanted, Desktop& desktop, void* encoder, Costs& costs) {
  const int width = wanted.width;
  const int height = wanted.height;
  std::vector<uint8_t> nv12(size_t{3} * width * height / 2);
  const int64_t startNs = MonotonicNowNs();
  const int64_t intervalMs = 1000 / wanted.fps;
  for (; costs.frames < wanted.fps * wanted.seconds; ++costs.frames) {
    const double begin = CpuMs();
    const uint8_t* picture = desktop.Grab();
    if (picture == nullptr) return false;
    const double grabbed = CpuMs();
    libyuv::ARGBToNV12(picture, 4 * width, nv12.data(), width,
                       nv12.data() + size_t{1} * width * height, width, width, height);
    const double converted = CpuMs();
    CodedPicture coded = {};
    if (TaluEncodePicture(encoder, nv12.data(), width, costs.frames * intervalMs, 0, &coded) != 0) {
      return false;
    }
    costs.grabMs += grabbed - begin;
    costs.convertMs += converted - grabbed;
    costs.encodeMs += CpuMs() - converted;
    costs.bytes += coded.size;
    const int64_t passedMs = (MonotonicNowNs() - startNs) / kNsPerMs;
    SleepForMs((costs.frames + 1) * intervalMs - passedMs);
  }
  return true;
}

int Main(int argc, char** argv) {
  std::array<int, 5> numbers{};
  for (size_t at = 0; at < numbers.size(); ++at) {
    numbers[at] = static_cast<int>(at) + 1 < argc ? std::atoi(argv[at + 1]) : 0;
    if (numbers[at] < 1) {
      std::fputs("usage: native_pipeline WIDTH HEIGHT FPS KBPS SECONDS\n", stderr);
      return 2;
    }
  }
  const Wanted wanted{numbers[0], numbers[1], numbers[2], numbers[3], numbers[4]};
  const EncoderShape shape{wanted.width,
                           wanted.height,
                           wanted.fps,
                           1,
                           wanted.kbps * 1000,
                           2 * wanted.fps,
                           wanted.width * wanted.height};
  Desktop desktop;
  void* const encoder = TaluOpenEncoder(&shape);
  Costs costs;
  const double begin = CpuMs();
  if (encoder == nullptr || !desktop.Open(wanted) || !Run(wanted, desktop, encoder, costs)) {
    std::fputs("native_pipeline: no desktop or no encoder\n", stderr);
    return 1;
  }
  const double cpuMs = CpuMs() - begin;
  TaluCloseEncoder(encoder);
  const double frames = costs.frames;
  std::printf("frames\t%d\n", costs.frames);
  std::printf("cpu_ms\t%.3f\n", cpuMs / frames);
  std::printf("grab_ms\t%.3f\n", costs.grabMs / frames);
  std::printf("convert_ms\t%.3f\n", costs.convertMs / frames);
  std::printf("encode_ms\t%.3f\n", costs.encodeMs / frames);
  std::printf("bytes\t%.0f\n", costs.bytes / frames);
  return 0;
}

}  // namespace
}  // namespace talu

int main(int argc, char** argv) { return talu::Main(argc, argv); }

// What the transforms take for each scene, called as the host calls them. The hardware-like one is
// measured when TALU_HARDWARE_CODEC names a control file, at 60 pictures a second.
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "devkit/wine/codec/codec_testing.h"
#include "devkit/wine/codec/measure_pictures.h"

namespace talu {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kHardwareFps = 60;
constexpr int kEventTimeoutMs = 10'000;

double ProcessCpuMs() {
  FILETIME created, ended, kernel, user;
  GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
  const auto ticks = [](const FILETIME& time) {
    return static_cast<double>((uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
  };
  return (ticks(kernel) + ticks(user)) / 10'000;
}

double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Nv12Picture AsPicture(const std::vector<uint8_t>& bytes) {
  Nv12Picture picture(kMeasureWidth, kMeasureHeight, 0, 0, 0);
  picture.bytes = bytes;
  return picture;
}

StreamSettings Settings(int fps) {
  return {kMeasureWidth, kMeasureHeight, fps, kMeasureBitsPerSecond / 1000};
}

bool MeasureSoftware(const Scene& scene) {
  Client client;
  const ComPtr<IMFTransform> transform = MakeSoftwareTransform();
  if (!transform || FAILED(client.Start(transform, Settings(kMeasureFps)))) return false;
  std::vector<Nv12Picture> pictures;
  for (const std::vector<uint8_t>& bytes : scene.pictures) pictures.push_back(AsPicture(bytes));
  std::vector<double> wallMs;
  size_t bytes = 0;
  const double begin = ProcessCpuMs();
  for (int round = 0; round < kMeasureRounds; ++round) {
    for (const Nv12Picture& picture : pictures) {
      const Clock::time_point start = Clock::now();
      const auto index = static_cast<int64_t>(wallMs.size());
      for (const Unit& unit : client.Encode(picture, index * 1000 / kMeasureFps)) {
        bytes += unit.bytes.size();
      }
      wallMs.push_back(MsSince(start));
    }
  }
  const double cpuMs = ProcessCpuMs() - begin;
  std::fputs(MeasureLine("software under Wine", scene.name, cpuMs, wallMs, bytes).c_str(), stdout);
  return true;
}

// As fast as it asks: what it can sustain.
bool MeasureHardware(const Scene& scene) {
  Client client;
  const ComPtr<IMFTransform> transform = MakeHardwareTransform();
  if (!transform || FAILED(client.Start(transform, Settings(kHardwareFps)))) return false;
  std::vector<Nv12Picture> pictures;
  for (const std::vector<uint8_t>& bytes : scene.pictures) pictures.push_back(AsPicture(bytes));
  std::vector<double> wallMs;
  size_t bytes = 0;
  const double begin = ProcessCpuMs();
  const Clock::time_point start = Clock::now();
  for (int round = 0; round < kMeasureRounds; ++round) {
    for (const Nv12Picture& picture : pictures) {
      if (!client.AwaitEvent(METransformNeedInput, kEventTimeoutMs)) return false;
      const Clock::time_point put = Clock::now();
      if (FAILED(client.Put(picture, static_cast<int64_t>(wallMs.size()) * 1000 / kHardwareFps))) {
        return false;
      }
      Unit unit;
      if (!client.AwaitEvent(METransformHaveOutput, kEventTimeoutMs)) return false;
      if (FAILED(client.Get(unit))) return false;
      wallMs.push_back(MsSince(put));
      bytes += unit.bytes.size();
    }
  }
  const double perSecond = static_cast<double>(wallMs.size()) * 1000 / MsSince(start);
  const double cpuMs = ProcessCpuMs() - begin;
  std::fputs(MeasureLine("hardware under Wine", scene.name, cpuMs, wallMs, bytes).c_str(), stdout);
  std::printf("%-22s %-13s %6.1f pictures a second\n", "", "", perSecond);
  return true;
}

bool MeasureAll() {
  const bool hardware = MakeHardwareTransform() != nullptr;
  for (const Scene& scene : MeasureScenes()) {
    if (!MeasureSoftware(scene) || (hardware && !MeasureHardware(scene))) return false;
  }
  return true;
}

}  // namespace
}  // namespace talu

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) ||
      FAILED(MFStartup(MF_VERSION, MFSTARTUP_FULL))) {
    std::fputs("measure_transforms: no Media Foundation\n", stderr);
    return 1;
  }
  const bool measured = talu::MeasureAll();
  if (!measured) std::fputs("measure_transforms: a transform failed\n", stderr);
  MFShutdown();
  CoUninitialize();
  return measured ? 0 : 1;
}

// What the transforms' tests share: pictures, a client that does as the host does, a decoder, and
// the control file.
#pragma once

#include <windows.h>
// The media headers need it before them.
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <mftransform.h>
#include <strmif.h>
#include <wrl/client.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devkit/wine/codec/codec_abi.h"

namespace talu {

using Microsoft::WRL::ComPtr;

inline constexpr CLSID kSoftwareClass = {
    0x6ca50344, 0x051a, 0x4ded, {0x97, 0x79, 0xa4, 0x33, 0x05, 0x16, 0x5e, 0x35}};

struct Nv12Picture {
  Nv12Picture(int pictureWidth, int pictureHeight, uint8_t luma, uint8_t blue, uint8_t red);

  int width;
  int height;
  std::vector<uint8_t> bytes;
};

// A grey picture with a block that moves as `index` grows: cheap to code, different each time.
Nv12Picture MovingPicture(int width, int height, int index);
// Luma noise, different for each index: as many bits as the rate control lets it have.
Nv12Picture NoisyPicture(int width, int height, int index);

ComPtr<IMFSample> MakeSample(const Nv12Picture& picture, int64_t timeMs, int fps);

struct Unit {
  std::vector<uint8_t> bytes;
  bool keyFrame = false;
  int64_t timeMs = 0;
};

struct NalUnit {
  int type;
  size_t offset;  // of the start code
};
// The units of an Annex B stream, in order.
std::vector<NalUnit> NalUnits(const std::vector<uint8_t>& bytes);
std::vector<int> NalTypes(const std::vector<uint8_t>& bytes);

class UnitDecoder {
 public:
  UnitDecoder();
  ~UnitDecoder();
  UnitDecoder(const UnitDecoder&) = delete;
  UnitDecoder& operator=(const UnitDecoder&) = delete;

  // Nothing when the unit gave no picture or is broken.
  std::optional<Nv12Picture> Decode(const std::vector<uint8_t>& unit);

 private:
  OpenDecoderFunction* open = nullptr;
  DecodeUnitFunction* decode = nullptr;
  CloseDecoderFunction* close = nullptr;
  void* decoder = nullptr;
};

// Largest and mean difference of the luma samples.
struct Difference {
  int largest = 0;
  double mean = 0;
};
Difference LumaDifference(const Nv12Picture& a, const Nv12Picture& b);

struct StreamSettings {
  int width = 320;
  int height = 240;
  int fps = 30;
  int kbps = 1000;
};

// An encoder transform in its client's hands.
class Client {
 public:
  // Sets attributes, controls, types and messages in the host's order. The first failure's result.
  HRESULT Start(ComPtr<IMFTransform> made, const StreamSettings& wanted);
  // Ends the stream and lets everything go; true when nobody holds the transform any more.
  bool Finish();

  HRESULT SetNumber(const GUID& property, VARTYPE type, uint32_t value);
  HRESULT SetBitRate(int kbps);
  HRESULT ForceKeyFrame();
  HRESULT Put(const Nv12Picture& picture, int64_t timeMs);
  // ProcessOutput's result; the unit is in `got` when it succeeded.
  HRESULT Get(Unit& got);
  // For a synchronous transform: everything that came of one picture.
  std::vector<Unit> Encode(const Nv12Picture& picture, int64_t timeMs);

  // For an event-driven one: the next event, or nothing within the time.
  std::optional<MediaEventType> NextEvent(int timeoutMs);
  bool AwaitEvent(MediaEventType type, int timeoutMs);

  ComPtr<IMFTransform> transform;
  ComPtr<ICodecAPI> controls;
  ComPtr<IMFMediaEventGenerator> events;
  MFT_OUTPUT_STREAM_INFO outputInfo = {};
  StreamSettings settings;
};

ComPtr<IMFMediaType> MakeOutputType(const StreamSettings& settings);
ComPtr<IMFMediaType> MakeInputType(const StreamSettings& settings);

ComPtr<IMFTransform> MakeSoftwareTransform();
// As the system lists them.
std::vector<ComPtr<IMFActivate>> ListHardware();
// The first of the list that can be activated; null when there is none.
ComPtr<IMFTransform> MakeHardwareTransform();

// Transforms that somebody still holds: none.
bool NothingHeld();

// The file that an environment variable names; taken away again in the end.
class ControlFile {
 public:
  explicit ControlFile(const wchar_t* controlVariable);
  ~ControlFile();
  ControlFile(const ControlFile&) = delete;
  ControlFile& operator=(const ControlFile&) = delete;

  void Write(std::string_view text);

 private:
  const wchar_t* variable;
  std::wstring path;  // as Windows' calls take it
  int writes = 0;
};

}  // namespace talu

// A stand-in for the encoder, linked in its place: every picture gives one unit, at once.
//
// One script and one record for the process; any thread may use them. Uses of an encoder by two
// threads at once, or of one that is gone, end the test program.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace talu {

struct EncodedPicture {
  int32_t width = 0;
  int32_t height = 0;
  int64_t timestampMs = 0;
  bool keyFrame = false;
  uint32_t firstPixel = 0;
};

class FakeEncoder {
 public:
  static FakeEncoder& Get();
  void Reset();

  // The script.
  void FailInits(int count);      // the next count calls of Init fail
  void SettleOn(int32_t fps);     // what Init makes of every frame rate; 0: what was asked
  void SwallowPictures(bool on);  // pictures give no unit
  // Called, outside of any lock, by the thread that builds an encoder, before it is ready.
  void OnInit(std::function<void()> hook);
  // Called, outside of any lock, by the thread that changes a bit rate, before it takes effect.
  void OnSetBitrate(std::function<void(int32_t kbps)> hook);

  // The record: "Init 1280x720@30 8000", "SetBitrate 3000", "ForceKeyFrame", "Destroy".
  std::vector<std::string> Calls();
  std::vector<EncodedPicture> Pictures();
  int Alive();
  // What the encoder made or changed last runs at.
  int32_t Kbps();
  int SelfTests();
  std::string LastSelfTest();

 private:
  friend class H264Encoder;
  friend struct EncoderState;
  friend void RunHardwareEncoderSelfTest(int32_t width, int32_t height);

  void Note(std::string call);

  std::mutex lock;
  int failInits = 0;
  int32_t settledFps = 0;
  bool swallow = false;
  std::function<void()> onInit;
  std::function<void(int32_t)> onSetBitrate;
  int alive = 0;
  int32_t lastKbps = 0;
  int selfTests = 0;
  std::string lastSelfTest;
  std::vector<std::string> calls;
  std::vector<EncodedPicture> pictures;
};

}  // namespace talu

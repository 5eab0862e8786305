// A Windows made of fakes: puts them in the place of Direct3D, Media Foundation and COM for its
// scope. One at a time.
#pragma once

#include <list>

#include "base/system_calls_win.h"
#include "encoder/fakes/call_script.h"
#include "encoder/fakes/fake_adapter_win.h"
#include "encoder/fakes/fake_transform_win.h"

namespace talu {

class FakeMediaSystem {
 public:
  FakeMediaSystem();
  ~FakeMediaSystem();
  FakeMediaSystem(const FakeMediaSystem&) = delete;
  FakeMediaSystem& operator=(const FakeMediaSystem&) = delete;

  CallScript script;
  GraphicsScript graphics;
  // The hardware encoders, in the system's order; none at first. Their names should be "hw",
  // "hw2"...
  std::list<TransformScript> hardware;
  // The software encoder, named "sw"; synchronous.
  TransformScript software;

  // Bytes that every new buffer is too small by.
  uint32_t bufferShortage = 0;

  // An asynchronous hardware encoder more.
  TransformScript& AddHardware(const std::string& name = "hw");

  // Starts not yet undone.
  int MediaFoundationHeld() const { return mediaFoundationHeld; }
  int ComHeld() const { return comHeld; }

 private:
  static const SystemCalls kCalls;
  friend struct FakeSystemEntries;

  int mediaFoundationHeld = 0;
  int comHeld = 0;
};

}  // namespace talu

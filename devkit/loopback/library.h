// What lives for the process: the configuration, the one session, the thread for log and error
// callbacks. The eight entry points lead here.
//
// Sessions are known by numbers, not addresses, so that a handle that is no longer good is told
// from a good one. Any thread may call; init, create, destroy and cleanup exclude each other, and
// no lock that a send call needs is held while a callback is waited for.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "base/sdk_records.h"
#include "devkit/loopback/callback_lane.h"
#include "devkit/loopback/faults.h"
#include "devkit/loopback/session.h"

namespace talu::loopback {

class Library {
 public:
  // The process's own. Never destroyed: at the process's end its threads may be gone already.
  static Library& Instance();

  int32_t GlobalInit(const SdkGlobalConfig* config);
  void GlobalCleanup();
  int32_t SessionCreate(const SdkSessionParams* params, SdkSessionHandle* handle);
  void SessionDestroy(SdkSessionHandle handle);
  int32_t SendVideo(SdkSessionHandle handle, const SdkVideoFrame* frame);
  int32_t SendMessage(SdkSessionHandle handle, const SdkCustomMessage* message);
  int32_t SetScreen(SdkSessionHandle handle, const SdkScreenInfo* info);

 private:
  struct Running;
  std::shared_ptr<Running> Find() const;
  int32_t Enter(SdkSessionHandle handle, Call call, const char* complaint,
                std::shared_ptr<Session>* session);
  int32_t CreateLocked(const std::shared_ptr<Running>& running, const SdkSessionParams& params,
                       SdkSessionHandle* handle);
  void DestroyLocked(const std::shared_ptr<Running>& running);

  // Held across a whole init, create, destroy or cleanup.
  std::mutex lifecycle;
  // Guards the pointers only.
  mutable std::mutex lock;
  std::shared_ptr<Running> current;
  uintptr_t lastHandle = 0;
};

}  // namespace talu::loopback

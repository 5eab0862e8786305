// An open session that keeps the control messages sent through it, without any library behind.
//
// One at a time. Any thread may send and read. Close makes the session as it is after a stop.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "base/sdk_session.h"

namespace talu {

class MessageRecorder {
 public:
  MessageRecorder() {
    current = this;
    sdk.send_custom_message = Keep;
    session.Open(sdk, &sdk);
  }
  ~MessageRecorder() { Close(); }
  MessageRecorder(const MessageRecorder&) = delete;
  MessageRecorder& operator=(const MessageRecorder&) = delete;

  SdkSession& Session() { return session; }
  void Close() { (void)session.Close(); }

  std::vector<std::string> Messages() {
    const std::lock_guard<std::mutex> hold(lock);
    return messages;
  }

 private:
  // Records a message with a wrong label or reserved field as one that no test expects.
  static int32_t Keep(SdkSessionHandle, const SdkCustomMessage* message) {
    const std::lock_guard<std::mutex> hold(current->lock);
    if (std::string(message->label) != "desktop_input" || message->reserved != 0) {
      current->messages.emplace_back("a message with a wrong head");
    }
    current->messages.emplace_back(reinterpret_cast<const char*>(message->payload),
                                   message->payloadLength);
    return 1;  // The library's result matters to nobody.
  }

  static inline MessageRecorder* current = nullptr;

  StreamSdk sdk;
  SdkSession session;
  std::mutex lock;
  std::vector<std::string> messages;
};

}  // namespace talu

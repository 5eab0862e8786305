#include "session/stream_sdk_loader.h"

#include "base/log.h"
#include "session/dynamic_library.h"

namespace talu {
namespace {

StreamSdk processSdk;

// False, with a log line, when the library lacks the name; the entry is then null.
template <typename Function>
bool Resolve(void* module, const char* name, Function*& entry) {
  entry = reinterpret_cast<Function*>(FindLibrarySymbol(module, name));
  if (entry == nullptr) {
    LogPrintf("[tcar] 符号解析失败: %s\n", name);
  }
  return entry != nullptr;
}

// Tries every name, so that one run reports every missing symbol.
bool ResolveAll(StreamSdk& sdk) {
  bool complete = Resolve(sdk.module, "tcar_global_init", sdk.global_init);
  complete &= Resolve(sdk.module, "tcar_global_cleanup", sdk.global_cleanup);
  complete &= Resolve(sdk.module, "tcar_session_create", sdk.session_create);
  complete &= Resolve(sdk.module, "tcar_session_destroy", sdk.session_destroy);
  complete &= Resolve(sdk.module, "tcar_session_send_encoded_video_frame", sdk.send_video_frame);
  complete &= Resolve(sdk.module, "tcar_session_send_custom_message", sdk.send_custom_message);
  complete &= Resolve(sdk.module, "tcar_set_screen_info", sdk.set_screen_info);
  complete &= Resolve(sdk.module, "tcar_str_err", sdk.str_err);
  return complete;
}

}  // namespace

bool LoadStreamSdk() {
  if (processSdk.module != nullptr) {
    return true;
  }
  processSdk.module = OpenLibrary(L"libtcar_sdk.dll");
  if (processSdk.module == nullptr) {
    LogPrintf("[tcar] 无法加载 libtcar_sdk.dll (err=%lu)；确认已随程序打包到 exe 同目录\n",
              LastLibraryError());
    return false;
  }
  if (!ResolveAll(processSdk)) {
    CloseLibrary(processSdk.module);
    processSdk.module = nullptr;
    return false;
  }
  return true;
}

const StreamSdk& ProcessStreamSdk() { return processSdk; }

void ForgetStreamSdk() { processSdk = StreamSdk{}; }

}  // namespace talu

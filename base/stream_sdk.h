// The streaming library's eight entry points, as one table.
//
// The process-wide table is filled once, by LoadStreamSdk on the main thread, before any other
// thread reads it. Tests hand out tables of their own.
#pragma once

#include "base/sdk_records.h"

namespace talu {

struct StreamSdk {
  void* module = nullptr;
  int32_t (*global_init)(const SdkGlobalConfig*) = nullptr;
  void (*global_cleanup)() = nullptr;
  int32_t (*session_create)(const SdkSessionParams*, SdkSessionHandle*) = nullptr;
  void (*session_destroy)(SdkSessionHandle) = nullptr;
  int32_t (*send_video_frame)(SdkSessionHandle, const SdkVideoFrame*) = nullptr;
  int32_t (*send_custom_message)(SdkSessionHandle, const SdkCustomMessage*) = nullptr;
  int32_t (*set_screen_info)(SdkSessionHandle, const SdkScreenInfo*) = nullptr;
  const char* (*str_err)(int32_t) = nullptr;

  // The library's text for an error code; empty where it has none.
  const char* ErrorText(int32_t code) const {
    const char* text = str_err(code);
    return text == nullptr ? "" : text;
  }
};

}  // namespace talu

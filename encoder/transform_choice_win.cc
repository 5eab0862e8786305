#include "encoder/transform_choice_win.h"

#include <mfapi.h>
#include <mfidl.h>
#include <objbase.h>
#include <wmcodecdsp.h>

#include <span>

#include "base/system_calls_win.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

// The list of activation objects as MFTEnumEx hands it out.
class ActivationList {
 public:
  ActivationList() {
    const MFT_REGISTER_TYPE_INFO input{MFMediaType_Video, MFVideoFormat_NV12};
    const MFT_REGISTER_TYPE_INFO output{MFMediaType_Video, MFVideoFormat_H264};
    if (FAILED(System().MftEnumEx(MFT_CATEGORY_VIDEO_ENCODER,
                                  MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SORTANDFILTER, &input,
                                  &output, &entries, &count))) {
      entries = nullptr;
      count = 0;
    }
  }
  ~ActivationList() {
    for (IMFActivate* entry : Entries()) {
      entry->Release();
    }
    CoTaskMemFree(entries);
  }
  ActivationList(const ActivationList&) = delete;
  ActivationList& operator=(const ActivationList&) = delete;

  std::span<IMFActivate* const> Entries() const { return {entries, count}; }

 private:
  IMFActivate** entries = nullptr;
  UINT32 count = 0;
};

}  // namespace

ComPtr<IMFTransform> CreateHardwareTransform() {
  ComPtr<IMFTransform> transform;
  const ActivationList candidates;
  for (IMFActivate* candidate : candidates.Entries()) {
    if (SUCCEEDED(candidate->ActivateObject(IID_PPV_ARGS(&transform)))) {
      return transform;
    }
  }
  return nullptr;
}

ComPtr<IMFTransform> CreateSoftwareTransform() {
  ComPtr<IMFTransform> transform;
  if (FAILED(System().CoCreate(CLSID_CMSH264EncoderMFT, nullptr, CLSCTX_INPROC_SERVER,
                               IID_PPV_ARGS(&transform)))) {
    return nullptr;
  }
  return transform;
}

}  // namespace talu

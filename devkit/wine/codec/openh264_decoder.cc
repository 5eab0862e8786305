// OpenH264's decoder behind the C boundary, for tests that look at what the transforms gave.
#include <wels/codec_api.h>

#include <memory>

#include "devkit/wine/codec/codec_abi.h"

namespace talu {
namespace {

struct DestroyDecoder {
  void operator()(ISVCDecoder* decoder) const {
    decoder->Uninitialize();
    WelsDestroyDecoder(decoder);
  }
};

}  // namespace

extern "C" {

void* TaluOpenDecoder() {
  ISVCDecoder* made = nullptr;
  if (WelsCreateDecoder(&made) != 0 || !made) return nullptr;
  std::unique_ptr<ISVCDecoder, DestroyDecoder> decoder(made);
  int quiet = WELS_LOG_QUIET;
  decoder->SetOption(DECODER_OPTION_TRACE_LEVEL, &quiet);
  SDecodingParam parameters = {};
  parameters.sVideoProperty.eVideoBsType = VIDEO_BITSTREAM_AVC;
  parameters.eEcActiveIdc = ERROR_CON_DISABLE;
  if (decoder->Initialize(&parameters) != 0) return nullptr;
  return decoder.release();
}

int32_t TaluDecodeUnit(void* decoder, const uint8_t* data, uint32_t size, DecodedPicture* picture) {
  auto* openh264 = static_cast<ISVCDecoder*>(decoder);
  *picture = {};
  unsigned char* planes[3] = {};
  SBufferInfo info = {};
  if (openh264->DecodeFrameNoDelay(data, static_cast<int>(size), planes, &info) != dsErrorFree) {
    return -1;
  }
  // With a Main profile stream it holds the picture back although nothing is reordered.
  if (info.iBufferStatus != 1 && openh264->FlushFrame(planes, &info) != dsErrorFree) return -1;
  if (info.iBufferStatus != 1) return 0;
  const SSysMEMBuffer& buffer = info.UsrData.sSystemBuffer;
  *picture = {planes[0],         planes[1],     planes[2],     buffer.iStride[0],
              buffer.iStride[1], buffer.iWidth, buffer.iHeight};
  return 1;
}

void TaluCloseDecoder(void* decoder) { DestroyDecoder()(static_cast<ISVCDecoder*>(decoder)); }
}

}  // namespace talu

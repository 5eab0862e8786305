// OpenH264's encoder behind the C boundary: native code, no Windows in it.
#include <wels/codec_api.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "devkit/wine/codec/codec_abi.h"

namespace talu {
namespace {

// Finer than this nobody sees, and on a mostly still desktop it costs a third of the time.
constexpr int kFinestQp = 20;
constexpr int kCoarsestQp = 51;
// How much coarser a picture becomes that is too large for its buffer.
constexpr int kCoarserByQp = 8;

// An sRGB desktop, turned into luma and chroma by the BT.601 matrix in limited range.
constexpr unsigned char kPrimaries = CP_BT709;
constexpr unsigned char kTransfer = TRC_IEC61966_2_1;
constexpr unsigned char kMatrix = CM_SMPTE170M;

struct DestroyEncoder {
  void operator()(ISVCEncoder* encoder) const {
    encoder->Uninitialize();
    WelsDestroySVCEncoder(encoder);
  }
};

struct OpenH264Encoder {
  std::unique_ptr<ISVCEncoder, DestroyEncoder> encoder;
  EncoderShape shape = {};
  int finestQp = kFinestQp;
  std::vector<uint8_t> chroma;  // both planes, one after the other
  std::vector<uint8_t> unit;
};

void DescribeLayer(const EncoderShape& shape, float frameRate, SSpatialLayerConfig& layer) {
  layer.iVideoWidth = shape.width;
  layer.iVideoHeight = shape.height;
  layer.fFrameRate = frameRate;
  layer.iSpatialBitrate = shape.bitsPerSecond;
  layer.iMaxSpatialBitrate = UNSPECIFIED_BIT_RATE;
  layer.uiProfileIdc = PRO_MAIN;
  layer.sSliceArgument.uiSliceMode = SM_SINGLE_SLICE;
  layer.bVideoSignalTypePresent = true;
  layer.uiVideoFormat = VF_UNDEF;
  layer.bFullRange = false;
  layer.bColorDescriptionPresent = true;
  layer.uiColorPrimaries = kPrimaries;
  layer.uiTransferCharacteristics = kTransfer;
  layer.uiColorMatrix = kMatrix;
}

// The camera mode, not the screen mode: at 1280x720 the latter takes 5 ms for a desktop on which
// nothing moves, the former 1.3 ms, and its pictures are no worse. Variable-length coding, because
// a key frame with arithmetic coding takes twice as long. One thread: the machine has other work.
void Describe(const EncoderShape& shape, int finestQp, SEncParamExt& parameters) {
  const float frameRate =
      static_cast<float>(shape.frameRateNumerator) / static_cast<float>(shape.frameRateDenominator);
  parameters.iUsageType = CAMERA_VIDEO_REAL_TIME;
  parameters.iPicWidth = shape.width;
  parameters.iPicHeight = shape.height;
  parameters.iTargetBitrate = shape.bitsPerSecond;
  parameters.iMaxBitrate = UNSPECIFIED_BIT_RATE;
  parameters.iRCMode = RC_BITRATE_MODE;
  parameters.fMaxFrameRate = frameRate;
  parameters.iTemporalLayerNum = 1;
  parameters.iSpatialLayerNum = 1;
  parameters.iComplexityMode = LOW_COMPLEXITY;
  parameters.uiIntraPeriod = static_cast<unsigned>(shape.keyFrameInterval);
  parameters.iNumRefFrame = 1;
  parameters.eSpsPpsIdStrategy = CONSTANT_ID;
  parameters.bPrefixNalAddingCtrl = false;
  parameters.iEntropyCodingModeFlag = 0;
  // Every picture in gives a unit out; too many bits for one picture are saved on the next ones.
  parameters.bEnableFrameSkip = false;
  parameters.iMinQp = finestQp;
  parameters.iMaxQp = kCoarsestQp;
  parameters.bEnableLongTermReference = false;
  parameters.iMultipleThreadIdc = 1;
  parameters.bEnableDenoise = false;
  // Leaves what does not move at the coarse quality of its key frame: text would stay blurred.
  parameters.bEnableBackgroundDetection = false;
  parameters.bEnableAdaptiveQuant = false;
  // Key frames come from the interval and on demand only.
  parameters.bEnableSceneChangeDetect = false;
  parameters.bEnableFrameCroppingFlag = true;
  DescribeLayer(shape, frameRate, parameters.sSpatialLayers[0]);
}

bool Plausible(const EncoderShape& shape) {
  return shape.width > 0 && shape.height > 0 && shape.width % 2 == 0 && shape.height % 2 == 0 &&
         shape.frameRateNumerator > 0 && shape.frameRateDenominator > 0 &&
         shape.bitsPerSecond > 0 && shape.keyFrameInterval >= 0 && shape.largestUnitBytes > 0;
}

std::unique_ptr<ISVCEncoder, DestroyEncoder> MakeEncoder(const EncoderShape& shape, int finestQp) {
  ISVCEncoder* made = nullptr;
  if (WelsCreateSVCEncoder(&made) != 0 || !made) return nullptr;
  std::unique_ptr<ISVCEncoder, DestroyEncoder> encoder(made);
  // It would write to the standard error stream, which belongs to the host and its parent.
  int quiet = WELS_LOG_QUIET;
  encoder->SetOption(ENCODER_OPTION_TRACE_LEVEL, &quiet);
  SEncParamExt parameters;
  if (encoder->GetDefaultParams(&parameters) != 0) return nullptr;
  Describe(shape, finestQp, parameters);
  if (encoder->InitializeExt(&parameters) != 0) return nullptr;
  int format = videoFormatI420;
  if (encoder->SetOption(ENCODER_OPTION_DATAFORMAT, &format) != 0) return nullptr;
  return encoder;
}

void SplitChroma(const uint8_t* nv12, int pitch, OpenH264Encoder& state) {
  const size_t columns = static_cast<size_t>(state.shape.width) / 2;
  const size_t rows = static_cast<size_t>(state.shape.height) / 2;
  const uint8_t* from = nv12 + static_cast<size_t>(pitch) * state.shape.height;
  uint8_t* blue = state.chroma.data();
  uint8_t* red = blue + columns * rows;
  for (size_t row = 0; row < rows; ++row) {
    for (size_t column = 0; column < columns; ++column) {
      blue[column] = from[2 * column];
      red[column] = from[2 * column + 1];
    }
    from += pitch;
    blue += columns;
    red += columns;
  }
}

void Collect(const SFrameBSInfo& info, std::vector<uint8_t>& unit) {
  unit.clear();
  if (info.eFrameType == videoFrameTypeSkip || info.eFrameType == videoFrameTypeInvalid) return;
  for (int i = 0; i < info.iLayerNum; ++i) {
    const SLayerBSInfo& layer = info.sLayerInfo[i];
    size_t size = 0;
    for (int nal = 0; nal < layer.iNalCount; ++nal) {
      size += static_cast<size_t>(layer.pNalLengthInByte[nal]);
    }
    unit.insert(unit.end(), layer.pBsBuf, layer.pBsBuf + size);
  }
}

SSourcePicture Describe(const OpenH264Encoder& state, const uint8_t* nv12, int pitch,
                        int64_t timeMs) {
  SSourcePicture picture = {};
  picture.iColorFormat = videoFormatI420;
  picture.iPicWidth = state.shape.width;
  picture.iPicHeight = state.shape.height;
  picture.iStride[0] = pitch;
  picture.iStride[1] = picture.iStride[2] = state.shape.width / 2;
  picture.pData[0] = const_cast<uint8_t*>(nv12);  // read only, though the field does not say so
  picture.pData[1] = const_cast<uint8_t*>(state.chroma.data());
  picture.pData[2] = picture.pData[1] + state.chroma.size() / 2;
  picture.uiTimeStamp = timeMs;
  return picture;
}

int EncodeOnce(OpenH264Encoder& state, const SSourcePicture& picture, bool& keyFrame) {
  SFrameBSInfo info = {};
  if (int error = state.encoder->EncodeFrame(&picture, &info)) return error;
  Collect(info, state.unit);
  keyFrame = info.eFrameType == videoFrameTypeIDR;
  return state.unit.size() <= static_cast<size_t>(state.shape.largestUnitBytes) ? 0
                                                                                : cmUnknownReason;
}

// Noise at a fine quality overflows OpenH264's own buffer, too, and leaves it useless.
int EncodeCoarser(OpenH264Encoder& state, const SSourcePicture& picture, bool& keyFrame) {
  int error = cmUnknownReason;
  while (error && state.finestQp < kCoarsestQp) {
    state.finestQp = std::min(state.finestQp + kCoarserByQp, kCoarsestQp);
    state.encoder = MakeEncoder(state.shape, state.finestQp);
    if (!state.encoder) return cmInitParaError;
    error = EncodeOnce(state, picture, keyFrame);
  }
  return error;
}

}  // namespace

extern "C" {

void* TaluOpenEncoder(const EncoderShape* shape) {
  if (!Plausible(*shape)) return nullptr;
  auto state = std::make_unique<OpenH264Encoder>();
  state->encoder = MakeEncoder(*shape, state->finestQp);
  if (!state->encoder) return nullptr;
  state->shape = *shape;
  state->chroma.resize(static_cast<size_t>(shape->width) * shape->height / 2);
  return state.release();
}

int32_t TaluEncodePicture(void* encoder, const uint8_t* nv12, int32_t pitch, int64_t timeMs,
                          int32_t forceKeyFrame, CodedPicture* coded) {
  auto& state = *static_cast<OpenH264Encoder*>(encoder);
  *coded = {};
  if (!state.encoder) return cmInitExpected;
  if (forceKeyFrame) {
    if (int error = state.encoder->ForceIntraFrame(true)) return error;
  }
  SplitChroma(nv12, pitch, state);
  const SSourcePicture picture = Describe(state, nv12, pitch, timeMs);
  bool keyFrame = false;
  int error = EncodeOnce(state, picture, keyFrame);
  if (error) error = EncodeCoarser(state, picture, keyFrame);
  if (error) return error;
  coded->data = state.unit.data();
  coded->size = static_cast<uint32_t>(state.unit.size());
  coded->keyFrame = keyFrame;
  return 0;
}

int32_t TaluSetEncoderBitRate(void* encoder, int32_t bitsPerSecond) {
  auto& state = *static_cast<OpenH264Encoder*>(encoder);
  if (!state.encoder) return cmInitExpected;
  SBitrateInfo rate = {};
  rate.iLayer = SPATIAL_LAYER_ALL;
  rate.iBitrate = bitsPerSecond;
  if (int error = state.encoder->SetOption(ENCODER_OPTION_BITRATE, &rate)) return error;
  state.shape.bitsPerSecond = bitsPerSecond;
  return 0;
}

int32_t TaluSetKeyFrameInterval(void* encoder, int32_t pictures) {
  auto& state = *static_cast<OpenH264Encoder*>(encoder);
  if (!state.encoder) return cmInitExpected;
  if (int error = state.encoder->SetOption(ENCODER_OPTION_IDR_INTERVAL, &pictures)) return error;
  state.shape.keyFrameInterval = pictures;
  return 0;
}

void TaluCloseEncoder(void* encoder) { delete static_cast<OpenH264Encoder*>(encoder); }
}

}  // namespace talu

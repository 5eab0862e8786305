// Makes a transform into the encoder that is wanted: constant bit rate, a key frame every two
// seconds, no B-frames, low latency, Main profile, NV12 in.
//
// Used by the thread that builds the encoder, in this order: OpenTransform, SetRates, SetTypes.
#pragma once

#include "encoder/encoder_settings.h"
#include "encoder/encoder_state_win.h"

namespace talu {

// Makes transform the encoder's own: unlocks it, finds its interfaces and stream numbers and, for
// hardware, gives it a Direct3D device.
void OpenTransform(EncoderState& state, bool hardware);

// Drops what an earlier attempt left.
void DropTransform(EncoderState& state);

// What the transform does not understand is left to its defaults.
void SetRates(ICodecAPI& codecApi, const EncoderSettings& settings);

// One 32-bit property.
HRESULT SetCodecNumber(ICodecAPI& codecApi, const GUID& property, uint32_t value);

// False when the transform refuses what goes in or comes out.
bool SetTypes(EncoderState& state, const EncoderSettings& settings);

// Reads how the transform hands out its output.
void ReadOutputStream(EncoderState& state);

// Answers a transform that wants another output type: takes the first H.264 type it offers. False
// when it offers none it then accepts.
bool AcceptOfferedOutputType(EncoderState& state);

}  // namespace talu

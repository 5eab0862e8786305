// Everything of an encoder that is tied to Media Foundation.
//
// Owned by one H264Encoder and used by the thread that encodes, except where a field says
// otherwise. The fields are destroyed last to first: what feeds the transform goes before the
// transform.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <mfidl.h>
#include <mfobjects.h>
#include <mftransform.h>
#include <strmif.h>
#include <wrl/client.h>

#include <cstdint>
#include <vector>

#include "base/gate.h"
#include "encoder/transform_patience.h"

namespace talu {

struct EncoderState {
  Microsoft::WRL::ComPtr<IMFTransform> transform;
  // Present exactly for asynchronous transforms.
  Microsoft::WRL::ComPtr<IMFMediaEventGenerator> event_generator;
  // Present where the transform can be adjusted. Read by any thread that passes codec_api_gate.
  Microsoft::WRL::ComPtr<ICodecAPI> codec_api;
  uint32_t input_stream_id = 0;
  uint32_t output_stream_id = 0;
  bool output_provides_samples = false;
  bool is_hardware = false;
  // In bytes; 0 when the transform names none.
  uint32_t output_buffer_size = 0;
  // MfShutdown is owed.
  bool mf_started = false;
  // CoUninitialize is owed.
  bool com_initialized = false;
  // As given to Init; a rebuild starts from it again.
  int32_t bitrate_kbps = 0;
  // Pictures in a row that an asynchronous hardware transform did not ask for in time.
  int32_t no_input_streak = 0;
  // Input requests received and not yet answered.
  int32_t pending_need_input = 0;
  // The device a hardware transform works on, apart from the capture's; null otherwise.
  Microsoft::WRL::ComPtr<ID3D11Device> d3d_device;
  Microsoft::WRL::ComPtr<IMFDXGIDeviceManager> dxgi_manager;
  UINT reset_token = 0;
  // One picture on its way to the transform.
  std::vector<uint8_t> nv12;

  SilenceWatch silence;
  // Closed while codec_api is replaced.
  Gate codec_api_gate;
};

}  // namespace talu

// The calls into Direct3D, Media Foundation and COM that the host makes, as one table.
//
// The DLLs behind it are loaded at the first call that needs them, so that the executable starts on
// a Windows without them (N editions, servers without the media feature): a missing DLL or function
// is logged once and its calls then fail with an HRESULT. Any thread may call any entry. Tests put
// a table of their own in its place before other threads run.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <mfapi.h>
#include <mfidl.h>
#include <mftransform.h>

namespace talu {

struct SystemCalls {
  HRESULT(*D3d11CreateDevice)
  (IDXGIAdapter*, D3D_DRIVER_TYPE, HMODULE, UINT, const D3D_FEATURE_LEVEL*, UINT, UINT,
   ID3D11Device**, D3D_FEATURE_LEVEL*, ID3D11DeviceContext**);
  HRESULT (*MfStartup)(ULONG version, DWORD flags);
  HRESULT (*MfShutdown)();
  HRESULT(*MftEnumEx)
  (GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* input,
   const MFT_REGISTER_TYPE_INFO* output, IMFActivate*** activates, UINT32* count);
  HRESULT (*MfCreateMediaType)(IMFMediaType** type);
  HRESULT (*MfCreateSample)(IMFSample** sample);
  HRESULT (*MfCreateMemoryBuffer)(DWORD maxLength, IMFMediaBuffer** buffer);
  HRESULT (*MfCreateDxgiDeviceManager)(UINT* resetToken, IMFDXGIDeviceManager** manager);
  HRESULT (*CoInitialize)(DWORD apartment);
  void (*CoUninitialize)();
  HRESULT(*CoCreate)
  (REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object);
};

// The table in force.
const SystemCalls& System();

// The real system's calls, for a test's table to start from.
const SystemCalls& RealSystemCalls();

// Puts calls in force for a test; null brings the real ones back. Not while other threads call.
void ReplaceSystemCalls(const SystemCalls* calls);

}  // namespace talu

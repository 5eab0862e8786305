// From the graphics card's picture to plain memory, by way of a staging texture.
//
// Owned by the capturer and called on the capturing thread alone. The staging texture is kept as
// long as the size stays.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>
#include <vector>

namespace talu {

struct Pixels {
  std::vector<uint8_t> bytes;  // BGRA rows without padding
  int32_t width = 0;
  int32_t height = 0;
};

class StagingCopy {
 public:
  // Fills pixels with the picture. On failure pixels stay as they were. A texture that is no plain
  // BGRA picture of a size Direct3D knows gives DXGI_ERROR_UNSUPPORTED: the copy into the staging
  // texture would silently do nothing.
  HRESULT Read(ID3D11Device* device, ID3D11DeviceContext* context, ID3D11Texture2D* picture,
               Pixels& pixels);

  // Forgets the staging texture, for another output or device.
  void Release();

 private:
  HRESULT MakeStaging(ID3D11Device* device, UINT pictureWidth, UINT pictureHeight);

  Microsoft::WRL::ComPtr<ID3D11Texture2D> staging;
  UINT width = 0;
  UINT height = 0;
};

}  // namespace talu

#include "capture/staging_copy_win.h"

#include "capture/pixel_rows.h"

namespace talu {
namespace {

constexpr size_t kBytesPerPixel = 4;

bool CanBeStaged(const D3D11_TEXTURE2D_DESC& picture) {
  const bool plain =
      picture.MipLevels == 1 && picture.ArraySize == 1 && picture.SampleDesc.Count == 1;
  const bool bgra = picture.Format == DXGI_FORMAT_B8G8R8A8_UNORM ||
                    picture.Format == DXGI_FORMAT_B8G8R8A8_UNORM_SRGB ||
                    picture.Format == DXGI_FORMAT_B8G8R8A8_TYPELESS;
  const bool sized = picture.Width >= 1 && picture.Height >= 1 &&
                     picture.Width <= D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION &&
                     picture.Height <= D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION;
  return plain && bgra && sized;
}

}  // namespace

HRESULT StagingCopy::Read(ID3D11Device* device, ID3D11DeviceContext* context,
                          ID3D11Texture2D* picture, Pixels& pixels) {
  D3D11_TEXTURE2D_DESC description{};
  picture->GetDesc(&description);
  if (!CanBeStaged(description)) {
    return DXGI_ERROR_UNSUPPORTED;
  }
  HRESULT result = MakeStaging(device, description.Width, description.Height);
  if (FAILED(result)) {
    return result;
  }
  context->CopyResource(staging.Get(), picture);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  result = context->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped);
  if (FAILED(result)) {
    return result;
  }
  const size_t rowBytes = width * kBytesPerPixel;
  const bool readable = mapped.pData != nullptr && mapped.RowPitch >= rowBytes;
  if (readable) {
    pixels.width = static_cast<int32_t>(width);
    pixels.height = static_cast<int32_t>(height);
    ResizePixels(pixels.bytes, rowBytes * height);
    CopyRows(static_cast<const uint8_t*>(mapped.pData), mapped.RowPitch, rowBytes, height,
             pixels.bytes.data());
  }
  context->Unmap(staging.Get(), 0);
  return readable ? S_OK : DXGI_ERROR_UNSUPPORTED;
}

HRESULT StagingCopy::MakeStaging(ID3D11Device* device, UINT pictureWidth, UINT pictureHeight) {
  if (staging && width == pictureWidth && height == pictureHeight) {
    return S_OK;
  }
  Release();
  D3D11_TEXTURE2D_DESC description{};
  description.Width = pictureWidth;
  description.Height = pictureHeight;
  description.MipLevels = 1;
  description.ArraySize = 1;
  description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
  description.SampleDesc.Count = 1;
  description.Usage = D3D11_USAGE_STAGING;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  const HRESULT created = device->CreateTexture2D(&description, nullptr, &staging);
  if (SUCCEEDED(created)) {
    width = pictureWidth;
    height = pictureHeight;
  }
  return created;
}

void StagingCopy::Release() {
  staging.Reset();
  width = 0;
  height = 0;
}

}  // namespace talu

// The texture that a duplication hands out, and the short way from it to the program's memory.
//
// What programs do with a frame is CopyResource to a staging texture and Map. Through a software
// renderer that costs more than everything else together, and the picture lies in memory already:
// so a copy from a frame to a staging texture of its size only notes the picture, and Map for
// reading hands out the picture's own memory. Every other use of either texture first brings the
// noted picture into it, by the copies that were saved before. Frames can be bound as shader
// resources; from then on they are filled at once.
//
// Not seen: copies that a deferred context records. TALU_DESKTOP_SHORTCUT=0 switches it all off.
#pragma once

#include <d3d11.h>
#include <wrl/client.h>

#include "devkit/wine/desktop/desktop_capture.h"

namespace talu {

// Replaces the methods concerned; once a process is enough, more often does not hurt.
void InstallCopyShortcut(ID3D11Device* device, ID3D11DeviceContext* context);

// A texture that SetFramePicture fills. Null when the device fails.
Microsoft::WRL::ComPtr<ID3D11Texture2D> CreateFrameTexture(ID3D11Device* device, uint32_t width,
                                                           uint32_t height);

// Gives the frame another picture, of its own size. On the thread that uses the context.
void SetFramePicture(ID3D11DeviceContext* context, ID3D11Texture2D* frame, PicturePtr picture);

}  // namespace talu

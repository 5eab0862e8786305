#include "devkit/wine/desktop/frame_texture.h"

#include <atomic>
#include <utility>

#include "devkit/wine/desktop/method_table.h"

namespace talu {

namespace {

using Microsoft::WRL::ComPtr;

// What a texture carries: a frame its picture, a staging texture the picture that was copied to it.
const GUID kFrameNoteId = {
    0x3f6b27a1, 0x52c8, 0x4d0e, {0x9a, 0x41, 0x6e, 0x0f, 0xd3, 0x85, 0x2c, 0x17}};
const GUID kStagingNoteId = {
    0x8c50be92, 0x1f67, 0x4b3a, {0xb0, 0x2d, 0x95, 0x7a, 0x14, 0xe8, 0x63, 0xc9}};

// Slots of the method tables, counted from IUnknown's three.
constexpr size_t kCreateShaderResourceViewSlot = 7;
constexpr size_t kMapSlot = 14;
constexpr size_t kUnmapSlot = 15;
constexpr size_t kCopySubresourceRegionSlot = 46;
constexpr size_t kCopyResourceSlot = 47;
constexpr size_t kUpdateSubresourceSlot = 48;

class Note final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id != __uuidof(IUnknown)) return E_NOINTERFACE;
    AddRef();
    *object = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references;
    if (left == 0) delete this;
    return left;
  }

  PicturePtr picture;
  // The texture's own memory holds the picture too.
  bool filled = false;
  // A frame that is bound somewhere: filled as soon as it gets a picture.
  bool bound = false;
  // A staging texture that is mapped to the picture's memory.
  bool mapped = false;

 private:
  ~Note() = default;
  // None yet: mingw's ComPtr cannot take over a reference, it always adds its own.
  std::atomic<ULONG> references = 0;
};

using CreateShaderResourceViewMethod =
    HRESULT(STDMETHODCALLTYPE*)(ID3D11Device*, ID3D11Resource*,
                                const D3D11_SHADER_RESOURCE_VIEW_DESC*, ID3D11ShaderResourceView**);
using MapMethod = HRESULT(STDMETHODCALLTYPE*)(ID3D11DeviceContext*, ID3D11Resource*, UINT,
                                              D3D11_MAP, UINT, D3D11_MAPPED_SUBRESOURCE*);
using UnmapMethod = void(STDMETHODCALLTYPE*)(ID3D11DeviceContext*, ID3D11Resource*, UINT);
using CopySubresourceRegionMethod = void(STDMETHODCALLTYPE*)(ID3D11DeviceContext*, ID3D11Resource*,
                                                             UINT, UINT, UINT, UINT,
                                                             ID3D11Resource*, UINT,
                                                             const D3D11_BOX*);
using CopyResourceMethod = void(STDMETHODCALLTYPE*)(ID3D11DeviceContext*, ID3D11Resource*,
                                                    ID3D11Resource*);
using UpdateSubresourceMethod = void(STDMETHODCALLTYPE*)(ID3D11DeviceContext*, ID3D11Resource*,
                                                         UINT, const D3D11_BOX*, const void*, UINT,
                                                         UINT);

ReplacedMethod<CreateShaderResourceViewMethod> createShaderResourceView;
ReplacedMethod<MapMethod> map;
ReplacedMethod<UnmapMethod> unmap;
ReplacedMethod<CopySubresourceRegionMethod> copySubresourceRegion;
ReplacedMethod<CopyResourceMethod> copyResource;
ReplacedMethod<UpdateSubresourceMethod> updateSubresource;
std::atomic<bool> installed = false;

ComPtr<Note> FindNote(ID3D11DeviceChild* child, const GUID& id) {
  ComPtr<Note> note;
  UINT size = sizeof(void*);
  // Under these two names nothing but notes is ever kept.
  if (child == nullptr || FAILED(child->GetPrivateData(id, &size, note.GetAddressOf()))) return {};
  return note;
}

void UploadPicture(ID3D11DeviceContext* context, ID3D11Texture2D* frame, const Picture& picture) {
  if (installed) {
    updateSubresource.Original()(context, frame, 0, nullptr, picture.pixels, picture.Pitch(), 0);
  } else {
    context->UpdateSubresource(frame, 0, nullptr, picture.pixels, picture.Pitch(), 0);
  }
}

void FillFrame(ID3D11DeviceContext* context, ID3D11Resource* frame, Note* note) {
  if (note->filled || note->picture == nullptr) return;
  UploadPicture(context, static_cast<ID3D11Texture2D*>(frame), *note->picture);
  note->filled = true;
}

// Brings a noted picture into the staging texture's own memory.
void FillStaging(ID3D11DeviceContext* context, ID3D11Resource* staging) {
  const ComPtr<Note> note = FindNote(staging, kStagingNoteId);
  if (note == nullptr || note->picture == nullptr) return;
  const PicturePtr picture = std::exchange(note->picture, nullptr);
  note->mapped = false;
  ComPtr<ID3D11Device> device;
  context->GetDevice(&device);
  const auto frame = CreateFrameTexture(device.Get(), picture->width, picture->height);
  // Without memory for it the copy is lost, as it would be by the device's own means.
  if (frame == nullptr) return;
  UploadPicture(context, frame.Get(), *picture);
  copyResource.Original()(context, staging, frame.Get());
}

void ForgetStaging(ID3D11Resource* staging) {
  if (const ComPtr<Note> note = FindNote(staging, kStagingNoteId)) note->picture = nullptr;
}

bool IsPlainStaging(ID3D11Resource* resource, const Picture& picture) {
  D3D11_RESOURCE_DIMENSION dimension;
  resource->GetType(&dimension);
  if (dimension != D3D11_RESOURCE_DIMENSION_TEXTURE2D) return false;
  D3D11_TEXTURE2D_DESC desc;
  static_cast<ID3D11Texture2D*>(resource)->GetDesc(&desc);
  return desc.Usage == D3D11_USAGE_STAGING && desc.CPUAccessFlags == D3D11_CPU_ACCESS_READ &&
         desc.Format == DXGI_FORMAT_B8G8R8A8_UNORM && desc.MipLevels == 1 && desc.ArraySize == 1 &&
         desc.Width == picture.width && desc.Height == picture.height;
}

bool NoteCopy(ID3D11Resource* staging, const PicturePtr& picture) {
  if (picture == nullptr || !IsPlainStaging(staging, *picture)) return false;
  ComPtr<Note> note = FindNote(staging, kStagingNoteId);
  if (note == nullptr) {
    note = new Note;
    if (FAILED(staging->SetPrivateDataInterface(kStagingNoteId, note.Get()))) return false;
  }
  note->picture = picture;
  return true;
}

HRESULT STDMETHODCALLTYPE NotedCreateShaderResourceView(ID3D11Device* device,
                                                        ID3D11Resource* resource,
                                                        const D3D11_SHADER_RESOURCE_VIEW_DESC* desc,
                                                        ID3D11ShaderResourceView** view) {
  if (const ComPtr<Note> note = FindNote(resource, kFrameNoteId)) {
    ComPtr<ID3D11DeviceContext> context;
    device->GetImmediateContext(&context);
    note->bound = true;
    FillFrame(context.Get(), resource, note.Get());
  }
  return createShaderResourceView.Original()(device, resource, desc, view);
}

HRESULT STDMETHODCALLTYPE NotedMap(ID3D11DeviceContext* context, ID3D11Resource* resource,
                                   UINT subresource, D3D11_MAP type, UINT flags,
                                   D3D11_MAPPED_SUBRESOURCE* mapped) {
  const ComPtr<Note> note = FindNote(resource, kStagingNoteId);
  const bool noted = note != nullptr && note->picture != nullptr;
  if (noted && subresource == 0 && type == D3D11_MAP_READ && mapped != nullptr) {
    // Reading only, so nobody writes through it.
    mapped->pData = const_cast<uint8_t*>(note->picture->pixels);
    mapped->RowPitch = note->picture->Pitch();
    mapped->DepthPitch = note->picture->Pitch() * note->picture->height;
    note->mapped = true;
    return S_OK;
  }
  if (noted) FillStaging(context, resource);
  return map.Original()(context, resource, subresource, type, flags, mapped);
}

void STDMETHODCALLTYPE NotedUnmap(ID3D11DeviceContext* context, ID3D11Resource* resource,
                                  UINT subresource) {
  const ComPtr<Note> note = FindNote(resource, kStagingNoteId);
  if (note != nullptr && std::exchange(note->mapped, false)) return;
  unmap.Original()(context, resource, subresource);
}

void STDMETHODCALLTYPE NotedCopyResource(ID3D11DeviceContext* context, ID3D11Resource* destination,
                                         ID3D11Resource* source) {
  if (const ComPtr<Note> frame = FindNote(source, kFrameNoteId)) {
    if (NoteCopy(destination, frame->picture)) return;
    FillFrame(context, source, frame.Get());
  }
  FillStaging(context, source);
  ForgetStaging(destination);
  copyResource.Original()(context, destination, source);
}

void STDMETHODCALLTYPE NotedCopySubresourceRegion(ID3D11DeviceContext* context,
                                                  ID3D11Resource* destination, UINT subresource,
                                                  UINT x, UINT y, UINT z, ID3D11Resource* source,
                                                  UINT sourceSubresource, const D3D11_BOX* box) {
  if (const ComPtr<Note> frame = FindNote(source, kFrameNoteId)) {
    FillFrame(context, source, frame.Get());
  }
  FillStaging(context, source);
  FillStaging(context, destination);
  copySubresourceRegion.Original()(context, destination, subresource, x, y, z, source,
                                   sourceSubresource, box);
}

void STDMETHODCALLTYPE NotedUpdateSubresource(ID3D11DeviceContext* context,
                                              ID3D11Resource* destination, UINT subresource,
                                              const D3D11_BOX* box, const void* data, UINT rowPitch,
                                              UINT depthPitch) {
  FillStaging(context, destination);
  updateSubresource.Original()(context, destination, subresource, box, data, rowPitch, depthPitch);
}

}  // namespace

void InstallCopyShortcut(ID3D11Device* device, ID3D11DeviceContext* context) {
  static const bool wanted = ReadEnvironment("TALU_DESKTOP_SHORTCUT") != "0";
  if (!wanted) return;
  // All or nothing: with one slot missing a texture could be seen without its picture.
  installed = updateSubresource.Install(context, kUpdateSubresourceSlot, NotedUpdateSubresource) &&
              copySubresourceRegion.Install(context, kCopySubresourceRegionSlot,
                                            NotedCopySubresourceRegion) &&
              unmap.Install(context, kUnmapSlot, NotedUnmap) &&
              map.Install(context, kMapSlot, NotedMap) &&
              createShaderResourceView.Install(device, kCreateShaderResourceViewSlot,
                                               NotedCreateShaderResourceView) &&
              copyResource.Install(context, kCopyResourceSlot, NotedCopyResource);
}

ComPtr<ID3D11Texture2D> CreateFrameTexture(ID3D11Device* device, uint32_t width, uint32_t height) {
  D3D11_TEXTURE2D_DESC desc{};
  desc.Width = width;
  desc.Height = height;
  desc.MipLevels = 1;
  desc.ArraySize = 1;
  desc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
  desc.SampleDesc.Count = 1;
  desc.Usage = D3D11_USAGE_DEFAULT;
  desc.BindFlags = D3D11_BIND_SHADER_RESOURCE;
  ComPtr<ID3D11Texture2D> frame;
  if (FAILED(device->CreateTexture2D(&desc, nullptr, &frame))) return {};
  return frame;
}

void SetFramePicture(ID3D11DeviceContext* context, ID3D11Texture2D* frame, PicturePtr picture) {
  ComPtr<Note> note = FindNote(frame, kFrameNoteId);
  if (note == nullptr && installed) {
    note = new Note;
    if (FAILED(frame->SetPrivateDataInterface(kFrameNoteId, note.Get()))) note.Reset();
  }
  if (note == nullptr) {
    UploadPicture(context, frame, *picture);
    return;
  }
  if (note->picture == picture) return;
  note->picture = std::move(picture);
  note->filled = false;
  if (note->bound) FillFrame(context, frame, note.Get());
}

}  // namespace talu

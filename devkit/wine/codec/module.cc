// The DLL's doors. codec.reg tells the system of its classes.
#include <windows.h>
// The media headers need it before them.
#include <mfidl.h>
#include <wrl/client.h>

#include <atomic>
#include <iterator>
#include <new>

#include "devkit/wine/codec/buffer_reuse.h"
#include "devkit/wine/codec/hardware_transform.h"
#include "devkit/wine/codec/software_transform.h"

namespace talu {
namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kSoftwareFile[] = L"TALU_SOFTWARE_CODEC";
constexpr wchar_t kHardwareFile[] = L"TALU_HARDWARE_CODEC";

struct Codec {
  CLSID id;
  const char* name;  // in the call log; null for the software one
  bool listedFirst;  // among the hardware ones
};

// The same class ids as in codec.reg.
constexpr Codec kCodecs[] = {
    {{0x6ca50344, 0x051a, 0x4ded, {0x97, 0x79, 0xa4, 0x33, 0x05, 0x16, 0x5e, 0x35}},
     nullptr,
     false},
    {{0x3e1b8b52, 0x6f0e, 0x4c5d, {0x8a, 0x21, 0x5d, 0x0c, 0x77, 0x3f, 0x94, 0x01}},
     "hardware 1",
     true},
    {{0x3e1b8b52, 0x6f0e, 0x4c5d, {0x8a, 0x21, 0x5d, 0x0c, 0x77, 0x3f, 0x94, 0x02}},
     "hardware 2",
     false},
};

std::atomic<long> serverLocks = 0;

HRESULT MakeSoftware(IMFTransform** transform) {
  FaultFile faults(kSoftwareFile, {});
  const FaultPlan& plan = faults.Look();
  if (plan.absent || plan.initFails || plan.activationFails) return E_FAIL;
  *transform = new (std::nothrow) SoftwareTransform(faults);
  return *transform ? S_OK : E_OUTOFMEMORY;
}

HRESULT MakeHardware(const Codec& codec, IMFTransform** transform) {
  FaultPlan none;
  none.absent = true;
  FaultFile faults(kHardwareFile, none);
  const FaultPlan& plan = faults.Look();
  if (plan.absent || plan.initFails) return HRESULT_FROM_WIN32(ERROR_DEV_NOT_EXIST);
  if (plan.activationFails && codec.listedFirst) return E_FAIL;
  auto* made = new (std::nothrow) HardwareTransform(codec.name, faults);
  if (!made) return E_OUTOFMEMORY;
  *transform = made;
  return made->Complete() ? S_OK : E_OUTOFMEMORY;
}

HRESULT Make(const Codec& codec, REFIID iid, void** object) {
  if (!EncoderCore::Available()) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  ComPtr<IMFTransform> transform;
  const HRESULT hr = codec.name ? MakeHardware(codec, &transform) : MakeSoftware(&transform);
  return FAILED(hr) ? hr : transform->QueryInterface(iid, object);
}

// One for each class, for the process's life: its references are not counted.
class Factory final : public IClassFactory {
 public:
  explicit Factory(const Codec& own) : codec(own) {}
  Factory(const Factory&) = delete;
  Factory& operator=(const Factory&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!IsEqualGUID(iid, IID_IUnknown) && !IsEqualGUID(iid, IID_IClassFactory)) {
      return E_NOINTERFACE;
    }
    *object = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    return outer ? CLASS_E_NOAGGREGATION : Make(codec, iid, object);
  }
  STDMETHODIMP LockServer(BOOL locked) override {
    serverLocks += locked ? 1 : -1;
    return S_OK;
  }

 private:
  const Codec& codec;
};

Factory* FactoryOf(REFCLSID id) {
  static Factory factories[] = {Factory(kCodecs[0]), Factory(kCodecs[1]), Factory(kCodecs[2])};
  static_assert(std::size(factories) == std::size(kCodecs));
  for (size_t i = 0; i < std::size(kCodecs); ++i) {
    if (IsEqualGUID(kCodecs[i].id, id)) return &factories[i];
  }
  return nullptr;
}

// A holder may let go of an encoder after it has left COM, when unused servers have been unloaded.
// False when the system refused, which only brings back the danger.
bool StayLoaded() {
  HMODULE module = nullptr;
  return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                            reinterpret_cast<LPCWSTR>(&StayLoaded), &module);
}

}  // namespace
}  // namespace talu

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  talu::Factory* factory = talu::FactoryOf(id);
  if (!factory) return CLASS_E_CLASSNOTAVAILABLE;
  if (talu::StayLoaded()) talu::ReuseMediaBuffers();
  return factory->QueryInterface(iid, object);
}

STDAPI DllCanUnloadNow() {
  return talu::LiveTransforms() == 0 && talu::serverLocks == 0 ? S_OK : S_FALSE;
}

// The many functions of Direct3D's and DXGI's interfaces that no test here scripts.
//
// Bases for fakes: whoever derives from them writes only what its test is about. A call of anything
// else ends the test program with the function's name.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>

#include <cstdio>
#include <cstdlib>

// Interfaces of COM have no virtual destructor; whoever implements one hears about it.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace talu {

inline void Unscripted(const char* function) {
  std::fprintf(stderr, "A call that no test scripts: %s\n", function);
  std::abort();
}

class UnscriptedDevice : public ID3D11Device {
 public:
  HRESULT STDMETHODCALLTYPE CreateBuffer(const D3D11_BUFFER_DESC*, const D3D11_SUBRESOURCE_DATA*,
                                         ID3D11Buffer**) override {
    Unscripted("CreateBuffer");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateTexture1D(const D3D11_TEXTURE1D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture1D**) override {
    Unscripted("CreateTexture1D");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture2D**) override {
    Unscripted("CreateTexture2D");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateTexture3D(const D3D11_TEXTURE3D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture3D**) override {
    Unscripted("CreateTexture3D");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateShaderResourceView(ID3D11Resource*,
                                                     const D3D11_SHADER_RESOURCE_VIEW_DESC*,
                                                     ID3D11ShaderResourceView**) override {
    Unscripted("CreateShaderResourceView");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateUnorderedAccessView(ID3D11Resource*,
                                                      const D3D11_UNORDERED_ACCESS_VIEW_DESC*,
                                                      ID3D11UnorderedAccessView**) override {
    Unscripted("CreateUnorderedAccessView");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateRenderTargetView(ID3D11Resource*,
                                                   const D3D11_RENDER_TARGET_VIEW_DESC*,
                                                   ID3D11RenderTargetView**) override {
    Unscripted("CreateRenderTargetView");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilView(ID3D11Resource*,
                                                   const D3D11_DEPTH_STENCIL_VIEW_DESC*,
                                                   ID3D11DepthStencilView**) override {
    Unscripted("CreateDepthStencilView");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateInputLayout(const D3D11_INPUT_ELEMENT_DESC*, UINT, const void*,
                                              SIZE_T, ID3D11InputLayout**) override {
    Unscripted("CreateInputLayout");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateVertexShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                               ID3D11VertexShader**) override {
    Unscripted("CreateVertexShader");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                                 ID3D11GeometryShader**) override {
    Unscripted("CreateGeometryShader");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShaderWithStreamOutput(const void*, SIZE_T,
                                                                 const D3D11_SO_DECLARATION_ENTRY*,
                                                                 UINT, const UINT*, UINT, UINT,
                                                                 ID3D11ClassLinkage*,
                                                                 ID3D11GeometryShader**) override {
    Unscripted("CreateGeometryShaderWithStreamOutput");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreatePixelShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                              ID3D11PixelShader**) override {
    Unscripted("CreatePixelShader");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateHullShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                             ID3D11HullShader**) override {
    Unscripted("CreateHullShader");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDomainShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                               ID3D11DomainShader**) override {
    Unscripted("CreateDomainShader");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateComputeShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                                ID3D11ComputeShader**) override {
    Unscripted("CreateComputeShader");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateClassLinkage(ID3D11ClassLinkage**) override {
    Unscripted("CreateClassLinkage");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateBlendState(const D3D11_BLEND_DESC*, ID3D11BlendState**) override {
    Unscripted("CreateBlendState");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilState(const D3D11_DEPTH_STENCIL_DESC*,
                                                    ID3D11DepthStencilState**) override {
    Unscripted("CreateDepthStencilState");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateRasterizerState(const D3D11_RASTERIZER_DESC*,
                                                  ID3D11RasterizerState**) override {
    Unscripted("CreateRasterizerState");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateSamplerState(const D3D11_SAMPLER_DESC*,
                                               ID3D11SamplerState**) override {
    Unscripted("CreateSamplerState");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateQuery(const D3D11_QUERY_DESC*, ID3D11Query**) override {
    Unscripted("CreateQuery");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreatePredicate(const D3D11_QUERY_DESC*, ID3D11Predicate**) override {
    Unscripted("CreatePredicate");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateCounter(const D3D11_COUNTER_DESC*, ID3D11Counter**) override {
    Unscripted("CreateCounter");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDeferredContext(UINT, ID3D11DeviceContext**) override {
    Unscripted("CreateDeferredContext");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE OpenSharedResource(HANDLE, REFIID, void**) override {
    Unscripted("OpenSharedResource");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CheckFormatSupport(DXGI_FORMAT, UINT*) override {
    Unscripted("CheckFormatSupport");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CheckMultisampleQualityLevels(DXGI_FORMAT, UINT, UINT*) override {
    Unscripted("CheckMultisampleQualityLevels");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE CheckCounterInfo(D3D11_COUNTER_INFO*) override {
    Unscripted("CheckCounterInfo");
  }
  HRESULT STDMETHODCALLTYPE CheckCounter(const D3D11_COUNTER_DESC*, D3D11_COUNTER_TYPE*, UINT*,
                                         LPSTR, UINT*, LPSTR, UINT*, LPSTR, UINT*) override {
    Unscripted("CheckCounter");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CheckFeatureSupport(D3D11_FEATURE, void*, UINT) override {
    Unscripted("CheckFeatureSupport");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  D3D_FEATURE_LEVEL STDMETHODCALLTYPE GetFeatureLevel() override {
    Unscripted("GetFeatureLevel");
    return {};
  }
  UINT STDMETHODCALLTYPE GetCreationFlags() override {
    Unscripted("GetCreationFlags");
    return {};
  }
  HRESULT STDMETHODCALLTYPE GetDeviceRemovedReason() override {
    Unscripted("GetDeviceRemovedReason");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE GetImmediateContext(ID3D11DeviceContext**) override {
    Unscripted("GetImmediateContext");
  }
  HRESULT STDMETHODCALLTYPE SetExceptionMode(UINT) override {
    Unscripted("SetExceptionMode");
    return E_NOTIMPL;
  }
  UINT STDMETHODCALLTYPE GetExceptionMode() override {
    Unscripted("GetExceptionMode");
    return {};
  }
};

class UnscriptedContext : public ID3D11DeviceContext {
 public:
  void STDMETHODCALLTYPE GetDevice(ID3D11Device**) override { Unscripted("GetDevice"); }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE VSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unscripted("VSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE PSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unscripted("PSSetShaderResources");
  }
  void STDMETHODCALLTYPE PSSetShader(ID3D11PixelShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unscripted("PSSetShader");
  }
  void STDMETHODCALLTYPE PSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unscripted("PSSetSamplers");
  }
  void STDMETHODCALLTYPE VSSetShader(ID3D11VertexShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unscripted("VSSetShader");
  }
  void STDMETHODCALLTYPE DrawIndexed(UINT, UINT, INT) override { Unscripted("DrawIndexed"); }
  void STDMETHODCALLTYPE Draw(UINT, UINT) override { Unscripted("Draw"); }
  HRESULT STDMETHODCALLTYPE Map(ID3D11Resource*, UINT, D3D11_MAP, UINT,
                                D3D11_MAPPED_SUBRESOURCE*) override {
    Unscripted("Map");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE Unmap(ID3D11Resource*, UINT) override { Unscripted("Unmap"); }
  void STDMETHODCALLTYPE PSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unscripted("PSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE IASetInputLayout(ID3D11InputLayout*) override {
    Unscripted("IASetInputLayout");
  }
  void STDMETHODCALLTYPE IASetVertexBuffers(UINT, UINT, ID3D11Buffer* const*, const UINT*,
                                            const UINT*) override {
    Unscripted("IASetVertexBuffers");
  }
  void STDMETHODCALLTYPE IASetIndexBuffer(ID3D11Buffer*, DXGI_FORMAT, UINT) override {
    Unscripted("IASetIndexBuffer");
  }
  void STDMETHODCALLTYPE DrawIndexedInstanced(UINT, UINT, UINT, INT, UINT) override {
    Unscripted("DrawIndexedInstanced");
  }
  void STDMETHODCALLTYPE DrawInstanced(UINT, UINT, UINT, UINT) override {
    Unscripted("DrawInstanced");
  }
  void STDMETHODCALLTYPE GSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unscripted("GSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE GSSetShader(ID3D11GeometryShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unscripted("GSSetShader");
  }
  void STDMETHODCALLTYPE IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY) override {
    Unscripted("IASetPrimitiveTopology");
  }
  void STDMETHODCALLTYPE VSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unscripted("VSSetShaderResources");
  }
  void STDMETHODCALLTYPE VSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unscripted("VSSetSamplers");
  }
  void STDMETHODCALLTYPE Begin(ID3D11Asynchronous*) override { Unscripted("Begin"); }
  void STDMETHODCALLTYPE End(ID3D11Asynchronous*) override { Unscripted("End"); }
  HRESULT STDMETHODCALLTYPE GetData(ID3D11Asynchronous*, void*, UINT, UINT) override {
    Unscripted("GetData");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE SetPredication(ID3D11Predicate*, WINBOOL) override {
    Unscripted("SetPredication");
  }
  void STDMETHODCALLTYPE GSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unscripted("GSSetShaderResources");
  }
  void STDMETHODCALLTYPE GSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unscripted("GSSetSamplers");
  }
  void STDMETHODCALLTYPE OMSetRenderTargets(UINT, ID3D11RenderTargetView* const*,
                                            ID3D11DepthStencilView*) override {
    Unscripted("OMSetRenderTargets");
  }
  void STDMETHODCALLTYPE OMSetRenderTargetsAndUnorderedAccessViews(
      UINT, ID3D11RenderTargetView* const*, ID3D11DepthStencilView*, UINT, UINT,
      ID3D11UnorderedAccessView* const*, const UINT*) override {
    Unscripted("OMSetRenderTargetsAndUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE OMSetBlendState(ID3D11BlendState*, const FLOAT*, UINT) override {
    Unscripted("OMSetBlendState");
  }
  void STDMETHODCALLTYPE OMSetDepthStencilState(ID3D11DepthStencilState*, UINT) override {
    Unscripted("OMSetDepthStencilState");
  }
  void STDMETHODCALLTYPE SOSetTargets(UINT, ID3D11Buffer* const*, const UINT*) override {
    Unscripted("SOSetTargets");
  }
  void STDMETHODCALLTYPE DrawAuto() override { Unscripted("DrawAuto"); }
  void STDMETHODCALLTYPE DrawIndexedInstancedIndirect(ID3D11Buffer*, UINT) override {
    Unscripted("DrawIndexedInstancedIndirect");
  }
  void STDMETHODCALLTYPE DrawInstancedIndirect(ID3D11Buffer*, UINT) override {
    Unscripted("DrawInstancedIndirect");
  }
  void STDMETHODCALLTYPE Dispatch(UINT, UINT, UINT) override { Unscripted("Dispatch"); }
  void STDMETHODCALLTYPE DispatchIndirect(ID3D11Buffer*, UINT) override {
    Unscripted("DispatchIndirect");
  }
  void STDMETHODCALLTYPE RSSetState(ID3D11RasterizerState*) override { Unscripted("RSSetState"); }
  void STDMETHODCALLTYPE RSSetViewports(UINT, const D3D11_VIEWPORT*) override {
    Unscripted("RSSetViewports");
  }
  void STDMETHODCALLTYPE RSSetScissorRects(UINT, const D3D11_RECT*) override {
    Unscripted("RSSetScissorRects");
  }
  void STDMETHODCALLTYPE CopySubresourceRegion(ID3D11Resource*, UINT, UINT, UINT, UINT,
                                               ID3D11Resource*, UINT, const D3D11_BOX*) override {
    Unscripted("CopySubresourceRegion");
  }
  void STDMETHODCALLTYPE CopyResource(ID3D11Resource*, ID3D11Resource*) override {
    Unscripted("CopyResource");
  }
  void STDMETHODCALLTYPE UpdateSubresource(ID3D11Resource*, UINT, const D3D11_BOX*, const void*,
                                           UINT, UINT) override {
    Unscripted("UpdateSubresource");
  }
  void STDMETHODCALLTYPE CopyStructureCount(ID3D11Buffer*, UINT,
                                            ID3D11UnorderedAccessView*) override {
    Unscripted("CopyStructureCount");
  }
  void STDMETHODCALLTYPE ClearRenderTargetView(ID3D11RenderTargetView*, const FLOAT*) override {
    Unscripted("ClearRenderTargetView");
  }
  void STDMETHODCALLTYPE ClearUnorderedAccessViewUint(ID3D11UnorderedAccessView*,
                                                      const UINT*) override {
    Unscripted("ClearUnorderedAccessViewUint");
  }
  void STDMETHODCALLTYPE ClearUnorderedAccessViewFloat(ID3D11UnorderedAccessView*,
                                                       const FLOAT*) override {
    Unscripted("ClearUnorderedAccessViewFloat");
  }
  void STDMETHODCALLTYPE ClearDepthStencilView(ID3D11DepthStencilView*, UINT, FLOAT,
                                               UINT8) override {
    Unscripted("ClearDepthStencilView");
  }
  void STDMETHODCALLTYPE GenerateMips(ID3D11ShaderResourceView*) override {
    Unscripted("GenerateMips");
  }
  void STDMETHODCALLTYPE SetResourceMinLOD(ID3D11Resource*, FLOAT) override {
    Unscripted("SetResourceMinLOD");
  }
  FLOAT STDMETHODCALLTYPE GetResourceMinLOD(ID3D11Resource*) override {
    Unscripted("GetResourceMinLOD");
    return {};
  }
  void STDMETHODCALLTYPE ResolveSubresource(ID3D11Resource*, UINT, ID3D11Resource*, UINT,
                                            DXGI_FORMAT) override {
    Unscripted("ResolveSubresource");
  }
  void STDMETHODCALLTYPE ExecuteCommandList(ID3D11CommandList*, WINBOOL) override {
    Unscripted("ExecuteCommandList");
  }
  void STDMETHODCALLTYPE HSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unscripted("HSSetShaderResources");
  }
  void STDMETHODCALLTYPE HSSetShader(ID3D11HullShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unscripted("HSSetShader");
  }
  void STDMETHODCALLTYPE HSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unscripted("HSSetSamplers");
  }
  void STDMETHODCALLTYPE HSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unscripted("HSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE DSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unscripted("DSSetShaderResources");
  }
  void STDMETHODCALLTYPE DSSetShader(ID3D11DomainShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unscripted("DSSetShader");
  }
  void STDMETHODCALLTYPE DSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unscripted("DSSetSamplers");
  }
  void STDMETHODCALLTYPE DSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unscripted("DSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE CSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unscripted("CSSetShaderResources");
  }
  void STDMETHODCALLTYPE CSSetUnorderedAccessViews(UINT, UINT, ID3D11UnorderedAccessView* const*,
                                                   const UINT*) override {
    Unscripted("CSSetUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE CSSetShader(ID3D11ComputeShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unscripted("CSSetShader");
  }
  void STDMETHODCALLTYPE CSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unscripted("CSSetSamplers");
  }
  void STDMETHODCALLTYPE CSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unscripted("CSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE VSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unscripted("VSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE PSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unscripted("PSGetShaderResources");
  }
  void STDMETHODCALLTYPE PSGetShader(ID3D11PixelShader**, ID3D11ClassInstance**, UINT*) override {
    Unscripted("PSGetShader");
  }
  void STDMETHODCALLTYPE PSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unscripted("PSGetSamplers");
  }
  void STDMETHODCALLTYPE VSGetShader(ID3D11VertexShader**, ID3D11ClassInstance**, UINT*) override {
    Unscripted("VSGetShader");
  }
  void STDMETHODCALLTYPE PSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unscripted("PSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE IAGetInputLayout(ID3D11InputLayout**) override {
    Unscripted("IAGetInputLayout");
  }
  void STDMETHODCALLTYPE IAGetVertexBuffers(UINT, UINT, ID3D11Buffer**, UINT*, UINT*) override {
    Unscripted("IAGetVertexBuffers");
  }
  void STDMETHODCALLTYPE IAGetIndexBuffer(ID3D11Buffer**, DXGI_FORMAT*, UINT*) override {
    Unscripted("IAGetIndexBuffer");
  }
  void STDMETHODCALLTYPE GSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unscripted("GSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE GSGetShader(ID3D11GeometryShader**, ID3D11ClassInstance**,
                                     UINT*) override {
    Unscripted("GSGetShader");
  }
  void STDMETHODCALLTYPE IAGetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY*) override {
    Unscripted("IAGetPrimitiveTopology");
  }
  void STDMETHODCALLTYPE VSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unscripted("VSGetShaderResources");
  }
  void STDMETHODCALLTYPE VSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unscripted("VSGetSamplers");
  }
  void STDMETHODCALLTYPE GetPredication(ID3D11Predicate**, WINBOOL*) override {
    Unscripted("GetPredication");
  }
  void STDMETHODCALLTYPE GSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unscripted("GSGetShaderResources");
  }
  void STDMETHODCALLTYPE GSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unscripted("GSGetSamplers");
  }
  void STDMETHODCALLTYPE OMGetRenderTargets(UINT, ID3D11RenderTargetView**,
                                            ID3D11DepthStencilView**) override {
    Unscripted("OMGetRenderTargets");
  }
  void STDMETHODCALLTYPE OMGetRenderTargetsAndUnorderedAccessViews(
      UINT, ID3D11RenderTargetView**, ID3D11DepthStencilView**, UINT, UINT,
      ID3D11UnorderedAccessView**) override {
    Unscripted("OMGetRenderTargetsAndUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE OMGetBlendState(ID3D11BlendState**, FLOAT*, UINT*) override {
    Unscripted("OMGetBlendState");
  }
  void STDMETHODCALLTYPE OMGetDepthStencilState(ID3D11DepthStencilState**, UINT*) override {
    Unscripted("OMGetDepthStencilState");
  }
  void STDMETHODCALLTYPE SOGetTargets(UINT, ID3D11Buffer**) override { Unscripted("SOGetTargets"); }
  void STDMETHODCALLTYPE RSGetState(ID3D11RasterizerState**) override { Unscripted("RSGetState"); }
  void STDMETHODCALLTYPE RSGetViewports(UINT*, D3D11_VIEWPORT*) override {
    Unscripted("RSGetViewports");
  }
  void STDMETHODCALLTYPE RSGetScissorRects(UINT*, D3D11_RECT*) override {
    Unscripted("RSGetScissorRects");
  }
  void STDMETHODCALLTYPE HSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unscripted("HSGetShaderResources");
  }
  void STDMETHODCALLTYPE HSGetShader(ID3D11HullShader**, ID3D11ClassInstance**, UINT*) override {
    Unscripted("HSGetShader");
  }
  void STDMETHODCALLTYPE HSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unscripted("HSGetSamplers");
  }
  void STDMETHODCALLTYPE HSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unscripted("HSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE DSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unscripted("DSGetShaderResources");
  }
  void STDMETHODCALLTYPE DSGetShader(ID3D11DomainShader**, ID3D11ClassInstance**, UINT*) override {
    Unscripted("DSGetShader");
  }
  void STDMETHODCALLTYPE DSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unscripted("DSGetSamplers");
  }
  void STDMETHODCALLTYPE DSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unscripted("DSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE CSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unscripted("CSGetShaderResources");
  }
  void STDMETHODCALLTYPE CSGetUnorderedAccessViews(UINT, UINT,
                                                   ID3D11UnorderedAccessView**) override {
    Unscripted("CSGetUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE CSGetShader(ID3D11ComputeShader**, ID3D11ClassInstance**, UINT*) override {
    Unscripted("CSGetShader");
  }
  void STDMETHODCALLTYPE CSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unscripted("CSGetSamplers");
  }
  void STDMETHODCALLTYPE CSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unscripted("CSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE ClearState() override { Unscripted("ClearState"); }
  void STDMETHODCALLTYPE Flush() override { Unscripted("Flush"); }
  D3D11_DEVICE_CONTEXT_TYPE STDMETHODCALLTYPE GetType() override {
    Unscripted("GetType");
    return {};
  }
  UINT STDMETHODCALLTYPE GetContextFlags() override {
    Unscripted("GetContextFlags");
    return {};
  }
  HRESULT STDMETHODCALLTYPE FinishCommandList(WINBOOL, ID3D11CommandList**) override {
    Unscripted("FinishCommandList");
    return E_NOTIMPL;
  }
};

class UnscriptedTexture : public ID3D11Texture2D {
 public:
  void STDMETHODCALLTYPE GetDevice(ID3D11Device**) override { Unscripted("GetDevice"); }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE GetType(D3D11_RESOURCE_DIMENSION*) override { Unscripted("GetType"); }
  void STDMETHODCALLTYPE SetEvictionPriority(UINT) override { Unscripted("SetEvictionPriority"); }
  UINT STDMETHODCALLTYPE GetEvictionPriority() override {
    Unscripted("GetEvictionPriority");
    return {};
  }
  void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC*) override { Unscripted("GetDesc"); }
};

class UnscriptedDxgiDevice : public IDXGIDevice {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override {
    Unscripted("GetParent");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetAdapter(IDXGIAdapter**) override {
    Unscripted("GetAdapter");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateSurface(const DXGI_SURFACE_DESC*, UINT, DXGI_USAGE,
                                          const DXGI_SHARED_RESOURCE*, IDXGISurface**) override {
    Unscripted("CreateSurface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE QueryResourceResidency(IUnknown* const*, DXGI_RESIDENCY*,
                                                   UINT) override {
    Unscripted("QueryResourceResidency");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetGPUThreadPriority(INT) override {
    Unscripted("SetGPUThreadPriority");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetGPUThreadPriority(INT*) override {
    Unscripted("GetGPUThreadPriority");
    return E_NOTIMPL;
  }
};

class UnscriptedAdapter : public IDXGIAdapter {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override {
    Unscripted("GetParent");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE EnumOutputs(UINT, IDXGIOutput**) override {
    Unscripted("EnumOutputs");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDesc(DXGI_ADAPTER_DESC*) override {
    Unscripted("GetDesc");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CheckInterfaceSupport(REFGUID, LARGE_INTEGER*) override {
    Unscripted("CheckInterfaceSupport");
    return E_NOTIMPL;
  }
};

class UnscriptedFactory : public IDXGIFactory1 {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override {
    Unscripted("GetParent");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE EnumAdapters(UINT, IDXGIAdapter**) override {
    Unscripted("EnumAdapters");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE MakeWindowAssociation(HWND, UINT) override {
    Unscripted("MakeWindowAssociation");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetWindowAssociation(HWND*) override {
    Unscripted("GetWindowAssociation");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateSwapChain(IUnknown*, DXGI_SWAP_CHAIN_DESC*,
                                            IDXGISwapChain**) override {
    Unscripted("CreateSwapChain");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateSoftwareAdapter(HMODULE, IDXGIAdapter**) override {
    Unscripted("CreateSoftwareAdapter");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE EnumAdapters1(UINT, IDXGIAdapter1**) override {
    Unscripted("EnumAdapters1");
    return E_NOTIMPL;
  }
  WINBOOL STDMETHODCALLTYPE IsCurrent() override {
    Unscripted("IsCurrent");
    return {};
  }
};

class UnscriptedOutput : public IDXGIOutput1 {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override {
    Unscripted("GetParent");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC*) override {
    Unscripted("GetDesc");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDisplayModeList(DXGI_FORMAT, UINT, UINT*, DXGI_MODE_DESC*) override {
    Unscripted("GetDisplayModeList");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindClosestMatchingMode(const DXGI_MODE_DESC*, DXGI_MODE_DESC*,
                                                    IUnknown*) override {
    Unscripted("FindClosestMatchingMode");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE WaitForVBlank() override {
    Unscripted("WaitForVBlank");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE TakeOwnership(IUnknown*, WINBOOL) override {
    Unscripted("TakeOwnership");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE ReleaseOwnership() override { Unscripted("ReleaseOwnership"); }
  HRESULT STDMETHODCALLTYPE GetGammaControlCapabilities(DXGI_GAMMA_CONTROL_CAPABILITIES*) override {
    Unscripted("GetGammaControlCapabilities");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetGammaControl(const DXGI_GAMMA_CONTROL*) override {
    Unscripted("SetGammaControl");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetGammaControl(DXGI_GAMMA_CONTROL*) override {
    Unscripted("GetGammaControl");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetDisplaySurface(IDXGISurface*) override {
    Unscripted("SetDisplaySurface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDisplaySurfaceData(IDXGISurface*) override {
    Unscripted("GetDisplaySurfaceData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetFrameStatistics(DXGI_FRAME_STATISTICS*) override {
    Unscripted("GetFrameStatistics");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDisplayModeList1(DXGI_FORMAT, UINT, UINT*,
                                                DXGI_MODE_DESC1*) override {
    Unscripted("GetDisplayModeList1");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindClosestMatchingMode1(const DXGI_MODE_DESC1*, DXGI_MODE_DESC1*,
                                                     IUnknown*) override {
    Unscripted("FindClosestMatchingMode1");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDisplaySurfaceData1(IDXGIResource*) override {
    Unscripted("GetDisplaySurfaceData1");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown*, IDXGIOutputDuplication**) override {
    Unscripted("DuplicateOutput");
    return E_NOTIMPL;
  }
};

class UnscriptedDuplication : public IDXGIOutputDuplication {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override {
    Unscripted("GetParent");
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE GetDesc(DXGI_OUTDUPL_DESC*) override { Unscripted("GetDesc"); }
  HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT, DXGI_OUTDUPL_FRAME_INFO*,
                                             IDXGIResource**) override {
    Unscripted("AcquireNextFrame");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetFrameDirtyRects(UINT, RECT*, UINT*) override {
    Unscripted("GetFrameDirtyRects");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetFrameMoveRects(UINT, DXGI_OUTDUPL_MOVE_RECT*, UINT*) override {
    Unscripted("GetFrameMoveRects");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetFramePointerShape(UINT, void*, UINT*,
                                                 DXGI_OUTDUPL_POINTER_SHAPE_INFO*) override {
    Unscripted("GetFramePointerShape");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE MapDesktopSurface(DXGI_MAPPED_RECT*) override {
    Unscripted("MapDesktopSurface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE UnMapDesktopSurface() override {
    Unscripted("UnMapDesktopSurface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ReleaseFrame() override {
    Unscripted("ReleaseFrame");
    return E_NOTIMPL;
  }
};

class UnscriptedResource : public IDXGIResource {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    Unscripted("SetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    Unscripted("SetPrivateDataInterface");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    Unscripted("GetPrivateData");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override {
    Unscripted("GetParent");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDevice(REFIID, void**) override {
    Unscripted("GetDevice");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetSharedHandle(HANDLE*) override {
    Unscripted("GetSharedHandle");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetUsage(DXGI_USAGE*) override {
    Unscripted("GetUsage");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetEvictionPriority(UINT) override {
    Unscripted("SetEvictionPriority");
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetEvictionPriority(UINT*) override {
    Unscripted("GetEvictionPriority");
    return E_NOTIMPL;
  }
};

}  // namespace talu

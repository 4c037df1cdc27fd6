#pragma once

#include "PluginBase/DirectX/base/CBaseOutputPin.h"
#include "PluginBase/DirectX/base/CTransformFilter.h"

/// The output of a transform filter. It answers IMediaSeeking and IMediaPosition by the platform's
/// pass-through object, aggregated, which asks the filter upstream of the input.
class CTransformOutputPin : public CBaseOutputPin {
public:
    CTransformOutputPin(LPCTSTR pObjectName, CTransformFilter* pTransformFilter, HRESULT* phr, LPCWSTR pName);
    ~CTransformOutputPin() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    /// "Out".
    STDMETHODIMP QueryId(LPWSTR* Id) override;
    /// A quality message from downstream: the filter's AlterQuality, then on upstream.
    STDMETHODIMP Notify(IBaseFilter* pSender, Quality q) override;

    /// E_UNEXPECTED while the input is not connected: it decides the type.
    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    /// The filter's CheckTransform; E_INVALIDARG while the input is not connected.
    HRESULT CheckMediaType(const CMediaType* mtOut) override;
    HRESULT SetMediaType(const CMediaType* pmt) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) override;
    /// The filter's types; none while the input is not connected.
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;

    CMediaType& CurrentMediaType() { return m_mt; }

protected:
    CTransformFilter* const m_pTransformFilter;
    /// The pass-through object's own IUnknown; made by the first question for it.
    IUnknown* m_pPosition = nullptr;

private:
    HRESULT CreatePassThrough();
    bool InputConnected() const;

    /// Not the filter lock: the question may come on a streaming thread.
    CCritSec m_csPosition;
};

#pragma once

#include "PluginBase/DirectX/base/CBaseInputPin.h"
#include "PluginBase/DirectX/base/CTransformFilter.h"

/// The input of a transform filter: passes everything to the filter, under the right lock.
class CTransformInputPin : public CBaseInputPin {
public:
    CTransformInputPin(LPCTSTR pObjectName, CTransformFilter* pTransformFilter, HRESULT* phr, LPCWSTR pName);

    /// "In".
    STDMETHODIMP QueryId(LPWSTR* Id) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;
    STDMETHODIMP Receive(IMediaSample* pSample) override;

    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    /// The filter's CheckInputType; with the output connected also CheckTransform against its type.
    HRESULT CheckMediaType(const CMediaType* mtIn) override;
    HRESULT SetMediaType(const CMediaType* mt) override;
    /// VFW_E_NOT_CONNECTED without an output connection; else as the base.
    HRESULT CheckStreaming() override;

    CMediaType& CurrentMediaType() { return m_mt; }

protected:
    CTransformFilter* const m_pTransformFilter;
};

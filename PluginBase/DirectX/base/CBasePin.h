#pragma once

#include "PluginBase/DirectX/base/CCritSec.h"
#include "PluginBase/DirectX/base/CMediaType.h"
#include "PluginBase/DirectX/base/CRefTime.h"
#include "PluginBase/DirectX/base/CUnknown.h"
#include "hvBase/Util/Relaxed.h"

class CBaseFilter;

/// A connection point of a filter: finding a media type that both sides accept, connecting, disconnecting.
///
/// A connection runs in these steps, and a failure at any of them undoes the earlier ones with BreakConnect:
/// CheckConnect (may these pins meet), CheckMediaType (for each type tried), SetMediaType (installs it), then
/// the other side's ReceiveConnection, which does the same, then CompleteConnect.
///
/// Life:    owned by its filter. A reference to the pin is a reference to the filter.
/// Threads: connections under `pLock`, the filter lock, and only while the filter is stopped.
class CBasePin : public CUnknown, public IPin, public IQualityControl {
public:
    DECLARE_IUNKNOWN

    /// `pName` becomes name and identifier of the pin. `phr` becomes E_OUTOFMEMORY without memory for it.
    CBasePin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
             PIN_DIRECTION dir);
    ~CBasePin() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    // IPin
    /// Connects with `pmt` if it is complete, else with the first type of either side that matches it and
    /// that both accept. VFW_E_ALREADY_CONNECTED, VFW_E_NOT_STOPPED; with no common type the most telling
    /// failure met, or VFW_E_NO_ACCEPTABLE_TYPES.
    STDMETHODIMP Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
    /// S_FALSE when there is no connection. VFW_E_NOT_STOPPED while the filter is active.
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** pPin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* pInfo) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* pPinDir) override;
    STDMETHODIMP QueryId(LPWSTR* Id) override;
    /// S_OK or S_FALSE: whether CheckMediaType accepts the type.
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* pmt) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
    STDMETHODIMP QueryInternalConnections(IPin** apPin, ULONG* nPin) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

    // IQualityControl
    STDMETHODIMP Notify(IBaseFilter* pSender, Quality q) override;
    /// Quality messages go to `piqc` instead of upstream. Not counted; null ends it.
    STDMETHODIMP SetSink(IQualityControl* piqc) override;

    BOOL IsConnected() const { return m_Connected != nullptr; }
    /// The pin on the other side, not counted, or null.
    IPin* GetConnected() const { return m_Connected; }
    BOOL IsStopped() const;
    LPWSTR Name() const { return m_pName; }
    PIN_DIRECTION PinDirection() const { return m_dir; }
    /// Type enumerators made before the last increment are out of sync.
    virtual LONG GetMediaTypeVersion() { return m_TypeVersion; }
    void IncrementTypeVersion() { ++m_TypeVersion; }

    /// Called when the filter leaves and enters the stopped state, and when it starts to run.
    virtual HRESULT Active() { return NOERROR; }
    virtual HRESULT Inactive();
    virtual HRESULT Run(REFERENCE_TIME tStart);

    /// S_OK when the pin can work with the type; anything else refuses it.
    virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
    virtual HRESULT SetMediaType(const CMediaType* pmt);
    /// VFW_E_INVALID_DIRECTION for a pin of the same direction.
    virtual HRESULT CheckConnect(IPin* pPin);
    /// Undoes CheckConnect and all that came after it; called also when CheckConnect failed.
    virtual HRESULT BreakConnect() { return NOERROR; }
    virtual HRESULT CompleteConnect(IPin* pReceivePin);
    /// The preferred type number `iPosition`; VFW_S_NO_MORE_ITEMS behind the last, E_INVALIDARG below 0.
    virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType);

    REFERENCE_TIME CurrentStartTime() const { return m_tStart; }
    REFERENCE_TIME CurrentStopTime() const { return m_tStop; }
    double CurrentRate() const { return m_dRate; }

    void SetReconnectWhenActive(bool bCanReconnect) { m_bCanReconnectWhenActive = bCanReconnect; }
    bool CanReconnectWhenActive() const { return m_bCanReconnectWhenActive; }

protected:
    HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);
    HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum);
    HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt);
    /// Ends the connection without a look at the state.
    HRESULT DisconnectInternal();
    /// A text for the caller to free. E_POINTER for a null `pCopy`.
    static HRESULT CopyToTaskMemory(LPCWSTR text, LPWSTR* pCopy);

    // Set-up: written by the constructor only.
    WCHAR* m_pName = nullptr;
    const PIN_DIRECTION m_dir;
    CCritSec* const m_pLock;
    CBaseFilter* const m_pFilter;
    bool m_bCanReconnectWhenActive = false;
    /// Whether Connect tries this pin's types before the other's.
    bool m_bTryMyTypesFirst = false;

    // State of the connection, under the filter lock.
    IPin* m_Connected = nullptr;
    CMediaType m_mt;
    std::atomic<LONG> m_TypeVersion = 1;
    IQualityControl* m_pQSink = nullptr;

    // State of the stream: written by the streaming thread.
    REFERENCE_TIME m_tStart = 0;
    REFERENCE_TIME m_tStop = MAXLONGLONG;
    double m_dRate = 1.0;
    /// Set by a failure that the graph has been told of; samples are refused until stop or flush.
    Util::Relaxed<bool> m_bRunTimeError = false;

private:
    /// Undoes a connection that did not come about.
    void AbandonConnection();
};

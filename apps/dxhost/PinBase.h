#pragma once

#include <string>
#include <vector>

#include "apps/dxhost/MediaType.h"

namespace DxHost {

/// What the source's and the sink's pin have in common: who they are and what they are connected to. Written
/// on the bare interfaces, so that a graph of these pins is a second opinion on the plug-in's base classes.
///
/// Life:    a member of its filter; references count on the filter, and the connection holds the peer.
/// Threads: connections change on the control thread, while nothing streams.
class PinBase : public IPin {
public:
    PinBase(IBaseFilter& filter, PIN_DIRECTION direction, std::wstring strName)
        : m_filter(filter), m_direction(direction), m_strName(std::move(strName)) {}
    PinBase(const PinBase&) = delete;
    PinBase& operator=(const PinBase&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_filter.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return m_filter.Release(); }

    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** ppPin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
    STDMETHODIMP QueryId(LPWSTR* id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
    STDMETHODIMP QueryInternalConnections(IPin** pins, ULONG* pCount) override;
    STDMETHODIMP EndOfStream() override { return E_UNEXPECTED; }
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP NewSegment(REFERENCE_TIME nStart, REFERENCE_TIME nStop, double fRate) override;

    const std::wstring& Name() const noexcept { return m_strName; }
    IPin* Peer() const noexcept { return m_peer.Get(); }
    const MediaType& Type() const noexcept { return m_type; }

protected:
    ~PinBase() = default;

    /// Further interfaces of the pin, without a reference; null for one it does not have.
    virtual void* FindInterface(REFIID riid) = 0;
    /// Whether the pin takes a type.
    virtual bool Accepts(const AM_MEDIA_TYPE& type) const = 0;
    /// The types that the pin offers.
    virtual std::vector<MediaType> Offers() const { return {}; }
    /// The output pin's half of a connection that the peer has accepted: transport and buffers.
    virtual HRESULT CompleteConnect(IPin* /*receiver*/) { return S_OK; }
    virtual void BreakConnect() {}

    FILTER_STATE FilterState() const;

private:
    IBaseFilter& m_filter;
    const PIN_DIRECTION m_direction;
    const std::wstring m_strName;
    ComPtr<IPin> m_peer;
    MediaType m_type;
};

/// Copies a name into a text that the platform's rules make the receiver free.
HRESULT CopyName(const std::wstring& strName, LPWSTR* copy);

}  // namespace DxHost

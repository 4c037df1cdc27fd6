#include "apps/dxhost/PinBase.h"

#include <algorithm>
#include <cstring>

#include "apps/dxhost/Enumerator.h"

namespace DxHost {

HRESULT CopyName(const std::wstring& strName, LPWSTR* copy) {
    if (!copy) return E_POINTER;
    const std::size_t uBytes = (strName.size() + 1) * sizeof(wchar_t);
    *copy = static_cast<LPWSTR>(CoTaskMemAlloc(uBytes));
    if (!*copy) return E_OUTOFMEMORY;
    std::memcpy(*copy, strName.c_str(), uBytes);
    return S_OK;
}

FILTER_STATE PinBase::FilterState() const {
    FILTER_STATE state = State_Stopped;
    m_filter.GetState(0, &state);
    return state;
}

STDMETHODIMP PinBase::QueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = riid == IID_IUnknown || riid == IID_IPin ? static_cast<IPin*>(this) : FindInterface(riid);
    if (!*ppv) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP PinBase::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
    if (!receiver) return E_POINTER;
    if (m_direction != PINDIR_OUTPUT) return E_UNEXPECTED;
    if (m_peer) return VFW_E_ALREADY_CONNECTED;
    if (FilterState() != State_Stopped) return VFW_E_NOT_STOPPED;
    // Empty identifiers of a proposed type stand for any.
    if (type && type->formattype != GUID_NULL && !Accepts(*type)) return VFW_E_TYPE_NOT_ACCEPTED;
    for (const MediaType& offer : Offers()) {
        HRESULT hr = receiver->ReceiveConnection(this, &offer.Get());
        if (FAILED(hr)) continue;
        m_peer = receiver;
        m_type = offer;
        hr = CompleteConnect(receiver);
        if (SUCCEEDED(hr)) return S_OK;
        receiver->Disconnect();
        Disconnect();
        return hr;
    }
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

STDMETHODIMP PinBase::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (!connector || !type) return E_POINTER;
    if (m_direction != PINDIR_INPUT) return E_UNEXPECTED;
    if (m_peer) return VFW_E_ALREADY_CONNECTED;
    if (FilterState() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (!Accepts(*type)) return VFW_E_TYPE_NOT_ACCEPTED;
    m_peer = connector;
    m_type = MediaType(*type);
    return S_OK;
}

STDMETHODIMP PinBase::Disconnect() {
    if (FilterState() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (!m_peer) return S_FALSE;
    BreakConnect();
    m_peer = nullptr;
    m_type = MediaType();
    return S_OK;
}

STDMETHODIMP PinBase::ConnectedTo(IPin** ppPin) {
    if (!ppPin) return E_POINTER;
    *ppPin = nullptr;
    return m_peer ? m_peer.CopyTo(ppPin) : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP PinBase::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    *type = {};
    if (!m_peer) return VFW_E_NOT_CONNECTED;
    MediaType::Copy(m_type.Get(), *type);
    return S_OK;
}

STDMETHODIMP PinBase::QueryPinInfo(PIN_INFO* info) {
    if (!info) return E_POINTER;
    info->pFilter = &m_filter;
    m_filter.AddRef();
    info->dir = m_direction;
    const std::size_t uLength = std::min<std::size_t>(m_strName.size(), std::size(info->achName) - 1);
    std::copy_n(m_strName.begin(), uLength, info->achName);
    info->achName[uLength] = 0;
    return S_OK;
}

STDMETHODIMP PinBase::QueryDirection(PIN_DIRECTION* direction) {
    if (!direction) return E_POINTER;
    *direction = m_direction;
    return S_OK;
}

STDMETHODIMP PinBase::QueryId(LPWSTR* id) {
    return CopyName(m_strName, id);
}

STDMETHODIMP PinBase::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    return Accepts(*type) ? S_OK : S_FALSE;
}

STDMETHODIMP PinBase::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = new TypeEnumerator(Offers());
    return S_OK;
}

STDMETHODIMP PinBase::QueryInternalConnections(IPin** /*pins*/, ULONG* /*pCount*/) {
    return E_NOTIMPL;
}

STDMETHODIMP PinBase::NewSegment(REFERENCE_TIME /*nStart*/, REFERENCE_TIME /*nStop*/, double /*fRate*/) {
    return S_OK;
}

}  // namespace DxHost

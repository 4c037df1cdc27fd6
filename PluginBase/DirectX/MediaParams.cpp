#include "PluginBase/DirectX/MediaParams.h"

#include <cmath>
#include <mutex>
#include <string>
#include <vector>

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/CopyCut.h"
#include "hvBase/Util/Encoding.h"

namespace {

constexpr std::size_t kTextSize = sizeof(MP_PARAMINFO::szLabel) / sizeof(WCHAR);

constexpr MP_CAPS kSteps = MP_CAPS_CURVE_JUMP;
constexpr MP_CAPS kCurves =
    MP_CAPS_CURVE_JUMP | MP_CAPS_CURVE_LINEAR | MP_CAPS_CURVE_SQUARE | MP_CAPS_CURVE_INVSQUARE;

MP_TYPE TypeOf(const ParameterRef& parameter) {
    switch (parameter.Group()) {
        case ParameterGroup::Float:
            return MPT_FLOAT;
        case ParameterGroup::Bool:
            return MPT_BOOL;
        default:
            return parameter.EnumerationLabels().empty() ? MPT_INT : MPT_ENUM;
    }
}

/// A label's longest form, which stands first.
std::string_view LongestLabel(std::string_view label) {
    return label.substr(0, label.find('\n'));
}

void AppendText(std::wstring& texts, std::string_view text) {
    texts += Util::WideFromUtf8(text);
    texts += L'\0';
}

EnvelopeSegment FromHost(const MP_ENVELOPE_SEGMENT& segment) {
    EnvelopeSegment result;
    result.nStart = segment.rtStart;
    result.nEnd = segment.rtEnd;
    result.fStart = segment.valStart;
    result.fEnd = segment.valEnd;
    result.uFlags = segment.flags;
    result.curve = static_cast<EnvelopeCurve>(segment.iCurve);
    return result;
}

}  // namespace

MediaParams::MediaParams(IUnknown& filter, Plugin& plugin) : FilterInterface(filter), m_parameters(plugin) {}

/// Runs a body with one index, or with all of them in turn.
template <class Body>
HRESULT MediaParams::ForEach(DWORD uIndex, Body body) {
    return AtBorder([&]() -> HRESULT {
        if (uIndex == DWORD_ALLPARAMS) {
            for (std::uint32_t i = 0; i < m_parameters.Count(); ++i)
                body(i);
            return S_OK;
        }
        if (uIndex >= m_parameters.Count()) return E_INVALIDARG;
        body(static_cast<std::uint32_t>(uIndex));
        return S_OK;
    });
}

STDMETHODIMP MediaParams::GetParamCount(DWORD* pCount) {
    if (!pCount) return E_POINTER;
    *pCount = m_parameters.Count();
    return S_OK;
}

STDMETHODIMP MediaParams::GetParamInfo(DWORD uIndex, MP_PARAMINFO* pInfo) {
    if (!pInfo) return E_POINTER;
    if (uIndex >= m_parameters.Count()) return E_INVALIDARG;
    return AtBorder([&] {
        const ParameterRef& parameter = m_parameters.At(uIndex);
        pInfo->mpType = TypeOf(parameter);
        // The platform has it that a switch or an enumeration knows jumps only.
        pInfo->mopCaps = pInfo->mpType == MPT_BOOL || pInfo->mpType == MPT_ENUM ? kSteps : kCurves;
        pInfo->mpdMinValue = static_cast<float>(parameter.Min());
        pInfo->mpdMaxValue = static_cast<float>(parameter.Max());
        pInfo->mpdNeutralValue = static_cast<float>(parameter.Default());
        CopyCut<WCHAR>(Util::WideFromUtf8(parameter.Info().strUnits), pInfo->szUnitText, kTextSize);
        CopyCut<WCHAR>(Util::WideFromUtf8(parameter.Name()), pInfo->szLabel, kTextSize);
        return S_OK;
    });
}

STDMETHODIMP MediaParams::GetParamText(DWORD uIndex, WCHAR** ppText) {
    if (!ppText) return E_POINTER;
    *ppText = nullptr;
    if (uIndex >= m_parameters.Count()) return E_INVALIDARG;
    return AtBorder([&]() -> HRESULT {
        const ParameterRef& parameter = m_parameters.At(uIndex);
        std::wstring texts;
        AppendText(texts, parameter.Name());
        AppendText(texts, parameter.Info().strUnits);
        for (const std::string& strLabel : parameter.EnumerationLabels())
            AppendText(texts, LongestLabel(strLabel));
        AppendText(texts, {});

        auto* const result = static_cast<WCHAR*>(CoTaskMemAlloc(texts.size() * sizeof(WCHAR)));
        if (!result) return E_OUTOFMEMORY;
        texts.copy(result, texts.size());
        *ppText = result;
        return S_OK;
    });
}

STDMETHODIMP MediaParams::GetNumTimeFormats(DWORD* pCount) {
    if (!pCount) return E_POINTER;
    *pCount = 1;
    return S_OK;
}

STDMETHODIMP MediaParams::GetSupportedTimeFormat(DWORD uIndex, GUID* pFormat) {
    if (!pFormat) return E_POINTER;
    if (uIndex != 0) return E_INVALIDARG;
    *pFormat = GUID_TIME_REFERENCE;
    return S_OK;
}

STDMETHODIMP MediaParams::GetCurrentTimeFormat(GUID* pFormat, MP_TIMEDATA* pTimeData) {
    if (!pFormat || !pTimeData) return E_POINTER;
    *pFormat = GUID_TIME_REFERENCE;
    *pTimeData = 1;
    return S_OK;
}

STDMETHODIMP MediaParams::GetParam(DWORD uIndex, MP_DATA* pValue) {
    if (!pValue) return E_POINTER;
    if (uIndex >= m_parameters.Count()) return E_INVALIDARG;
    return AtBorder([&] {
        *pValue = m_parameters.Get(uIndex);
        return S_OK;
    });
}

STDMETHODIMP MediaParams::SetParam(DWORD uIndex, MP_DATA fValue) {
    if (std::isnan(fValue)) return E_INVALIDARG;
    return ForEach(uIndex, [&](std::uint32_t i) { m_parameters.Set(i, fValue); });
}

STDMETHODIMP MediaParams::AddEnvelope(DWORD uIndex, DWORD uCount, MP_ENVELOPE_SEGMENT* pSegments) {
    if (uCount == 0) return S_OK;
    if (!pSegments) return E_POINTER;
    return AtBorder([&] {
        std::vector<EnvelopeSegment> segments;
        for (DWORD i = 0; i < uCount; ++i)
            segments.push_back(FromHost(pSegments[i]));
        return ForEach(uIndex, [&](std::uint32_t i) { m_parameters.AddSegments(i, segments); });
    });
}

STDMETHODIMP MediaParams::FlushEnvelope(DWORD uIndex, REFERENCE_TIME nStart, REFERENCE_TIME nEnd) {
    return ForEach(uIndex, [&](std::uint32_t i) { m_parameters.RemoveSegments(i, nStart, nEnd); });
}

STDMETHODIMP MediaParams::SetTimeFormat(GUID, MP_TIMEDATA) {
    return S_OK;
}

STDMETHODIMP MediaParams::SetUICallback(IMediaParamsUICallback* pCallback) {
    // The old callback is dropped after the lock: its last reference may run code of the host.
    HostPointer<IMediaParamsUICallback> replaced(pCallback);
    const std::lock_guard lock(m_autoBroadcast);
    std::swap(m_callback, replaced);
    return S_OK;
}

void MediaParams::Notify(ParameterPhase phase, Component& component, ParameterGroup group,
                         std::uint32_t uIndex, float fValue) {
    if (m_uUiThread == 0 || m_uUiThread != GetCurrentThreadId()) return;
    const auto option = AutomatedParameters::IndexOf(component, group, uIndex);
    if (!option) return;
    const std::lock_guard lock(m_autoBroadcast);
    // A reference of its own: the host may take the callback back while it is called.
    const HostPointer<IMediaParamsUICallback> callback = m_callback;
    if (!callback) return;

    DWORD uHostIndex = *option;
    // A value outside of a gesture is a gesture of its own.
    const bool bWrap = phase == ParameterPhase::Value && !component.Info(group, uIndex).bTouched;
    if (phase == ParameterPhase::Begin || bWrap) callback->ParamsBeginCapture(&uHostIndex, 1);
    if (phase == ParameterPhase::Value) callback->ParamsChanged(&uHostIndex, 1, &fValue);
    if (phase == ParameterPhase::End || bWrap) callback->ParamsEndCapture(&uHostIndex, 1);
}

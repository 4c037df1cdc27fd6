#include "apps/dxhost/MediaParameters.h"

#include <charconv>
#include <cmath>
#include <memory>

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/Text.h"

namespace DxHost {

namespace {

REFERENCE_TIME Ticks(double fSeconds) {
    return static_cast<REFERENCE_TIME>(std::round(fSeconds * 1e7));
}

}  // namespace

MediaParameters::MediaParameters(IUnknown* plugin)
    : m_values(Query<IMediaParams>(plugin, "IMediaParams")),
      m_descriptions(Query<IMediaParamInfo>(plugin, "IMediaParamInfo")) {
    DWORD uCount = 0;
    Check(m_descriptions->GetParamCount(&uCount), "GetParamCount");
    for (DWORD i = 0; i < uCount; ++i)
        m_all.push_back(Describe(i));
}

MediaParameter MediaParameters::Describe(DWORD uIndex) const {
    MediaParameter parameter;
    parameter.uIndex = uIndex;
    Check(m_descriptions->GetParamInfo(uIndex, &parameter.info), "GetParamInfo");
    WCHAR* text = nullptr;
    Check(m_descriptions->GetParamText(uIndex, &text), "GetParamText");
    const std::unique_ptr<WCHAR, decltype(&CoTaskMemFree)> owner(text, &CoTaskMemFree);
    // Name and units, each with its end and either of them empty or not; labels up to an empty one.
    const auto take = [&text] {
        const std::wstring strWide(text);
        text += strWide.size() + 1;
        return Util::Utf8FromWide(strWide);
    };
    parameter.strName = take();
    parameter.strUnits = take();
    if (parameter.info.mpType == MPT_ENUM)
        while (*text != 0)
            parameter.labels.push_back(take());
    return parameter;
}

const MediaParameter& MediaParameters::Find(const std::string& strName) const {
    for (const MediaParameter& parameter : m_all)
        if (parameter.strName == strName) return parameter;
    throw ::Exception::Base(Util::Format("no parameter that a host may automate is called \"%1\"", strName));
}

float MediaParameters::Get(const MediaParameter& parameter) const {
    MP_DATA value = 0;
    Check(m_values->GetParam(parameter.uIndex, &value), "GetParam");
    return value;
}

void MediaParameters::Set(const MediaParameter& parameter, float fValue) const {
    Check(m_values->SetParam(parameter.uIndex, fValue), "SetParam");
}

void MediaParameters::Add(const MediaParameter& parameter,
                          const std::vector<EnvelopeStretch>& envelope) const {
    std::vector<MP_ENVELOPE_SEGMENT> segments;
    for (const EnvelopeStretch& stretch : envelope) {
        MP_ENVELOPE_SEGMENT segment{};
        segment.rtStart = Ticks(stretch.fStart);
        segment.rtEnd = Ticks(stretch.fEnd);
        segment.valStart = stretch.fFrom;
        segment.valEnd = stretch.fTo;
        segment.iCurve = stretch.curve;
        segments.push_back(segment);
    }
    Check(m_values->AddEnvelope(parameter.uIndex, static_cast<DWORD>(segments.size()), segments.data()),
          "AddEnvelope");
}

void MediaParameters::Flush(const MediaParameter& parameter, double fStart, double fEnd) const {
    Check(m_values->FlushEnvelope(parameter.uIndex, Ticks(fStart), Ticks(fEnd)), "FlushEnvelope");
}

float MediaParameters::Parse(const MediaParameter& parameter, const std::string& strText) {
    for (std::size_t i = 0; i < parameter.labels.size(); ++i)
        if (parameter.labels[i] == strText) return parameter.info.mpdMinValue + static_cast<float>(i);
    if (strText == "on" || strText == "true") return 1.0f;
    if (strText == "off" || strText == "false") return 0.0f;
    float fValue = 0.0f;
    const char* const end = strText.data() + strText.size();
    const auto [last, error] = std::from_chars(strText.data(), end, fValue);
    if (error != std::errc() || last != end)
        throw ::Exception::Base(Util::Format("%1: \"%2\" is no value", parameter.strName, strText));
    return fValue;
}

}  // namespace DxHost

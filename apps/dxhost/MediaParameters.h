#pragma once

#include <medparam.h>

#include <cstdint>
#include <string>
#include <vector>

#include "apps/dxhost/Com.h"

// The platform's documentation has these; the compiler's headers lack them.
#ifndef DWORD_ALLPARAMS
#define DWORD_ALLPARAMS ((DWORD)-1)
#endif

namespace DxHost {

/// A parameter as the plug-in describes it; texts are UTF-8.
struct MediaParameter {
    DWORD uIndex = 0;
    /// Whole, where the record's label may be cut.
    std::string strName;
    std::string strUnits;
    std::vector<std::string> labels;
    MP_PARAMINFO info{};
};

/// One stretch of an envelope; times in seconds.
struct EnvelopeStretch {
    double fStart = 0.0;
    double fEnd = 0.0;
    float fFrom = 0.0f;
    float fTo = 0.0f;
    MP_CURVE_TYPE curve = MP_CURVE_LINEAR;
};

/// The parameters that a plug-in lets its host automate.
class MediaParameters {
public:
    /// Reads all descriptions. Throws a Failure if the plug-in lacks the interfaces or refuses a call.
    explicit MediaParameters(IUnknown* plugin);

    const std::vector<MediaParameter>& All() const noexcept { return m_all; }
    /// By exact name; throws an Exception::Base that names it if there is none.
    const MediaParameter& Find(const std::string& strName) const;

    IMediaParams& Values() const { return *m_values.Get(); }
    IMediaParamInfo& Descriptions() const { return *m_descriptions.Get(); }

    float Get(const MediaParameter& parameter) const;
    void Set(const MediaParameter& parameter, float fValue) const;
    void Add(const MediaParameter& parameter, const std::vector<EnvelopeStretch>& envelope) const;
    /// Removes what lies between two times in seconds.
    void Flush(const MediaParameter& parameter, double fStart, double fEnd) const;

    /// A value by its text: a label of the parameter, on or off, true or false, or a number. Throws an
    /// Exception::Base for any other.
    static float Parse(const MediaParameter& parameter, const std::string& strText);

private:
    MediaParameter Describe(DWORD uIndex) const;

    ComPtr<IMediaParams> m_values;
    ComPtr<IMediaParamInfo> m_descriptions;
    std::vector<MediaParameter> m_all;
};

}  // namespace DxHost

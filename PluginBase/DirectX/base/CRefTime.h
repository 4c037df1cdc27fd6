#pragma once

#include "PluginBase/DirectX/base/Platform.h"

/// A reference time: a count of 100 ns units.
class CRefTime {
public:
    CRefTime() noexcept = default;
    CRefTime(REFERENCE_TIME rt) noexcept : m_time(rt) {}

    operator REFERENCE_TIME() const noexcept { return m_time; }
    CRefTime& operator+=(const CRefTime& rt) noexcept {
        m_time += rt.m_time;
        return *this;
    }
    CRefTime& operator-=(const CRefTime& rt) noexcept {
        m_time -= rt.m_time;
        return *this;
    }
    REFERENCE_TIME GetUnits() const noexcept { return m_time; }

    REFERENCE_TIME m_time = 0;
};

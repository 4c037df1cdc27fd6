#pragma once

#include <string>

#include "apps/dxhost/Com.h"

namespace DxHost {

/// Settings of the process's own in place of the user's, for as long as the object lives: empty at first,
/// gone afterwards. What a run gives is then a function of its command alone, and the user's preferences are
/// neither read nor written. One at a time in a process; made before the plug-in and ended after it.
class PrivateSettings {
public:
    /// Throws a Failure if the registry refuses.
    PrivateSettings();
    ~PrivateSettings();
    PrivateSettings(const PrivateSettings&) = delete;
    PrivateSettings& operator=(const PrivateSettings&) = delete;

    /// What the next plug-in finds as its user's choice.
    void SetDelayCompensation(bool bOn);

private:
    std::wstring m_strPath;
    HKEY m_key = nullptr;
};

}  // namespace DxHost

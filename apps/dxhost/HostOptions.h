#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/dxhost/MediaParameters.h"

namespace DxHost {

/// The command line is wrong; the message names the option.
class UsageError : public ::Exception::Base {
public:
    using Base::Base;
};

/// What a command line asks for.
struct HostOptions {
    struct Setting {
        std::string strName;
        std::string strValue;
    };
    struct Envelope {
        std::string strName;
        EnvelopeStretch stretch;
    };
    struct Stretch {
        std::string strName;
        double fStart = 0.0;
        double fEnd = 0.0;
    };

    std::string strInput;
    std::string strOutput;  ///< empty: nothing is written
    std::string strModule;  ///< empty: the registered class
    std::string strState;
    std::string strSaveState;
    std::string strExpected;
    std::string strFormat;
    std::vector<std::uint32_t> blocks = {512};
    long nOutputBuffer = 0;  ///< bytes; 0: as the plug-in asks
    bool bMonoToStereo = false;
    bool bTimes = true;
    bool bMediaTimes = false;
    bool bEndOfStream = true;
    bool bCompensation = true;
    bool bList = false;
    double fStart = 0.0;
    std::optional<double> seek;
    std::optional<std::uint64_t> stopAfter;
    std::vector<Setting> settings;
    std::vector<Envelope> envelopes;
    std::vector<Stretch> flushes;
};

/// Reads the arguments behind the program's name, in UTF-8. Throws a UsageError.
HostOptions ParseOptions(const std::vector<std::string>& arguments);

/// The text that names every option.
const char* UsageText();

}  // namespace DxHost

#include <string>

#include "hvBase/Util/ModulePath.h"

/// A library that tells where it was loaded from, as a host sees a plug-in.
extern "C" __attribute__((visibility("default"))) const char* TestModulePath() {
    static std::string s_strPath;
    s_strPath = Util::ModulePath();
    return s_strPath.c_str();
}

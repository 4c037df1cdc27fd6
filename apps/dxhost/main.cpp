#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "apps/dxhost/Com.h"
#include "apps/dxhost/HostRun.h"
#include "hvBase/Util/Encoding.h"

namespace {

/// The arguments behind the program's name. The ones that the runtime library hands to main have lost every
/// letter outside the system's code page.
std::vector<std::string> Arguments() {
    int nCount = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> wide(CommandLineToArgvW(GetCommandLineW(), &nCount),
                                                             &LocalFree);
    std::vector<std::string> arguments;
    for (int i = 1; wide && i < nCount; ++i)
        arguments.push_back(Util::Utf8FromWide(wide.get()[i]));
    return arguments;
}

}  // namespace

int main() {
    try {
        const DxHost::Apartment apartment;
        return DxHost::RunHost(DxHost::ParseOptions(Arguments()), std::cout) ? 0 : 1;
    } catch (const DxHost::UsageError& error) {
        std::cerr << "dxhost: " << error.what() << '\n' << DxHost::UsageText();
        return 2;
    } catch (const std::exception& failure) {
        std::cerr << "dxhost: " << failure.what() << '\n';
        return 1;
    }
}

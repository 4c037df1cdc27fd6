#include <dlfcn.h>
#include <link.h>

#include <climits>
#include <cstdlib>
#include <memory>

#include "hvBase/Util/ModulePath.h"

namespace Util {

std::string ModulePath() {
    Dl_info info;
    link_map* map = nullptr;
    if (dladdr1(reinterpret_cast<void*>(&ModulePath), &info, reinterpret_cast<void**>(&map),
                RTLD_DL_LINKMAP) == 0) {
        return {};
    }
    // The loader knows a library by its path. The program itself it only knows by what its caller
    // chose to call it, and marks it with an empty name.
    const bool bProgram = !map || !map->l_name || map->l_name[0] == '\0';
    const char* const name = bProgram ? "/proc/self/exe" : map->l_name;

    struct Freer {
        void operator()(char* text) const noexcept { std::free(text); }
    };
    const std::unique_ptr<char, Freer> path(realpath(name, nullptr));
    return path ? std::string(path.get()) : std::string();
}

}  // namespace Util

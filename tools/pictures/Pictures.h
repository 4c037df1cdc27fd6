#pragma once

#include <string>
#include <vector>

namespace Pictures {

struct Picture {
    std::string strFileName;
    std::string strSvg;
};

/// Measures the chain with signals of its own and draws what it does.
std::vector<Picture> DrawAll();

}  // namespace Pictures

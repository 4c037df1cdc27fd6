#pragma once

#include <string>
#include <utility>

#include "hvBase/Util/Exception.h"

namespace Exception {

/// A history file is not one of this engine: its message says which value it stumbled over.
class InvalidHistoryFile : public Base {
public:
    explicit InvalidHistoryFile(std::string strMessage, SourcePlace place = SourcePlace::Current())
        : Base(std::move(strMessage), place) {}

    /// Appends "\nInvalidHistoryFile\n".
    std::string Text() const override { return Base::Text() + "\nInvalidHistoryFile\n"; }
};

}  // namespace Exception

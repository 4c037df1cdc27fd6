#pragma once

#include <string>
#include <utility>

#include "hvBase/Util/Exception.h"

namespace App {

/// The command line asks for something that has no meaning. The message names the option. Exit code 2.
class UsageError : public ::Exception::Base {
public:
    explicit UsageError(std::string strMessage,
                        ::Exception::SourcePlace place = ::Exception::SourcePlace::Current())
        : Base(std::move(strMessage), place) {}
};

/// A file could not be read, written or understood. The message says which file and why. Exit code 1.
class FileFailure : public ::Exception::Base {
public:
    explicit FileFailure(std::string strMessage,
                         ::Exception::SourcePlace place = ::Exception::SourcePlace::Current())
        : Base(std::move(strMessage), place) {}
};

}  // namespace App

#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include "hvBase/Util/Environment.h"

namespace Test {

/// An environment variable with a value of the test's own, or with none, while the object lives. Not
/// beside other threads.
class ScopedVariable {
public:
    ScopedVariable(std::string strName, const std::optional<std::string>& value)
        : m_strName(std::move(strName)), m_before(Util::EnvironmentText(m_strName.c_str())) {
        Set(value);
    }
    ~ScopedVariable() { Set(m_before); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    void Set(const std::optional<std::string>& value) const {
#ifdef _WIN32
        _putenv_s(m_strName.c_str(), value.value_or("").c_str());
#else
        if (value) {
            setenv(m_strName.c_str(), value->c_str(), 1);
        } else {
            unsetenv(m_strName.c_str());
        }
#endif
    }

    std::string m_strName;
    std::optional<std::string> m_before;
};

}  // namespace Test

#pragma once

#include <string>
#include <vector>

namespace Test {

/// Another program, run with arguments of its own. What it writes is kept in files, so that it never waits
/// for its reader.
class ChildProcess {
public:
    struct Result {
        int nExitCode = -1;  ///< -1 if a signal ended it
        int nSignal = 0;
        std::string strOutput;  ///< standard output
        std::string strErrors;  ///< standard error
    };

    /// Starts `arguments[0]`. The folder takes the files with the outputs.
    ChildProcess(const std::vector<std::string>& arguments, const std::string& strFolder);
    /// Ends the program if it still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool IsRunning();
    void Send(int nSignal) const;
    /// Waits for the end. Once.
    Result Wait();

private:
    std::string m_strOutput;
    std::string m_strErrors;
    int m_nProcess = -1;
};

/// Runs a program to its end.
ChildProcess::Result RunProgram(const std::vector<std::string>& arguments);

}  // namespace Test

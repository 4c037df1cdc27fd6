#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace Test {

namespace {

void Redirect(int nDescriptor, const std::string& strPath) {
    const int nFile = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (nFile < 0 || dup2(nFile, nDescriptor) < 0) _exit(126);
    close(nFile);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& strFolder)
    : m_strOutput(strFolder + "/stdout"), m_strErrors(strFolder + "/stderr") {
    std::vector<char*> pointers;
    for (const std::string& strArgument : arguments)
        pointers.push_back(const_cast<char*>(strArgument.c_str()));
    pointers.push_back(nullptr);
    m_nProcess = fork();
    if (m_nProcess < 0) throw std::runtime_error("fork failed");
    if (m_nProcess != 0) return;
    Redirect(STDOUT_FILENO, m_strOutput);
    Redirect(STDERR_FILENO, m_strErrors);
    execv(pointers[0], pointers.data());
    _exit(127);
}

ChildProcess::~ChildProcess() {
    if (m_nProcess < 0) return;
    kill(m_nProcess, SIGKILL);
    waitpid(m_nProcess, nullptr, 0);
}

bool ChildProcess::IsRunning() {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(m_nProcess), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == 0;
}

void ChildProcess::Send(int nSignal) const {
    kill(m_nProcess, nSignal);
}

ChildProcess::Result ChildProcess::Wait() {
    int nStatus = 0;
    if (waitpid(m_nProcess, &nStatus, 0) != m_nProcess) throw std::runtime_error("waitpid failed");
    m_nProcess = -1;
    Result result;
    if (WIFEXITED(nStatus)) result.nExitCode = WEXITSTATUS(nStatus);
    if (WIFSIGNALED(nStatus)) result.nSignal = WTERMSIG(nStatus);
    result.strOutput = Slurp(m_strOutput);
    result.strErrors = Slurp(m_strErrors);
    return result;
}

ChildProcess::Result RunProgram(const std::vector<std::string>& arguments) {
    const TempFolder folder;
    ChildProcess child(arguments, folder.Path());
    return child.Wait();
}

}  // namespace Test

#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace App {

/// The line that shows how far a render is: a bar, the time it has taken, and its speed in times real time.
std::string ProgressLine(std::uint64_t uDone, std::uint64_t uTotal, std::uint32_t uSampleRate,
                         double fElapsedSeconds);

/// Keeps such a line on a terminal, written over ten times a second at most, and takes it off at the end.
class Progress {
public:
    /// A null stream shows nothing. A total of 0 frames is unknown: the bar stays empty.
    Progress(std::ostream* stream, std::uint64_t uTotal, std::uint32_t uSampleRate);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Advance(std::uint64_t uFrames);

    /// Since construction.
    double ElapsedSeconds() const;

private:
    std::ostream* m_stream;
    std::uint64_t m_uTotal;
    std::uint32_t m_uSampleRate;
    double m_fStart;
    double m_fShown = 0.0;
    std::uint64_t m_uDone = 0;
    std::size_t m_uLineLength = 0;
};

}  // namespace App

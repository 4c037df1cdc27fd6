#include "apps/vesca/Progress.h"

#include <algorithm>
#include <cstdio>

#include "hvBase/Util/TickCount.h"

namespace App {

namespace {

constexpr std::uint64_t kBarWidth = 30;
constexpr double kSecondsBetweenLines = 0.1;

}  // namespace

std::string ProgressLine(std::uint64_t uDone, std::uint64_t uTotal, std::uint32_t uSampleRate,
                         double fElapsedSeconds) {
    const double fShare =
        uTotal == 0 ? 0.0 : std::min(static_cast<double>(uDone) / static_cast<double>(uTotal), 1.0);
    const auto uFull = static_cast<std::size_t>(fShare * kBarWidth);
    const double fAudio = static_cast<double>(uDone) / uSampleRate;
    const double fSpeed = fElapsedSeconds > 0.0 ? fAudio / fElapsedSeconds : 0.0;
    const auto uSeconds = static_cast<std::uint64_t>(fElapsedSeconds);
    char figures[96];
    std::snprintf(figures, sizeof figures, "] %3d %%  %02llu:%02llu  %.1f x real time",
                  static_cast<int>(fShare * 100.0), static_cast<unsigned long long>(uSeconds / 60),
                  static_cast<unsigned long long>(uSeconds % 60), fSpeed);
    return "[" + std::string(uFull, '#') + std::string(kBarWidth - uFull, '.') + figures;
}

Progress::Progress(std::ostream* stream, std::uint64_t uTotal, std::uint32_t uSampleRate)
    : m_stream(stream), m_uTotal(uTotal), m_uSampleRate(uSampleRate), m_fStart(Util::MonotonicSeconds()) {}

Progress::~Progress() {
    if (m_uLineLength != 0) *m_stream << '\r' << std::string(m_uLineLength, ' ') << '\r' << std::flush;
}

void Progress::Advance(std::uint64_t uFrames) {
    m_uDone += uFrames;
    if (!m_stream) return;
    const double fElapsed = ElapsedSeconds();
    if (fElapsed - m_fShown < kSecondsBetweenLines) return;
    m_fShown = fElapsed;
    const std::string strLine = ProgressLine(m_uDone, m_uTotal, m_uSampleRate, fElapsed);
    // A shorter line must also cover the end of the one before it.
    const std::size_t uPadding = m_uLineLength > strLine.size() ? m_uLineLength - strLine.size() : 0;
    *m_stream << '\r' << strLine << std::string(uPadding, ' ') << std::flush;
    m_uLineLength = strLine.size() + uPadding;
}

double Progress::ElapsedSeconds() const {
    return Util::MonotonicSeconds() - m_fStart;
}

}  // namespace App

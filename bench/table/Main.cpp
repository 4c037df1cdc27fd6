// bench_table [SECONDS]: times every run in turn, in rounds, for about that long altogether, and prints a
// line for each: row, contender, processor level, nanoseconds of processor time a stereo frame. A run's
// figure is its best round: what the machine does besides can only add to it.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

#include "bench/table/Runs.h"
#include "dsp/vector/Dispatch.h"

namespace {

constexpr std::size_t kMaterial = 65536;

/// The processor time of this process, all its threads, in seconds.
double ProcessorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Seconds for one pass over the material.
double TimeOnce(const Bench::Run& run, std::vector<float>& left, std::vector<float>& right) {
    std::copy_n(Bench::Material(0).begin(), kMaterial, left.begin());
    std::copy_n(Bench::Material(1).begin(), kMaterial, right.begin());
    const double fStart = ProcessorSeconds();
    for (std::size_t i = 0; i + run.uFrames <= kMaterial; i += run.uFrames)
        run.process(left.data() + i, right.data() + i);
    return ProcessorSeconds() - fStart;
}

struct Figure {
    const Bench::Run* run;
    DSP::ProcessorLevel level;
    double fBest = 1e9;  ///< ns a frame
};

}  // namespace

int main(int nArguments, char** arguments) {
    const double fSeconds = nArguments > 1 ? std::atof(arguments[1]) : 60.0;
    std::vector<Bench::Run> runs = Bench::ModuleRuns();
    for (const auto& more : {Bench::TransformRuns(), Bench::Lv2Peers()})
        runs.insert(runs.end(), more.begin(), more.end());

    const auto levels = DSP::AvailableProcessorLevels();
    std::vector<Figure> figures;
    for (const Bench::Run& run : runs) {
        for (const DSP::ProcessorLevel& level : levels) {
            const bool bOurs = run.strContender == "Vesca";
            if (level.strName == levels.front().strName || (bOurs && level.strName == "AVX2"))
                figures.push_back({&run, level});
        }
    }

    std::vector<float> left(kMaterial), right(kMaterial);
    const bool bTerminal = isatty(STDERR_FILENO) != 0;
    const double fStart = ProcessorSeconds();
    for (int nRound = 0; nRound < 2 || ProcessorSeconds() - fStart < fSeconds; ++nRound) {
        for (Figure& figure : figures) {
            DSP::UseProcessorLevel(figure.level);
            const double fTime = TimeOnce(*figure.run, left, right);
            const std::size_t uFrames = kMaterial / figure.run->uFrames * figure.run->uFrames;
            // The first round warms up.
            if (nRound > 0) figure.fBest = std::min(figure.fBest, 1e9 * fTime / static_cast<double>(uFrames));
        }
        if (bTerminal) std::fprintf(stderr, "\r%3.0f s", ProcessorSeconds() - fStart);
    }
    if (bTerminal) std::fprintf(stderr, "\r      \r");

    std::map<std::pair<std::string, std::string>, double> bases;
    for (const Figure& figure : figures) {
        if (figure.run->strContender == "Vesca")
            bases[{figure.run->strRow, figure.level.strName}] = figure.fBest;
    }
    for (const Figure& figure : figures) {
        const Bench::Run& run = *figure.run;
        const double fBase = run.strBase.empty() ? 0.0 : bases[{run.strBase, figure.level.strName}];
        std::printf("%s\t%s\t%s\t%.2f\n", run.strRow.c_str(), run.strContender.c_str(),
                    figure.level.strName.c_str(), figure.fBest - fBase);
    }
}

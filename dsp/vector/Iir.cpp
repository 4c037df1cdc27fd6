#include "dsp/vector/Iir.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "dsp/vector/IirKernel.h"

namespace DSP {

namespace {

constexpr int kTaps = 6;

void SetSectionTaps(IirSection& section, const double* taps) noexcept {
    const double a0 = taps[3];
    section.b0 = taps[0] / a0;
    section.b1 = taps[1] / a0;
    section.b2 = taps[2] / a0;
    section.a1 = taps[4] / a0;
    section.a2 = taps[5] / a0;
}

// Sections of both channels, in order, and what each is followed by, over links of any number. A series
// without gains that holds one link needs no rounding on its way: its end rounds.
class StageReader {
public:
    StageReader(const IirLink* links, int nLinks, bool bStereo, bool bRounds) noexcept
        : m_link(links), m_end(links + nLinks), m_bStereo(bStereo), m_bRounds(bRounds) {}

    std::size_t Read(IirStage* stages, std::size_t uLimit) noexcept {
        std::size_t uCount = 0;
        for (; m_link != m_end && uCount < uLimit; ++uCount) {
            IirStage& stage = stages[uCount];
            stage = {};
            stage.left = &m_link->left->sections[m_uSection];
            if (m_bStereo) stage.right = &m_link->right->sections[m_uSection];
            if (++m_uSection < m_link->left->sections.size()) continue;
            stage.bRounds = m_bRounds;
            stage.fLeftGain = m_link->fLeftGain;
            stage.fRightGain = m_link->fRightGain;
            m_uSection = 0;
            ++m_link;
        }
        return uCount;
    }

private:
    const IirLink* m_link;
    const IirLink* m_end;
    std::size_t m_uSection = 0;
    bool m_bStereo;
    bool m_bRounds;
};

template <class T>
void Run(const T* leftSource, const T* rightSource, T* left, T* right, int nLength, const IirLink* links,
         int nLinks, bool bRounds) noexcept {
    const bool bStereo = rightSource != nullptr;
    const std::size_t uLength = static_cast<std::size_t>(nLength);
    IirFrames frames;
    IirStage stages[kIirStages];
    for (std::size_t uDone = 0; uDone < uLength; uDone += kIirBlock) {
        const std::size_t uCount = std::min(kIirBlock, uLength - uDone);
        IirWiden(leftSource + uDone, bStereo ? rightSource + uDone : nullptr, frames, uCount);
        StageReader reader(links, nLinks, bStereo, bRounds);
        while (const std::size_t uStages = reader.Read(stages, kIirStages)) {
            IirRun(stages, uStages, frames, uCount);
        }
        IirNarrow(frames.samples, left + uDone, bStereo ? right + uDone : nullptr, uCount);
    }
}

template <class T>
VectorStatus RunOne(const T* source, T* destination, int nLength, IirState* state) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination, state});
    if (status != kVectorOk) return status;
    const IirLink link{state};
    Run<T>(source, nullptr, destination, nullptr, nLength, &link, 1, false);
    return kVectorOk;
}

template <class T>
VectorStatus RunTwo(const T* leftSource, const T* rightSource, T* left, T* right, int nLength,
                    IirState* leftState, IirState* rightState) noexcept {
    const VectorStatus status =
        CheckVectorArguments(nLength, {leftSource, rightSource, left, right, leftState, rightState});
    if (status != kVectorOk) return status;
    if (leftState->sections.size() != rightState->sections.size()) return kVectorBadLength;
    const IirLink link{leftState, rightState};
    Run<T>(leftSource, rightSource, left, right, nLength, &link, 1, false);
    return kVectorOk;
}

VectorStatus CheckLinks(const IirLink* links, int nLinks, bool bStereo) noexcept {
    if (nLinks < 0) return kVectorBadLength;
    if (nLinks > 0 && links == nullptr) return kVectorNullPointer;
    for (const IirLink* link = links; link != links + nLinks; ++link) {
        if (link->left == nullptr || (bStereo && link->right == nullptr)) return kVectorNullPointer;
        if (bStereo && link->left->sections.size() != link->right->sections.size()) return kVectorBadLength;
    }
    return kVectorOk;
}

// Frames of a block, and rows of a call, whose outputs together stay in the first-level cache.
constexpr std::size_t kRowBlock = 256;
constexpr std::size_t kRowsAtOnce = 4;

void RunLongRow(const IirFrames& frames, double* output, std::size_t uCount, StageReader& reader) noexcept {
    IirFrames own;
    std::copy_n(frames.samples, 2 * uCount + IirFrames::kRoom, own.samples);
    IirStage stages[kIirStages];
    while (const std::size_t uStages = reader.Read(stages, kIirStages))
        IirRun(stages, uStages, own, uCount);
    std::copy_n(own.samples, 2 * uCount, output);
}

void RunRows(const IirFrames& frames, std::size_t uOffset, std::size_t uCount, const IirRow* rows,
             std::size_t uRows, bool bStereo) noexcept {
    alignas(64) double outputs[kRowsAtOnce][2 * kRowBlock];
    IirStage stages[kRowsAtOnce][kIirRowStages + 1];
    for (; uRows > 0; rows += std::min(uRows, kRowsAtOnce), uRows -= std::min(uRows, kRowsAtOnce)) {
        const std::size_t uNow = std::min(uRows, kRowsAtOnce);
        IirRowStages side[kRowsAtOnce];
        std::size_t uSide = 0;
        for (std::size_t i = 0; i < uNow; ++i) {
            StageReader reader(rows[i].links, rows[i].nLinks, bStereo, true);
            const std::size_t uStages = reader.Read(stages[i], kIirRowStages + 1);
            if (uStages <= kIirRowStages) {
                side[uSide++] = {stages[i], uStages, outputs[i]};
            } else {
                StageReader again(rows[i].links, rows[i].nLinks, bStereo, true);
                RunLongRow(frames, outputs[i], uCount, again);
            }
        }
        IirRunRows(side, uSide, frames, uCount);
        for (std::size_t i = 0; i < uNow; ++i) {
            IirNarrow(outputs[i], rows[i].left + uOffset, bStereo ? rows[i].right + uOffset : nullptr,
                      uCount);
        }
    }
}

}  // namespace

VectorStatus VectorIirInit(IirState** state, const double* taps, int nSections) {
    const VectorStatus status = CheckVectorArguments(nSections, {state, taps});
    if (status != kVectorOk) return status;
    auto built = std::make_unique<IirState>();
    built->sections.resize(static_cast<std::size_t>(nSections));
    VectorIirSetTaps(built.get(), taps);
    *state = built.release();
    return kVectorOk;
}

VectorStatus VectorIirSetTaps(IirState* state, const double* taps) noexcept {
    if (state == nullptr || taps == nullptr) return kVectorNullPointer;
    for (IirSection& section : state->sections) {
        SetSectionTaps(section, taps);
        taps += kTaps;
    }
    return kVectorOk;
}

VectorStatus VectorIirSetDelay(IirState* state, const double* values) noexcept {
    if (state == nullptr) return kVectorNullPointer;
    for (IirSection& section : state->sections) {
        section.s1 = values != nullptr ? *values++ : 0.0;
        section.s2 = values != nullptr ? *values++ : 0.0;
    }
    return kVectorOk;
}

VectorStatus VectorIirGetDelay(const IirState* state, double* values) noexcept {
    if (state == nullptr || values == nullptr) return kVectorNullPointer;
    for (const IirSection& section : state->sections) {
        *values++ = section.s1;
        *values++ = section.s2;
    }
    return kVectorOk;
}

bool VectorIirIsFinite(const IirState* state) noexcept {
    if (state == nullptr) return true;
    return std::all_of(state->sections.begin(), state->sections.end(), [](const IirSection& section) {
        return std::isfinite(section.s1) && std::isfinite(section.s2);
    });
}

VectorStatus VectorIirFree(IirState* state) noexcept {
    if (state == nullptr) return kVectorNullPointer;
    delete state;
    return kVectorOk;
}

VectorStatus VectorIirProcess(const double* source, double* destination, int nLength,
                              IirState* state) noexcept {
    return RunOne(source, destination, nLength, state);
}

VectorStatus VectorIirProcessStereo(const double* leftSource, const double* rightSource, double* left,
                                    double* right, int nLength, IirState* leftState,
                                    IirState* rightState) noexcept {
    return RunTwo(leftSource, rightSource, left, right, nLength, leftState, rightState);
}

VectorStatus VectorIirProcessFloat(const float* source, float* destination, int nLength,
                                   IirState* state) noexcept {
    return RunOne(source, destination, nLength, state);
}

VectorStatus VectorIirProcessFloatStereo(const float* leftSource, const float* rightSource, float* left,
                                         float* right, int nLength, IirState* leftState,
                                         IirState* rightState) noexcept {
    return RunTwo(leftSource, rightSource, left, right, nLength, leftState, rightState);
}

VectorStatus VectorIirProcessSeries(const float* leftSource, const float* rightSource, float* left,
                                    float* right, int nLength, const IirLink* links, int nLinks) noexcept {
    const bool bStereo = rightSource != nullptr;
    const VectorStatus status = CheckVectorArguments(nLength, {leftSource, left});
    if (status != kVectorOk) return status;
    if (bStereo && right == nullptr) return kVectorNullPointer;
    const VectorStatus linkStatus = CheckLinks(links, nLinks, bStereo);
    if (linkStatus != kVectorOk) return linkStatus;
    const bool bRounds = nLinks > 1 || std::any_of(links, links + nLinks, [](const IirLink& link) {
                             return link.fLeftGain != 1.0f || link.fRightGain != 1.0f;
                         });
    Run<float>(leftSource, rightSource, left, right, nLength, links, nLinks, bRounds);
    return kVectorOk;
}

VectorStatus VectorIirProcessRows(const float* leftSource, const float* rightSource, int nLength,
                                  const IirRow* rows, int nRows) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {leftSource});
    if (status != kVectorOk) return status;
    if (nRows < 0) return kVectorBadLength;
    if (nRows > 0 && rows == nullptr) return kVectorNullPointer;
    const bool bStereo = rightSource != nullptr;
    for (const IirRow* row = rows; row != rows + nRows; ++row) {
        if (row->left == nullptr || (bStereo && row->right == nullptr)) return kVectorNullPointer;
        const VectorStatus rowStatus = CheckLinks(row->links, row->nLinks, bStereo);
        if (rowStatus != kVectorOk) return rowStatus;
    }
    const auto uRows = static_cast<std::size_t>(nRows);
    const auto uLength = static_cast<std::size_t>(nLength);
    IirFrames frames;
    for (std::size_t uDone = 0; uDone < uLength; uDone += kRowBlock) {
        const std::size_t uCount = std::min(kRowBlock, uLength - uDone);
        IirWiden(leftSource + uDone, bStereo ? rightSource + uDone : nullptr, frames, uCount);
        RunRows(frames, uDone, uCount, rows, uRows, bStereo);
    }
    return kVectorOk;
}

IirCascade::IirCascade(const double* taps, int nSections) {
    IirState* state = nullptr;
    if (VectorIirInit(&state, taps, nSections) == kVectorOk) m_state.reset(state);
}

IirCascade::IirCascade(const IirCascade& other)
    : m_state(other.m_state ? new IirState(*other.m_state) : nullptr) {}

IirCascade& IirCascade::operator=(const IirCascade& other) {
    if (this != &other) m_state.reset(other.m_state ? new IirState(*other.m_state) : nullptr);
    return *this;
}

int IirCascade::Sections() const noexcept {
    return m_state ? static_cast<int>(m_state->sections.size()) : 0;
}

void IirCascade::Process(float* samples, int nLength) noexcept {
    VectorIirProcessFloat(samples, samples, nLength, m_state.get());
}

void IirCascade::Process(double* samples, int nLength) noexcept {
    VectorIirProcess(samples, samples, nLength, m_state.get());
}

}  // namespace DSP

#pragma once

#include <cstddef>
#include <memory>

#include "dsp/vector/Status.h"

namespace DSP {

/// A cascade of biquads in 64-bit floats, for one channel: taps and delay lines.
///
/// Each section is direct form II transposed, and its order of operations is part of the value:
///
///     y  = b0 x + s1
///     s1 = (b1 x + s2) - a1 y
///     s2 = b2 x - a2 y
///
/// Every form below gives the bits of that plain loop, sections in order, at every processor level. A stream
/// may be cut into blocks anywhere.
///
/// Taps:      six a section: b0, b1, b2, a0, a1, a2, all divided by a0 when they are set, in double. The
///            caller keeps a0 from 0.
/// Delays:    two a section, s1 and s2 of each section in order.
/// Denormals: are not flushed. The guard that the chain adds keeps them away.
/// NaN:       a NaN or an infinity in the input stays in the delay lines, and the output is NaN from there
///            on, until VectorIirSetDelay clears it. VectorIirIsFinite tells; a module asks once a block.
/// Threads:   one thread at a time; no lock, and no allocation after VectorIirInit.
struct IirState;

/// Builds a cascade with clear delay lines and stores it through `state`. Allocates. Fewer than 1 sections is
/// kVectorBadLength, a null pointer kVectorNullPointer; nothing is stored then.
VectorStatus VectorIirInit(IirState** state, const double* taps, int nSections);

/// Replaces the taps and keeps the delay lines.
VectorStatus VectorIirSetTaps(IirState* state, const double* taps) noexcept;

/// Sets the delay lines to two values a section, or clears them for null.
VectorStatus VectorIirSetDelay(IirState* state, const double* values) noexcept;

/// Reads the delay lines, two values a section.
VectorStatus VectorIirGetDelay(const IirState* state, double* values) noexcept;

/// False when a delay line holds a NaN or an infinity; true for null.
bool VectorIirIsFinite(const IirState* state) noexcept;

/// Releases a state. Null does nothing and answers kVectorNullPointer.
VectorStatus VectorIirFree(IirState* state) noexcept;

/// Runs one channel over 64-bit samples; source and destination may be one buffer.
VectorStatus VectorIirProcess(const double* source, double* destination, int nLength,
                              IirState* state) noexcept;

/// Runs two channels in one pass, for little more than one costs: the bits of two single calls. The cascades
/// have equally many sections, else kVectorBadLength; their taps may differ. Each source may be its
/// own destination.
VectorStatus VectorIirProcessStereo(const double* leftSource, const double* rightSource, double* left,
                                    double* right, int nLength, IirState* leftState,
                                    IirState* rightState) noexcept;

/// As above over 32-bit samples: widened, filtered in 64 bits, and rounded once at the end of the cascade.
VectorStatus VectorIirProcessFloat(const float* source, float* destination, int nLength,
                                   IirState* state) noexcept;
VectorStatus VectorIirProcessFloatStereo(const float* leftSource, const float* rightSource, float* left,
                                         float* right, int nLength, IirState* leftState,
                                         IirState* rightState) noexcept;

/// One link of a series: a cascade for each channel, and a gain that follows it.
struct IirLink {
    IirState* left = nullptr;
    IirState* right = nullptr;  ///< not used, and may be null, in a mono series
    float fLeftGain = 1.0f;
    float fRightGain = 1.0f;
};

/// Runs several cascades one after another over 32-bit samples in one pass: each link filters in 64 bits,
/// rounds to 32 bits and multiplies by its gain in 32 bits before the next link widens again. The bits are
/// those of one call of VectorIirProcessFloat a link with a multiplication behind it.
///
/// nLinks links, 0 or more; none copies. No two links share a state, and the two cascades of a link have
/// equally many sections. A null right source is mono; then right is not read. Each source may be its own
/// destination.
VectorStatus VectorIirProcessSeries(const float* leftSource, const float* rightSource, float* left,
                                    float* right, int nLength, const IirLink* links, int nLinks) noexcept;

/// One series among others that filter the same source: the bands of a crossover.
struct IirRow {
    const IirLink* links = nullptr;
    int nLinks = 0;
    float* left = nullptr;
    float* right = nullptr;  ///< not used, and may be null, in mono
};

/// Runs several series over one source, each into its own destination: the bits of one VectorIirProcessSeries
/// a row, but rows of up to four sections run side by side. A destination may be the source; the destinations
/// do not overlap each other, and no two links share a state. A null right source is mono.
VectorStatus VectorIirProcessRows(const float* leftSource, const float* rightSource, int nLength,
                                  const IirRow* rows, int nRows) noexcept;

/// Owns one cascade. A copy has the same taps and delay lines and goes its own way from there.
///
/// Real time: copying and construction allocate; moving and the rest do not.
class IirCascade {
public:
    /// No sections: Process copies.
    IirCascade() noexcept = default;
    /// Clear delay lines. `taps` holds six values a section.
    IirCascade(const double* taps, int nSections);
    IirCascade(const IirCascade& other);
    IirCascade& operator=(const IirCascade& other);
    IirCascade(IirCascade&&) noexcept = default;
    IirCascade& operator=(IirCascade&&) noexcept = default;
    ~IirCascade() = default;

    int Sections() const noexcept;
    /// Six values a section, as many sections as at construction.
    void SetTaps(const double* taps) noexcept { VectorIirSetTaps(m_state.get(), taps); }
    /// Clears the delay lines; the taps stay.
    void Reset() noexcept { VectorIirSetDelay(m_state.get(), nullptr); }
    /// False after a NaN or an infinity went in; Reset recovers.
    bool IsFinite() const noexcept { return VectorIirIsFinite(m_state.get()); }

    /// In place over one channel.
    void Process(float* samples, int nLength) noexcept;
    void Process(double* samples, int nLength) noexcept;

    /// For the functions above and for IirLink; null without sections. The cascade keeps it.
    IirState* State() noexcept { return m_state.get(); }

private:
    struct Deleter {
        void operator()(IirState* state) const noexcept { VectorIirFree(state); }
    };
    std::unique_ptr<IirState, Deleter> m_state;
};

}  // namespace DSP

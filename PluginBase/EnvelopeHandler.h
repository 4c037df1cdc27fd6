#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "PluginBase/Parameter.h"
#include "hvBase/Util/NamedLock.h"

/// The shape of an automation segment. Values that are none of these run as Linear.
enum class EnvelopeCurve : std::uint32_t { Jump = 1, Linear = 2, Square = 4, InverseSquare = 8 };

/// One piece of automation of one parameter.
struct EnvelopeSegment {
    std::int64_t nStart = 0;  ///< 100 ns
    std::int64_t nEnd = 0;    ///< 100 ns
    float fStart = 0;
    float fEnd = 0;
    std::uint64_t uFlags = 0;  ///< the host's; kept, not read
    EnvelopeCurve curve = EnvelopeCurve::Linear;
};

/// The stretch of the stream over which an envelope is evaluated: one value a stride, the last stride
/// may be shorter.
struct EnvelopeSpan {
    std::uint32_t uSampleRate = 0;  ///< Hz
    std::int64_t nPosition = 0;     ///< time of the first frame, 100 ns
    std::uint32_t uFrames = 0;
    std::uint32_t uStride = 1;  ///< frames, 1 or more

    std::uint32_t StrideCount() const { return (uFrames + uStride - 1) / uStride; }
};

/// The automation of one component: a list of segments for each Float, Bool and Int parameter, sorted by
/// start, and their evaluation in strides.
///
/// A stride takes the value at its first frame. A segment that starts inside a stride owns the stride,
/// with its start value. Between two segments, and after the last, the value of the segment before stands:
/// its end value, except that a jump keeps its start value to the end of the block in which it ends.
/// Segments that have run out stay in the list, because their end value still counts.
///
/// Threads:   segments are added and removed on any thread but the audio thread, which evaluates; a lock
///            of the handler's own, inside the component's, keeps them apart.
/// Real time: HasSegments and SegmentCount take no lock; evaluation takes the lock once and never allocates.
class EnvelopeHandler {
public:
    EnvelopeHandler(std::string strName, std::size_t uFloats, std::size_t uBools, std::size_t uInts);
    EnvelopeHandler(const EnvelopeHandler&) = delete;
    EnvelopeHandler& operator=(const EnvelopeHandler&) = delete;

    /// Adds segments to one parameter's list. One whose start or end is out of order, or whose values are
    /// not finite, is left out. UInt parameters have no list.
    void AddSegments(ParameterGroup group, std::size_t uIndex, std::span<const EnvelopeSegment> segments);

    /// Removes every segment that ends after nStart and starts before nEnd, and returns how many stay.
    std::size_t RemoveSegments(ParameterGroup group, std::size_t uIndex, std::int64_t nStart,
                               std::int64_t nEnd);

    /// Takes no lock.
    std::size_t SegmentCount(ParameterGroup group, std::size_t uIndex) const noexcept;

    /// Whether any parameter has a segment.
    bool HasSegments() const noexcept { return m_uTotal != 0; }

    /// Writes one value a stride and returns whether a segment touches the span; if none does, every value
    /// is the end value of the last segment before the span, or fCurrent if there is none. With fMaxStep
    /// above 0 no value is further than that from the one before it.
    bool EvaluateFloat(std::size_t uIndex, const EnvelopeSpan& span, float fCurrent, float fMaxStep,
                       std::span<float> values) const;

    /// As EvaluateFloat; a segment is true while its start value is 0.5 or more.
    bool EvaluateBool(std::size_t uIndex, const EnvelopeSpan& span, bool bCurrent,
                      std::span<std::uint8_t> values) const;

    /// As EvaluateFloat, cut towards zero.
    bool EvaluateInt(std::size_t uIndex, const EnvelopeSpan& span, std::int32_t nCurrent,
                     std::span<std::int32_t> values) const;

private:
    struct SegmentList {
        std::vector<EnvelopeSegment> segments;
        Util::Relaxed<std::size_t> uCount = 0;  ///< their number, for readers without the lock
    };

    SegmentList& List(ParameterGroup group, std::size_t uIndex);
    const SegmentList& List(ParameterGroup group, std::size_t uIndex) const;
    void Install(SegmentList& list, std::vector<EnvelopeSegment>& replacement);

    mutable Util::NamedLock m_lock;
    Util::NamedLock m_writers;  ///< held around a change, outside m_lock, so that lists are built without it
    std::array<std::vector<SegmentList>, 3> m_lists;
    Util::Relaxed<std::size_t> m_uTotal = 0;
};

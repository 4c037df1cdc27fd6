#include "PluginBase/EnvelopeHandler.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

namespace {

constexpr double kTicksPerSecond = 10'000'000.0;

/// The value of one segment at k samples from its start, as a quadratic in k.
struct Polynomial {
    double a, g, c;

    double At(double k) const { return a + k * g + k * (k - 1.0) / 2.0 * c; }
};

Polynomial Shape(const EnvelopeSegment& segment, double fLength) {
    const double a = double{segment.fStart};
    const double fRise = double{segment.fEnd} - a;
    // Below two samples the curved shapes have no room to bend.
    const bool bCurved = fLength > 1.0;
    switch (segment.curve) {
        case EnvelopeCurve::Jump:
            return {a, 0.0, 0.0};
        case EnvelopeCurve::Square:
            if (!bCurved) break;
            return {a, 0.0, fRise * 2.0 / ((fLength - 1.0) * fLength)};
        case EnvelopeCurve::InverseSquare: {
            if (!bCurved) break;
            const double c = fRise * 2.0 / ((fLength - 1.0) * fLength);
            return {a, (fLength - 1.0) * c, -c};
        }
        case EnvelopeCurve::Linear:
            break;
    }
    return {a, fRise / fLength, 0.0};
}

/// Walks a list over a span. `read(segment, polynomial, k)` gives the value inside a segment, and
/// `edge(segment, bEnd)` the one at its start or end.
template <class Value, class Read, class Edge>
bool Walk(const std::vector<EnvelopeSegment>& list, const EnvelopeSpan& span, Value last,
          std::span<Value> out, Read read, Edge edge) {
    // Product first, then the quotient: whole frames come out whole.
    const auto samples = [&](std::int64_t nTicks) {
        return double(nTicks) * double(span.uSampleRate) / kTicksPerSecond;
    };
    const std::int64_t t0 = span.nPosition;
    const std::int64_t t1 =
        t0 + static_cast<std::int64_t>(double(span.uFrames) * kTicksPerSecond / double(span.uSampleRate));

    std::size_t uFilled = 0;
    bool bTouched = false;
    for (const EnvelopeSegment& segment : list) {
        if (segment.nEnd < t0) {
            last = edge(segment, true);
            continue;
        }
        if (segment.nStart > t1) break;
        const double fLength = samples(segment.nEnd - segment.nStart);
        if (!(fLength > 0.0)) continue;
        const double fStart = samples(segment.nStart - t0);
        const double fFrom = std::max(fStart, 0.0);
        const double fTo = segment.nEnd > t1 ? double(span.uFrames) : samples(segment.nEnd - t0);
        bTouched = true;
        if (fFrom >= double(span.uFrames)) break;

        const auto uFirst = static_cast<std::size_t>(fFrom / double(span.uStride));
        for (; uFilled < uFirst && uFilled < out.size(); ++uFilled)
            out[uFilled] = last;
        const Polynomial polynomial = Shape(segment, fLength);
        std::size_t uStride = uFirst;
        for (; uStride < out.size(); ++uStride) {
            const double fPosition = double(uStride) * double(span.uStride);
            if (fPosition >= fTo && uStride != uFirst) break;
            if (fTo <= 0.0) break;
            out[uStride] = read(segment, polynomial, std::max(fPosition - fStart, 0.0));
        }
        uFilled = uStride;
        last = edge(segment, segment.curve != EnvelopeCurve::Jump);
    }
    for (; uFilled < out.size(); ++uFilled)
        out[uFilled] = last;
    return bTouched;
}

}  // namespace

EnvelopeHandler::EnvelopeHandler(std::string strName, std::size_t uFloats, std::size_t uBools,
                                 std::size_t uInts)
    : m_lock(strName, Util::LockUse::OnAudioThread), m_writers(strName + " writers") {
    m_lists[0].resize(uFloats);
    m_lists[1].resize(uBools);
    m_lists[2].resize(uInts);
}

EnvelopeHandler::SegmentList& EnvelopeHandler::List(ParameterGroup group, std::size_t uIndex) {
    return m_lists[static_cast<std::size_t>(group)][uIndex];
}

const EnvelopeHandler::SegmentList& EnvelopeHandler::List(ParameterGroup group, std::size_t uIndex) const {
    return m_lists[static_cast<std::size_t>(group)][uIndex];
}

void EnvelopeHandler::Install(SegmentList& list, std::vector<EnvelopeSegment>& replacement) {
    const std::lock_guard lock(m_lock);
    m_uTotal = m_uTotal + replacement.size() - list.segments.size();
    list.uCount = replacement.size();
    list.segments.swap(replacement);
}

void EnvelopeHandler::AddSegments(ParameterGroup group, std::size_t uIndex,
                                  std::span<const EnvelopeSegment> segments) {
    const std::lock_guard writers(m_writers);
    SegmentList& list = List(group, uIndex);
    std::vector<EnvelopeSegment> merged = list.segments;
    std::copy_if(segments.begin(), segments.end(), std::back_inserter(merged), [](const EnvelopeSegment& s) {
        return s.nStart <= s.nEnd && std::isfinite(s.fStart) && std::isfinite(s.fEnd);
    });
    std::stable_sort(merged.begin(), merged.end(),
                     [](const auto& a, const auto& b) { return a.nStart < b.nStart; });
    Install(list, merged);
}

std::size_t EnvelopeHandler::RemoveSegments(ParameterGroup group, std::size_t uIndex, std::int64_t nStart,
                                            std::int64_t nEnd) {
    const std::lock_guard writers(m_writers);
    SegmentList& list = List(group, uIndex);
    std::vector<EnvelopeSegment> kept;
    std::copy_if(list.segments.begin(), list.segments.end(), std::back_inserter(kept),
                 [&](const EnvelopeSegment& s) { return s.nEnd <= nStart || s.nStart >= nEnd; });
    const std::size_t uKept = kept.size();
    Install(list, kept);
    return uKept;
}

std::size_t EnvelopeHandler::SegmentCount(ParameterGroup group, std::size_t uIndex) const noexcept {
    return List(group, uIndex).uCount;
}

bool EnvelopeHandler::EvaluateFloat(std::size_t uIndex, const EnvelopeSpan& span, float fCurrent,
                                    float fMaxStep, std::span<float> values) const {
    const std::lock_guard lock(m_lock);
    const bool bTouched = Walk(
        List(ParameterGroup::Float, uIndex).segments, span, fCurrent, values.first(span.StrideCount()),
        [](const EnvelopeSegment&, const Polynomial& p, double k) { return static_cast<float>(p.At(k)); },
        [](const EnvelopeSegment& s, bool bEnd) { return bEnd ? s.fEnd : s.fStart; });
    if (fMaxStep > 0) {
        float fBefore = fCurrent;
        for (float& fValue : values.first(span.StrideCount())) {
            fValue = std::clamp(fValue, fBefore - fMaxStep, fBefore + fMaxStep);
            fBefore = fValue;
        }
    }
    return bTouched;
}

bool EnvelopeHandler::EvaluateBool(std::size_t uIndex, const EnvelopeSpan& span, bool bCurrent,
                                   std::span<std::uint8_t> values) const {
    const std::lock_guard lock(m_lock);
    return Walk(
        List(ParameterGroup::Bool, uIndex).segments, span, static_cast<std::uint8_t>(bCurrent),
        values.first(span.StrideCount()),
        [](const EnvelopeSegment& s, const Polynomial&, double) { return std::uint8_t{s.fStart >= 0.5f}; },
        [](const EnvelopeSegment& s, bool bEnd) { return std::uint8_t{(bEnd ? s.fEnd : s.fStart) >= 0.5f}; });
}

bool EnvelopeHandler::EvaluateInt(std::size_t uIndex, const EnvelopeSpan& span, std::int32_t nCurrent,
                                  std::span<std::int32_t> values) const {
    const auto truncate = [](double fValue) {
        return static_cast<std::int32_t>(std::clamp(fValue, double(std::numeric_limits<std::int32_t>::min()),
                                                    double(std::numeric_limits<std::int32_t>::max())));
    };
    const std::lock_guard lock(m_lock);
    return Walk(
        List(ParameterGroup::Int, uIndex).segments, span, nCurrent, values.first(span.StrideCount()),
        [&](const EnvelopeSegment&, const Polynomial& p, double k) { return truncate(p.At(k)); },
        [&](const EnvelopeSegment& s, bool bEnd) { return truncate(double{bEnd ? s.fEnd : s.fStart}); });
}

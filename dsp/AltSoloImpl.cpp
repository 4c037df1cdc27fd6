#include "dsp/AltSoloImpl.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <mutex>
#include <numbers>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"

namespace DSP {

namespace {

constexpr double kPassThrough[] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
constexpr double kKeptDecades = 0.3;
constexpr float kKeptDb = 10.0f;

}  // namespace

AltSoloImpl::AltSoloImpl(Util::NamedLock& lock)
    : m_lock(lock), m_left(kPassThrough, 1), m_right(kPassThrough, 1) {}

void AltSoloImpl::Set(std::uint32_t uSampleRate, std::optional<float> frequency, std::optional<float> gainDb,
                      std::optional<float> q) {
    const std::lock_guard lock(m_lock);
    const float fFrequency = frequency.value_or(m_fFrequency);
    const float fGainDb = gainDb.value_or(m_fGainDb);
    const float fQ = q.value_or(m_fQ);
    const double fDecades = GuardedLog10(double{fFrequency}) - GuardedLog10(double{m_fFrequency});
    const bool bKeep = m_bFilter && std::abs(fDecades) < kKeptDecades &&
                       std::abs(LinearToDb(m_fGain) - fGainDb) < kKeptDb && fQ == m_fQ;
    m_fFrequency = fFrequency;
    m_fGainDb = fGainDb;
    m_fQ = fQ;
    m_fGain = DbToLinear(fGainDb);

    double taps[6];
    if (double{fFrequency} > double(uSampleRate) * 0.5) {
        std::copy(std::begin(kPassThrough), std::end(kPassThrough), taps);
    } else {
        const double w = 2.0 * std::numbers::pi * double{fFrequency} / double(uSampleRate);
        const double a = Sin(w) / (2.0 * double{fQ});
        const double g = double{m_fGain};
        taps[0] = g * (a / (1.0 + a));
        taps[1] = 0.0;
        taps[2] = g * (-a / (1.0 + a));
        taps[3] = 1.0;
        taps[4] = -2.0 * Cos(w) / (1.0 + a);
        taps[5] = (1.0 - a) / (1.0 + a);
        // At half the rate the band has no width, and its poles would carry on for ever what came before.
        if (double{fFrequency} == double(uSampleRate) * 0.5) taps[2] = taps[4] = taps[5] = 0.0;
    }
    for (IirCascade* filter : {&m_left, &m_right}) {
        filter->SetTaps(taps);
        if (!bKeep) filter->Reset();
    }
    m_bFilter = true;
}

std::uint32_t AltSoloImpl::Process(std::uint32_t uFrames, float* left, float* right) {
    const std::lock_guard lock(m_lock);
    if (!m_bFilter) return uFrames;
    const auto nFrames = static_cast<int>(uFrames);
    for (IirCascade* filter : {&m_left, &m_right}) {
        if (!filter->IsFinite()) filter->Reset();
    }
    if (right) {
        VectorIirProcessFloatStereo(left, right, left, right, nFrames, m_left.State(), m_right.State());
    } else {
        m_left.Process(left, nFrames);
    }
    return uFrames;
}

void AltSoloImpl::Clear() {
    const std::lock_guard lock(m_lock);
    m_bFilter = false;
}

bool AltSoloImpl::IsOn() const {
    const std::lock_guard lock(m_lock);
    return m_bFilter;
}

void AltSoloImpl::Reset() {
    const std::lock_guard lock(m_lock);
    m_left.Reset();
    m_right.Reset();
}

void AltSoloImpl::SetState(std::span<const double> values) {
    const std::lock_guard lock(m_lock);
    if (m_bFilter && values.size() == kDelays) VectorIirSetDelay(m_left.State(), values.data());
}

}  // namespace DSP

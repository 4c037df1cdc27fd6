// The two FIR types of the equalizer: what a changed parameter sets off, and how its result gets into the
// sound without holding the audio up.

#include <mutex>
#include <thread>
#include <utility>

#include "dsp/Parametric.h"

namespace DSP::Equalizer {

void Parametric::Request(std::uint32_t uWork) {
    m_uWork.fetch_or(uWork);
    WorkOff();
}

void Parametric::Release() {
    ChangeAsDesigner([this] {
        --m_nHolds;
        return 0u;
    });
}

// The thread that has the turn designs, and looks for new wishes after giving it back. A wish is found either
// by that thread or by the one that left it, so that none is lost and nobody waits: the audio thread may come
// here with the component's lock held, which the designing thread is waiting for.
void Parametric::WorkOff() {
    while (HasWork()) {
        const DesignTurn::Attempt attempt(m_turn);
        if (!attempt.Succeeded()) return;
        Design(m_uWork.exchange(0));
    }
}

void Parametric::FinishBackgroundWork() {
    while (HasWork() || m_turn.IsTaken()) {
        WorkOff();
        std::this_thread::yield();
    }
}

void Parametric::Design(std::uint32_t uWork) {
    Plan plan = MakePlan();
    if ((uWork & kCurve) != 0) RefreshCurve(plan);
    if (plan.type == Type::Analog) {
        InstallAnalog(plan);
    } else if ((uWork & kFilter) != 0) {
        InstallFir(plan, uWork);
    }
}

Parametric::Plan Parametric::MakePlan() {
    const std::lock_guard lock(m_lock);
    Plan plan{static_cast<Type>(m_nType.Get()),
              m_uSampleRate,
              static_cast<std::uint32_t>(m_nFftSize),
              kBufferSizes[static_cast<std::size_t>(m_nBufferSize)],
              m_fMatchingAmount,
              m_fSmoothing,
              {}};
    for (std::uint32_t i = 0; i < kNodes; ++i)
        plan.nodes[i] = m_nodes[i].Get();
    return plan;
}

void Parametric::RefreshCurve(const Plan& plan) {
    ComputeMatchingCurve(m_spectra.source, m_spectra.target, plan.fSmoothing,
                         CurveFir::kLengths[plan.iFftSize], plan.uSampleRate, m_bench.matching,
                         m_bench.curve);
    const std::lock_guard lock(m_lock);
    m_curve.swap(m_bench.curve);
}

bool Parametric::EnterLatency(std::uint32_t uLatency, std::int32_t nBlock) {
    const bool bChanged =
        m_uLatency != uLatency || m_blockBuffer.BlockSize() != static_cast<std::uint32_t>(nBlock);
    m_uLatency = uLatency;
    m_blockBuffer.SetBlockSize(nBlock);
    return bChanged;
}

void Parametric::InstallAnalog(const Plan& plan) {
    std::unique_ptr<CurveConvolver> convolver;
    if (!ConvolverFits(plan)) {
        DesignTaps(plan);
        convolver = BuildConvolver(plan);
    }
    {
        const std::lock_guard lock(m_lock);
        if (convolver) m_convolver.swap(convolver);
        if (!m_bFir) return;
        m_bFir = false;
        EnterLatency(0, 0);
        DesignAllNodes();
        ClearHeld();
        m_blockBuffer.Clear();
    }
    DelayChanged();
}

/// Leaves the taps of the plan on the bench.
void Parametric::DesignTaps(const Plan& plan) {
    std::array<CurveNode, kNodes> nodes;
    std::size_t uNodes = 0;
    for (const FilterNode& node : plan.nodes) {
        if (node.IsLive()) nodes[uNodes++] = CurveNode::From(node);
    }
    const bool bMatching = plan.type == Type::Matching;
    m_curveFir.Design(m_bench.fir, plan.iFftSize, {nodes.data(), uNodes}, plan.uSampleRate,
                      bMatching ? std::span<const float>(m_curve) : std::span<const float>(), plan.fAmount);
}

/// Only the designing thread replaces the convolver, so it may look at it without the lock.
bool Parametric::ConvolverFits(const Plan& plan) const {
    return m_convolver && m_convolver->BlockSize() == plan.nBlock &&
           m_convolver->Current()->Length() == CurveFir::kLengths[plan.iFftSize];
}

std::unique_ptr<CurveConvolver> Parametric::BuildConvolver(const Plan& plan) {
    const float* const channel = m_bench.fir.taps.data();
    // Both channels sound alike, so one impulse serves them.
    for (auto& impulse : m_bench.impulses) {
        impulse =
            std::make_shared<PartConvImpulse>(&channel, CurveFir::kLengths[plan.iFftSize], 1, plan.nBlock);
        impulse->Retap(&channel, m_bench.workshop);
    }
    m_bench.iSpare = 1;
    return std::make_unique<CurveConvolver>(plan.nBlock, m_bench.impulses[0]);
}

void Parametric::InstallFir(const Plan& plan, std::uint32_t uWork) {
    DesignTaps(plan);
    std::unique_ptr<CurveConvolver> convolver;
    std::shared_ptr<const PartConvImpulse> impulse;
    const bool bFits = ConvolverFits(plan);
    if (bFits) {
        const float* const channel = m_bench.fir.taps.data();
        m_bench.impulses[m_bench.iSpare]->Retap(&channel, m_bench.workshop);
        impulse = m_bench.impulses[m_bench.iSpare];
        m_bench.iSpare = 1 - m_bench.iSpare;
    } else {
        convolver = BuildConvolver(plan);
    }
    bool bDelay = false;
    {
        const std::lock_guard lock(m_lock);
        if (bFits) {
            impulse = m_convolver->Swap(std::move(impulse));
        } else {
            m_convolver.swap(convolver);
        }
        const bool bEnters = !m_bFir;
        m_bFir = true;
        bDelay =
            EnterLatency(static_cast<std::uint32_t>(CurveFir::kLengths[plan.iFftSize]) / 2 - 1, plan.nBlock);
        if ((uWork & kRestart) != 0) m_convolver->Reset();
        if ((uWork & kFlush) != 0 || bEnters) {
            ClearHeld();
            m_blockBuffer.Clear();
        }
    }
    // What was in force before goes with this scope, not under the lock.
    if (bDelay) DelayChanged();
}

}  // namespace DSP::Equalizer

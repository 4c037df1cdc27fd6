#pragma once

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "PluginBase/ComponentImpl.h"
#include "PluginBase/ModuleSet.h"

namespace Test {

/// A module of a few lines: scales by a factor, delays by its latency in real samples, and writes down every
/// call. What it logs it logs under the audio thread only.
class FakeModule : public ComponentImpl<FakeModule> {
public:
    FakeModule(PluginContext& plugin, std::string strName) : ComponentImpl(plugin, strName) {
        Float(strName + ": Factor", "x", -10, 10, 1, &FakeModule::Factor, &FakeModule::SetFactor)
            .Automatable();
        Bool(strName + ": On", false, &FakeModule::On, &FakeModule::SetOn).Automatable();
        Int(strName + ": Size", "", 0, 1024, 0, &FakeModule::Size, &FakeModule::SetSize).Automatable();
        FinishTables();
    }

    bool IsActive() const override { return m_bOn; }
    bool TakesAllBands() const override { return bTakesAllBands; }
    std::uint32_t GetLatency() const override { return static_cast<std::uint32_t>(m_delayLeft.size()); }
    void ClearState() override {
        const std::lock_guard lock(m_lock);
        ++nClears;
        std::fill(m_delayLeft.begin(), m_delayLeft.end(), 0.0f);
        std::fill(m_delayRight.begin(), m_delayRight.end(), 0.0f);
    }
    void SetSampleRate(std::uint32_t uRate) override { uSampleRate = uRate; }
    void ResetStream() override { ++nStreamResets; }

    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override {
        calls.push_back({Stage(), uFrames, right != nullptr, m_nPosition, m_fFactor});
        if (log) log->push_back(Name() + "/" + std::to_string(Stage()));
        Delay(m_delayLeft, uFrames, left);
        if (right) Delay(m_delayRight, uFrames, right);
        return uFrames;
    }

    void SetLatency(std::size_t uFrames) {
        m_delayLeft.assign(uFrames, 0.0f);
        m_delayRight.assign(uFrames, 0.0f);
        DelayChanged();
    }

    float Factor() const { return m_fFactor; }
    void SetFactor(float fFactor) {
        if (fFactor == m_fFactor) return;
        MarkDirty();
        m_fFactor = std::clamp(fFactor, -10.0f, 10.0f);
    }
    bool On() const { return m_bOn; }
    void SetOn(bool bOn) {
        m_bOn = bOn;
        ActivityChanged();
    }
    std::int32_t Size() const { return static_cast<std::int32_t>(m_blockBuffer.BlockSize()); }
    void SetSize(std::int32_t nSize) {
        {
            const std::lock_guard lock(m_lock);
            m_blockBuffer.SetBlockSize(std::clamp(nSize, 0, 1024));
        }
        DelayChanged();
    }

    struct Call {
        std::uint32_t uStage;
        std::uint32_t uFrames;
        bool bStereo;
        std::int64_t nPosition;
        float fFactor;
    };
    std::vector<Call> calls;
    std::vector<std::string>* log = nullptr;
    bool bTakesAllBands = false;
    int nClears = 0;
    int nStreamResets = 0;
    std::uint32_t uSampleRate = 0;

private:
    void Delay(std::vector<float>& line, std::uint32_t uFrames, float* samples) {
        for (std::uint32_t i = 0; i < uFrames; ++i) {
            float fOut = samples[i];
            if (!line.empty()) {
                fOut = line.front();
                line.erase(line.begin());
                line.push_back(samples[i]);
            }
            samples[i] = fOut * m_fFactor;
        }
    }

    Util::Relaxed<float> m_fFactor = 1.0f;
    Util::Relaxed<bool> m_bOn = false;
    std::vector<float> m_delayLeft;
    std::vector<float> m_delayRight;
};

/// Splits by plain factors: band b is the input times its share, and the shares add up to 1.
class FakeSplitter : public ComponentImpl<FakeSplitter>, public BandSplitter {
public:
    explicit FakeSplitter(PluginContext& plugin) : ComponentImpl(plugin, "FakeSplitter") { FinishTables(); }

    bool IsActive() const override { return true; }
    std::uint32_t BandCount() const override { return uBands; }
    float UpperCutoff(std::uint32_t uBand) const override { return kCutoffs[uBand]; }
    bool IsBandBypassed(std::uint32_t uBand) const override { return uBypassed >> uBand & 1; }
    bool IsBandMuted(std::uint32_t uBand) const override { return uMuted >> uBand & 1; }

    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override {
        for (std::uint32_t b = 0; b < uBands; ++b) {
            for (std::uint32_t i = 0; i < uFrames; ++i) {
                m_bandsLeft[b][i] = left[i] * kShares[b];
                if (right) m_bandsRight[b][i] = right[i] * kShares[b];
            }
        }
        return uFrames;
    }

    static constexpr float kShares[] = {0.5f, 0.25f, 0.125f, 0.125f};
    static constexpr float kCutoffs[] = {120.0f, 2000.0f, 10000.0f};
    std::uint32_t uBands = 4;
    std::uint32_t uBypassed = 0;
    std::uint32_t uMuted = 0;
};

}  // namespace Test

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "dsp/vector/CombBank.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/ExciterKernels.h"
#include "dsp/vector/ImagerKernels.h"
#include "dsp/vector/LimiterCurve.h"
#include "dsp/vector/LimiterPeaks.h"
#include "dsp/vector/Repair.h"
#include "dsp/vector/SoftSaturation.h"
#include "tests/vector/KernelCases.h"

using namespace DSP;

namespace {

struct Buffers {
    float *a, *b, *c, *d;
};
struct Element {
    float &a, &b, &c, &d;
};

/// A kernel that treats every element alike, and what the plain loop does to one.
struct Kernel {
    template <class Run>
    Kernel(const char* name, Run function, std::function<void(Element x)> plain)
        : strName(name), model(std::move(plain)) {
        if constexpr (std::is_void_v<std::invoke_result_t<Run, Buffers, int>>) {
            run = [=](Buffers x, int n) { return function(x, n), std::nullopt; };
        } else {
            run = function;
        }
    }
    const char* strName;
    std::function<std::optional<VectorStatus>(Buffers x, int n)> run;
    std::function<void(Element x)> model;
};

float Peak(float fPeak, float fSample) {
    return std::abs(fSample) > fPeak ? std::abs(fSample) : fPeak;
}
float Repaired(float fSample) {
    return std::abs(fSample) < 0x1p40f ? fSample : 0.0f;
}
float Retro(float x) {
    const float v = x * 3.7f;
    const float s = v > 0 ? 1.0f - 1.0f / (v + 1.0f) : 1.0f / (1.0f - v) - 1.0f;
    return x * 0.4f + s * 0.6f;
}
float Saturated(float x) {
    const float d = std::abs(x) - 0.95f;
    const float t = d / 0.050000012f;
    const float y = std::abs(x) > 1.0f ? 0.975f : d / (t * t + 1.0f) + 0.95f;
    return d >= 0.0f ? std::copysign(y, x) : x;
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// Any sample goes in.
const Kernel kKernels[] = {
    {"copy", [](Buffers x, int n) { return VectorCopy(x.a, x.d, n); }, [](Element x) { x.d = x.a; }},
    {"copy bytes", [](Buffers x, int n) { return VectorCopyBytes(x.a, x.d, 4 * n); },
     [](Element x) { x.d = x.a; }},
    {"move", [](Buffers x, int n) { return VectorMove(x.a, x.d, n); }, [](Element x) { x.d = x.a; }},
    {"zero", [](Buffers x, int n) { return VectorZero(x.d, n); }, [](Element x) { x.d = 0.0f; }},
    {"fill", [](Buffers x, int n) { return VectorFill(-0.3f, x.d, n); }, [](Element x) { x.d = -0.3f; }},
    {"add constant", [](Buffers x, int n) { return VectorAddConstant(0.7f, x.d, n); },
     [](Element x) { x.d += 0.7f; }},
    {"add", [](Buffers x, int n) { return VectorAdd(x.a, x.d, n); }, [](Element x) { x.d += x.a; }},
    {"add in place", [](Buffers x, int n) { return VectorAdd(x.d, x.d, n); }, [](Element x) { x.d += x.d; }},
    {"subtract", [](Buffers x, int n) { return VectorSubtract(x.a, x.d, n); }, [](Element x) { x.d -= x.a; }},
    {"multiply", [](Buffers x, int n) { return VectorMultiply(x.a, x.d, n); }, [](Element x) { x.d *= x.a; }},
    {"square in place", [](Buffers x, int n) { return VectorMultiply(x.d, x.d, n); },
     [](Element x) { x.d *= x.d; }},
    {"multiply add", [](Buffers x, int n) { return VectorMultiplyAdd(x.a, x.b, x.d, n); },
     [](Element x) { x.d += x.a * x.b; }},
    {"multiply add in place", [](Buffers x, int n) { return VectorMultiplyAdd(x.d, x.d, x.d, n); },
     [](Element x) { x.d += x.d * x.d; }},
    {"scale", [](Buffers x, int n) { return VectorScale(1.1f, x.d, n); }, [](Element x) { x.d *= 1.1f; }},
    {"scale to", [](Buffers x, int n) { return VectorScaleTo(x.a, 1.1f, x.d, n); },
     [](Element x) { x.d = x.a * 1.1f; }},
    {"threshold", [](Buffers x, int n) { return VectorThresholdGT(x.d, n, 0.25f); },
     [](Element x) { x.d = x.d > 0.25f ? 0.25f : x.d; }},
    {"threshold that is no number", [](Buffers x, int n) { return VectorThresholdGT(x.d, n, std::nanf("")); },
     [](Element) {}},
    {"repair", [](Buffers x, int n) { return VectorRepair(x.a, x.d, n); },
     [](Element x) { x.d = Repaired(x.a); }},
    {"no audio", [](Buffers x, int n) { ReplaceFaultySamples(x.d, n, 1000.0f); },
     [](Element x) { x.d = std::abs(x.d) <= 1000.0f ? x.d : 0.0f; }},
    {"frame peaks", [](Buffers x, int n) { FramePeaks(x.a, x.b, x.d, n); },
     [](Element x) { x.d = Peak(Peak(0.0f, x.a), x.b); }},
    {"mono peaks", [](Buffers x, int n) { FramePeaks(x.a, nullptr, x.d, n); },
     [](Element x) { x.d = Peak(0.0f, x.a); }},
    {"gains", [](Buffers x, int n) { ApplyGains(x.a, x.b, -0.7f, kInfinity, x.d, n); },
     [](Element x) { x.d = x.a * x.b * -0.7f; }},
    {"swap", [](Buffers x, int n) { StereoSwap(x.c, x.d, n); }, [](Element x) { std::swap(x.c, x.d); }},
    {"width", [](Buffers x, int n) { StereoWidth(1.3f, x.c, x.d, n); },
     [](Element x) {
         const float fMid = x.c + x.d, fSide = (x.c - x.d) * 1.3f;
         x.c = (fMid + fSide) * 0.5f;
         x.d = (fMid - fSide) * 0.5f;
     }},
    {"comb input", [](Buffers x, int n) { return VectorCombInput(x.a, x.b, 0.015f, x.d, n); },
     [](Element x) { x.d = (Repaired(x.a) + Repaired(x.b)) * 0.015f; }},
    {"comb input in mono", [](Buffers x, int n) { return VectorCombInput(x.a, nullptr, 0.015f, x.d, n); },
     [](Element x) { x.d = Repaired(x.a) * 2.0f * 0.015f; }},
    {"comb width", [](Buffers x, int n) { return VectorCombWidth(0.8f, -0.3f, x.c, x.d, n); },
     [](Element x) {
         const float c = x.c;
         x.c = 0.8f * c + -0.3f * x.d;
         x.d = -0.3f * c + 0.8f * x.d;
     }},
    {"retro",
     [](Buffers x, int n) {
         ExciterRetro({3.7f, 0.6f, 0.4f}, x.d, n);
     },
     [](Element x) { x.d = Retro(x.d); }},
    {"soft saturation", [](Buffers x, int n) { return VectorSoftSaturate(x.d, n); },
     [](Element x) { x.d = Saturated(x.d); }},
};

/// Levels go in: finite, 0 or more.
const Kernel kLevelKernels[] = {
    {"over values", [](Buffers x, int n) { OverThreshold(x.a, 9.0f, 12.0f, x.d, n); },
     [](Element x) { x.d = x.a > 9.0f ? std::max(x.d - 12.0f, 0.0f) : 0.0f; }},
    {"release", [](Buffers x, int n) { RaiseByRelease(x.a, x.b, x.d, n); },
     [](Element x) { x.d = std::max(x.d, std::sqrt(x.a) * x.b); }},
};

std::vector<float> Levels(unsigned uSeed, int nLength) {
    std::vector<float> levels = Test::AnyFloats(uSeed, nLength);
    for (float& fLevel : levels)
        fLevel = std::isnormal(fLevel) ? 8.0f * std::min(std::abs(fLevel), 3.0f) : 0.0f;
    return levels;
}

void CheckKernel(const Kernel& kernel, std::vector<float> (*draw)(unsigned uSeed, int nLength)) {
    CAPTURE(kernel.strName);
    for (const int n : Test::KernelLengths()) {
        CAPTURE(n);
        std::array<std::vector<float>, 4> expected;
        std::vector<Test::Guarded<float>> actual;
        actual.reserve(4);
        for (unsigned i = 0; i < 4; ++i) {
            expected[i] = draw(i + 1, n);
            actual.emplace_back(expected[i], (n + 3 * static_cast<int>(i)) % 5);
        }
        for (std::size_t i = 0; i < expected[0].size(); ++i)
            kernel.model({expected[0][i], expected[1][i], expected[2][i], expected[3][i]});
        kernel.run({actual[0].Data(), actual[1].Data(), actual[2].Data(), actual[3].Data()}, n);
        for (std::size_t i = 0; i < 4; ++i) {
            CHECK(Test::FirstDifference(actual[i].Values(), expected[i]) == -1);
            CHECK(actual[i].Intact());
        }
    }
}

}  // namespace

TEST_CASE("Element-wise kernels give the bits of the plain loop at every level, length and alignment") {
    Test::AtEveryLevel([] {
        for (const Kernel& kernel : kKernels) {
            CheckKernel(kernel, &Test::AnyFloats);
            CheckKernel(kernel, &Test::AnyBits);
        }
        for (const Kernel& kernel : kLevelKernels)
            CheckKernel(kernel, &Levels);
    });
}

TEST_CASE("Kernels with a status name a null pointer and a length below 1, and change nothing") {
    for (const Kernel& kernel : kKernels) {
        CAPTURE(kernel.strName);
        std::vector<float> samples = Test::AnyFloats(9, 8);
        const std::vector<float> before = samples;
        const auto run = [&](std::size_t uNull, int n) {
            std::array<float*, 4> at;
            for (std::size_t i = 0; i < 4; ++i)
                at[i] = uNull == i || uNull == 9 ? nullptr : &samples[2 * i];
            return kernel.run({at[0], at[1], at[2], at[3]}, n);
        };
        if (!run(4, 2).has_value()) continue;
        samples = before;
        CHECK(run(4, 0) == kVectorBadLength);
        CHECK(run(4, -1) == kVectorBadLength);
        CHECK(run(9, 2) == kVectorNullPointer);
        CHECK(Test::FirstDifference(samples, before) == -1);
        for (std::size_t uNull = 0; uNull < 4; ++uNull) {
            const auto status = run(uNull, 2);
            CHECK((status == kVectorNullPointer || status == kVectorOk));
        }
    }
}

TEST_CASE("Soft saturation leaves 0.95, ends at exactly 0.975, mirrors and never falls") {
    const float fBelow = std::nextafter(0.95f, 0.0f), fAbove = std::nextafter(1.0f, 2.0f);
    const struct {
        float fIn, fOut;
    } corners[] = {{0.0f, 0.0f},   {0.5f, 0.5f},     {fBelow, fBelow}, {0.95f, 0.95f},
                   {1.0f, 0.975f}, {fAbove, 0.975f}, {40.0f, 0.975f},  {kInfinity, 0.975f}};
    std::vector<float> ramp;
    for (float x = -1.1f; x < 1.1f; x += 1e-5f)
        ramp.push_back(x);
    Test::AtEveryLevel([&] {
        for (const auto& corner : corners) {
            for (const float fSign : {1.0f, -1.0f}) {
                float fSample = fSign * corner.fIn;
                VectorSoftSaturate(&fSample, 1);
                CAPTURE(corner.fIn);
                CHECK(Test::SameBits(fSample, fSign * corner.fOut));
            }
        }
        std::vector<float> out = ramp, expected;
        for (const float x : ramp)
            expected.push_back(Saturated(x));
        VectorSoftSaturate(out.data(), static_cast<int>(out.size()));
        CHECK(Test::FirstDifference(out, expected) == -1);
        CHECK(std::is_sorted(out.begin(), out.end()));
    });
}

TEST_CASE("Gains cut off what roundings carry over the ceiling, on both sides, and nothing more") {
    const float fCeiling = 0.9f;
    const float fHair = std::nextafter(std::nextafter(fCeiling, 1.0f), 1.0f);
    const std::vector<float> samples = {fCeiling, fHair, -fHair, 0.95f, -2.0f, 0.5f};
    const std::vector<float> expected = {fCeiling, fCeiling, -fCeiling, 0.95f, -2.0f, 0.5f};
    const std::vector<float> ones(6, 1.0f);
    Test::AtEveryLevel([&] {
        std::vector<float> out(6);
        ApplyGains(samples.data(), ones.data(), 1.0f, fCeiling, out.data(), 6);
        CHECK(out == expected);
    });
}

#include "dsp/RoomImpulse.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/ImpulseResampler.h"
#include "tests/dsp/CutoffsModel.h"
#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/Signals.h"

using DSP::RoomImpulse;
using DSP::RoomShape;

namespace {

using Signal = std::vector<double>;

/// The factor that the highs get at a frame, worked out by itself.
double DampingAt(std::size_t i, std::size_t n, double fDamping) {
    if (fDamping > 0.7000001) {
        const double beta = (fDamping - 0.7) * 20.0;
        const double m = (2.0 * static_cast<double>(n) - 1.0) / 2.0;
        const double x = (static_cast<double>(n + i) - m) / m;
        const double w = Test::BesselI0(beta * std::sqrt(1.0 - x * x)) / Test::BesselI0(beta);
        return std::pow(w, (fDamping - 0.7) * (fDamping - 0.7) * 1000.0 + 1.0);
    }
    if (fDamping < 0.6999999) {
        const double g = std::pow((0.7 - fDamping) / 0.71, 0.2);
        return 1.0 / (1.0 - g + g * std::exp(-10.0 * static_cast<double>(i) / static_cast<double>(n)));
    }
    return 1.0;
}

/// The shaping, step by step in double, without any flush.
std::vector<Signal> Plain(const std::vector<std::vector<float>>& impulse, const RoomShape& shape,
                          double fRate) {
    const auto n = static_cast<std::size_t>(
        std::max(std::floor(static_cast<double>(impulse[0].size()) * double{shape.fSize} + 0.49), 2.0));
    std::vector<Signal> result;
    for (const auto& channel : impulse) {
        Signal x(n);
        for (std::size_t i = 0; i < std::min(n, channel.size()); ++i)
            x[i] = double{channel[i]} * (0.5 + 0.5 * std::cos(std::numbers::pi * static_cast<double>(i) /
                                                              static_cast<double>(n + 1)));
        result.push_back(x);
    }
    if (result.size() == 2) {
        const double a = 1.0 - double{shape.fWidth}, b = 1.0 + double{shape.fWidth}, h = std::hypot(a, b);
        for (std::size_t i = 0; i < n; ++i) {
            const double l = result[0][i], r = result[1][i];
            result[0][i] = (a * r + b * l) / h;
            result[1][i] = (b * r + a * l) / h;
        }
    }
    const double c = 1.0 - std::exp(-1.0 / (fRate * 25e-6));
    for (Signal& x : result) {
        Signal low = x;
        for (std::size_t i = 1; i < n; ++i)
            low[i] += (1.0 - c) * (low[i - 1] - low[i]);
        for (std::size_t i = n - 1; i-- > 0;)
            low[i] += (1.0 - c) * (low[i + 1] - low[i]);
        for (std::size_t i = 0; i < n; ++i)
            x[i] = low[i] + DampingAt(i, n, double{shape.fDamping}) * (x[i] - low[i]);
        x.insert(x.begin(),
                 static_cast<std::size_t>(std::floor(double{shape.fPreDelayMs} * fRate / 1000.0 + 0.5)), 0.0);
        Test::ApplyCutoffs(x, fRate, shape.cutoffs);
    }
    return result;
}

double Worst(const RoomImpulse& room, const std::vector<Signal>& expected) {
    REQUIRE(room.Channels() == static_cast<int>(expected.size()));
    REQUIRE(room.Length() == static_cast<int>(expected[0].size()));
    double fWorst = 0.0;
    for (std::size_t c = 0; c < expected.size(); ++c) {
        for (std::size_t i = 0; i < expected[c].size(); ++i) {
            const double fDifference = std::abs(expected[c][i] - double{room.Taps()[c][i]});
            fWorst = fDifference <= fWorst ? fWorst : fDifference;
        }
    }
    return fWorst;
}

void Load(RoomImpulse& room, const std::vector<std::vector<float>>& impulse) {
    std::vector<const float*> pointers;
    for (const auto& channel : impulse)
        pointers.push_back(channel.data());
    room.Load(pointers.data(), static_cast<int>(impulse[0].size()), static_cast<int>(impulse.size()), 44100);
}

}  // namespace

TEST_CASE("A room's impulse is the stored one, shaped step by step, at any rate") {
    const std::vector<std::vector<float>> stored{Test::Noise(1, 3000), Test::Noise(2, 3000)};
    RoomImpulse room;  // one object through all of it: what is left over from before would be the fault
    Load(room, stored);
    std::vector<RoomShape> shapes(10);
    shapes[1].fDamping = 0.7f;
    shapes[2].fDamping = 1.0f;
    shapes[3].fDamping = 0.1f;
    shapes[4].fSize = 0.125f;
    shapes[5].fWidth = 0.0f;
    shapes[5].fSize = 1.0f;
    shapes[6].fWidth = 3.0f;
    shapes[6].fPreDelayMs = 12.345f;
    shapes[7].cutoffs = {400.0f, 12.0f, 2000.0f, 0.2f};
    // At 22050 Hz above half the rate: a high cut leaves the highs alone, a low cut nothing at all.
    shapes[8] = {1.0f, 0.3f, 3.0f, 0.5f, {20.0f, 0.7f, 12000.0f, 1.0f}};
    shapes[9].cutoffs = {11026.0f, 2.0f, 7000.0f, 2.0f};
    for (const std::uint32_t uRate : {44100u, 48000u, 96000u, 22050u, 44100u}) {
        CAPTURE(uRate);
        std::vector<std::vector<float>> resampled;
        for (const auto& channel : stored)
            resampled.push_back(DSP::ResampleImpulse(channel, 44100, uRate));
        for (const RoomShape& shape : shapes) {
            CAPTURE(&shape - shapes.data());
            REQUIRE(room.Make(shape, uRate, false));
            // Float arithmetic on values up to some 30, where the damping lets the highs grow.
            CHECK(Worst(room, Plain(resampled, shape, uRate)) < 2e-5);
        }
    }
}

TEST_CASE("The shortest room, none at all, and one that is told to stop and is made later") {
    RoomImpulse room;
    REQUIRE(room.Make({}, 44100, false));
    CHECK(room.Length() == 0);
    const std::vector<std::vector<float>> one{{0.5f}};
    Load(room, one);
    RoomShape shape;
    shape.fSize = 0.125f;
    REQUIRE(room.Make(shape, 44100, false));
    CHECK(room.Length() == 2);
    CHECK(Worst(room, Plain(one, shape, 44100)) < 1e-7);
    room.Load(nullptr, 0, 0, 44100);
    const float* none[] = {nullptr, nullptr};
    room.Load(none, 0, 2, 44100);
    REQUIRE(room.Make(shape, 44100, false));
    CHECK(room.Taps()[1][0] == 0.0f);

    Load(room, {Test::Noise(1, 500)});
    CHECK_FALSE(room.Make({}, 48000, true));
    CHECK(room.Length() == 0);
    CHECK(room.Make({}, 48000, false));
    CHECK(room.Length() == static_cast<int>(544 * 0.8 + 0.49));
}

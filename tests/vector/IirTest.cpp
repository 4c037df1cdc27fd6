#include "dsp/vector/Iir.h"

#include <doctest/doctest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/vector/KernelCases.h"
#include "tests/vector/Signals.h"

namespace {

// One channel, section by section over the whole signal: the order of operations, and nothing else.
struct PlainCascade {
    std::vector<double> taps;
    std::vector<double> delays = std::vector<double>(taps.size() / 3);

    std::vector<double> Run(std::vector<double> x) {
        for (std::size_t s = 0; s < taps.size() / 6; ++s) {
            const double* t = &taps[6 * s];
            const double b0 = t[0] / t[3], b1 = t[1] / t[3], b2 = t[2] / t[3];
            const double a1 = t[4] / t[3], a2 = t[5] / t[3];
            double& s1 = delays[2 * s];
            double& s2 = delays[2 * s + 1];
            for (double& value : x) {
                const double in = value;
                value = b0 * in + s1;
                s1 = (b1 * in + s2) - a1 * value;
                s2 = b2 * in - a2 * value;
            }
        }
        return x;
    }

    std::vector<float> Run(const std::vector<float>& x) {
        const auto y = Run(std::vector<double>(x.begin(), x.end()));
        std::vector<float> rounded;
        for (const double value : y)
            rounded.push_back(static_cast<float>(value));
        return rounded;
    }
};

// Stable sections with an a0 other than 1, all different.
std::vector<double> Taps(std::uint32_t uSeed, int nSections) {
    const auto noise = Test::Noise<double>(uSeed, 6 * static_cast<std::size_t>(nSections));
    std::vector<double> taps;
    for (std::size_t s = 0; s < static_cast<std::size_t>(nSections); ++s) {
        const double* r = &noise[6 * s];
        const double radius = 0.6 + 0.39 * std::abs(r[3]);
        const double a0 = 1.5 + r[4];
        taps.insert(taps.end(), {1.0 + 0.5 * r[0], r[1], 0.7 * r[2], a0,
                                 -2.0 * radius * std::cos(3.0 * r[5]) * a0, radius * radius * a0});
    }
    return taps;
}

struct StateOwner {
    explicit StateOwner(const std::vector<double>& taps) {
        REQUIRE(DSP::VectorIirInit(&state, taps.data(), static_cast<int>(taps.size() / 6)) == DSP::kVectorOk);
    }
    StateOwner(const StateOwner&) = delete;
    StateOwner& operator=(const StateOwner&) = delete;
    ~StateOwner() { DSP::VectorIirFree(state); }

    std::vector<double> Delays(std::size_t uSections) const {
        std::vector<double> delays(2 * uSections);
        DSP::VectorIirGetDelay(state, delays.data());
        return delays;
    }

    DSP::IirState* state = nullptr;
};

int Length(const std::vector<float>& x) {
    return static_cast<int>(x.size());
}

const std::vector<std::size_t> kLengths = {1,  2,  3,  4,  5,  6,  7,  8,  9,   10,  11,  12,  13,   14,
                                           15, 16, 17, 31, 63, 64, 65, 97, 511, 512, 513, 777, 1024, 1031};

}  // namespace

TEST_CASE(
    "Iir: two channels in one pass, each channel alone and the plain loop give the same bits and delays") {
    Test::AtEveryLevel([&] {
        for (int nSections = 1; nSections <= 21; ++nSections) {
            CAPTURE(nSections);
            const auto uSections = static_cast<std::size_t>(nSections);
            PlainCascade plainLeft{Taps(1, nSections)};
            PlainCascade plainRight{Taps(2, nSections)};
            const StateOwner left(plainLeft.taps);
            const StateOwner right(plainRight.taps);
            const StateOwner alone(plainLeft.taps);
            for (const std::size_t uLength : kLengths) {
                CAPTURE(uLength);
                // One float past a boundary, and a guard behind: the left channel is in
                // place, the right one is not.
                constexpr float kGuard = 77.0f;
                const auto l = Test::Noise<float>(5, uLength);
                const auto r = Test::Noise<float>(6, uLength);
                std::vector<float> leftBuffer = {kGuard};
                leftBuffer.insert(leftBuffer.end(), l.begin(), l.end());
                leftBuffer.push_back(kGuard);
                std::vector<float> rightBuffer(uLength + 2, kGuard);
                CHECK(DSP::VectorIirProcessFloatStereo(leftBuffer.data() + 1, r.data(), leftBuffer.data() + 1,
                                                       rightBuffer.data() + 1, Length(l), left.state,
                                                       right.state) == DSP::kVectorOk);
                CHECK(leftBuffer.front() == kGuard);
                CHECK(leftBuffer.back() == kGuard);
                CHECK(rightBuffer.front() == kGuard);
                CHECK(rightBuffer.back() == kGuard);
                std::vector<float> one(uLength);
                CHECK(DSP::VectorIirProcessFloat(l.data(), one.data(), Length(l), alone.state) ==
                      DSP::kVectorOk);
                const auto expectedLeft = plainLeft.Run(l);
                const auto expectedRight = plainRight.Run(r);
                CHECK(Test::FirstBitDifference({leftBuffer.begin() + 1, leftBuffer.end() - 1},
                                               expectedLeft) == -1);
                CHECK(Test::FirstBitDifference({rightBuffer.begin() + 1, rightBuffer.end() - 1},
                                               expectedRight) == -1);
                CHECK(Test::FirstBitDifference(one, expectedLeft) == -1);
            }
            CHECK(Test::FirstBitDifference(left.Delays(uSections), plainLeft.delays) == -1);
            CHECK(Test::FirstBitDifference(right.Delays(uSections), plainRight.delays) == -1);
            CHECK(Test::FirstBitDifference(alone.Delays(uSections), plainLeft.delays) == -1);
        }
    });
}

TEST_CASE("Iir: 64-bit samples pass unrounded, mono and stereo, at every level") {
    Test::AtEveryLevel([&] {
        for (const int nSections : {1, 2, 3, 5, 8, 12, 16}) {
            CAPTURE(nSections);
            PlainCascade plainLeft{Taps(3, nSections)};
            PlainCascade plainRight{Taps(4, nSections)};
            const StateOwner left(plainLeft.taps);
            const StateOwner right(plainRight.taps);
            const StateOwner alone(plainRight.taps);
            const auto l = Test::Noise<double>(7, 601);
            const auto r = Test::Noise<double>(8, 601);
            auto leftOut = l;
            auto rightOut = r;
            auto one = r;
            DSP::VectorIirProcessStereo(leftOut.data(), rightOut.data(), leftOut.data(), rightOut.data(), 601,
                                        left.state, right.state);
            DSP::VectorIirProcess(one.data(), one.data(), 601, alone.state);
            CHECK(Test::FirstBitDifference(leftOut, plainLeft.Run(l)) == -1);
            CHECK(Test::FirstBitDifference(rightOut, plainRight.Run(r)) == -1);
            CHECK(Test::FirstBitDifference(one, rightOut) == -1);
        }
    });
}

TEST_CASE("Iir: a series is its links one after another, each rounded and multiplied by its gain") {
    struct Shape {
        std::vector<int> sections;
        bool bGains;
    };
    const std::vector<Shape> shapes = {
        {{1}, false},    {{1}, true},        {{2, 2}, true},          {{1, 1, 1, 1, 1, 1, 1, 1}, false},
        {{3, 1}, false}, {{2, 5, 4}, true},  {{1, 2, 3, 4, 5}, true}, {{9, 9, 1}, false},
        {{}, false},     {{4, 4, 4}, false}, {{1, 1, 1, 1, 1}, true}, {{1, 1}, false}};
    Test::AtEveryLevel([&] {
        for (std::size_t iShape = 0; iShape < shapes.size(); ++iShape) {
            CAPTURE(iShape);
            for (const bool bStereo : {false, true}) {
                CAPTURE(bStereo);
                const Shape& shape = shapes[iShape];
                std::vector<PlainCascade> plain[2];
                std::vector<std::unique_ptr<StateOwner>> owners;
                std::vector<DSP::IirLink> links(shape.sections.size());
                for (std::size_t i = 0; i < links.size(); ++i) {
                    for (std::uint32_t iChannel = 0; iChannel < 2; ++iChannel) {
                        const auto uSeed = static_cast<std::uint32_t>(20 + 2 * i) + iChannel;
                        plain[iChannel].push_back({Taps(uSeed, shape.sections[i])});
                        owners.push_back(std::make_unique<StateOwner>(plain[iChannel].back().taps));
                        (iChannel == 0 ? links[i].left : links[i].right) = owners.back()->state;
                    }
                    if (shape.bGains) links[i].fLeftGain = 0.3f + 0.1f * static_cast<float>(i);
                    if (shape.bGains) links[i].fRightGain = 1.7f;
                }
                for (const std::size_t uLength : {std::size_t{5}, std::size_t{700}, std::size_t{40}}) {
                    auto l = Test::Noise<float>(9, uLength);
                    auto r = Test::Noise<float>(10, uLength);
                    std::vector<float> left(uLength);
                    std::vector<float> right(uLength);
                    CHECK(DSP::VectorIirProcessSeries(l.data(), bStereo ? r.data() : nullptr, left.data(),
                                                      bStereo ? right.data() : nullptr, Length(l),
                                                      links.data(),
                                                      static_cast<int>(links.size())) == DSP::kVectorOk);
                    for (std::size_t i = 0; i < links.size(); ++i) {
                        l = plain[0][i].Run(l);
                        for (float& value : l)
                            value *= links[i].fLeftGain;
                        r = plain[1][i].Run(r);
                        for (float& value : r)
                            value *= links[i].fRightGain;
                    }
                    CHECK(Test::FirstBitDifference(left, l) == -1);
                    if (bStereo) CHECK(Test::FirstBitDifference(right, r) == -1);
                }
            }
        }
    });
}

TEST_CASE("Iir: rows side by side are as many series over the same source, one of them in place") {
    // By row the sections of its links.
    const std::vector<std::vector<std::vector<int>>> shapes = {{{2}, {2, 2}, {2, 2}, {2}},
                                                               {{1}},
                                                               {{2, 2}, {2}},
                                                               {{1, 1}, {3}, {4}},
                                                               {{2}, {2, 2}, {5, 1}, {}, {1}},
                                                               {{}},
                                                               {}};
    Test::AtEveryLevel([&] {
        for (std::size_t iShape = 0; iShape < shapes.size(); ++iShape) {
            CAPTURE(iShape);
            const auto& shape = shapes[iShape];
            for (const bool bStereo : {false, true}) {
                CAPTURE(bStereo);
                // Two of everything: one for the rows and one for the series.
                std::vector<DSP::IirCascade> cascades;
                std::vector<std::vector<DSP::IirLink>> links[2];
                for (std::size_t i = 0; i < shape.size(); ++i) {
                    for (std::size_t k = 0; k < 4 * shape[i].size(); ++k) {
                        const int nSections = shape[i][k / 4];
                        const auto uSeed = static_cast<std::uint32_t>(100 + 10 * i + k / 4 + 300 * (k % 2));
                        cascades.emplace_back(Taps(uSeed, nSections).data(), nSections);
                    }
                }
                auto next = cascades.begin();
                for (std::size_t i = 0; i < shape.size(); ++i) {
                    links[0].emplace_back(shape[i].size());
                    links[1].emplace_back(shape[i].size());
                    for (std::size_t k = 0; k < 2 * shape[i].size(); ++k) {
                        DSP::IirLink& link = links[k % 2][i][k / 2];
                        link.left = (next++)->State();
                        link.right = (next++)->State();
                        link.fLeftGain = 0.8f + 0.1f * static_cast<float>(i);
                        link.fRightGain = 1.3f;
                    }
                }
                for (const std::size_t uLength : {std::size_t{1}, std::size_t{3}, std::size_t{700}}) {
                    CAPTURE(uLength);
                    auto l = Test::Noise<float>(16, uLength);
                    auto r = Test::Noise<float>(17, uLength);
                    std::vector<std::vector<float>> expected(2 * shape.size(), std::vector<float>(uLength));
                    auto actual = expected;
                    std::vector<DSP::IirRow> rows;
                    for (std::size_t i = 0; i < shape.size(); ++i) {
                        const int nLinks = static_cast<int>(shape[i].size());
                        DSP::VectorIirProcessSeries(l.data(), bStereo ? r.data() : nullptr,
                                                    expected[2 * i].data(), expected[2 * i + 1].data(),
                                                    Length(l), links[1][i].data(), nLinks);
                        rows.push_back({links[0][i].data(), nLinks, actual[2 * i].data(),
                                        bStereo ? actual[2 * i + 1].data() : nullptr});
                    }
                    if (!rows.empty()) rows[0].left = l.data();
                    Test::AllocationCounter counter;
                    REQUIRE(DSP::VectorIirProcessRows(l.data(), bStereo ? r.data() : nullptr, Length(l),
                                                      rows.data(),
                                                      static_cast<int>(rows.size())) == DSP::kVectorOk);
                    REQUIRE(counter.Count() == 0);
                    if (!rows.empty()) actual[0] = l;
                    for (std::size_t i = 0; i < actual.size(); ++i) {
                        CHECK(Test::FirstBitDifference(actual[i], expected[i]) == -1);
                    }
                }
            }
        }
    });
}

TEST_CASE("Iir: a stream may be cut anywhere, and new taps keep the delay lines") {
    const auto taps = Taps(30, 8);
    const auto other = Taps(31, 8);
    const auto input = Test::Noise<float>(11, 4000);
    std::vector<float> whole;
    for (const std::vector<std::size_t>& cuts :
         {std::vector<std::size_t>{1}, {64}, {511, 1, 513}, {3, 17, 2, 700}}) {
        DSP::IirCascade cascade(taps.data(), 8);
        PlainCascade plain{taps};
        auto output = input;
        // The taps change after 1400 samples, whatever the cut.
        std::size_t uDone = 0;
        for (std::size_t i = 0; uDone < input.size(); ++i) {
            const std::size_t uEnd = uDone < 1400 ? 1400 : input.size();
            const std::size_t uCount = std::min(cuts[i % cuts.size()], uEnd - uDone);
            cascade.Process(output.data() + uDone, static_cast<int>(uCount));
            uDone += uCount;
            if (uDone == 1400) cascade.SetTaps(other.data());
        }
        auto expected = plain.Run(std::vector<float>(input.begin(), input.begin() + 1400));
        plain.taps = other;
        const auto rest = plain.Run(std::vector<float>(input.begin() + 1400, input.end()));
        expected.insert(expected.end(), rest.begin(), rest.end());
        CHECK(Test::FirstBitDifference(output, expected) == -1);
    }
}

TEST_CASE("Iir: the impulse response has the transfer function of the taps") {
    const auto taps = Taps(40, 3);
    const StateOwner owner(taps);
    std::vector<double> impulse(8192);
    impulse[0] = 1.0;
    DSP::VectorIirProcess(impulse.data(), impulse.data(), 8192, owner.state);
    for (const double w : {0.0, 0.01, 0.3, 1.0, 2.0, 3.0, 3.14159265358979}) {
        CAPTURE(w);
        const auto z = std::polar(1.0, -w);
        std::complex<double> expected = 1.0;
        for (std::size_t s = 0; s < 3; ++s) {
            const double* t = &taps[6 * s];
            expected *= (t[0] + t[1] * z + t[2] * z * z) / (t[3] + t[4] * z + t[5] * z * z);
        }
        std::complex<double> sum = 0.0;
        for (std::size_t n = 0; n < impulse.size(); ++n) {
            sum += impulse[n] * std::polar(1.0, -w * static_cast<double>(n));
        }
        CHECK(std::abs(sum - expected) < 1e-10 * std::abs(expected));
    }
}

TEST_CASE("Iir: delay lines are set, read and cleared, and a NaN leaves with them") {
    const auto taps = Taps(50, 5);
    DSP::IirCascade cascade(taps.data(), 5);
    CHECK(cascade.Sections() == 5);
    const auto delays = Test::Noise<double>(12, 10);
    std::vector<double> read(10);
    CHECK(DSP::VectorIirSetDelay(cascade.State(), delays.data()) == DSP::kVectorOk);
    CHECK(DSP::VectorIirGetDelay(cascade.State(), read.data()) == DSP::kVectorOk);
    CHECK(read == delays);

    // A copy goes its own way, with the delays of the moment.
    DSP::IirCascade copy(cascade);
    const auto input = Test::Noise<float>(13, 100);
    auto a = input;
    auto b = input;
    cascade.Process(a.data(), 100);
    copy.Process(b.data(), 100);
    CHECK(Test::FirstBitDifference(a, b) == -1);
    const DSP::IirCascade moved = std::move(copy);
    copy = moved;
    CHECK(copy.Sections() == 5);

    cascade.Reset();
    const DSP::IirCascade fresh(taps.data(), 5);
    for (const float fBad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        CHECK(cascade.IsFinite());
        a = input;
        a[50] = fBad;
        cascade.Process(a.data(), 100);
        CHECK(std::isfinite(a[49]));
        CHECK(!cascade.IsFinite());
        cascade.Reset();
        a = input;
        b = input;
        cascade.Process(a.data(), 100);
        DSP::IirCascade(fresh).Process(b.data(), 100);
        CHECK(Test::FirstBitDifference(a, b) == -1);
        cascade.Reset();
    }

    DSP::IirCascade none;
    none.Process(b.data(), 100);
    CHECK(Test::FirstBitDifference(a, b) == -1);
    CHECK(none.IsFinite());
}

TEST_CASE("Iir: what is refused touches nothing, and processing allocates nothing") {
    const auto taps = Taps(60, 2);
    DSP::IirState* state = nullptr;
    CHECK(DSP::VectorIirInit(&state, taps.data(), 0) == DSP::kVectorBadLength);
    CHECK(DSP::VectorIirInit(&state, nullptr, 2) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorIirInit(nullptr, taps.data(), 2) == DSP::kVectorNullPointer);
    CHECK(state == nullptr);
    const StateOwner two(taps);
    const StateOwner one(Taps(61, 1));
    auto l = Test::Noise<float>(14, 64);
    auto r = Test::Noise<float>(15, 64);
    const auto before = l;
    Test::AllocationCounter counter;
    CHECK(DSP::VectorIirProcessFloat(l.data(), l.data(), 0, two.state) == DSP::kVectorBadLength);
    CHECK(DSP::VectorIirProcessFloat(l.data(), l.data(), -5, two.state) == DSP::kVectorBadLength);
    CHECK(DSP::VectorIirProcessFloat(l.data(), nullptr, 64, two.state) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorIirProcessFloatStereo(l.data(), r.data(), l.data(), r.data(), 64, two.state,
                                           one.state) == DSP::kVectorBadLength);
    CHECK(l == before);
    const DSP::IirLink links[] = {{two.state, nullptr}, {one.state, nullptr}};
    CHECK(DSP::VectorIirProcessSeries(l.data(), r.data(), l.data(), r.data(), 64, links, 2) ==
          DSP::kVectorNullPointer);
    CHECK(l == before);
    CHECK(DSP::VectorIirProcessSeries(l.data(), nullptr, l.data(), nullptr, 64, links, 2) == DSP::kVectorOk);
    CHECK(counter.Count() == 0);
    CHECK(DSP::VectorIirFree(nullptr) == DSP::kVectorNullPointer);
}

#include "dsp/vector/Iir.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vector/KernelCases.h"
#include "tests/vector/Signals.h"

using DSP::IirCascade;

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
    std::vector<float> Run(const std::vector<float>& x, float fGain = 1.0f) {
        std::vector<float> rounded;
        for (const double value : Run(std::vector<double>(x.begin(), x.end())))
            rounded.push_back(static_cast<float>(value) * fGain);
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

IirCascade Cascade(const PlainCascade& plain) {
    return {plain.taps.data(), static_cast<int>(plain.taps.size() / 6)};
}

std::vector<double> Delays(IirCascade& cascade) {
    std::vector<double> delays(2 * static_cast<std::size_t>(cascade.Sections()));
    DSP::VectorIirGetDelay(cascade.State(), delays.data());
    return delays;
}

template <class T>
bool Same(const std::vector<T>& a, const std::vector<T>& b) {
    return Test::FirstBitDifference(a, b) == -1;
}

int Length(const std::vector<float>& x) {
    return static_cast<int>(x.size());
}

}  // namespace

TEST_CASE("Iir: two channels in one pass, each alone and the plain loop give the same bits and delays") {
    Test::AtEveryLevel([&] {
        for (int nSections = 1; nSections <= 21; ++nSections) {
            CAPTURE(nSections);
            PlainCascade plainLeft{Taps(1, nSections)}, plainRight{Taps(2, nSections)};
            IirCascade left = Cascade(plainLeft), right = Cascade(plainRight), alone = Cascade(plainLeft);
            for (const int nLength : Test::KernelLengths()) {
                CAPTURE(nLength);
                // The left channel is in place, the right one is not.
                const auto l = Test::Noise<float>(5, static_cast<std::size_t>(nLength));
                const auto r = Test::Noise<float>(6, static_cast<std::size_t>(nLength));
                Test::Guarded<float> leftOut(l, 1), rightOut(nLength, 2), one(nLength, 3);
                CHECK(DSP::VectorIirProcessFloatStereo(leftOut.Data(), r.data(), leftOut.Data(),
                                                       rightOut.Data(), nLength, left.State(),
                                                       right.State()) == DSP::kVectorOk);
                CHECK(DSP::VectorIirProcessFloat(l.data(), one.Data(), nLength, alone.State()) ==
                      DSP::kVectorOk);
                const auto expected = plainLeft.Run(l);
                CHECK(Same(leftOut.Values(), expected));
                CHECK(Same(one.Values(), expected));
                CHECK(Same(rightOut.Values(), plainRight.Run(r)));
                CHECK((leftOut.Intact() && rightOut.Intact() && one.Intact()));
            }
            CHECK(Same(Delays(left), plainLeft.delays));
            CHECK(Same(Delays(right), plainRight.delays));
            CHECK(Same(Delays(alone), plainLeft.delays));
            // New taps keep the delays, and 64-bit samples pass unrounded.
            plainLeft.taps = Taps(9, nSections);
            left.SetTaps(plainLeft.taps.data());
            alone.SetTaps(plainLeft.taps.data());
            const auto l = Test::Noise<double>(7, 601), r = Test::Noise<double>(8, 601);
            auto leftOut = l, rightOut = r, one = l;
            DSP::VectorIirProcessStereo(leftOut.data(), rightOut.data(), leftOut.data(), rightOut.data(), 601,
                                        left.State(), right.State());
            alone.Process(one.data(), 601);
            CHECK(Same(leftOut, plainLeft.Run(l)));
            CHECK(Same(rightOut, plainRight.Run(r)));
            CHECK(Same(one, leftOut));
        }
    });
}

TEST_CASE("Iir: rows, and series alone, are their links in turn, each rounded and multiplied by its gain") {
    // By row the sections of its links.
    const std::vector<std::vector<std::vector<int>>> shapes = {
        {{2}, {2, 2}, {2, 2}, {2}},
        {{2, 2}, {2}},
        {{1, 1}, {3}, {4}, {1, 1, 1, 1, 1, 1, 1, 1}},
        {{2}, {2, 2}, {5, 1}, {}, {1}},
        {{9, 9, 1}, {1, 2, 3, 4, 5}, {4, 4, 4}, {3, 1}},
        {{}},
        {}};
    Test::AtEveryLevel([&] {
        for (std::size_t iShape = 0; iShape < 2 * shapes.size(); ++iShape) {
            CAPTURE(iShape);
            const auto& shape = shapes[iShape / 2];
            const bool bStereo = iShape % 2 == 1;
            struct Row {
                std::vector<PlainCascade> plain[2];
                std::vector<IirCascade>
                    cascades;  // for the rows left and right, for the series left and right
                std::vector<DSP::IirLink> links[2];
                std::vector<float> left, right;
            };
            std::vector<Row> rows(shape.size());
            for (std::size_t i = 0; i < shape.size(); ++i) {
                Row& row = rows[i];
                row.cascades.reserve(4 * shape[i].size());
                for (const int nSections : shape[i]) {
                    for (std::uint32_t c = 0; c < 4; ++c) {
                        const auto uSeed = static_cast<std::uint32_t>(100 + 20 * i + row.cascades.size());
                        if (c < 2) row.plain[c].push_back({Taps(uSeed, nSections)});
                        row.cascades.push_back(Cascade(row.plain[c % 2].back()));
                    }
                    const float fGain = 0.8f + 0.1f * static_cast<float>(i);
                    auto* const last = &row.cascades.back();
                    row.links[0].push_back({last[-3].State(), last[-2].State(), fGain, 1.3f});
                    row.links[1].push_back({last[-1].State(), last[0].State(), fGain, 1.3f});
                }
            }
            for (const std::size_t uLength : {std::size_t{1}, std::size_t{3}, std::size_t{700}}) {
                CAPTURE(uLength);
                auto l = Test::Noise<float>(16, uLength);
                const auto r = Test::Noise<float>(17, uLength);
                std::vector<std::vector<float>> expected;
                for (Row& row : rows) {
                    auto left = l, right = r;
                    for (std::size_t i = 0; i < row.plain[0].size(); ++i) {
                        left = row.plain[0][i].Run(left, row.links[0][i].fLeftGain);
                        right = row.plain[1][i].Run(right, row.links[0][i].fRightGain);
                    }
                    row.left = l;
                    row.right = r;
                    DSP::VectorIirProcessSeries(row.left.data(), bStereo ? row.right.data() : nullptr,
                                                row.left.data(), row.right.data(), Length(l),
                                                row.links[1].data(), static_cast<int>(row.links[1].size()));
                    CHECK(Same(row.left, left));
                    CHECK(Same(row.right, bStereo ? right : r));
                    expected.push_back(left);
                    expected.push_back(bStereo ? right : r);
                }
                std::vector<DSP::IirRow> calls;
                for (Row& row : rows) {
                    row.right = r;
                    calls.push_back({row.links[0].data(), static_cast<int>(row.links[0].size()),
                                     row.left.data(), bStereo ? row.right.data() : nullptr});
                }
                // One of them in place.
                if (!rows.empty()) calls[0].left = l.data();
                CHECK(DSP::VectorIirProcessRows(l.data(), bStereo ? r.data() : nullptr, Length(l),
                                                calls.data(),
                                                static_cast<int>(calls.size())) == DSP::kVectorOk);
                for (std::size_t i = 0; i < rows.size(); ++i) {
                    CHECK(Same(i == 0 ? l : rows[i].left, expected[2 * i]));
                    CHECK(Same(rows[i].right, expected[2 * i + 1]));
                }
            }
        }
    });
}

TEST_CASE("Iir: a copy has the delays of the moment, a NaN shows in them and leaves with a reset") {
    IirCascade cascade = Cascade({Taps(50, 5)}), fresh = cascade;
    const auto delays = Test::Noise<double>(12, 10);
    CHECK(DSP::VectorIirSetDelay(cascade.State(), delays.data()) == DSP::kVectorOk);
    CHECK(Delays(cascade) == delays);
    IirCascade copy(cascade);
    const auto input = Test::Noise<float>(13, 100);
    auto a = input, b = input;
    cascade.Process(a.data(), 100);
    copy.Process(b.data(), 100);
    CHECK(Same(a, b));

    auto expected = input;
    fresh.Process(expected.data(), 100);
    for (const float fBad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        a = input;
        a[50] = fBad;
        cascade.Process(a.data(), 100);
        CHECK(!cascade.IsFinite());
        cascade.Reset();
        CHECK(cascade.IsFinite());
        a = input;
        cascade.Process(a.data(), 100);
        CHECK(Same(a, expected));
    }
    IirCascade none;
    none.Process(a.data(), 100);
    CHECK(Same(a, expected));
    CHECK(none.IsFinite());
}

TEST_CASE("Iir: what is refused touches nothing") {
    DSP::IirState* state = nullptr;
    const auto taps = Taps(60, 2);
    CHECK(DSP::VectorIirInit(&state, taps.data(), 0) == DSP::kVectorBadLength);
    CHECK(DSP::VectorIirInit(&state, nullptr, 2) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorIirInit(nullptr, taps.data(), 2) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorIirFree(state) == DSP::kVectorNullPointer);
    IirCascade two(taps.data(), 2), one(taps.data(), 1);
    auto l = Test::Noise<float>(14, 64), r = Test::Noise<float>(15, 64);
    const auto before = l;
    CHECK(DSP::VectorIirProcessFloat(l.data(), l.data(), 0, two.State()) == DSP::kVectorBadLength);
    CHECK(DSP::VectorIirProcessFloat(l.data(), nullptr, 64, two.State()) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorIirProcessFloatStereo(l.data(), r.data(), l.data(), r.data(), 64, two.State(),
                                           one.State()) == DSP::kVectorBadLength);
    const DSP::IirLink links[] = {{two.State(), nullptr}, {one.State(), nullptr}};
    CHECK(DSP::VectorIirProcessSeries(l.data(), r.data(), l.data(), r.data(), 64, links, 2) ==
          DSP::kVectorNullPointer);
    const DSP::IirLink whole{two.State(), one.State()};
    CHECK(DSP::VectorIirProcessSeries(l.data(), r.data(), l.data(), nullptr, 64, &whole, 1) ==
          DSP::kVectorNullPointer);
    CHECK(l == before);
    CHECK(DSP::VectorIirProcessSeries(l.data(), nullptr, l.data(), nullptr, 64, links, 2) == DSP::kVectorOk);
}

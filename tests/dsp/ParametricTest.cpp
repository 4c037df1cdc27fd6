#include "dsp/Parametric.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <limits>

#include "dsp/vector/SoftSaturation.h"
#include "tests/dsp/EqualizerFixture.h"
#include "tests/support/CountingAllocator.h"

using namespace DSP::Equalizer;
using Test::EqualizerFixture;
using Test::StereoNoise;
using Test::StereoSignal;

namespace {

// The cascade as it is told: node by node over the whole signal, each in double, rounded to float behind it.
std::vector<float> PlainCascade(std::vector<float> samples, const Parametric& eq, std::uint32_t uRate) {
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        const FilterNode node = eq.Node(i);
        if (!node.bEnabled || (node.shape <= Shape::HighShelf && node.fGainDb == 0.0f)) continue;
        const BiquadTaps t = DesignBiquad(node, uRate);
        double s1 = 0.0;
        double s2 = 0.0;
        for (float& fSample : samples) {
            const double x = double{fSample};
            const double y = t[0] * x + s1;
            s1 = (t[1] * x + s2) - t[4] * y;
            s2 = t[2] * x - t[5] * y;
            fSample = static_cast<float>(y);
        }
    }
    return samples;
}

}  // namespace

TEST_CASE("The equalizer's tables hold its parameters with their ranges, defaults and order") {
    EqualizerFixture f;
    auto& eq = f.eq;
    CHECK(eq.Name() == "Equalizer::Parametric");
    REQUIRE(eq.Count(ParameterGroup::Float) == 24);
    REQUIRE(eq.Count(ParameterGroup::Bool) == 11);
    REQUIRE(eq.Count(ParameterGroup::Int) == 11);
    CHECK(eq.Count(ParameterGroup::UInt) == 0);
    const float kFrequencies[] = {30, 70, 180, 520, 1870, 3900, 7400, 16000};
    const float kQs[] = {0.2f, 0.2f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.2f};
    for (std::uint32_t i = 0; i < 8; ++i) {
        const std::string strNumber = std::to_string(i + 1);
        const struct {
            std::uint32_t uIndex;
            const char *name, *units;
            float fMin, fMax, fDefault;
        } kFamilies[] = {{i, "EQ: Freq ", "Hz", 20, 20000, kFrequencies[i]},
                         {8 + i, "EQ: Gain ", "dB", -30, 15, 0},
                         {16 + i, "EQ: Q/Slope ", "", 0.2f, 12, kQs[i]}};
        for (const auto& family : kFamilies) {
            const FloatRecord& record = eq.FloatInfo(family.uIndex);
            CHECK(record.strName == family.name + strNumber);
            CHECK(record.strUnits == family.units);
            CHECK(record.fMin == family.fMin);
            CHECK(record.fMax == family.fMax);
            CHECK(record.fDefault == family.fDefault);
            CHECK(eq.GetFloat(family.uIndex) == family.fDefault);
            CHECK(record.bAutomatable);
            eq.SetFloat(family.uIndex, 1e9f);
            CHECK(eq.GetFloat(family.uIndex) == family.fMax);
            eq.SetFloat(family.uIndex, -1e9f);
            CHECK(eq.GetFloat(family.uIndex) == family.fMin);
        }
        CHECK(eq.BoolInfo(3 + i).strName == "EQ: Enable " + strNumber);
        CHECK(eq.BoolInfo(3 + i).bAutomatable);
        CHECK(eq.GetBool(3 + i));
        const IntRecord& shape = eq.IntInfo(3 + i);
        CHECK(shape.strName == "EQ: Shape " + strNumber);
        CHECK(shape.labels ==
              std::vector<std::string>{"Bell", "Lowshelf", "Highshelf", "Lowpass", "Highpass"});
        CHECK_FALSE(shape.bAutomatable);
        CHECK(eq.GetInt(3 + i) == (i == 0 ? 1 : i == 7 ? 2 : 0));
        CHECK(eq.GetInt(3 + i) == shape.nDefault);
    }
    const struct {
        const char* name;
        bool bDefault, bAutomatable;
    } kBools[] = {
        {"EQ: Bypass", true, true}, {"EQ: Solo Mute", false, false}, {"EQ: Soft Saturation", false, true}};
    for (std::uint32_t i = 0; i < 3; ++i) {
        CHECK(eq.BoolInfo(i).strName == kBools[i].name);
        CHECK(eq.BoolInfo(i).bDefault == kBools[i].bDefault);
        CHECK(eq.GetBool(i) == kBools[i].bDefault);
        CHECK(eq.BoolInfo(i).bAutomatable == kBools[i].bAutomatable);
    }
    const struct {
        const char* name;
        std::vector<std::string> labels;
        std::int32_t nDefault;
        bool bAutomatable;
    } kInts[] = {{"EQ: Type", {"Analog", "Digital", "Matching"}, 0, true},
                 {"EQ: FFT Size", {"1024", "4096", "16384"}, 0, false},
                 {"EQ: Buffer Size", {"128", "256", "512", "1024", "2048", "4096", "8192"}, 3, false}};
    for (std::uint32_t i = 0; i < 3; ++i) {
        CHECK(eq.IntInfo(i).strName == kInts[i].name);
        CHECK(eq.IntInfo(i).labels == kInts[i].labels);
        CHECK(eq.IntInfo(i).nDefault == kInts[i].nDefault);
        CHECK(eq.GetInt(i) == kInts[i].nDefault);
        CHECK(eq.IntInfo(i).bAutomatable == kInts[i].bAutomatable);
        CHECK(eq.IntInfo(i).IsEnumeration());
    }
    for (std::uint32_t i = 0; i < 11; ++i) {
        CHECK(eq.BoolInfo(i).presetGroup == PresetGroup::Equalizer);
        CHECK(eq.IntInfo(i).presetGroup == PresetGroup::Equalizer);
        eq.SetInt(i, 99);
        CHECK(eq.GetInt(i) == eq.IntInfo(i).nMax);
        eq.SetInt(i, -99);
        CHECK(eq.GetInt(i) == 0);
    }
}

TEST_CASE("Only a changed value marks the plug-in, and only bypass, solo mute and delay ask for updates") {
    EqualizerFixture f;
    const auto dirtied = [&](auto change) {
        const int nBefore = f.context.nDirty;
        change();
        return f.context.nDirty - nBefore;
    };
    CHECK(dirtied([&] { f.Float("EQ: Gain 2", 0.0f); }) == 0);
    CHECK(dirtied([&] { f.Float("EQ: Gain 2", 3.0f); }) == 1);
    CHECK(dirtied([&] { f.Int("EQ: Shape 2", 0); }) == 0);
    CHECK(dirtied([&] { f.Int("EQ: Shape 2", 3); }) == 1);
    CHECK(dirtied([&] { f.Bool("EQ: Solo Mute", true); }) == 1);
    CHECK(dirtied([&] { f.Bool("EQ: Solo Mute", true); }) == 0);
    CHECK(dirtied([&] { CHECK(f.eq.SetNode(3, 100.0f, 1.0f, 2.0f, Shape::Bell)); }) == 1);
    CHECK(dirtied([&] { CHECK(f.eq.SetNode(3, 100.0f, 1.0f, 2.0f, Shape::Bell)); }) == 0);
    CHECK(f.eq.Node(3) == FilterNode{true, Shape::Bell, 100.0f, 1.0f, 2.0f});
    CHECK(f.context.nActivityRequests == 1);
    f.Bool("EQ: Bypass", false);
    CHECK(f.context.nActivityRequests == 2);
    CHECK_FALSE(f.eq.IsActive());
    f.Bool("EQ: Solo Mute", false);
    CHECK(f.eq.IsActive());
    f.Bool("EQ: Bypass", true);
    CHECK_FALSE(f.eq.IsActive());
    f.Bool("EQ: Bypass", false);
    CHECK(f.eq.IsActive());
    CHECK(f.context.nActivityRequests == 5);
    CHECK(f.context.nDelayRequests == 0);
    f.Int("EQ: Buffer Size", 5);
    f.Int("EQ: FFT Size", 1);
    CHECK(f.context.nDelayRequests == 0);
    CHECK(f.eq.GetLatency() == 0);
    f.Int("EQ: Type", 1);
    CHECK(f.context.nDelayRequests == 1);
}

TEST_CASE("Nodes without effect leave every bit alone, passes never count as flat") {
    EqualizerFixture f;
    for (std::uint32_t i = 0; i < kNodes; ++i)
        f.eq.SetNode(i, 500.0f, 0.0f, 1.0f, static_cast<Shape>(i % 3));
    StereoSignal input = StereoNoise(1, 3000);
    input.left[7] = 1e-42f;
    input.left[8] = -0.0f;
    CHECK(Test::SameBits(f.Render(input), input));
    f.eq.SetNode(4, 500.0f, 5.0f, 1.0f, Shape::Bell);
    f.Bool("EQ: Enable 5", false);
    CHECK(Test::SameBits(f.Render(input), input));
    f.eq.SetNode(2, 500.0f, 0.0f, 1.0f, Shape::LowPass);
    CHECK_FALSE(Test::SameBits(f.Render(input), input));
}

TEST_CASE(
    "Analog is a cascade of biquads in double with floats in between, whatever the cut and the channels") {
    const StereoSignal input = StereoNoise(2, 20000);
    EqualizerFixture f;
    f.SetRate(48000);
    f.MakeLively();
    const StereoSignal expected{PlainCascade(input.left, f.eq, 48000),
                                PlainCascade(input.right, f.eq, 48000)};
    for (const std::vector<std::uint32_t>& cuts :
         {std::vector<std::uint32_t>{20000}, {64}, {511, 1, 513}, {8192}, Test::RandomCuts(3, 20000, 700)}) {
        CAPTURE(cuts.front());
        f.eq.ResetStream();
        CHECK(Test::SameBits(f.Render(input, cuts), expected));
    }
    f.eq.ClearState();
    CHECK(Test::FirstDifference(f.Render({input.left, {}}).left, expected.left) == -1);
    f.eq.ClearState();
    CHECK(Test::FirstDifference(f.Render({input.right, {}}).left, expected.right) == -1);
    f.Process(0, nullptr, nullptr);
    // The same rate again, as at every start of a stream, begins with silence; another one designs anew.
    f.SetRate(48000);
    CHECK(Test::SameBits(f.Render(input), expected));
    f.SetRate(88200);
    CHECK(Test::FirstDifference(f.Render(input).left, PlainCascade(input.left, f.eq, 88200)) == -1);
    // What was set while another type sounded is there when Analog comes back.
    f.Int("EQ: Type", 1);
    f.Float("EQ: Freq 4", 700.0f);
    f.SetRate(44100);
    f.Int("EQ: Type", 0);
    CHECK(Test::FirstDifference(f.Render(input).left, PlainCascade(input.left, f.eq, 44100)) == -1);
}

TEST_CASE("A small step keeps a node's delay lines, a great one and a new shape clear them") {
    // A low pass holds what it heard; after a clear, silence comes out as silence.
    const auto keeps = [](auto change) {
        EqualizerFixture f;
        f.eq.SetNode(5, 1000.0f, 2.0f, 1.0f, Shape::LowPass);
        f.Render(StereoNoise(4, 64));
        change(f);
        const StereoSignal silence = f.Render({std::vector<float>(8), std::vector<float>(8)});
        CHECK((silence.left[0] != 0.0f) == (silence.right[0] != 0.0f));
        return silence.left[0] != 0.0f;
    };
    const float f29 = 1000.0f * std::pow(10.0f, 0.29f);
    const float f31 = 1000.0f * std::pow(10.0f, 0.31f);
    CHECK(keeps([&](auto& f) { f.Float("EQ: Freq 6", f29); }));
    CHECK(keeps([&](auto& f) { f.Float("EQ: Freq 6", 1e6f / f29); }));
    CHECK_FALSE(keeps([&](auto& f) { f.Float("EQ: Freq 6", f31); }));
    CHECK_FALSE(keeps([&](auto& f) { f.Float("EQ: Freq 6", 1e6f / f31); }));
    CHECK(keeps([](auto& f) { f.Float("EQ: Gain 6", -30.0f); }));
    CHECK(keeps([](auto& f) { f.Float("EQ: Q/Slope 6", 12.0f); }));
    CHECK_FALSE(keeps([](auto& f) { f.Int("EQ: Shape 6", 4); }));
    CHECK(keeps([&](auto& f) { f.eq.SetNode(5, f29, 5.0f, 9.0f, Shape::LowPass); }));
    CHECK_FALSE(keeps([&](auto& f) { f.eq.SetNode(5, f31, 5.0f, 9.0f, Shape::LowPass); }));
    CHECK_FALSE(keeps([&](auto& f) { f.eq.SetNode(5, f29, 5.0f, 9.0f, Shape::HighPass); }));
    CHECK_FALSE(keeps([](auto& f) { f.SetRate(48000); }));
    CHECK_FALSE(keeps([](auto& f) {
        f.Int("EQ: Type", 1);
        f.Int("EQ: Type", 0);
    }));
    CHECK_FALSE(keeps([](auto& f) { f.eq.ResetStream(); }));
}

TEST_CASE("The audition filter is heard alone, without nodes and saturation, and goes without a trace") {
    EqualizerFixture f;
    f.MakeLively();
    f.Bool("EQ: Soft Saturation", true);
    const StereoSignal input = StereoNoise(5, 4000);
    StereoSignal saturated{PlainCascade(input.left, f.eq, 44100), PlainCascade(input.right, f.eq, 44100)};
    DSP::VectorSoftSaturate(saturated.left.data(), 4000);
    DSP::VectorSoftSaturate(saturated.right.data(), 4000);
    CHECK(Test::SameBits(f.Render(input), saturated));

    f.eq.SetAuditionFilter(1000.0f, 12.0f, 2.0f);
    Util::NamedLock lock("Model");
    DSP::AltSoloImpl model(lock);
    model.Set(44100, 1000.0f, 12.0f, 2.0f);
    StereoSignal heard = input;
    model.Process(4000, heard.left.data(), heard.right.data());
    CHECK(*std::max_element(heard.left.begin(), heard.left.end()) > 1.0f);
    CHECK(Test::SameBits(f.Render(input), heard));

    // A reset clears its delay lines; a new rate moves it to the same frequency there.
    f.eq.ResetStream();
    CHECK(Test::SameBits(f.Render(input), heard));
    f.SetRate(88200);
    f.eq.ResetStream();
    model.Set(88200, std::nullopt, std::nullopt, std::nullopt);
    model.Reset();
    heard = input;
    model.Process(4000, heard.left.data(), heard.right.data());
    CHECK(Test::SameBits(f.Render(input), heard));
    f.SetRate(44100);
    f.eq.ClearAuditionFilter();
    CHECK(Test::SameBits(f.Render(input), saturated));
}

TEST_CASE("What a node's display draws is what an impulse through it shows") {
    EqualizerFixture f;
    f.MakeLively();
    std::vector<float> impulse(44100);
    impulse[0] = 1.0f;
    const auto response = f.Render({impulse, {}}).left;
    const DSP::ResponseCurve frequencies = DSP::ResponseFrequencies();
    DSP::ResponseCurve total;
    f.eq.TotalResponse(total);
    std::vector<double> sum(DSP::kResponsePoints);
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        DSP::ResponseCurve node;
        f.eq.NodeResponse(i, node);
        if (i == 2 || i == 5) CHECK(*std::max_element(node.begin(), node.end()) == 0.0f);
        for (std::size_t p = 0; p < node.size(); ++p)
            sum[p] += double{node[p]};
    }
    double fWorst = 0.0;
    for (std::size_t p = 0; p < DSP::kResponsePoints; p += 12) {
        const double fDb = Test::Db(Test::MagnitudeAt(response, double{frequencies[p]}, 44100.0));
        fWorst = std::max({fWorst, std::abs(fDb - double{total[p]}), std::abs(sum[p] - double{total[p]})});
    }
    CHECK(fWorst < 1e-3);
}

TEST_CASE("In the Analog type neither audio nor a parameter allocates") {
    EqualizerFixture f;
    f.MakeLively();
    f.Bool("EQ: Soft Saturation", true);
    StereoSignal block = StereoNoise(6, 4096);
    f.Process(4096, block.left.data(), block.right.data());
    std::size_t uAllocations = 0;
    {
        const Test::AllocationCounter counter;
        for (std::uint32_t i = 0; i < 24; ++i)
            f.eq.SetFloat(i, f.eq.GetFloat(i) * 0.5f + 0.7f);
        for (std::uint32_t i = 2; i < 11; ++i)
            f.eq.SetBool(i, !f.eq.GetBool(i));
        for (std::uint32_t i = 3; i < 11; ++i)
            f.eq.SetInt(i, 4 - f.eq.GetInt(i));
        f.Process(4096, block.left.data(), block.right.data());
        f.Process(100, block.left.data(), nullptr);
        f.eq.SetAuditionFilter(500.0f, 0.0f, 3.0f);
        f.Process(4096, block.left.data(), block.right.data());
        f.eq.ResetStream();
        uAllocations = counter.Count();
    }
    CHECK(uAllocations == 0);
}

TEST_CASE(
    "After a NaN, an infinity or a huge sample the sound is clean again within a second, in every type") {
    const float kDamage[] = {std::nanf(""), std::numeric_limits<float>::infinity(), 1e30f, -3e38f};
    const StereoSignal clean = StereoNoise(7, 60000);
    for (std::int32_t nType = 0; nType < 3; ++nType) {
        for (const float fDamage : kDamage) {
            for (const std::uint32_t uAt : {0u, 300u, 511u}) {
                EqualizerFixture f;
                EqualizerFixture untouched;
                for (EqualizerFixture* each : {&f, &untouched}) {
                    each->MakeLively();
                    // Rings on longest of all.
                    each->eq.SetNode(2, 20.0f, 15.0f, 12.0f, Shape::Bell);
                    each->Int("EQ: Type", nType);
                }
                StereoSignal damaged = clean;
                damaged.left[uAt] = fDamage;
                const StereoSignal out = f.Render(damaged);
                const StereoSignal expected = untouched.Render(clean);
                float fWorst = 0.0f;
                for (std::size_t n = 44612; n < 60000; ++n) {
                    const float fDifference = std::abs(out.left[n] - expected.left[n]);
                    if (!(fDifference <= fWorst)) fWorst = fDifference;
                }
                CAPTURE(nType);
                CAPTURE(fDamage);
                CAPTURE(uAt);
                CHECK(fWorst < 1e-2f);
                CHECK(Test::FirstDifference(out.right, expected.right) == -1);
            }
        }
    }
}

TEST_CASE("A storm of parameters, ends included, leaves the sound finite, and a reset starts it anew") {
    Test::Random random(8);
    EqualizerFixture f;
    for (int nRound = 0; nRound < 400; ++nRound) {
        for (int i = 0; i < 6; ++i) {
            const std::uint32_t uFloat = random.Between(0, 23);
            const FloatRecord& record = f.eq.FloatInfo(uFloat);
            const float kValues[] = {record.fMin, record.fMax, random.Uniform(record.fMin, record.fMax),
                                     record.fDefault};
            f.eq.SetFloat(uFloat, kValues[random.Between(0, 3)]);
            f.eq.SetBool(random.Between(0, 10), random.Between(0, 1) == 0);
            if (random.Between(0, 3) == 0)
                f.eq.SetInt(random.Between(3, 10), static_cast<std::int32_t>(random.Between(0, 4)));
        }
        if (nRound % 40 == 0) f.Int("EQ: Type", static_cast<std::int32_t>(random.Between(0, 2)));
        if (nRound % 50 == 0) f.Int("EQ: FFT Size", static_cast<std::int32_t>(random.Between(0, 1)));
        if (nRound % 60 == 0) f.Int("EQ: Buffer Size", static_cast<std::int32_t>(random.Between(0, 6)));
        if (nRound % 70 == 0) f.SetRate(random.Between(8000, 384000));
        const std::uint32_t uFrames = random.Between(0, 900);
        StereoSignal block = StereoNoise(random.Next(), uFrames);
        f.Process(uFrames, block.left.data(), random.Between(0, 9) == 0 ? nullptr : block.right.data());
        bool bFinite = true;
        for (std::size_t n = 0; n < uFrames; ++n)
            bFinite = bFinite && std::isfinite(block.left[n]) && std::isfinite(block.right[n]);
        CAPTURE(nRound);
        CHECK(bFinite);
    }
    const StereoSignal input = StereoNoise(9, 5000);
    f.eq.ClearAudio();
    const StereoSignal first = f.Render(input);
    f.eq.ClearAudio();
    CHECK(Test::SameBits(f.Render(input), first));
}

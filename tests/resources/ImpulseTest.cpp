#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "resources/EmbeddedFile.h"
#include "resources/impulse/Signal.h"

namespace {

using Impulse::Signal;

const Util::EmbeddedFile& File() {
    const Util::EmbeddedFile* file = Util::FindEmbeddedFile(Util::kEmbeddedImpulses, "Impulse1.pcm");
    REQUIRE(file != nullptr);
    return *file;
}

std::array<Signal, 2> Read() {
    const auto& file = File();
    REQUIRE(file.uSize == 308736);
    std::array<Signal, 2> channels{Signal(77184), Signal(77184)};
    for (std::size_t i = 0; i < 2 * 77184; ++i) {
        const int nBits = file.data[2 * i] | file.data[2 * i + 1] << 8;
        channels[i % 2][i / 2] = nBits < 32768 ? nBits : nBits - 65536;
    }
    return channels;
}

double Energy(const Signal& signal, std::size_t uFrom, std::size_t uTo) {
    double fSum = 0.0;
    for (std::size_t i = uFrom; i < uTo; ++i)
        fSum += signal[i] * signal[i];
    return fSum;
}

/// Seconds for 60 dB, from the time that the energy still to come takes from -5 to -25 dB.
double DecayTime(const Signal& band) {
    Signal rest(band.size() + 1);
    for (std::size_t i = band.size(); i-- > 0;)
        rest[i] = rest[i + 1] + band[i] * band[i];
    const auto reaches = [&](double fDb) {
        const double fLevel = rest[0] * std::pow(10.0, fDb / 10.0);
        return static_cast<double>(
            std::find_if(rest.begin(), rest.end(), [=](double f) { return f < fLevel; }) - rest.begin());
    };
    return 3.0 * (reaches(-25.0) - reaches(-5.0)) / 44100.0;
}

}  // namespace

TEST_CASE("The table of impulses holds one file, the same in every build") {
    CHECK(Util::FindEmbeddedFile(Util::kEmbeddedImpulses, "impulse1.pcm") == nullptr);
    const auto& file = File();
    CHECK(&file == &Util::kEmbeddedImpulses[0]);
    CHECK(Util::kEmbeddedImpulses[1].name == nullptr);
    // FNV-1a over the bytes. It changes with the generator and must not change with compiler or processor;
    // whether the impulse is a good one the other cases ask.
    std::uint64_t uHash = 0xcbf29ce484222325u;
    for (std::uint64_t i = 0; i < file.uSize; ++i)
        uHash = (uHash ^ file.data[i]) * 0x100000001b3u;
    CHECK(uHash == 550307392080904824u);
}

TEST_CASE("The impulse starts at once, ends below a step, and has neither an offset nor a click") {
    for (const Signal& channel : Read()) {
        const auto isLoud = [](double f) { return std::abs(f) > 3277; };
        CHECK(std::find_if(channel.begin(), channel.end(), isLoud) - channel.begin() < 44);
        const auto [least, most] = std::minmax_element(channel.begin(), channel.end());
        CHECK(std::max(*most, -*least) > 20000);
        CHECK(std::max(*most, -*least) < 32767);
        CHECK(Energy(channel, 76500, 77184) == 0.0);
        CHECK(Energy(channel, 66150, 68355) > 0.0);  // there is sound 1.5 s in
        CHECK(std::abs(std::accumulate(channel.begin(), channel.end(), 0.0) / 77184) < 0.05);

        // Behind the reflections the sound is noise: in 20 ms of it no sample stands out.
        constexpr std::size_t kWindow = 882;
        for (std::size_t i = 6000; i + kWindow < 60000; i += kWindow) {
            double fGreatest = 0.0;
            for (std::size_t k = i; k < i + kWindow; ++k)
                fGreatest = std::max(fGreatest, std::abs(channel[k]));
            CAPTURE(i);
            CHECK(fGreatest < 5.0 * std::sqrt(Energy(channel, i, i + kWindow) / kWindow));
        }
    }
}

TEST_CASE("The impulse decays as the hall does, the highs sooner") {
    const std::array<double, 10> expected{0, 1.9, 1.95, 1.85, 1.76, 1.7, 1.5, 1.15, 0.78, 0.48};
    for (const Signal& channel : Read()) {
        const auto bands = Impulse::SplitBands(channel);
        for (std::size_t b = 1; b < bands.size(); ++b) {
            CAPTURE(Impulse::kBandHz[b]);
            // Noise of a narrow band fluctuates: with some 40 independent values in the low octaves.
            CHECK(DecayTime(bands[b]) == doctest::Approx(expected[b]).epsilon(b < 4 ? 0.2 : 0.1));
        }
    }
}

TEST_CASE("Left and right have nothing in common but their level, and nothing comes back") {
    const auto channels = Read();
    const auto correlation = [&](std::size_t iOther, std::size_t uFrom, std::size_t uLength,
                                 std::size_t uLag) {
        const Signal &a = channels[0], &b = channels[iOther];
        double fSum = 0.0;
        for (std::size_t i = uFrom; i < uFrom + uLength; ++i)
            fSum += a[i] * b[i + uLag];
        const double fEnergies =
            Energy(a, uFrom, uFrom + uLength) * Energy(b, uFrom + uLag, uFrom + uLag + uLength);
        return std::abs(fSum / std::sqrt(fEnergies));
    };
    CHECK(Energy(channels[0], 0, 77184) / Energy(channels[1], 0, 77184) == doctest::Approx(1.0).epsilon(0.1));
    for (const std::size_t uFrom : {0u, 3000u, 8000u, 20000u, 40000u})
        CHECK(correlation(1, uFrom, 10000, 0) < 0.12);
    // A flutter or a loop would show as a lag at which the sound resembles itself.
    double fWorst = 0.0;
    for (std::size_t uLag = 400; uLag < 12000; ++uLag)
        fWorst = std::max(fWorst, correlation(0, 6000, 6000, uLag));
    CHECK(fWorst < 0.25);
}

#include "resources/impulse/Room.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "dsp/vector/Elementary.h"

namespace Impulse {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kSpeed = 343.0;  // of sound, m/s
constexpr std::array<double, 3> kSize{12.4, 9.1, 5.6};
constexpr std::array<double, 3> kSource{3.1, 4.3, 1.7};
constexpr std::array<double, 3> kMiddle{8.6, 4.9, 2.3};
constexpr double kHalfSpacing = 0.2;
constexpr double kTurn = 50.0 * kPi / 180.0;
constexpr double kOmni = 0.6;  // the rest of the pattern is a figure of eight
constexpr double kJitter = 0.12;
constexpr double kMirror = 0.7;    // of the energy, what one wall reflects as a mirror does
constexpr double kBurst = 0.0006;  // s, the span of what it scatters
constexpr int kOrder = 8;  // images to this many rooms away, which is beyond what kEarlyTo lets through

// The walls' shares of the mean absorption, at the lowest and the highest band; in between along the octaves.
// By axis, near wall and far: the panelled front, the curtained back, the sides, the floor, the ceiling.
struct Wall {
    double fLow;
    double fHigh;
};
constexpr std::array<std::array<Wall, 2>, 3> kWalls{
    {{{{1.3, 0.7}, {0.7, 1.6}}}, {{{1.1, 0.8}, {1.0, 0.9}}}, {{{0.6, 1.3}, {1.3, 0.8}}}}};

double Volume() {
    return kSize[0] * kSize[1] * kSize[2];
}

double Surface() {
    return 2.0 * (kSize[0] * kSize[1] + kSize[0] * kSize[2] + kSize[1] * kSize[2]);
}

// The natural logarithm of what one reflection leaves of an amplitude: half of Eyring's exponent.
double WallLoss(std::size_t uAxis, std::size_t uSide, std::size_t uBand) {
    const double fMean = 0.161 * Volume() / (Surface() * kDecay[uBand]);
    const double fPlace = static_cast<double>(uBand) / (kBands - 1);
    const Wall& wall = kWalls[uAxis][uSide];
    return -0.5 * fMean * (wall.fLow + (wall.fHigh - wall.fLow) * fPlace);
}

struct Image {
    std::array<double, 3> position;
    std::array<std::array<int, 2>, 3> hits;  // by axis and wall

    int Hits() const {
        int nHits = 0;
        for (const auto& axis : hits)
            nHits += axis[0] + axis[1];
        return nHits;
    }
};

struct Microphone {
    std::array<double, 3> position;
    double fAngle;  // of its front, from the direction of the source towards the left
};

double Distance(const Image& image, const Microphone& microphone) {
    double fSquare = 0.0;
    for (std::size_t a = 0; a < 3; ++a) {
        const double d = image.position[a] - microphone.position[a];
        fSquare += d * d;
    }
    return std::sqrt(fSquare);
}

double Pattern(const Image& image, const Microphone& microphone, double fDistance) {
    const double x = microphone.position[0] - image.position[0];  // towards the source
    const double y = image.position[1] - microphone.position[1];  // towards the left
    const double fFront = x * DSP::Cos(microphone.fAngle) + y * DSP::Sin(microphone.fAngle);
    return kOmni + (1.0 - kOmni) * fFront / fDistance;
}

// All images but the source itself.
std::vector<Image> MakeImages() {
    Random random(1);
    std::vector<Image> images;
    std::array<int, 3> n{};  // rooms; an odd one is a mirror image
    for (n[0] = -kOrder; n[0] <= kOrder; ++n[0]) {
        for (n[1] = -kOrder; n[1] <= kOrder; ++n[1]) {
            for (n[2] = -kOrder; n[2] <= kOrder; ++n[2]) {
                Image image{};
                for (std::size_t a = 0; a < 3; ++a) {
                    const bool bMirrored = n[a] % 2 != 0;
                    image.position[a] = n[a] * kSize[a] + (bMirrored ? kSize[a] - kSource[a] : kSource[a]);
                    // n walls are crossed on the way, near and far in turn, beginning on the side of n.
                    const int nMost = (std::abs(n[a]) + 1) / 2, nLeast = std::abs(n[a]) / 2;
                    image.hits[a] = n[a] < 0 ? std::array{nMost, nLeast} : std::array{nLeast, nMost};
                }
                if (image.Hits() == 0) continue;
                if (image.Hits() > 1) {
                    for (double& fPlace : image.position)
                        fPlace += kJitter * (2.0 * random.Uniform() - 1.0);
                }
                images.push_back(image);
            }
        }
    }
    return images;
}

// What rough walls make of a pulse: the pulse itself, less at each wall, and a burst of noise behind it that
// gets the rest of the energy and longer at each wall.
Signal Scatter(const Image& image, Random& random) {
    const double fPulse = DSP::Pow(kMirror, static_cast<double>(image.Hits()));
    const double fSpan = kBurst * kRate * std::sqrt(static_cast<double>(image.Hits()));
    Signal burst(static_cast<std::size_t>(5.0 * fSpan));
    double fEnergy = 0.0;
    for (std::size_t i = 0; i < burst.size(); ++i) {
        burst[i] = random.Normal() * DSP::Exp(-static_cast<double>(i) / fSpan);
        fEnergy += burst[i] * burst[i];
    }
    for (double& fSample : burst)
        fSample *= std::sqrt((1.0 - fPulse) / fEnergy);
    burst[0] += std::sqrt(fPulse);
    return burst;
}

Signal Convolved(const Signal& a, const Signal& b) {
    Signal result(a.size() + b.size() - 1);
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < b.size(); ++j)
            result[i + j] += a[i] * b[j];
    }
    return result;
}

void AddImage(const Image& image, const Microphone& microphone, double fFirst, Random& random,
              Signal& signal) {
    const double fDistance = Distance(image, microphone);
    const double fTime = fDistance / kSpeed - fFirst;
    const double fFade = std::sqrt(1.0 - FadeIn(fTime, kEarlyFrom, kEarlyTo));
    if (fFade <= 0.0) return;
    BandValues amplitudes;
    for (std::size_t b = 0; b < kBands; ++b) {
        double fLoss = 0.0;
        for (std::size_t a = 0; a < 3; ++a) {
            for (std::size_t w = 0; w < 2; ++w)
                fLoss += image.hits[a][w] * WallLoss(a, w, b);
        }
        amplitudes[b] = DSP::Exp(fLoss);
    }
    const double fHeight = fFade * Pattern(image, microphone, fDistance) / fDistance;
    const auto uStart = static_cast<std::size_t>(std::lround(fTime * kRate));
    const Signal filter = Convolved(MinimumPhase(amplitudes), Scatter(image, random));
    for (std::size_t i = 0; i < filter.size(); ++i)
        signal[uStart + i] += fHeight * filter[i];
}

}  // namespace

EarlyReflections MakeEarlyReflections() {
    Microphone left{kMiddle, kTurn}, right{kMiddle, -kTurn};
    left.position[1] += kHalfSpacing;
    right.position[1] -= kHalfSpacing;
    const std::vector<Image> images = MakeImages();
    double fNearest = std::numeric_limits<double>::max();
    for (const Image& image : images)
        fNearest = std::min({fNearest, Distance(image, left), Distance(image, right)});

    EarlyReflections early{Signal(kFrames), Signal(kFrames), fNearest / kSpeed};
    Random random(4);
    for (const Image& image : images) {
        AddImage(image, left, early.fFirst, random, early.left);
        AddImage(image, right, early.fFirst, random, early.right);
    }
    return early;
}

double DiffuseVariance() {
    const double fPattern = kOmni * kOmni + (1.0 - kOmni) * (1.0 - kOmni) / 3.0;
    return 4.0 * kPi * kSpeed / (Volume() * kRate) * fPattern;
}

}  // namespace Impulse

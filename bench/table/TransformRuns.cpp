#include <fftw3.h>
#include <zita-convolver.h>

#include <algorithm>
#include <array>
#include <memory>

#include "bench/table/Runs.h"
#include "dsp/PartConv.h"
#include "dsp/vector/AlignedVector.h"
#include "dsp/vector/FftStereo.h"
#include "hvBase/Util/Text.h"

namespace Bench {

namespace {

constexpr int kTaps = 77184;

/// Both channels there and back.
Run OurTransform(int nOrder) {
    struct Buffers {
        explicit Buffers(int nOrder) : fft(nOrder), tiles(fft.TilesLength()), work(fft.WorkLength()) {}
        DSP::StereoFft fft;
        DSP::AlignedVector<float> tiles, work;
    };
    const auto b = std::make_shared<Buffers>(nOrder);
    return {Util::Format("FFT pair, two channels, %1", 1 << nOrder), "Vesca", "", std::uint32_t{1} << nOrder,
            [b](float* left, float* right) {
                b->fft.ForwardTiles(left, right, b->tiles.data(), b->work.data());
                b->fft.InverseTiles(b->tiles.data(), left, right, b->work.data());
            }};
}

/// The same with FFTW's measured plans.
Run PeerTransform(int nOrder) {
    struct Plans {
        explicit Plans(int nLength)
            : in(static_cast<std::size_t>(nLength)), spectrum(static_cast<std::size_t>(nLength) + 2) {
            auto* const bins = reinterpret_cast<fftwf_complex*>(spectrum.data());
            forward = fftwf_plan_dft_r2c_1d(nLength, in.data(), bins, FFTW_MEASURE);
            inverse = fftwf_plan_dft_c2r_1d(nLength, bins, in.data(), FFTW_MEASURE);
        }
        ~Plans() {
            fftwf_destroy_plan(forward);
            fftwf_destroy_plan(inverse);
        }
        Plans(const Plans&) = delete;
        Plans& operator=(const Plans&) = delete;
        DSP::AlignedVector<float> in, spectrum;
        fftwf_plan forward, inverse;
    };
    const auto plans = std::make_shared<Plans>(1 << nOrder);
    return {Util::Format("FFT pair, two channels, %1", 1 << nOrder), "FFTW, measured plans", "",
            std::uint32_t{1} << nOrder, [plans](float* left, float* right) {
                for (float* const samples : {left, right}) {
                    std::copy_n(samples, plans->in.size(), plans->in.data());
                    fftwf_execute(plans->forward);
                    fftwf_execute(plans->inverse);
                }
            }};
}

std::vector<float> Impulse(int iChannel) {
    std::vector<float> taps(kTaps);
    for (std::size_t i = 0; i < taps.size(); ++i)
        taps[i] = Material(iChannel)[i % Material(iChannel).size()] * 0.01f;
    return taps;
}

Run OurConvolver(std::uint32_t uFrames) {
    const auto convolver = std::make_shared<DSP::PartConv>();
    convolver->Configure(2, 2, static_cast<int>(uFrames));
    const auto left = Impulse(0);
    const auto right = Impulse(1);
    const float* const channels[] = {left.data(), right.data()};
    convolver->SetImpulse(channels, kTaps, 2);
    return {Util::Format("convolver, 77184 taps, block %1", uFrames), "Vesca", "", uFrames,
            [convolver, uFrames](float* l, float* r) {
                float* pointers[] = {l, r};
                convolver->Process(pointers, static_cast<int>(uFrames), nullptr);
            }};
}

Run PeerConvolver(std::uint32_t uFrames) {
    const std::shared_ptr<Convproc> peer(new Convproc, [](Convproc* p) {
        p->stop_process();
        p->cleanup();
        delete p;
    });
    peer->configure(2, 2, kTaps, uFrames, uFrames, Convproc::MAXPART, 0.0f);
    for (unsigned c = 0; c < 2; ++c) {
        auto taps = Impulse(static_cast<int>(c));
        peer->impdata_create(c, c, 1, taps.data(), 0, kTaps);
    }
    peer->start_process(0, 0);
    return {Util::Format("convolver, 77184 taps, block %1", uFrames), "zita-convolver, all its threads", "",
            uFrames, [peer, uFrames](float* left, float* right) {
                std::copy_n(left, uFrames, peer->inpdata(0));
                std::copy_n(right, uFrames, peer->inpdata(1));
                peer->process(true);
                std::copy_n(peer->outdata(0), uFrames, left);
                std::copy_n(peer->outdata(1), uFrames, right);
            }};
}

}  // namespace

std::vector<Run> TransformRuns() {
    std::vector<Run> runs;
    for (const int nOrder : {10, 12, 13}) {
        runs.push_back(OurTransform(nOrder));
        runs.push_back(PeerTransform(nOrder));
    }
    for (const std::uint32_t uFrames : {512u, 64u}) {
        runs.push_back(OurConvolver(uFrames));
        runs.push_back(PeerConvolver(uFrames));
    }
    return runs;
}

}  // namespace Bench

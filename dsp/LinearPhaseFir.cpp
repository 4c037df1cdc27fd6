#include "dsp/LinearPhaseFir.h"

#include <algorithm>

#include "dsp/KaiserWindow.h"

namespace DSP {

namespace {

int OrderOf(int nLength) {
    int nOrder = RealFft::kMinOrder;
    while (nOrder < RealFft::kMaxOrder && (1 << nOrder) < nLength)
        ++nOrder;
    return nOrder;
}

}  // namespace

LinearPhaseFir::LinearPhaseFir(int nLength, double fBeta)
    : m_fft(OrderOf(nLength)), m_window(m_fft.Length() - 1, 1.0) {
    ApplyKaiserWindow(m_window.data(), static_cast<int>(m_window.size()), fBeta);
}

void LinearPhaseFir::Design(const float* magnitudes, float* taps, float* work) const noexcept {
    const std::size_t uLength = m_fft.Length();
    const std::size_t uHalf = uLength / 2;
    float* const spectrum = work;
    for (std::size_t k = 0; k <= uHalf; ++k) {
        spectrum[2 * k] = magnitudes[k];
        spectrum[2 * k + 1] = 0.0f;
    }
    m_fft.Inverse(spectrum, spectrum, work + m_fft.SpectrumLength());

    // The impulse stands around position 0: its second half goes first, but for the one sample that has no
    // mirror image.
    std::copy(spectrum + uHalf + 1, spectrum + uLength, taps);
    std::copy(spectrum, spectrum + uHalf, taps + uHalf - 1);
    taps[uLength - 1] = 0.0f;
    for (std::size_t i = 0; i < m_window.size(); ++i) {
        taps[i] = static_cast<float>(double{taps[i]} * m_window[i]);
    }
}

}  // namespace DSP

#include "dsp/PartConvTransforms.h"

#include <bit>
#include <cstddef>

namespace DSP {

const std::shared_ptr<const RightAngleFft>& PartConvTransforms::Of(int nBlock) {
    const int nOrder = static_cast<int>(std::bit_width(static_cast<unsigned>(nBlock))) - 1;
    auto& fft = m_ffts[static_cast<std::size_t>(nOrder - kMinOrder)];
    if (!fft) fft = std::make_shared<const RightAngleFft>(nOrder);
    return fft;
}

const RightAngleFft& PartConvTransforms::MakeAll() {
    for (int nOrder = kMinOrder; nOrder < kMaxOrder; ++nOrder)
        Of(1 << nOrder);
    return *Of(1 << kMaxOrder);
}

}  // namespace DSP

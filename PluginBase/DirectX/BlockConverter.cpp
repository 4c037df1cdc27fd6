#include "PluginBase/DirectX/BlockConverter.h"

bool BlockConverter::Select(const StreamFormat& format, std::uint32_t uInputChannels,
                            std::uint32_t uOutputChannels) {
    if (uInputChannels == 0) uInputChannels = uOutputChannels;
    if (uOutputChannels == 0) uOutputChannels = uInputChannels;
    m_conversion = {};
    m_uBytesPerSample = format.BytesPerSample();
    m_uInputChannels = uInputChannels;
    m_uOutputChannels = uOutputChannels;

    DSP::HostSample sample;
    if (!DSP::FindHostSample(format.bFloat, static_cast<std::int32_t>(m_uBytesPerSample), &sample)) {
        return false;
    }
    m_conversion = DSP::ChooseConversion(sample, static_cast<std::int32_t>(uInputChannels),
                                         static_cast<std::int32_t>(uOutputChannels));
    return IsReady();
}

void BlockConverter::Resize(std::uint32_t uFrames) {
    const std::size_t uSize = std::size_t{uFrames} * 2;
    for (std::vector<float>* plane : {&m_inLeft, &m_inRight, &m_outLeft, &m_outRight})
        if (plane->size() < uSize) plane->resize(uSize);
}

void BlockConverter::Read(std::uint32_t uFrames, const void* host) {
    m_conversion.deinterleave(static_cast<std::int32_t>(uFrames), host, InputLeft(), InputRight());
}

void BlockConverter::Write(std::uint32_t uFirst, std::uint32_t uFrames, void* host) const {
    m_conversion.interleave(static_cast<std::int32_t>(uFrames), m_outLeft.data() + uFirst,
                            m_outRight.data() + uFirst, host);
}

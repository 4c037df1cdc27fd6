#include "apps/vesca/SampleFormat.h"

#include <sndfile.h>

#include <algorithm>

#include "apps/vesca/CommandError.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

struct NamedFormat {
    SampleFormat format;
    const char* name;
    int nBits;  ///< of an integer
    int nBytes;
    int nLibraryFormat;
    int nOtherLibraryFormat;  ///< the same values in another guise, 0 if there is none
};
constexpr NamedFormat kFormats[] = {
    {SampleFormat::U8, "u8", 8, 1, SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8},
    {SampleFormat::S16, "s16", 16, 2, SF_FORMAT_PCM_16, 0},
    {SampleFormat::S24, "s24", 24, 3, SF_FORMAT_PCM_24, 0},
    {SampleFormat::S32, "s32", 32, 4, SF_FORMAT_PCM_32, 0},
    {SampleFormat::F32, "f32", 0, 4, SF_FORMAT_FLOAT, 0},
    {SampleFormat::F64, "f64", 0, 8, SF_FORMAT_DOUBLE, 0},
};

struct Container {
    const char* extension;
    const char* name;
    int nLibraryFormat;
};
constexpr Container kContainers[] = {
    {".wav", "WAV", SF_FORMAT_WAV},   {".flac", "FLAC", SF_FORMAT_FLAC}, {".aiff", "AIFF", SF_FORMAT_AIFF},
    {".aif", "AIFF", SF_FORMAT_AIFF}, {".caf", "CAF", SF_FORMAT_CAF},    {".w64", "W64", SF_FORMAT_W64},
    {".ogg", "Ogg", SF_FORMAT_OGG},
};

/// The most bytes of audio under a header with 32-bit lengths, with room for the header itself.
constexpr std::uint64_t kMost32BitBytes = 0xFFFFFFFF - 4096;

const NamedFormat& Row(SampleFormat format) {
    return *std::find_if(std::begin(kFormats), std::end(kFormats),
                         [=](const NamedFormat& row) { return row.format == format; });
}

const Container& FindContainer(const std::string& strPath) {
    const std::string strName = Util::SplitPath(strPath).strName;
    const std::size_t uDot = strName.rfind('.');
    std::string strExtension = uDot == std::string::npos ? "" : strName.substr(uDot);
    for (char& c : strExtension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    for (const Container& container : kContainers)
        if (strExtension == container.extension) return container;
    throw UsageError(
        Util::Format("OUTPUT %1: the extension \"%2\" names no container; the containers are .wav, .flac, "
                     ".aiff, .caf, .w64 and .ogg",
                     strPath, strExtension));
}

bool CanHold(int nLibraryFormat, std::uint32_t uChannels) {
    // The check wants some rate; no container here refuses by rate before it is opened.
    SF_INFO info{0, 44100, static_cast<int>(uChannels), nLibraryFormat, 0, 0};
    return sf_format_check(&info) != 0;
}

OutputFormat PcmOutput(const Container& container, SampleFormat format, bool bWanted, std::uint32_t uChannels,
                       std::uint64_t uFrames) {
    const NamedFormat& row = Row(format);
    const std::uint64_t uBytes = uFrames * uChannels * static_cast<std::uint64_t>(row.nBytes);
    int nContainer = container.nLibraryFormat;
    if (nContainer == SF_FORMAT_WAV && uBytes > kMost32BitBytes) nContainer = SF_FORMAT_RF64;
    if (nContainer == SF_FORMAT_AIFF && uBytes > kMost32BitBytes)
        throw UsageError("OUTPUT: AIFF can't hold 4 GB and more; use .wav, .caf or .w64");
    for (const int nSamples : {row.nLibraryFormat, row.nOtherLibraryFormat}) {
        if (nSamples != 0 && CanHold(nContainer | nSamples, uChannels))
            return {nContainer | nSamples, format};
    }
    throw UsageError(Util::Format("--format: %1 can't hold %2 samples%3", container.name, row.name,
                                  bWanted ? "" : " like the input's; choose a format with --format"));
}

}  // namespace

const char* SampleFormatName(SampleFormat format) {
    return Row(format).name;
}

std::optional<SampleFormat> FindSampleFormat(std::string_view name) {
    for (const NamedFormat& row : kFormats)
        if (row.name == name) return row.format;
    return std::nullopt;
}

int IntegerBits(SampleFormat format) {
    return Row(format).nBits;
}

int BytesPerSample(SampleFormat format) {
    return Row(format).nBytes;
}

std::optional<SampleFormat> SampleFormatOf(int nLibraryFormat) {
    const int nSamples = nLibraryFormat & SF_FORMAT_SUBMASK;
    for (const NamedFormat& row : kFormats)
        if (nSamples == row.nLibraryFormat || nSamples == row.nOtherLibraryFormat) return row.format;
    switch (nSamples) {
        case SF_FORMAT_ALAC_16:
            return SampleFormat::S16;
        case SF_FORMAT_ALAC_20:
        case SF_FORMAT_ALAC_24:
            return SampleFormat::S24;
        case SF_FORMAT_ALAC_32:
            return SampleFormat::S32;
        default:
            return std::nullopt;
    }
}

void RequireContainer(const std::string& strPath) {
    FindContainer(strPath);
}

OutputFormat ChooseOutput(const std::string& strPath, std::optional<SampleFormat> wanted,
                          std::optional<SampleFormat> inputs, std::uint32_t uChannels,
                          std::uint64_t uFrames) {
    const Container& container = FindContainer(strPath);
    if (container.nLibraryFormat == SF_FORMAT_OGG) {
        if (wanted)
            throw UsageError(
                Util::Format("--format: %1 can't hold %2 samples, only Vorbis; leave --format out",
                             container.name, SampleFormatName(*wanted)));
        return {SF_FORMAT_OGG | SF_FORMAT_VORBIS, std::nullopt};
    }
    // What was decoded from a lossy file is a float: no choice of bits is hidden in it.
    const SampleFormat format = wanted.value_or(inputs.value_or(SampleFormat::F32));
    return PcmOutput(container, format, wanted.has_value(), uChannels, uFrames);
}

}  // namespace App

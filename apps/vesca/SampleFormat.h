#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace App {

/// How a file keeps a sample: an integer of so many bits, or a float. U8 stands for every 8-bit integer;
/// some containers keep it with a sign, which changes no value.
enum class SampleFormat { U8, S16, S24, S32, F32, F64 };

/// "u8" to "f64", and back; nothing for any other text.
const char* SampleFormatName(SampleFormat format);
std::optional<SampleFormat> FindSampleFormat(std::string_view name);

/// Bits of an integer format, 0 for floats.
int IntegerBits(SampleFormat format);
int BytesPerSample(SampleFormat format);

/// The sample format of the sound library's format word; nothing for one that is compressed with loss.
std::optional<SampleFormat> SampleFormatOf(int nLibraryFormat);

/// What a file to be written is made of: the sound library's format word, and the samples in it, or
/// nothing where they are compressed with loss.
struct OutputFormat {
    int nLibraryFormat = 0;
    std::optional<SampleFormat> samples;
};

/// Throws a UsageError unless the path's extension names a container: .wav, .flac, .aiff or .aif, .caf, .w64,
/// .ogg, in any case.
void RequireContainer(const std::string& strPath);

/// Chooses by the path's extension and the wanted sample format, or without one the input's. A .wav of 4 GB
/// and more gets the 64-bit form of its header. Throws a UsageError for an unknown extension, and for a
/// container and a format that do not go together.
OutputFormat ChooseOutput(const std::string& strPath, std::optional<SampleFormat> wanted,
                          std::optional<SampleFormat> inputs, std::uint32_t uChannels, std::uint64_t uFrames);

}  // namespace App

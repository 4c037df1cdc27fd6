#include <cstring>

#include "apps/vesca/AudioReader.h"
#include "apps/vesca/AudioWriter.h"
#include "apps/vesca/CommandError.h"
#include "tests/fuzz/FuzzEngine.h"

namespace {

/// Enough to come past every buffer; a header may promise hours.
constexpr std::size_t kMostFrames = 50000;

const Test::TempFolder& TheFolder() {
    static Test::TempFolder folder;
    return folder;
}

struct Audio {
    std::vector<float> left, right;
    bool bWhole = true;  ///< read without a failure
};

/// The head of a file, in blocks of one length; nothing for one that is no sound.
std::optional<Audio> ReadAudio(const std::string& strPath, std::uint32_t uBlock) {
    Audio audio;
    std::optional<App::AudioReader> reader;
    try {
        reader.emplace(strPath);
    } catch (const App::FileFailure&) {
        return std::nullopt;
    }
    Fuzz::Demand(reader->SampleRate() >= 1, "a sound has a rate");
    Fuzz::Demand(reader->Channels() == 1 || reader->Channels() == 2, "a sound has one or two channels");
    std::vector<float> left(uBlock), right(uBlock);
    try {
        std::uint32_t uRead = uBlock;
        while (uRead == uBlock && audio.left.size() < kMostFrames) {
            uRead = reader->Read(uBlock, left.data(), right.data());
            Fuzz::Demand(uRead <= uBlock, "no more is read than is asked for");
            audio.left.insert(audio.left.end(), left.begin(), left.begin() + uRead);
            if (reader->Channels() == 2)
                audio.right.insert(audio.right.end(), right.begin(), right.begin() + uRead);
        }
    } catch (const App::FileFailure&) {
        audio.bWhole = false;
    }
    return audio;
}

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    const std::size_t uCommon = std::min(a.size(), b.size());
    return uCommon == 0 || std::memcmp(a.data(), b.data(), uCommon * sizeof(float)) == 0;
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    const std::string strPath = TheFolder().File("input");
    WriteFile(strPath, input);
    const auto large = ReadAudio(strPath, 5000);
    const auto small = ReadAudio(strPath, 77);
    Demand(large.has_value() == small.has_value(), "a file is a sound or not");
    if (!large) return false;
    Demand(large->bWhole == small->bWhole, "a failure does not depend on the blocks");
    Demand(SameBits(large->left, small->left) && SameBits(large->right, small->right),
           "the samples do not depend on the blocks");
    return large->bWhole;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    struct Kind {
        const char* name;
        std::uint32_t uChannels;
        App::SampleFormat samples;
    };
    constexpr Kind kKinds[] = {{"a.wav", 2, App::SampleFormat::S16},
                               {"b.wav", 1, App::SampleFormat::F32},
                               {"c.flac", 2, App::SampleFormat::S24},
                               {"d.aiff", 1, App::SampleFormat::S24},
                               {"e.w64", 2, App::SampleFormat::F64}};
    std::vector<Bytes> inputs;
    for (const Kind& kind : kKinds) {
        const std::string strPath = TheFolder().File(kind.name);
        auto left = Test::Noise(1, 200), right = Test::Noise(2, 200);
        App::AudioWriter writer(strPath,
                                App::ChooseOutput(strPath, kind.samples, std::nullopt, kind.uChannels, 200),
                                48000, kind.uChannels);
        writer.Write(200, left.data(), kind.uChannels == 2 ? right.data() : nullptr);
        writer.Commit();
        inputs.push_back(FileBytes(strPath));
    }
    return inputs;
}

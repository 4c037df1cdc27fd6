#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "apps/vesca/AudioReader.h"
#include "apps/vesca/AudioWriter.h"
#include "apps/vesca/CommandError.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using App::AudioReader;
using App::AudioWriter;
using App::SampleFormat;

namespace {

struct Planes {
    std::vector<float> left;
    std::vector<float> right;
};

Planes ReadAll(const std::string& strPath, std::uint32_t uBlock) {
    AudioReader reader(strPath);
    Planes all;
    std::vector<float> left(uBlock), right(uBlock);
    while (const auto uRead = reader.Read(uBlock, left.data(), right.data())) {
        all.left.insert(all.left.end(), left.begin(), left.begin() + uRead);
        if (reader.Channels() == 2) all.right.insert(all.right.end(), right.begin(), right.begin() + uRead);
    }
    return all;
}

App::OutputFormat Choose(const std::string& strPath, std::optional<SampleFormat> wanted,
                         std::uint32_t uChannels = 2) {
    return App::ChooseOutput(strPath, wanted, std::nullopt, uChannels, 1000);
}

void WriteAll(const std::string& strPath, std::optional<SampleFormat> format, Planes planes) {
    const std::uint32_t uChannels = planes.right.empty() ? 1 : 2;
    AudioWriter writer(strPath, Choose(strPath, format, uChannels), 48000, uChannels);
    writer.Write(static_cast<std::uint32_t>(planes.left.size()), planes.left.data(), planes.right.data());
    writer.Commit();
}

struct Width {
    SampleFormat format;
    int nLibrary;
    int nBits;
};
constexpr Width kWidths[] = {{SampleFormat::U8, SF_FORMAT_PCM_U8, 8},
                             {SampleFormat::S16, SF_FORMAT_PCM_16, 16},
                             {SampleFormat::S24, SF_FORMAT_PCM_24, 24},
                             {SampleFormat::S32, SF_FORMAT_PCM_32, 32}};

}  // namespace

TEST_CASE("Audio files: an integer word is read as its value over half the word's range") {
    const Test::TempFolder folder;
    for (const Width& width : kWidths) {
        CAPTURE(width.nBits);
        const std::int64_t nHalf = std::int64_t{1} << (width.nBits - 1);
        Test::Sound<int> sound{44100, 2, SF_FORMAT_WAV | width.nLibrary, {}};
        for (const std::int64_t nWord :
             {-nHalf, -nHalf + 1, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, nHalf - 1})
            sound.samples.push_back(static_cast<int>(nWord * (std::int64_t{1} << (32 - width.nBits))));
        Test::WriteSound(folder.File("in.wav"), sound);
        const Planes planes = ReadAll(folder.File("in.wav"), 2);
        const auto value = [&](std::int64_t nWord) {
            return static_cast<float>(static_cast<double>(nWord) / static_cast<double>(nHalf));
        };
        CHECK(planes.left == std::vector{-1.0f, value(-1), value(1)});
        CHECK(planes.right == std::vector{value(-nHalf + 1), 0.0f, value(nHalf - 1)});
    }
}

TEST_CASE("Audio files: a float becomes the nearest word, halves away from zero, and never wraps") {
    const Test::TempFolder folder;
    for (const Width& width : kWidths) {
        CAPTURE(width.nBits);
        const double fHalf = std::ldexp(1.0, width.nBits - 1);
        const auto at = [&](double fWord) { return static_cast<float>(fWord / fHalf); };
        const float fInfinity = std::numeric_limits<float>::infinity();
        const Planes planes{{at(0.5), at(1.5), at(2.5), at(0.49999997), 1.0f, 2.0f, fInfinity, std::nanf("")},
                            {at(-0.5), at(-1.5), at(-2.5), at(-0.49999997), -1.0f, -2.0f, -fInfinity, 0.0f}};
        WriteAll(folder.File("out.wav"), width.format, planes);
        const auto sound = Test::ReadSound<int>(folder.File("out.wav"));
        CHECK((sound.nFormat & SF_FORMAT_SUBMASK) == width.nLibrary);
        const auto words = [&](std::size_t iChannel) {
            std::vector<std::int64_t> list;
            for (const int nSample : sound.Channel(iChannel))
                list.push_back(std::int64_t{nSample} >> (32 - width.nBits));
            return list;
        };
        const std::int64_t nMost = (std::int64_t{1} << (width.nBits - 1)) - 1;
        CHECK(words(0) == std::vector<std::int64_t>{1, 2, 3, 0, nMost, nMost, nMost, 0});
        CHECK(words(1) == std::vector<std::int64_t>{-1, -2, -3, 0, -nMost - 1, -nMost - 1, -nMost - 1, 0});
    }
}

TEST_CASE("Audio files: every container with every format that it can hold comes back as it was written") {
    const Test::TempFolder folder;
    const Planes planes{Test::Noise(3, 1000), Test::Noise(4, 1000)};
    for (const std::string strExtension : {".wav", ".flac", ".aiff", ".AIF", ".caf", ".w64"}) {
        for (const std::string strFormat : {"u8", "s16", "s24", "s32", "f32", "f64"}) {
            CAPTURE(strExtension);
            CAPTURE(strFormat);
            const auto samples = App::FindSampleFormat(strFormat);
            const std::string strPath = folder.File("out" + strExtension);
            const bool bFlac = strExtension == ".flac";
            if (bFlac && *samples >= SampleFormat::S32) {
                CHECK_THROWS_AS(WriteAll(strPath, samples, planes), App::UsageError);
                continue;
            }
            WriteAll(strPath, samples, planes);
            AudioReader reader(strPath);
            CHECK(reader.Samples() == samples);
            CHECK(reader.SampleRate() == 48000);
            CHECK(reader.Frames() == 1000);
            const Planes back = ReadAll(strPath, 333);
            // Half a step of the word, and the clipping of full scale by one step.
            const int nBits = App::IntegerBits(*samples);
            const float fError = nBits == 0 ? 0.0f : static_cast<float>(std::ldexp(1.0, 1 - nBits));
            CHECK(Test::WorstDifference(back.left, planes.left) <= fError);
            CHECK(Test::WorstDifference(back.right, planes.right) <= fError);
            CHECK(back.left.size() == 1000);
        }
    }
}

TEST_CASE("Audio files: the format follows the wish, then the input, and a bad pair names both") {
    const auto error = [](const std::string& strPath, std::optional<SampleFormat> wanted,
                          std::optional<SampleFormat> inputs) {
        try {
            App::ChooseOutput(strPath, wanted, inputs, 2, 1000);
        } catch (const App::UsageError& failure) {
            return failure.Message();
        }
        return std::string("none");
    };
    CHECK(App::ChooseOutput("a.wav", SampleFormat::S16, SampleFormat::F32, 2, 10).samples ==
          SampleFormat::S16);
    CHECK(App::ChooseOutput("a.wav", {}, SampleFormat::S24, 2, 10).samples == SampleFormat::S24);
    CHECK(App::ChooseOutput("a.wav", {}, {}, 2, 10).samples == SampleFormat::F32);
    CHECK_FALSE(App::ChooseOutput("a.ogg", {}, SampleFormat::S16, 2, 10).samples);

    CHECK(error("a.flac", SampleFormat::F32, {}).find("FLAC can't hold f32") != std::string::npos);
    CHECK(error("a.flac", {}, SampleFormat::F64).find("choose a format with --format") != std::string::npos);
    CHECK(error("a.ogg", SampleFormat::S16, {}).find("Ogg can't hold s16") != std::string::npos);
    CHECK(error("dir.wav/out", {}, {}).find("names no container") != std::string::npos);
    CHECK(error("out.mp4", {}, {}).find("\".mp4\"") != std::string::npos);

    // 2^32 bytes of audio need a longer header.
    const std::uint64_t uFrames = std::uint64_t{1} << 29;
    CHECK((App::ChooseOutput("a.wav", SampleFormat::S32, {}, 2, uFrames).nLibraryFormat &
           SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64);
    CHECK_THROWS_AS(App::ChooseOutput("a.aiff", SampleFormat::S32, {}, 2, uFrames), App::UsageError);
}

TEST_CASE("Audio files: the same samples give the same bytes, and an Ogg file stays readable") {
    const Test::TempFolder folder;
    const Planes planes{Test::Noise(5, 30000), Test::Noise(6, 30000)};
    for (const std::string strExtension : {".wav", ".aiff", ".caf", ".ogg"}) {
        CAPTURE(strExtension);
        const bool bOgg = strExtension == ".ogg";
        const auto format = bOgg ? std::optional<SampleFormat>() : SampleFormat::F32;
        const std::string strA = folder.File("a" + strExtension), strB = folder.File("b" + strExtension);
        WriteAll(strA, format, planes);
        WriteAll(strB, format, planes);
        CHECK(Test::Slurp(strA) == Test::Slurp(strB));
        // A float file's time of day stands in this chunk; a second would have to pass to see it differ.
        CHECK(Test::Slurp(strA).find("PEAK") == std::string::npos);
        CHECK(ReadAll(strA, 4096).left.size() == 30000);
    }
}

TEST_CASE("Audio files: without a commit nothing is left and the old file stands") {
    const Test::TempFolder folder;
    Test::Spill(folder.File("out.wav"), "old");
    {
        Planes planes{Test::Noise(7, 5000), Test::Noise(8, 5000)};
        AudioWriter writer(folder.File("out.wav"), Choose("out.wav", SampleFormat::S16), 44100, 2);
        writer.Write(5000, planes.left.data(), planes.right.data());
        CHECK(Test::Slurp(folder.File("out.wav")) == "old");
    }
    CHECK(folder.Count() == 1);
    CHECK(Test::Slurp(folder.File("out.wav")) == "old");
    CHECK_THROWS_AS(AudioWriter(folder.File("no/out.wav"), Choose("out.wav", SampleFormat::S16), 44100, 2),
                    App::FileFailure);
}

TEST_CASE("Audio files: what can't be read is refused with the file and the reason") {
    const Test::TempFolder folder;
    const auto error = [](const std::string& strPath) {
        try {
            const AudioReader reader(strPath);
        } catch (const App::FileFailure& failure) {
            return failure.Message();
        }
        return std::string("none");
    };
    CHECK(error(folder.File("gone.wav")).find("gone.wav: No such file") != std::string::npos);
    Test::Spill(folder.File("text.wav"), "this is no audio file, though it says so");
    CHECK(error(folder.File("text.wav")).find("text.wav") != std::string::npos);
    CHECK(error(folder.Path()).find(folder.Path()) != std::string::npos);
    Test::WriteSound(folder.File("three.wav"),
                     Test::Sound<float>{44100, 3, SF_FORMAT_WAV | SF_FORMAT_FLOAT, std::vector<float>(30)});
    CHECK(error(folder.File("three.wav")).find("it has 3 channels") != std::string::npos);
    for (const int nRate : {99, 1'536'001, 2'147'483'647}) {
        Test::WriteSound(
            folder.File("rate.wav"),
            Test::Sound<float>{nRate, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT, std::vector<float>(30)});
        CHECK(error(folder.File("rate.wav")).find("its sample rate is") != std::string::npos);
    }
}

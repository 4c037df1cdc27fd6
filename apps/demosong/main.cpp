#include <exception>
#include <iostream>

#include "apps/demosong/Song.h"
#include "apps/vesca/AudioWriter.h"

namespace {

void WriteSong(const std::string& strPath) {
    Demo::Recording song = Demo::PlaySong();
    const auto uFrames = static_cast<std::uint32_t>(song.left.size());
    const auto format = App::ChooseOutput(strPath, App::SampleFormat::S24, std::nullopt, 2, uFrames);
    App::AudioWriter writer(strPath, format, Demo::kSampleRate, 2);
    writer.Write(uFrames, song.left.data(), song.right.data());
    writer.Commit();
}

}  // namespace

int main(int nArguments, char** arguments) {
    if (nArguments != 2) {
        std::cerr << "usage: demosong OUTPUT.wav\n";
        return 2;
    }
    try {
        WriteSong(arguments[1]);
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "demosong: " << failure.what() << '\n';
        return 1;
    }
}

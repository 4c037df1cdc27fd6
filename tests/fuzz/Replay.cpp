#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/Signals.h"

// Replays inputs to a target without a fuzzer:
//
//     replay_NAME FOLDER ROUNDS    the good inputs, which have to be taken; every file of the folder; and
//                                  ROUNDS damaged good inputs, the same ones on every machine
//     replay_NAME --write FOLDER   writes the good inputs into the folder

namespace {

using Fuzz::Bytes;

/// Something that a broken disk, a broken writer or an attacker might do to a file.
void Damage(Bytes& bytes, Test::Random& random) {
    if (bytes.empty()) return;
    const auto place = [&] { return random.Next() % bytes.size(); };
    const auto at = [&](std::size_t uOffset) { return bytes.begin() + static_cast<std::ptrdiff_t>(uOffset); };
    constexpr std::uint32_t kWords[] = {0,          1,          2,          0x7F,       0xFF,      0xFFFF,
                                        0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x7F800000, 0x7FC00000};
    const std::size_t uPlace = place();
    switch (random.Next() % 7) {
        case 0:
            bytes[uPlace] = static_cast<std::uint8_t>(bytes[uPlace] ^ (1u << random.Next() % 8));
            break;
        case 1:
            bytes[uPlace] = static_cast<std::uint8_t>(random.Next());
            break;
        case 2:
            for (std::size_t i = 0; i < 4 && uPlace + i < bytes.size(); ++i)
                bytes[uPlace + i] =
                    static_cast<std::uint8_t>(kWords[random.Next() % std::size(kWords)] >> (8 * i));
            break;
        case 3:
            bytes.resize(uPlace);
            break;
        case 4:
            bytes.erase(at(uPlace), at(std::min(uPlace + random.Next() % 64, bytes.size())));
            break;
        case 5: {
            const Bytes piece(at(uPlace), at(std::min(uPlace + random.Next() % 64, bytes.size())));
            bytes.insert(at(place()), piece.begin(), piece.end());
            break;
        }
        default:
            bytes.insert(at(uPlace), static_cast<std::uint8_t>(random.Next()));
    }
}

Bytes FileContent(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

int WriteGoodInputs(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    int nInput = 0;
    for (const Bytes& input : Fuzz::GoodInputs()) {
        std::ofstream file(folder / ("good-" + std::to_string(nInput++)), std::ios::binary);
        file.write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
        if (!file.flush()) return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    if (std::strcmp(argv[1], "--write") == 0) return WriteGoodInputs(argv[2]);

    const std::vector<Bytes> good = Fuzz::GoodInputs();
    Fuzz::Demand(!good.empty(), "there are good inputs");
    for (const Bytes& input : good)
        Fuzz::Demand(Fuzz::TryInput(input), "a good input is taken");

    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1]))
        files.insert(entry.path());
    Fuzz::Demand(!files.empty(), "the folder has files");
    int nTaken = 0;
    for (const auto& file : files) {
        // Told before, so that the last name is the one that ended the program.
        std::printf("%s\n", file.filename().string().c_str());
        std::fflush(stdout);
        nTaken += Fuzz::TryInput(FileContent(file));
    }

    const int nRounds = std::atoi(argv[2]);
    int nDamagedTaken = 0;
    for (int i = 0; i < nRounds; ++i) {
        Test::Random random(static_cast<std::uint64_t>(i));
        Bytes input = good[random.Next() % good.size()];
        for (std::uint32_t n = random.Between(1, 4); n > 0; --n)
            Damage(input, random);
        nDamagedTaken += Fuzz::TryInput(input);
    }
    std::printf("%zu good inputs taken, %d of %zu files, %d of %d damaged inputs\n", good.size(), nTaken,
                files.size(), nDamagedTaken, nRounds);
    return 0;
}

#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "hvBase/Util/FilePort.h"

namespace Test {

/// A folder of its own for a test's files, empty at first and gone with the object. Paths are UTF-8.
class TempFolder {
public:
    TempFolder() {
        static std::atomic<unsigned> s_uNext{0};
        m_path =
            std::filesystem::temp_directory_path() /
            ("vesca-" + std::to_string(Util::FilePort::ProcessNumber()) + "-" + std::to_string(s_uNext++));
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directory(m_path);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string Path() const { return AsText(m_path); }
    /// The path of a file in the folder, whether it exists or not.
    std::string File(const std::string& strName) const { return AsText(m_path / FromText(strName)); }
    /// How many entries the folder itself has.
    std::size_t Count() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_path), {}));
    }

private:
    static std::string AsText(const std::filesystem::path& path) {
        const auto text = path.u8string();
        return std::string(text.begin(), text.end());
    }
    static std::filesystem::path FromText(const std::string& strText) {
        return std::filesystem::path(std::u8string(strText.begin(), strText.end()));
    }

    std::filesystem::path m_path;
};

/// A whole file's bytes by the standard library alone; empty if there is none.
inline std::string Slurp(const std::string& strPath) {
    std::ifstream file(std::filesystem::path(std::u8string(strPath.begin(), strPath.end())),
                       std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

inline void Spill(const std::string& strPath, const std::string& strBytes) {
    std::ofstream file(std::filesystem::path(std::u8string(strPath.begin(), strPath.end())),
                       std::ios::binary);
    file.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
}

}  // namespace Test

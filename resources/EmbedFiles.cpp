// embed_files TABLE OUTPUT.cpp FILE...
//
// Writes a source file that defines Util::TABLE, a table of Util::EmbeddedFile with one row a file, in the
// order given, and a row of zeros at the end. Runs at build; see cmake/EmbedResources.cmake.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::vector<unsigned char> ReadAll(const std::string& strPath) {
    std::ifstream file(strPath, std::ios::binary);
    if (!file) throw std::runtime_error("Can't open " + strPath);
    std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (file.bad()) throw std::runtime_error("Can't read " + strPath);
    return bytes;
}

void WriteBytes(std::ostream& out, std::size_t uFile, const std::vector<unsigned char>& bytes) {
    out << "const unsigned char kFile" << uFile << "[] = {";
    for (std::size_t i = 0; i < bytes.size(); ++i)
        out << (i % 32 == 0 ? "\n" : "") << static_cast<unsigned>(bytes[i]) << ',';
    // An array has at least one element, and an empty file none.
    out << "0};\n";
}

void Embed(const std::string& strTable, const std::string& strOutput, const std::vector<std::string>& paths) {
    std::ofstream out(strOutput, std::ios::binary);
    out << "#include \"resources/EmbeddedFile.h\"\n\nnamespace {\n\n";
    std::string strRows;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto bytes = ReadAll(paths[i]);
        WriteBytes(out, i, bytes);
        strRows += "    {" + std::to_string(bytes.size()) + ", kFile" + std::to_string(i) + ", \"" +
                   std::filesystem::path(paths[i]).filename().string() + "\"},\n";
    }
    out << "\n}  // namespace\n\nnamespace Util {\n\nconst EmbeddedFile " << strTable << "[] = {\n"
        << strRows << "    {0, nullptr, nullptr}};\n\n}  // namespace Util\n";
    out.close();
    if (!out) throw std::runtime_error("Can't write " + strOutput);
}

}  // namespace

int main(int nArguments, char** arguments) {
    const std::vector<std::string> list(arguments + 1, arguments + nArguments);
    if (list.size() < 2) {
        std::cerr << "embed_files TABLE OUTPUT.cpp FILE...\n";
        return 2;
    }
    try {
        Embed(list[0], list[1], {list.begin() + 2, list.end()});
    } catch (const std::exception& failure) {
        std::cerr << "embed_files: " << failure.what() << '\n';
        std::remove(list[1].c_str());
        return 1;
    }
    return 0;
}

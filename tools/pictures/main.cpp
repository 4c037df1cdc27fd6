// draw_pictures FOLDER: writes every picture of docs/modules.md into the folder.

#include <cstdio>
#include <exception>
#include <fstream>

#include "tools/pictures/Pictures.h"

int main(int nArguments, char** arguments) {
    if (nArguments != 2) {
        std::fprintf(stderr, "draw_pictures FOLDER\n");
        return 2;
    }
    try {
        for (const Pictures::Picture& picture : Pictures::DrawAll()) {
            const std::string strPath = std::string(arguments[1]) + '/' + picture.strFileName;
            std::ofstream file(strPath, std::ios::binary);
            file << picture.strSvg;
            if (!file.flush()) throw std::runtime_error("can't write " + strPath);
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "draw_pictures: %s\n", failure.what());
        return 1;
    }
}

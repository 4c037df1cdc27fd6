// Designs the error filters of "DSHP+" and draws the noise of every shape.
//
//     shaperdesign list                             what was reached, on standard output
//     shaperdesign tables dsp/NoiseShaperTables.cpp the source file with the tables
//     shaperdesign plots docs                       one picture for each set of shapes

#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string>

#include "tools/shaperdesign/NoisePlot.h"
#include "tools/shaperdesign/ShaperDesign.h"

namespace {

void Save(const std::string& strPath, const std::string& strText) {
    std::ofstream file(strPath, std::ios::binary);
    file << strText;
    file.close();
    if (!file) throw std::runtime_error("Can't write " + strPath);
}

void List() {
    for (const ShaperDesign::Goal& goal : ShaperDesign::Goals()) {
        const ShaperDesign::Result result = ShaperDesign::Design(goal);
        std::printf("%-20s order %2zu  g %.4f  peak %.4f  noise %.2f steps rms ", goal.strName.c_str(),
                    goal.uOrder, result.fExponent, ShaperDesign::GreatestFeedbackGain(result.coefficients),
                    std::sqrt(ShaperDesign::NoisePower(result.coefficients, 1.0)));
        for (const double fHz : {50.0, 1000.0, 3000.0, 4000.0, 8000.0, 12000.0, 16000.0, 20000.0}) {
            if (fHz > goal.fRate / 2) break;
            const double fGain =
                ShaperDesign::NoiseGain(result.coefficients, 2 * std::numbers::pi * fHz / goal.fRate);
            std::printf(" %g:%.1f", fHz, 20 * std::log10(fGain));
        }
        std::printf("\n");
    }
}

}  // namespace

int main(int nArguments, char** arguments) {
    const std::string strCommand = nArguments > 1 ? arguments[1] : "";
    try {
        if (strCommand == "list" && nArguments == 2) {
            List();
        } else if (strCommand == "tables" && nArguments == 3) {
            Save(arguments[2], ShaperDesign::PrintTables());
        } else if (strCommand == "plots" && nArguments == 3) {
            for (const ShaperDesign::Plot& plot : ShaperDesign::Plots())
                Save(std::string(arguments[2]) + "/" + plot.strFileName, ShaperDesign::Draw(plot));
        } else {
            std::fprintf(stderr, "usage: shaperdesign list | tables FILE | plots FOLDER\n");
            return 2;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "shaperdesign: %s\n", error.what());
        return 1;
    }
    return 0;
}

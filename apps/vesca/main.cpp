#include <iostream>

#include "apps/vesca/CommandLine.h"
#include "apps/vesca/Interruption.h"

int main(int nArguments, char** arguments) {
    try {
        return App::RunCommandLine(nArguments, arguments, {std::cout, std::cerr});
    } catch (const App::Interrupted& interruption) {
        App::EndBySignal(interruption.Signal());
    }
}

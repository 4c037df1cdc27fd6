#include <unistd.h>

#include "apps/vesca/Terminal.h"

namespace App {

bool IsErrorTerminal() noexcept {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace App

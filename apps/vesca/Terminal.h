#pragma once

namespace App {

/// Whether standard error is a terminal, where a line may be written over and over.
bool IsErrorTerminal() noexcept;

}  // namespace App

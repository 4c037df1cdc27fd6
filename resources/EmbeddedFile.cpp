#include "resources/EmbeddedFile.h"

namespace Util {

const EmbeddedFile* FindEmbeddedFile(const EmbeddedFile* table, std::string_view name) noexcept {
    for (; table->data != nullptr; ++table) {
        if (name == table->name) return table;
    }
    return nullptr;
}

}  // namespace Util

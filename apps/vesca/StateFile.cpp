#include "apps/vesca/StateFile.h"

#include "PluginBase/StateBlock.h"
#include "apps/vesca/CommandError.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/Text.h"

namespace App {

std::string StateProblem(std::span<const std::uint8_t> bytes, const std::vector<Component*>& components) {
    const auto header = StateBlock::ReadHeader(bytes);
    if (!header) return Util::Format("%1 bytes are too short for a header", bytes.size());
    if (header->uMagic != StateBlock::kMagic)
        return Util::Format("not a state block: it begins with 0x%1, not 0x%2", Util::Hex(header->uMagic),
                            Util::Hex(StateBlock::kMagic));
    if (header->uVersion != StateBlock::kVersion)
        return Util::Format("state version %1; this engine reads version %2", header->uVersion,
                            StateBlock::kVersion);
    if (header->uSize != bytes.size())
        return Util::Format("the header says %1 bytes, but there are %2", header->uSize, bytes.size());
    const std::uint32_t uSize = StateBlock::Size(components);
    if (header->uSize != uSize)
        return Util::Format("a state of %1 bytes; this engine's parameters take %2", header->uSize, uSize);
    if (!StateBlock::Decode(components, bytes)) return "the lengths inside the block are wrong";
    return {};
}

std::vector<std::uint8_t> ReadStateFile(const std::string& strPath,
                                        const std::vector<Component*>& components) {
    auto bytes = ReadWholeFile(strPath);
    if (const std::string strProblem = StateProblem(bytes, components); !strProblem.empty())
        throw FileFailure(Util::Format("can't use state %1: %2", strPath, strProblem));
    return bytes;
}

}  // namespace App

#pragma once

#include <string>
#include <vector>

#include "PluginBase/Component.h"
#include "PluginBase/Preset/PresetData.h"

namespace Preset {

/// The text of a preset's file:
///
///     <?xml version="1.0" standalone="yes" ?>
///     <Vesca Signature="" PresetVer="13" PluginVer="3090" Comments="...">
///         <Global Enabled="1">
///             <Param Type="Float" ComponentID="2" ParamID="0" Value="-3.00000000" />
///             ...
///
/// One element a group, in the order of the groups, enabled or not; in it the group's parameters that belong
/// to a sound, by component and, within one, in the order Float, UInt, Int, Bool, then its extra bytes. With
/// bVerbose each carries its name, units and range as well, for readers that go by names.
///
/// A Float is limited to its range and has eight digits after the point, whatever the process's locale. A
/// value of at least 0.125 comes back with all its bits; one nearer to zero within 1e-8; and what has come
/// back once is written the same again. All other values come back as they are. Texts come back as they are
/// too, but for what no XML can hold: bytes that are no UTF-8, and the byte 0, become question marks.
std::string PrintPreset(const Content& content, const std::vector<Component*>& components, bool bVerbose);

}  // namespace Preset

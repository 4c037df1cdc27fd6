#pragma once

#include "PluginBase/Plugin.h"

namespace App {

/// The engine without a host and without a user: its preferences live and die with the object, so that a
/// render is a function of its command alone.
class OfflinePlugin final : public Plugin {
public:
    OfflinePlugin();

    void NotifyParameterEvent(ParameterGroup, ParameterPhase, Component&, std::uint32_t, const float*,
                              const bool*, const std::int32_t*) override {}
};

}  // namespace App

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "PluginBase/ParameterRef.h"
#include "PluginBase/Plugin.h"

/// What the host may automate, by the host's index: in list order each component's automatable Float, then
/// Bool, then Int parameters. Puts each one's index into its option slot, where the way back starts.
///
/// Threads: the host's control thread and the editor's. Construct before anything runs.
/// Indices: below Count(); the caller checks.
class AutomatedParameters {
public:
    /// The plug-in outlives this object.
    explicit AutomatedParameters(Plugin& plugin);

    std::uint32_t Count() const { return static_cast<std::uint32_t>(m_parameters.size()); }
    const ParameterRef& At(std::uint32_t uIndex) const { return m_parameters[uIndex]; }

    /// A Bool is 0 or 1.
    float Get(std::uint32_t uIndex) const;

    /// A Bool is true from 0.5 up, an Int is cut. The setter clamps. NaN changes nothing.
    void Set(std::uint32_t uIndex, float fValue);

    /// Adds automation, marks the parameter in the user's colour, and keeps its component running.
    void AddSegments(std::uint32_t uIndex, std::span<const EnvelopeSegment> segments);

    /// Removes every segment that ends after nStart and starts before nEnd (100 ns). A parameter without any
    /// left loses its mark.
    void RemoveSegments(std::uint32_t uIndex, std::int64_t nStart, std::int64_t nEnd);

    /// The host's index of a parameter, or nothing.
    static std::optional<std::uint32_t> IndexOf(Component& component, ParameterGroup group,
                                                std::uint32_t uIndex);

private:
    Highlight UsersHighlight() const;
    void Mark(ParameterInfo& info, Highlight highlight);

    Plugin& m_plugin;
    std::vector<ParameterRef> m_parameters;
};

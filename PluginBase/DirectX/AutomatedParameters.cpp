#include "PluginBase/DirectX/AutomatedParameters.h"

AutomatedParameters::AutomatedParameters(Plugin& plugin) : m_plugin(plugin) {
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        // UInt parameters have no envelopes.
        if (!parameter.Info().bAutomatable || parameter.Group() == ParameterGroup::UInt) continue;
        parameter.Info().optionSlot = Count();
        m_parameters.push_back(parameter);
    }
}

float AutomatedParameters::Get(std::uint32_t uIndex) const {
    return static_cast<float>(At(uIndex).Get());
}

void AutomatedParameters::Set(std::uint32_t uIndex, float fValue) {
    At(uIndex).Set(double{fValue});
    m_plugin.PostToEditor(EditorNotifyCode::Refresh);
}

void AutomatedParameters::AddSegments(std::uint32_t uIndex, std::span<const EnvelopeSegment> segments) {
    const ParameterRef& parameter = At(uIndex);
    Component& owner = parameter.Owner();
    owner.Envelopes().AddSegments(parameter.Group(), parameter.Index(), segments);
    Mark(parameter.Info(), UsersHighlight());
    owner.SetAutomationActive(owner.HasAutomation());
}

void AutomatedParameters::RemoveSegments(std::uint32_t uIndex, std::int64_t nStart, std::int64_t nEnd) {
    const ParameterRef& parameter = At(uIndex);
    Component& owner = parameter.Owner();
    const std::size_t uLeft =
        owner.Envelopes().RemoveSegments(parameter.Group(), parameter.Index(), nStart, nEnd);
    if (uLeft == 0 && UsersHighlight() != Highlight::None) Mark(parameter.Info(), Highlight::None);
    owner.SetAutomationActive(owner.HasAutomation());
}

std::optional<std::uint32_t> AutomatedParameters::IndexOf(Component& component, ParameterGroup group,
                                                          std::uint32_t uIndex) {
    return component.Info(group, uIndex).optionSlot;
}

Highlight AutomatedParameters::UsersHighlight() const {
    return m_plugin.GetTransform().GlobalSettings().MarkColour();
}

void AutomatedParameters::Mark(ParameterInfo& info, Highlight highlight) {
    if (info.GetHighlight() == highlight) return;
    info.SetHighlight(static_cast<std::uint32_t>(highlight));
    m_plugin.PostToEditor(EditorNotifyCode::Refresh);
}

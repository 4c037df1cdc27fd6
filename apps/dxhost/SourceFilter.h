#pragma once

#include "apps/dxhost/FilterBase.h"
#include "apps/dxhost/SourcePin.h"

namespace DxHost {

/// The head of a graph: delivers a sound as its plan says.
class SourceFilter final : public FilterBase {
public:
    /// While stopped and disconnected.
    void SetPlan(SourcePlan plan) { m_pin.Feed().SetPlan(std::move(plan)); }

    SourcePin& Output() noexcept { return m_pin; }

private:
    PinBase& Pin() override { return m_pin; }
    void OnActivate() override { m_pin.Activate(); }
    void OnDeactivate() override { m_pin.Deactivate(); }

    SourcePin m_pin{*this};
};

}  // namespace DxHost

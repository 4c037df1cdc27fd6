#pragma once

#include "apps/dxhost/FilterBase.h"
#include "apps/dxhost/SinkPin.h"

namespace DxHost {

/// The end of a graph: keeps what arrives, tells the graph when the stream has ended, and passes the graph's
/// seeking on to the filter before it.
class SinkFilter final : public FilterBase {
public:
    SinkPin& Input() noexcept { return m_pin; }

private:
    PinBase& Pin() override { return m_pin; }
    HRESULT FindInterface(REFIID riid, void** ppv) override;
    void OnActivate() override;
    void OnDeactivate() override { m_pin.Deactivate(); }
    void OnRun() override;
    void OnEnd();
    void TellGraph();

    SinkPin m_pin{*this, [this] { OnEnd(); }};
    /// The platform's helper that turns a renderer's seeking into that of the pin before it. Aggregated.
    ComPtr<IUnknown> m_seeking;
    /// The stream has ended while the graph was not running: only a running graph may hear of it.
    std::mutex m_endLock;
    bool m_bEndOwed = false;
};

}  // namespace DxHost

#pragma once

#include "PluginBase/DirectX/base/streams.h"

class DXPlugin;

/// The input pin. What sets it apart from the platform's: while the output is connected it may be connected
/// anew with a format that the output does not have, if the filter behind the output takes that format too.
///
/// Threads: as the platform's.
class CPluginInputPin final : public CTransformInputPin {
public:
    CPluginInputPin(DXPlugin& filter, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* pType) override;

private:
    DXPlugin& m_filter;
};

#pragma once

// Everything that a filter derives from, under the platform's name for it. The classes have the platform's
// names, signatures and semantics as its documentation tells them: a build that has the platform's own may
// include that instead.

#include "PluginBase/DirectX/base/CBaseFilter.h"
#include "PluginBase/DirectX/base/CBaseInputPin.h"
#include "PluginBase/DirectX/base/CBaseOutputPin.h"
#include "PluginBase/DirectX/base/CBasePin.h"
#include "PluginBase/DirectX/base/CBasePropertyPage.h"
#include "PluginBase/DirectX/base/CCritSec.h"
#include "PluginBase/DirectX/base/CEnumMediaTypes.h"
#include "PluginBase/DirectX/base/CEnumPins.h"
#include "PluginBase/DirectX/base/CFactoryTemplate.h"
#include "PluginBase/DirectX/base/CMediaType.h"
#include "PluginBase/DirectX/base/CRefTime.h"
#include "PluginBase/DirectX/base/CTransformFilter.h"
#include "PluginBase/DirectX/base/CTransformInputPin.h"
#include "PluginBase/DirectX/base/CTransformOutputPin.h"
#include "PluginBase/DirectX/base/CUnknown.h"
#include "PluginBase/DirectX/base/Registration.h"

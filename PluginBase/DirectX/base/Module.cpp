// Apart from the entry points: what needs the instance alone does not need a table of classes.
#include "PluginBase/DirectX/base/CFactoryTemplate.h"

HINSTANCE g_hInst = nullptr;

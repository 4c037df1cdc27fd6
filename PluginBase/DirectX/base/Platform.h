#pragma once

// The platform's COM and DirectShow headers, included in one way by everything in PluginBase/DirectX/.

#ifndef NOMINMAX
#define NOMINMAX
#endif
// Without this the header withdraws functions of the C library that other headers use.
#ifndef NO_DSHOW_STRSAFE
#define NO_DSHOW_STRSAFE
#endif
#include <dshow.h>

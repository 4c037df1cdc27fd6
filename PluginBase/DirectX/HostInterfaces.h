#pragma once

#include "PluginBase/DirectX/base/Platform.h"

#include <medparam.h>

// Interfaces of DX hosts that stand in no platform header. The order of the operations and the identifiers
// are the hosts' own; only operations that somebody here calls or answers are named after what they do.

// Automation. --------------------------------------------------------------------------------------------

/// Given by the host: it wants to hear of what the user does in the editor. All take arrays of indices.
struct IMediaParamsUICallback : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE ParamsBeginCapture(DWORD* pIndices, DWORD uCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE ParamsChanged(DWORD* pIndices, DWORD uCount, MP_DATA* pValues) = 0;
    virtual HRESULT STDMETHODCALLTYPE ParamsEndCapture(DWORD* pIndices, DWORD uCount) = 0;
};

/// Answered by the plug-in: takes the callback, or null to end.
struct IMediaParamsSetUICallback : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetUICallback(IMediaParamsUICallback* pCallback) = 0;
};

inline constexpr IID IID_IMediaParamsUICallback = {
    0xb8e0480a, 0xe08d, 0x4a5d, {0x92, 0x28, 0x24, 0x80, 0x17, 0x03, 0x23, 0x68}};
inline constexpr IID IID_IMediaParamsSetUICallback = {
    0xf5011136, 0xc416, 0x48b9, {0x8c, 0x35, 0xe7, 0xc5, 0xf9, 0xaa, 0x6f, 0xdf}};

inline constexpr GUID GUID_TIME_REFERENCE = {
    0x93ad712b, 0xdaa0, 0x4ffe, {0xbc, 0x81, 0xb0, 0xce, 0x50, 0x0f, 0xcd, 0xd9}};
/// The index that stands for every parameter.
inline constexpr DWORD DWORD_ALLPARAMS = 0xFFFFFFFF;

// Instruments. -------------------------------------------------------------------------------------------

struct IMfxEventQueue;
struct IMfxDataQueue;
using MfxPosition = void*;

struct IMfxTempoMap : IUnknown {
    virtual LONG STDMETHODCALLTYPE TicksToMsecs(LONG nTicks) = 0;
    virtual LONG STDMETHODCALLTYPE MsecsToTicks(LONG nMsecs) = 0;
    virtual int STDMETHODCALLTYPE GetTicksPerQuarterNote() = 0;
    virtual int STDMETHODCALLTYPE GetTempoIndexForTime(LONG nTicks) = 0;
    virtual int STDMETHODCALLTYPE GetTempoCount() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTempoAt(int iTempo, LONG* pTicks, int* pBpm100) = 0;
};

/// A list of names by number. Texts are cut to the caller's buffer and terminated.
struct IMfxNameList : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTitle(char* pszTitle, int nSize) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaxNames(int* pCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAt(int iName, char* pszName, int nSize) = 0;
};

/// The same, walked from one present number to the next.
struct IMfxNameList2 : IMfxNameList {
    virtual HRESULT STDMETHODCALLTYPE GetCount(int* pCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStartPosition(MfxPosition* pPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNextAssoc(MfxPosition* pPosition, int* pKey, char* pszName,
                                                   int nSize) = 0;
    virtual HRESULT STDMETHODCALLTYPE Lookup(int nKey, char* pszName, int nSize) = 0;
};

/// The event filter of an instrument. Times are the host's musical ticks.
struct IMfxSoftSynth : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Connect(IUnknown* pContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE Disconnect() = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStart(LONG nTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnLoop(LONG nTimeRestart, LONG nTimeStop) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStop(LONG nTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnEvents(LONG nFrom, LONG nThru, LONG nChannel,
                                               IMfxEventQueue* pQueue) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnInput(LONG nChannel, IMfxDataQueue* pQueue) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBanksForPatchNames(int** ppBanks, int* pCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIsDrumPatch(int nBank, int nPatch) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIsDiatonicNoteNames(int nBank, int nPatch) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPatchNames(int nBank, IMfxNameList2** ppNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNoteNames(int nBank, int nPatch, IMfxNameList2** ppNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetControllerNames(IMfxNameList2** ppNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRpnNames(IMfxNameList2** ppNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNrpnNames(IMfxNameList2** ppNames) = 0;
};

inline constexpr IID IID_IMfxTempoMap = {
    0xff76f7c3, 0xf166, 0x11d1, {0xa8, 0xe0, 0x00, 0x00, 0xa0, 0x09, 0x0d, 0xaf}};
inline constexpr IID IID_IMfxTimeConverter = {
    0xff94aba0, 0x4df9, 0x4120, {0x94, 0x7d, 0x5e, 0x30, 0x3e, 0x49, 0xb8, 0x1f}};
inline constexpr IID IID_IMfxMeterMap = {
    0xff76f7c4, 0xf166, 0x11d1, {0xa8, 0xe0, 0x00, 0x00, 0xa0, 0x09, 0x0d, 0xaf}};
inline constexpr IID IID_IMfxNameList = {
    0x857f3281, 0x02a9, 0x11d2, {0xa8, 0xe0, 0x00, 0x00, 0xa0, 0x09, 0x0b, 0x97}};
inline constexpr IID IID_IMfxNameList2 = {
    0xbada6cf9, 0x77a5, 0x4f48, {0xb6, 0xfa, 0x66, 0x15, 0x4e, 0x4b, 0x16, 0x3b}};
inline constexpr IID IID_IMfxSoftSynth = {
    0x5bbdf239, 0x3046, 0x4daa, {0x8a, 0xdd, 0x3b, 0x93, 0x73, 0x54, 0x5b, 0x74}};

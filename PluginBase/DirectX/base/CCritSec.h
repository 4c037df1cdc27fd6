#pragma once

#include "PluginBase/DirectX/base/Platform.h"

/// A lock that one thread may take several times.
///
/// Threads: any; Unlock on the thread that locked, once for each Lock.
class CCritSec {
public:
    CCritSec() noexcept { InitializeCriticalSection(&m_CritSec); }
    ~CCritSec() { DeleteCriticalSection(&m_CritSec); }
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() noexcept { EnterCriticalSection(&m_CritSec); }
    void Unlock() noexcept { LeaveCriticalSection(&m_CritSec); }

private:
    CRITICAL_SECTION m_CritSec;
};

/// Holds a lock for as long as it lives.
class CAutoLock {
public:
    explicit CAutoLock(CCritSec* plock) noexcept : m_pLock(plock) { m_pLock->Lock(); }
    ~CAutoLock() { m_pLock->Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

protected:
    CCritSec* m_pLock;
};

#pragma once

#include <atomic>

#include "PluginBase/DirectX/base/Platform.h"

/// The object's own IUnknown, as opposed to the one that its interfaces answer with when another object
/// aggregates it.
struct INonDelegatingUnknown {
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

/// Counts the objects that keep the module in memory. The name is for a debugger's eyes and is not kept.
class CBaseObject {
public:
    explicit CBaseObject(LPCTSTR pName) noexcept;
    ~CBaseObject();
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;

    /// The number of objects alive in this module, on any thread.
    static LONG ObjectsActive() noexcept;
};

/// The base of every COM object that may be aggregated: reference count, and the inner IUnknown.
///
/// A derived class writes DECLARE_IUNKNOWN in its public section and overrides NonDelegatingQueryInterface,
/// which answers each interface of its own through GetInterface and hands the rest to its base.
///
/// Life:    constructed with count 0; whoever creates it takes the first reference, and the last Release
///          deletes it. While the destructors run the count stands at 1 or above, so that code called from
///          them may take and drop references without a second deletion.
/// Threads: counts on any thread.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
public:
    /// `pUnk` is the outer object that aggregates this one, or null. It is not counted: it outlives its
    /// inner.
    CUnknown(LPCTSTR pName, LPUNKNOWN pUnk);
    /// For derived classes whose construction can fail. `phr` is left as it is.
    CUnknown(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr);
    virtual ~CUnknown() = default;

    /// The IUnknown that stands for the whole: the outer object's, or the own.
    LPUNKNOWN GetOwner() const { return m_pUnknown; }

    /// Answers IID_IUnknown only; E_NOINTERFACE for the rest, with *ppv null; E_POINTER for a null `ppv`.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

private:
    /// The own IUnknown as an object, so that no pointer is ever read as another type.
    class Inner final : public IUnknown {
    public:
        explicit Inner(CUnknown& object) noexcept : m_object(object) {}
        STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
        STDMETHODIMP_(ULONG) AddRef() override;
        STDMETHODIMP_(ULONG) Release() override;

    private:
        CUnknown& m_object;
    };

    Inner m_inner;
    const LPUNKNOWN m_pUnknown;

protected:
    std::atomic<LONG> m_cRef = 0;
};

/// Gives out an interface: adds a reference and stores the pointer. E_POINTER for a null `ppv`.
HRESULT GetInterface(LPUNKNOWN pUnk, void** ppv);

/// The three operations of IUnknown for the interfaces of a class derived from CUnknown.
#define DECLARE_IUNKNOWN                                            \
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override { \
        return GetOwner()->QueryInterface(riid, ppv);               \
    }                                                               \
    STDMETHODIMP_(ULONG) AddRef() override {                        \
        return GetOwner()->AddRef();                                \
    }                                                               \
    STDMETHODIMP_(ULONG) Release() override {                       \
        return GetOwner()->Release();                               \
    }

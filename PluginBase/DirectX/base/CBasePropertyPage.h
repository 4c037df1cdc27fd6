#pragma once

#include "PluginBase/DirectX/base/CUnknown.h"

/// A page of a property frame: a dialog made from a resource of this module (g_hInst).
///
/// A derived class is told when the page gets and loses its object and its window, and sees every message of
/// the window. It calls SetDirty after a change that waits for Apply.
///
/// Threads: Activate, Deactivate, Move and Show on the thread of the frame's window. OnReceiveMessage there
/// too.
class CBasePropertyPage : public CUnknown, public IPropertyPage {
public:
    DECLARE_IUNKNOWN

    /// `DialogId` is the dialog's resource, `TitleId` the string resource of the page's title.
    CBasePropertyPage(LPCTSTR pName, LPUNKNOWN pUnk, int DialogId, int TitleId);
    CBasePropertyPage(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT* phr, int DialogId, int TitleId);
    /// Releases the site. A window that is still there is destroyed, without a word to the derived class.
    ~CBasePropertyPage() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IPropertyPage
    /// A site while one is held: E_UNEXPECTED. Null releases the one held.
    STDMETHODIMP SetPageSite(IPropertyPageSite* pPageSite) override;
    /// E_POINTER for a null rect; E_UNEXPECTED without a site or with a window; E_OUTOFMEMORY when the dialog
    /// cannot be made. Calls OnActivate.
    STDMETHODIMP Activate(HWND hwndParent, LPCRECT prect, BOOL fModal) override;
    /// E_UNEXPECTED without a window. Calls OnDeactivate.
    STDMETHODIMP Deactivate() override;
    /// The size is that of the dialog, in pixels.
    STDMETHODIMP GetPageInfo(PROPPAGEINFO* pPageInfo) override;
    /// One object: OnConnect. None: OnDisconnect. More: E_UNEXPECTED.
    STDMETHODIMP SetObjects(ULONG cObjects, LPUNKNOWN* ppUnk) override;
    /// SW_SHOW, SW_SHOWNORMAL or SW_HIDE, else E_INVALIDARG.
    STDMETHODIMP Show(UINT nCmdShow) override;
    STDMETHODIMP Move(LPCRECT prect) override;
    STDMETHODIMP IsPageDirty() override;
    /// E_UNEXPECTED without object, window or site; S_OK when there is nothing to apply. Calls
    /// OnApplyChanges.
    STDMETHODIMP Apply() override;
    STDMETHODIMP Help(LPCWSTR pszHelpDir) override;
    STDMETHODIMP TranslateAccelerator(LPMSG pMsg) override;

    virtual HRESULT OnConnect(IUnknown*) { return NOERROR; }
    virtual HRESULT OnDisconnect() { return NOERROR; }
    virtual HRESULT OnActivate() { return NOERROR; }
    virtual HRESULT OnDeactivate() { return NOERROR; }
    virtual HRESULT OnApplyChanges() { return NOERROR; }
    /// Each message of the dialog, from WM_INITDIALOG on; nonzero says it was dealt with.
    virtual INT_PTR OnReceiveMessage(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);

protected:
    /// Tells the site, if there is one.
    void SetDirty();

    IPropertyPageSite* m_pPageSite = nullptr;
    HWND m_hwnd = nullptr;
    /// The same window, from WM_INITDIALOG on.
    HWND m_Dlg = nullptr;
    const int m_DialogId;
    const int m_TitleId;
    bool m_bDirty = false;
    bool m_bObjectSet = false;

private:
    static INT_PTR CALLBACK DialogProc(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);
};

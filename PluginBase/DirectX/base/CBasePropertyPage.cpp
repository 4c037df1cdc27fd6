#include "PluginBase/DirectX/base/CBasePropertyPage.h"

#include "PluginBase/DirectX/base/CFactoryTemplate.h"

namespace {

/// The longest title that is read from the resources, in characters.
constexpr int kMaxTitle = 256;

SIZE SizeOf(HWND hwnd) {
    RECT rect = {};
    GetWindowRect(hwnd, &rect);
    return {rect.right - rect.left, rect.bottom - rect.top};
}

}  // namespace

CBasePropertyPage::CBasePropertyPage(LPCTSTR pName, LPUNKNOWN pUnk, int DialogId, int TitleId)
    : CUnknown(pName, pUnk), m_DialogId(DialogId), m_TitleId(TitleId) {}

CBasePropertyPage::CBasePropertyPage(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT*, int DialogId, int TitleId)
    : CBasePropertyPage(pName, pUnk, DialogId, TitleId) {}

CBasePropertyPage::~CBasePropertyPage() {
    if (m_hwnd != nullptr) {
        // The derived class is gone: its window must not call it any more.
        SetWindowLongPtrA(m_hwnd, DWLP_USER, 0);
        DestroyWindow(m_hwnd);
    }
    // Not every frame takes its site back.
    if (m_pPageSite != nullptr) m_pPageSite->Release();
}

STDMETHODIMP CBasePropertyPage::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IPropertyPage) return GetInterface(static_cast<IPropertyPage*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBasePropertyPage::SetPageSite(IPropertyPageSite* pPageSite) {
    if (pPageSite != nullptr) {
        if (m_pPageSite != nullptr) return E_UNEXPECTED;
        pPageSite->AddRef();
        m_pPageSite = pPageSite;
        return S_OK;
    }
    if (m_pPageSite != nullptr) m_pPageSite->Release();
    m_pPageSite = nullptr;
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Activate(HWND hwndParent, LPCRECT prect, BOOL) {
    if (prect == nullptr) return E_POINTER;
    if (m_pPageSite == nullptr || m_hwnd != nullptr) return E_UNEXPECTED;
    m_hwnd = CreateDialogParamA(g_hInst, MAKEINTRESOURCEA(m_DialogId), hwndParent, DialogProc,
                                reinterpret_cast<LPARAM>(this));
    if (m_hwnd == nullptr) return E_OUTOFMEMORY;
    OnActivate();
    Move(prect);
    return Show(SW_SHOWNORMAL);
}

STDMETHODIMP CBasePropertyPage::Deactivate() {
    if (m_hwnd == nullptr) return E_UNEXPECTED;
    // A window that is going takes no keyboard focus from its parent's other pages.
    const LONG_PTR nStyle = GetWindowLongPtrA(m_hwnd, GWL_EXSTYLE);
    SetWindowLongPtrA(m_hwnd, GWL_EXSTYLE, nStyle & ~static_cast<LONG_PTR>(WS_EX_CONTROLPARENT));
    OnDeactivate();
    DestroyWindow(m_hwnd);
    m_hwnd = nullptr;
    m_Dlg = nullptr;
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::GetPageInfo(PROPPAGEINFO* pPageInfo) {
    if (pPageInfo == nullptr) return E_POINTER;
    const auto cb = static_cast<ULONG>(sizeof(PROPPAGEINFO));
    *pPageInfo = {};
    pPageInfo->cb = cb;
    pPageInfo->pszTitle = static_cast<LPOLESTR>(CoTaskMemAlloc(kMaxTitle * sizeof(WCHAR)));
    if (pPageInfo->pszTitle == nullptr) return E_OUTOFMEMORY;
    pPageInfo->pszTitle[0] = L'\0';
    LoadStringW(g_hInst, static_cast<UINT>(m_TitleId), pPageInfo->pszTitle, kMaxTitle);

    // The dialog's units depend on its font, so only a dialog knows its size. This one has no page behind it.
    if (m_hwnd != nullptr) {
        pPageInfo->size = SizeOf(m_hwnd);
    } else if (HWND hwnd = CreateDialogParamA(g_hInst, MAKEINTRESOURCEA(m_DialogId), GetDesktopWindow(),
                                              DialogProc, 0)) {
        pPageInfo->size = SizeOf(hwnd);
        DestroyWindow(hwnd);
    }
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::SetObjects(ULONG cObjects, LPUNKNOWN* ppUnk) {
    if (cObjects == 1) {
        if (ppUnk == nullptr || *ppUnk == nullptr) return E_POINTER;
        m_bObjectSet = true;
        return OnConnect(*ppUnk);
    }
    if (cObjects > 1) return E_UNEXPECTED;
    m_bObjectSet = false;
    return OnDisconnect();
}

STDMETHODIMP CBasePropertyPage::Show(UINT nCmdShow) {
    if (m_hwnd == nullptr) return E_UNEXPECTED;
    if (nCmdShow != SW_SHOW && nCmdShow != SW_SHOWNORMAL && nCmdShow != SW_HIDE) return E_INVALIDARG;
    ShowWindow(m_hwnd, static_cast<int>(nCmdShow));
    InvalidateRect(m_hwnd, nullptr, TRUE);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Move(LPCRECT prect) {
    if (prect == nullptr) return E_POINTER;
    if (m_hwnd == nullptr) return E_UNEXPECTED;
    MoveWindow(m_hwnd, prect->left, prect->top, prect->right - prect->left, prect->bottom - prect->top, TRUE);
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::IsPageDirty() {
    return m_bDirty ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePropertyPage::Apply() {
    if (!m_bObjectSet || m_hwnd == nullptr || m_pPageSite == nullptr) return E_UNEXPECTED;
    if (!m_bDirty) return S_OK;
    const HRESULT hr = OnApplyChanges();
    if (SUCCEEDED(hr)) m_bDirty = false;
    return hr;
}

STDMETHODIMP CBasePropertyPage::Help(LPCWSTR) {
    return E_NOTIMPL;
}

STDMETHODIMP CBasePropertyPage::TranslateAccelerator(LPMSG) {
    return E_NOTIMPL;
}

INT_PTR CBasePropertyPage::OnReceiveMessage(HWND, UINT, WPARAM, LPARAM) {
    return FALSE;
}

void CBasePropertyPage::SetDirty() {
    m_bDirty = true;
    if (m_pPageSite != nullptr) m_pPageSite->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

INT_PTR CALLBACK CBasePropertyPage::DialogProc(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG) {
        SetWindowLongPtrA(hwnd, DWLP_USER, lParam);
        if (lParam == 0) return TRUE;
        reinterpret_cast<CBasePropertyPage*>(lParam)->m_Dlg = hwnd;
    }
    auto* pPage = reinterpret_cast<CBasePropertyPage*>(GetWindowLongPtrA(hwnd, DWLP_USER));
    if (pPage == nullptr) return FALSE;
    const INT_PTR nHandled = pPage->OnReceiveMessage(hwnd, uMsg, wParam, lParam);
    if (uMsg == WM_NCDESTROY) {
        // The last message: a frame may destroy its window, and the pages in it, without deactivating them.
        pPage->m_hwnd = nullptr;
        pPage->m_Dlg = nullptr;
    }
    return nHandled;
}

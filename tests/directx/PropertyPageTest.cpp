#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "PluginBase/DirectX/base/streams.h"
#include "apps/dxhost/Com.h"

namespace {

// As in page.rc.
constexpr int kDialog = 101;
constexpr int kTitle = 102;

/// The frame's side of the page. Lives on the stack: the count is only for looking at.
struct Site final : IPropertyPageSite {
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++uCount; }
    STDMETHODIMP_(ULONG) Release() override { return --uCount; }
    STDMETHODIMP OnStatusChange(DWORD dwFlags) override {
        statuses.push_back(dwFlags);
        return S_OK;
    }
    STDMETHODIMP GetLocaleID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return E_NOTIMPL; }
    ULONG uCount = 0;
    std::vector<DWORD> statuses;
};

/// A page that writes down what it is told.
class Page final : public CBasePropertyPage {
public:
    explicit Page(std::string& log, int nDialog = kDialog)
        : CBasePropertyPage(TEXT("Page"), nullptr, nDialog, kTitle), m_log(log) {}
    HRESULT OnConnect(IUnknown*) override { return Told("connect "); }
    HRESULT OnDisconnect() override { return Told("disconnect "); }
    HRESULT OnActivate() override { return Told("activate "); }
    HRESULT OnDeactivate() override { return Told("deactivate "); }
    HRESULT OnApplyChanges() override {
        Told("apply ");
        return m_applyResult;
    }
    INT_PTR OnReceiveMessage(HWND hwnd, UINT uMsg, WPARAM, LPARAM) override {
        if (uMsg == WM_INITDIALOG && hwnd == m_Dlg) Told("init ");
        if (uMsg == WM_DESTROY) Told("destroy ");
        return FALSE;
    }
    using CBasePropertyPage::SetDirty;
    HWND Window() const { return m_hwnd; }
    HRESULT m_applyResult = S_OK;

private:
    HRESULT Told(const char* what) {
        m_log += what;
        return S_OK;
    }
    std::string& m_log;
};

// Windows below this one need no display.
const HWND kParent = HWND_MESSAGE;

}  // namespace

TEST_CASE("CBasePropertyPage: the page is told of object and window, once each and in order") {
    g_hInst = GetModuleHandleW(nullptr);
    std::string log;
    const RECT rect = {0, 0, 120, 80};
    Site site;
    DxHost::ComPtr<Page> page(new Page(log));
    DxHost::ComPtr<IPropertyPage> object(page.Get());
    IUnknown* objects[] = {object.Get(), nullptr};

    CHECK(page->SetObjects(1, nullptr) == E_POINTER);
    CHECK(page->SetObjects(1, objects + 1) == E_POINTER);
    CHECK(page->SetObjects(2, objects) == E_UNEXPECTED);
    for (const HRESULT hr : {page->Activate(kParent, &rect, FALSE), page->Deactivate(), page->Move(&rect),
                             page->Show(SW_SHOW), page->Apply()})
        CHECK(hr == E_UNEXPECTED);
    CHECK(page->SetPageSite(&site) == S_OK);
    CHECK(page->SetPageSite(&site) == E_UNEXPECTED);
    CHECK(site.uCount == 1);
    CHECK(page->SetObjects(1, objects) == S_OK);
    CHECK(page->Apply() == E_UNEXPECTED);
    CHECK(page->Activate(kParent, nullptr, FALSE) == E_POINTER);

    REQUIRE(page->Activate(kParent, &rect, FALSE) == S_OK);
    CHECK(page->Activate(kParent, &rect, FALSE) == E_UNEXPECTED);
    CHECK(page->Show(SW_MAXIMIZE) == E_INVALIDARG);
    PROPPAGEINFO info = {};
    CHECK(page->GetPageInfo(nullptr) == E_POINTER);
    REQUIRE(page->GetPageInfo(&info) == S_OK);
    CHECK(std::wstring(info.pszTitle) == L"Test page");
    CHECK((info.size.cx == 120 && info.size.cy == 80));
    CoTaskMemFree(info.pszTitle);

    CHECK(page->Apply() == S_OK);
    page->SetDirty();
    CHECK(site.statuses == std::vector<DWORD>{PROPPAGESTATUS_DIRTY});
    for (const HRESULT result : {E_ABORT, S_OK}) {
        page->m_applyResult = result;
        CHECK(page->IsPageDirty() == S_OK);
        CHECK(page->Apply() == result);
    }
    CHECK(page->IsPageDirty() == S_FALSE);
    CHECK(page->Deactivate() == S_OK);
    CHECK(page->SetObjects(0, nullptr) == S_OK);
    CHECK(log == "connect init activate apply apply deactivate destroy disconnect ");

    // The frame destroys its window with the page in it; the page opens again; and its end takes the window
    // along.
    REQUIRE(page->Activate(kParent, &rect, FALSE) == S_OK);
    DestroyWindow(page->Window());
    CHECK(page->Deactivate() == E_UNEXPECTED);
    REQUIRE(page->Activate(kParent, &rect, FALSE) == S_OK);
    const HWND window = page->Window();
    log.clear();
    object.Reset();
    page.Reset();
    CHECK(!IsWindow(window));
    CHECK(log.empty());
    CHECK(site.uCount == 0);

    page = DxHost::ComPtr<Page>(new Page(log, kDialog + 1));
    page->SetPageSite(&site);
    CHECK(page->Activate(kParent, &rect, FALSE) == E_OUTOFMEMORY);
    page->SetPageSite(nullptr);
    CHECK(site.uCount == 0);
}

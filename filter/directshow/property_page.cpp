#include "filter/directshow/property_page.h"

#include "filter/directshow/help_lookup.h"
#include "filter/directshow/task_text.h"

namespace talv {
namespace {
// Size of the template's window in pixels, taken from an instance that is never shown.
SIZE PageSize(WORD dialogTemplate)
{
    RECT area = {0, 0, 330, 164};
    const HWND probe =
        CreateDialogParamW(serverModule, MAKEINTRESOURCEW(dialogTemplate), GetDesktopWindow(), nullptr, 0);
    if (probe != nullptr) {
        GetWindowRect(probe, &area);
        DestroyWindow(probe);
    }
    return {area.right - area.left, area.bottom - area.top};
}

LPWSTR ResourceText(WORD id)
{
    wchar_t text[128] = {};
    LoadStringW(serverModule, id, text, 128);
    return CopyToTaskMemory(text);
}
}  // namespace

PropertyPage::~PropertyPage()
{
    if (dialog_ != nullptr) DestroyWindow(dialog_);
}

IUnknown* PropertyPage::FindInterface(REFIID iid)
{
    return iid == IID_IPropertyPage ? static_cast<IPropertyPage*>(this) : nullptr;
}

STDMETHODIMP PropertyPage::SetPageSite(IPropertyPageSite* site)
{
    if (site != nullptr && site_) return E_UNEXPECTED;
    site_ = ComPointer<IPropertyPageSite>(site);
    return S_OK;
}

STDMETHODIMP PropertyPage::Activate(HWND parent, LPCRECT place, BOOL)
{
    if (place == nullptr) return E_POINTER;
    if (dialog_ != nullptr) return E_UNEXPECTED;
    return Guarded([&]() -> HRESULT {
        filling_ = true;
        dialog_ = CreateDialogParamW(serverModule, MAKEINTRESOURCEW(dialogTemplate_), parent,
                                     &PropertyPage::DialogProcedure, reinterpret_cast<LPARAM>(this));
        if (dialog_ != nullptr) FillControls();
        filling_ = false;
        if (dialog_ == nullptr) return E_OUTOFMEMORY;
        Move(place);
        dirty_ = false;
        return Show(SW_SHOW);
    });
}

STDMETHODIMP PropertyPage::Deactivate()
{
    if (dialog_ == nullptr) return E_UNEXPECTED;
    DestroyWindow(dialog_);
    dialog_ = nullptr;
    dirty_ = false;  // what was not applied went with the controls
    return S_OK;
}

STDMETHODIMP PropertyPage::GetPageInfo(PROPPAGEINFO* out)
{
    if (out == nullptr) return E_POINTER;
    out->cb = sizeof(PROPPAGEINFO);
    out->pszTitle = ResourceText(title_);
    out->pszDocString = ResourceText(description_);
    out->size = PageSize(dialogTemplate_);
    out->pszHelpFile = CopyToTaskMemory(kHelpFileName);  // frames offer their help button for it
    out->dwHelpContext = 0;
    if (out->pszTitle != nullptr) return S_OK;
    CoTaskMemFree(out->pszDocString);
    CoTaskMemFree(out->pszHelpFile);
    out->pszDocString = out->pszHelpFile = nullptr;
    return E_OUTOFMEMORY;
}

STDMETHODIMP PropertyPage::SetObjects(ULONG count, IUnknown** objects)
{
    return Guarded([&]() -> HRESULT {
        if (count == 0) return TakeObject(nullptr);
        if (objects == nullptr) return E_POINTER;
        return count == 1 ? TakeObject(objects[0]) : E_UNEXPECTED;
    });
}

STDMETHODIMP PropertyPage::Show(UINT how)
{
    if (dialog_ == nullptr) return E_UNEXPECTED;
    ShowWindow(dialog_, static_cast<int>(how));
    return S_OK;
}

STDMETHODIMP PropertyPage::Move(LPCRECT place)
{
    if (place == nullptr) return E_POINTER;
    if (dialog_ == nullptr) return E_UNEXPECTED;
    MoveWindow(dialog_, place->left, place->top, place->right - place->left, place->bottom - place->top,
               TRUE);
    return S_OK;
}

STDMETHODIMP PropertyPage::Apply()
{
    return Guarded([&] {
        if (!dirty_) return S_OK;
        const HRESULT hr = ApplyControls();
        if (SUCCEEDED(hr)) dirty_ = false;
        return hr;
    });
}

STDMETHODIMP PropertyPage::Help(LPCOLESTR)
{
    ShowHelpTopic(dialog_, helpTopic_);
    return S_OK;
}

STDMETHODIMP PropertyPage::TranslateAccelerator(MSG* message)
{
    if (message == nullptr) return E_POINTER;
    return dialog_ != nullptr && IsDialogMessageW(dialog_, message) ? S_OK : S_FALSE;
}

void PropertyPage::SetDirty()
{
    if (filling_) return;
    dirty_ = true;
    if (site_) site_->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

INT_PTR CALLBACK PropertyPage::DialogProcedure(HWND dialog, UINT message, WPARAM wide, LPARAM extra)
{
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(dialog, DWLP_USER, extra);
        return TRUE;
    }
    auto* page = reinterpret_cast<PropertyPage*>(GetWindowLongPtrW(dialog, DWLP_USER));
    if (page == nullptr || message != WM_COMMAND || page->filling_) return FALSE;
    Guarded([&] {
        page->OnCommand(LOWORD(wide), HIWORD(wide));
        return S_OK;
    });
    return TRUE;
}
}  // namespace talv

#pragma once

#include <ocidl.h>
#include <windows.h>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"

namespace talv {
/// A property page made of a dialog template. Used on the thread of the window it sits in.
class PropertyPage : public ComObject, public IPropertyPage
{
  public:
    /// `title` and `description` number strings of the resources.
    PropertyPage(IUnknown* outer, WORD dialog, WORD title, WORD description, const char* helpTopic)
        : ComObject(outer),
          dialogTemplate_(dialog),
          title_(title),
          description_(description),
          helpTopic_(helpTopic)
    {}
    TALV_FORWARD_UNKNOWN(Outer())

    STDMETHODIMP SetPageSite(IPropertyPageSite* site) override;
    STDMETHODIMP Activate(HWND parent, LPCRECT place, BOOL modal) override;
    STDMETHODIMP Deactivate() override;
    STDMETHODIMP GetPageInfo(PROPPAGEINFO* out) override;
    STDMETHODIMP SetObjects(ULONG count, IUnknown** objects) override;
    STDMETHODIMP Show(UINT how) override;
    STDMETHODIMP Move(LPCRECT place) override;
    STDMETHODIMP IsPageDirty() override { return dirty_ ? S_OK : S_FALSE; }
    STDMETHODIMP Apply() override;
    STDMETHODIMP Help(LPCOLESTR) override;
    STDMETHODIMP TranslateAccelerator(MSG* message) override;

  protected:
    ~PropertyPage() override;
    /// Takes the object that the page is about, null to let go of it.
    virtual HRESULT TakeObject(IUnknown* object) = 0;
    /// The dialog exists: fills its controls.
    virtual void FillControls() {}
    /// Writes the controls' values to the object.
    virtual HRESULT ApplyControls() { return S_OK; }
    virtual void OnCommand(WORD, WORD) {}

    HWND Control(int id) const { return GetDlgItem(dialog_, id); }
    void SetDirty();

    HWND dialog_ = nullptr;

  private:
    IUnknown* FindInterface(REFIID iid) override;
    static INT_PTR CALLBACK DialogProcedure(HWND dialog, UINT message, WPARAM wide, LPARAM extra);

    const WORD dialogTemplate_;
    const WORD title_, description_;
    const char* const helpTopic_;
    ComPointer<IPropertyPageSite> site_;
    bool dirty_ = false;
    bool filling_ = false;  ///< controls report changes that are not the user's
};
}  // namespace talv

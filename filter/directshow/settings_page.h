#pragma once

#include "TVDicRd.h"
#include "filter/directshow/property_page.h"

namespace talv {
/// The page with the file name and the three settings, each with its tool tip.
class SettingsPage final : public PropertyPage
{
  public:
    explicit SettingsPage(IUnknown* outer);

  private:
    HRESULT TakeObject(IUnknown* object) override;
    void FillControls() override;
    HRESULT ApplyControls() override;
    void OnCommand(WORD control, WORD event) override;

    void FillFrameTime();
    void ShowStatus(HRESULT loaded);
    void EnableControls();
    void AddToolTips();
    void Browse();
    bool AllowsLoading() const;
    bool IsMpeg2() const;

    ComPointer<ITVDicRd> reader_;
    bool nameChanged_ = false;
};

HRESULT MakeSettingsPage(IUnknown* outer, IUnknown** out);
}  // namespace talv

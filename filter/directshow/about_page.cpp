#include "filter/directshow/about_page.h"

#include <string>

#include "filter/directshow/resource.h"
#include "filter/directshow/type_library.h"

namespace talv {
namespace {
class AboutPage final : public PropertyPage
{
  public:
    explicit AboutPage(IUnknown* outer)
        : PropertyPage(outer, IDD_ABOUT_PAGE, IDS_ABOUT_TITLE, IDS_ABOUT_NAME, "About")
    {}

  private:
    HRESULT TakeObject(IUnknown*) override { return S_OK; }
    // Several builds may be registered beside each other: which one this is shows here.
    void FillControls() override
    {
        char version[64] = {};
        GetWindowTextA(Control(IDC_VERSION), version, sizeof(version));
        const std::string line = version + std::string(", ") + std::to_string(8 * sizeof(void*)) + " bits";
        SetWindowTextA(Control(IDC_VERSION), line.c_str());
        wchar_t path[MAX_PATH + 1] = {};
        if (GetServerPath(path)) SetWindowTextW(Control(IDC_SERVER_FILE), path);
    }
};
}  // namespace

HRESULT MakeAboutPage(IUnknown* outer, IUnknown** out)
{
    return Guarded([&] {
        *out = (new AboutPage(outer))->Inner();
        return S_OK;
    });
}
}  // namespace talv

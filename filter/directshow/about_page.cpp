#include "filter/directshow/about_page.h"

#include "filter/directshow/resource.h"

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

#pragma once

#include "filter/directshow/property_page.h"

namespace talv {
/// The page that names the product and its version.
HRESULT MakeAboutPage(IUnknown* outer, IUnknown** out);
}  // namespace talv

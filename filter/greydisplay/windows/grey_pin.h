#pragma once

#include <dshow.h>

#include "filter/directshow/pin_base.h"

namespace talv {
class GreyDisplayFilter;

/// What the display's two pins share: one type to name, and the end of a connection.
class GreyPin : public PinBase
{
  public:
    GreyPin(GreyDisplayFilter& filter, const wchar_t* name, PIN_DIRECTION direction);

    STDMETHODIMP Disconnect() override;
    HRESULT GetMediaType(int position, MediaType* out) override;

  protected:
    /// The one type that the pin names; an error when it can name none.
    virtual HRESULT PreferredType(MediaType* out) = 0;
    virtual void BreakConnect() {}

    GreyDisplayFilter& filter_;
};
}  // namespace talv

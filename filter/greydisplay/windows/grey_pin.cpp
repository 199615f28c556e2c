#include "filter/greydisplay/windows/grey_pin.h"

#include "filter/greydisplay/windows/grey_display_filter.h"

namespace talv {
GreyPin::GreyPin(GreyDisplayFilter& filter, const wchar_t* name, PIN_DIRECTION direction)
    : PinBase(filter, filter.filterLock, name, direction), filter_(filter)
{}

HRESULT GreyPin::GetMediaType(int position, MediaType* out)
{
    return position == 0 ? PreferredType(out) : VFW_S_NO_MORE_ITEMS;
}

STDMETHODIMP GreyPin::Disconnect()
{
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (!IsConnected()) return S_FALSE;
        BreakConnect();
        DropPeer();
        return S_OK;
    });
}
}  // namespace talv

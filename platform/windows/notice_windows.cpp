#include <windows.h>

#include <cstdio>
#include <new>
#include <string>

#include "platform/desktop.h"
#include "platform/notice.h"

namespace talv {
namespace {
// A service's window station is not visible: a box there would wait for a click that nobody can give.
bool DesktopCanShowBox()
{
    USEROBJECTFLAGS flags = {};
    const HWINSTA station = GetProcessWindowStation();
    return station != nullptr &&
           GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof(flags), nullptr) &&
           (flags.dwFlags & WSF_VISIBLE) != 0;
}

bool BoxesAreUnwanted()
{
    return GetEnvironmentVariableW(L"TALV_NO_NOTICE", nullptr, 0) != 0;
}
}  // namespace

void ShowOnDesktop(const char* text, const char* title, uint32_t style)
{
    try {
        OutputDebugStringA((std::string(title) + ": " + text + "\n").c_str());
    } catch (const std::bad_alloc&) {
        OutputDebugStringA(text);
    }
    if (BoxesAreUnwanted())
        std::fprintf(stderr, "%s: %s\n", title, text);
    else if (DesktopCanShowBox())
        MessageBoxA(nullptr, text, title, style);
}

WaitCursor::WaitCursor() : previous_(SetCursor(LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_WAIT)))) {}
WaitCursor::~WaitCursor()
{
    SetCursor(static_cast<HCURSOR>(previous_));
}
}  // namespace talv

#include "player_menu.h"

namespace talv {
namespace {
struct MenuItem
{
    PlayerCommand command;  ///< none: a line
    const wchar_t* text;
};
const MenuItem kFile[] = {
    {PlayerCommand::open, L"&Open...\tCtrl+O"},
    {PlayerCommand::properties, L"&Properties...\tP"},
    {PlayerCommand::none, nullptr},
    {PlayerCommand::quit, L"E&xit\tQ"},
};
const MenuItem kPlay[] = {
    {PlayerCommand::togglePlay, L"&Play or pause\tSpace"},
    {PlayerCommand::stepForward, L"&Next frame\t."},
    {PlayerCommand::stepBack, L"P&revious frame\t,"},
    {PlayerCommand::secondForward, L"A second &forward\tRight"},
    {PlayerCommand::secondBack, L"A second &back\tLeft"},
    {PlayerCommand::first, L"F&irst frame\tHome"},
    {PlayerCommand::last, L"&Last frame\tEnd"},
    {PlayerCommand::none, nullptr},
    {PlayerCommand::faster, L"F&aster\t]"},
    {PlayerCommand::slower, L"&Slower\t["},
    {PlayerCommand::normalSpeed, L"N&ormal speed\tBackspace"},
    {PlayerCommand::toggleLoop, L"Loop\tL"},
};
const MenuItem kView[] = {
    {PlayerCommand::toggleFullScreen, L"&Full screen\tF"},
    {PlayerCommand::toggleInfo, L"&Information\tI"},
    {PlayerCommand::resetWindow, L"File's own &grey window\tR"},
};

template <size_t Count>
void AddMenu(HMENU bar, const wchar_t* title, const MenuItem (&items)[Count])
{
    const HMENU menu = CreatePopupMenu();
    for (const MenuItem& item : items)
        AppendMenuW(menu, item.text != nullptr ? MF_STRING : MF_SEPARATOR,
                    static_cast<UINT_PTR>(item.command), item.text);
    AppendMenuW(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(menu), title);
}

void Enable(HMENU menu, PlayerCommand command, bool on)
{
    EnableMenuItem(menu, static_cast<UINT>(command),
                   static_cast<UINT>(MF_BYCOMMAND | (on ? MF_ENABLED : MF_GRAYED)));
}

void Tick(HMENU menu, PlayerCommand command, bool on)
{
    CheckMenuItem(menu, static_cast<UINT>(command),
                  static_cast<UINT>(MF_BYCOMMAND | (on ? MF_CHECKED : MF_UNCHECKED)));
}
}  // namespace

HMENU MakePlayerMenu()
{
    const HMENU bar = CreateMenu();
    AddMenu(bar, L"&File", kFile);
    AddMenu(bar, L"&Play", kPlay);
    AddMenu(bar, L"&View", kView);
    return bar;
}

void UpdatePlayerMenu(HMENU menu, const PlayerState& state, bool hasLevels)
{
    const bool open = state.frames > 0;
    for (const PlayerCommand command :
         {PlayerCommand::properties, PlayerCommand::togglePlay, PlayerCommand::stepForward,
          PlayerCommand::stepBack, PlayerCommand::secondForward, PlayerCommand::secondBack,
          PlayerCommand::first, PlayerCommand::last})
        Enable(menu, command, open);
    Enable(menu, PlayerCommand::resetWindow, hasLevels);
    Tick(menu, PlayerCommand::toggleLoop, state.loop);
    Tick(menu, PlayerCommand::toggleInfo, state.info);
    Tick(menu, PlayerCommand::toggleFullScreen, state.fullScreen);
}
}  // namespace talv

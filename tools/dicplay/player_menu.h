#pragma once

#include <windows.h>

#include "tools/dicplay/logic/player_state.h"

namespace talv {
/// The player's menu; its items are the numbers of PlayerCommand. The window destroys it.
HMENU MakePlayerMenu();
/// Ticks and greys items before the menu is shown.
void UpdatePlayerMenu(HMENU menu, const PlayerState& state, bool hasLevels);
}  // namespace talv

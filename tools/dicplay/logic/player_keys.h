#pragma once

#include <cstdint>

namespace talv {
/// What a user can ask of the player; also the identifiers of its menu.
enum class PlayerCommand : uint8_t
{
    none,
    open,
    togglePlay,
    stepBack,
    stepForward,
    secondBack,
    secondForward,
    tenBack,
    tenForward,
    first,
    last,
    slower,
    faster,
    normalSpeed,
    toggleLoop,
    toggleFullScreen,
    leaveFullScreen,
    toggleInfo,
    resetWindow,
    properties,
    quit,
};

/// Keys are named by the system's virtual key codes: letters and digits by their capital, others as below.
enum PlayerKey : uint32_t
{
    kKeyBackspace = 0x08,
    kKeyReturn = 0x0D,
    kKeyEscape = 0x1B,
    kKeySpace = 0x20,
    kKeyEnd = 0x23,
    kKeyHome = 0x24,
    kKeyLeft = 0x25,
    kKeyUp = 0x26,
    kKeyRight = 0x27,
    kKeyDown = 0x28,
    kKeyF11 = 0x7A,
};

/// The command of a key that stands for no character, or of a letter together with Ctrl.
PlayerCommand CommandOfKey(uint32_t key, bool ctrl, bool shift);
/// The command of a typed character: what a key writes differs from keyboard to keyboard, so `[`, `]`, `.`
/// and the letters are known by it.
PlayerCommand CommandOfCharacter(char32_t character);
}  // namespace talv

#include "tools/dicplay/logic/player_keys.h"

namespace talv {
namespace {
struct KeyEntry
{
    uint32_t key;
    bool ctrl, shift;
    PlayerCommand command;
};
const KeyEntry kKeys[] = {
    {'O', true, false, PlayerCommand::open},
    {'Q', true, false, PlayerCommand::quit},
    {kKeyLeft, false, false, PlayerCommand::secondBack},
    {kKeyRight, false, false, PlayerCommand::secondForward},
    {kKeyLeft, false, true, PlayerCommand::stepBack},
    {kKeyRight, false, true, PlayerCommand::stepForward},
    {kKeyDown, false, false, PlayerCommand::tenBack},
    {kKeyUp, false, false, PlayerCommand::tenForward},
    {kKeyHome, false, false, PlayerCommand::first},
    {kKeyEnd, false, false, PlayerCommand::last},
    {kKeyBackspace, false, false, PlayerCommand::normalSpeed},
    {kKeyF11, false, false, PlayerCommand::toggleFullScreen},
    {kKeyEscape, false, false, PlayerCommand::leaveFullScreen},
};

struct CharacterEntry
{
    char32_t character;
    PlayerCommand command;
};
const CharacterEntry kCharacters[] = {
    {U' ', PlayerCommand::togglePlay},
    {U'.', PlayerCommand::stepForward},
    {U',', PlayerCommand::stepBack},
    {U'[', PlayerCommand::slower},
    {U']', PlayerCommand::faster},
    {U'l', PlayerCommand::toggleLoop},
    {U'f', PlayerCommand::toggleFullScreen},
    {U'i', PlayerCommand::toggleInfo},
    {U'r', PlayerCommand::resetWindow},
    {U'p', PlayerCommand::properties},
    {U'o', PlayerCommand::open},
    {U'q', PlayerCommand::quit},
};
}  // namespace

PlayerCommand CommandOfKey(uint32_t key, bool ctrl, bool shift)
{
    for (const KeyEntry& entry : kKeys)
        if (entry.key == key && entry.ctrl == ctrl && entry.shift == shift) return entry.command;
    return PlayerCommand::none;
}

PlayerCommand CommandOfCharacter(char32_t character)
{
    if (character >= U'A' && character <= U'Z') character += U'a' - U'A';
    for (const CharacterEntry& entry : kCharacters)
        if (entry.character == character) return entry.command;
    return PlayerCommand::none;
}
}  // namespace talv

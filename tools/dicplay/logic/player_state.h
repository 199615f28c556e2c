#pragma once

#include <cstdint>
#include <optional>

#include "tools/dicplay/logic/player_keys.h"

namespace talv {
/// What is open and how it is shown.
struct PlayerState
{
    int64_t frames = 0;      ///< of the clip; 0: nothing is open
    int64_t frameUnits = 0;  ///< time of a frame at normal speed, 100 ns
    int64_t shown = 0;       ///< the frame on the screen, from 0
    bool playing = false;
    bool atEnd = false;  ///< the last frame was shown to its end
    bool loop = false;
    int32_t speedStep = 0;  ///< places from normal speed in the list of speeds
    bool fullScreen = false, info = false;

    double Speed() const;
};

/// What a graph is to do, in this order: take the speed, go to a frame, then play or pause.
struct PlayerOrder
{
    bool speed = false;
    std::optional<int64_t> seek;
    std::optional<bool> play;
};

/// Starts with a clip: from its first frame, playing; loop, speed and view stay as they were.
PlayerOrder OpenClip(PlayerState* state, int64_t frames, int64_t frameUnits);
/// Carries out what a command changes in the state. Commands that are the window's own (open, properties,
/// resetWindow, quit) change nothing.
PlayerOrder Obey(PlayerState* state, PlayerCommand command);
/// Goes to `frame`, kept within the clip; plays on when it was playing.
PlayerOrder GoTo(PlayerState* state, int64_t frame);
/// The graph says that the stream has ended.
PlayerOrder ReachEnd(PlayerState* state);
}  // namespace talv

#include "tools/dicplay/logic/player_state.h"

#include <algorithm>
#include <iterator>

namespace talv {
namespace {
constexpr double kSpeeds[] = {0.1, 0.25, 0.5, 0.75, 1, 1.25, 1.5, 2, 3, 4, 8};
constexpr int32_t kNormal = 4;  // place of 1
constexpr int64_t kUnitsPerSecond = 10'000'000;

PlayerOrder ChangeSpeed(PlayerState* state, int32_t step)
{
    step = std::clamp(step, -kNormal, static_cast<int32_t>(std::size(kSpeeds)) - 1 - kNormal);
    PlayerOrder order;
    if (step == state->speedStep) return order;
    state->speedStep = step;
    if (state->frames == 0) return order;
    // The stream's times begin anew with the speed, so the graph goes to where it is.
    order = GoTo(state, state->shown);
    order.speed = true;
    return order;
}

PlayerOrder Step(PlayerState* state, int64_t frames)
{
    state->playing = false;
    PlayerOrder order = GoTo(state, state->shown + frames);
    order.play = false;
    return order;
}

PlayerOrder TogglePlay(PlayerState* state)
{
    PlayerOrder order;
    if (!state->playing && (state->atEnd || state->shown >= state->frames - 1)) order = GoTo(state, 0);
    state->playing = !state->playing;
    order.play = state->playing;
    return order;
}

int64_t FramesOfSecond(const PlayerState& state)
{
    return state.frameUnits > 0 ? std::max<int64_t>(1, kUnitsPerSecond / state.frameUnits) : 1;
}
}  // namespace

double PlayerState::Speed() const
{
    return kSpeeds[kNormal + speedStep];
}

PlayerOrder OpenClip(PlayerState* state, int64_t frames, int64_t frameUnits)
{
    state->frames = std::max<int64_t>(frames, 1);
    state->frameUnits = frameUnits;
    state->shown = 0;
    state->atEnd = false;
    state->playing = true;
    PlayerOrder order;
    order.speed = state->speedStep != 0;
    order.play = true;
    return order;
}

PlayerOrder GoTo(PlayerState* state, int64_t frame)
{
    PlayerOrder order;
    if (state->frames == 0) return order;
    state->shown = std::clamp<int64_t>(frame, 0, state->frames - 1);
    state->atEnd = false;
    order.seek = state->shown;
    order.play = state->playing;
    return order;
}

PlayerOrder ReachEnd(PlayerState* state)
{
    if (state->frames == 0 || !state->playing) return {};
    if (state->loop && state->frames > 1) return GoTo(state, 0);  // a still has no round
    state->playing = false;
    state->atEnd = true;
    PlayerOrder order;
    order.play = false;
    return order;
}

PlayerOrder Obey(PlayerState* state, PlayerCommand command)
{
    switch (command) {
        case PlayerCommand::toggleLoop:
            state->loop = !state->loop;
            return {};
        case PlayerCommand::toggleFullScreen:
            state->fullScreen = !state->fullScreen;
            return {};
        case PlayerCommand::leaveFullScreen:
            state->fullScreen = false;
            return {};
        case PlayerCommand::toggleInfo:
            state->info = !state->info;
            return {};
        case PlayerCommand::slower:
            return ChangeSpeed(state, state->speedStep - 1);
        case PlayerCommand::faster:
            return ChangeSpeed(state, state->speedStep + 1);
        case PlayerCommand::normalSpeed:
            return ChangeSpeed(state, 0);
        default:
            break;
    }
    if (state->frames == 0) return {};
    switch (command) {
        case PlayerCommand::togglePlay:
            return TogglePlay(state);
        case PlayerCommand::stepBack:
            return Step(state, -1);
        case PlayerCommand::stepForward:
            return Step(state, 1);
        case PlayerCommand::secondBack:
            return GoTo(state, state->shown - FramesOfSecond(*state));
        case PlayerCommand::secondForward:
            return GoTo(state, state->shown + FramesOfSecond(*state));
        case PlayerCommand::tenBack:
            return GoTo(state, state->shown - 10);
        case PlayerCommand::tenForward:
            return GoTo(state, state->shown + 10);
        case PlayerCommand::first:
            return GoTo(state, 0);
        case PlayerCommand::last:
            return GoTo(state, state->frames - 1);
        default:
            return {};
    }
}
}  // namespace talv

#include <gtest/gtest.h>

#include "tools/dicplay/logic/level_drag.h"
#include "tools/dicplay/logic/player_layout.h"
#include "tools/dicplay/logic/player_state.h"
#include "tools/dicplay/logic/player_text.h"

namespace talv {
namespace {
using Command = PlayerCommand;

PlayerState Playing(int64_t frames, int64_t shown)
{
    PlayerState state;
    OpenClip(&state, frames, 400000);
    state.shown = shown;
    return state;
}

TEST(PlayerKeys, KeysThatPlayersShareAreKnown)
{
    const struct
    {
        char32_t character;
        Command command;
    } characters[] = {{U' ', Command::togglePlay}, {U'.', Command::stepForward},
                      {U',', Command::stepBack},   {U'[', Command::slower},
                      {U']', Command::faster},     {U'l', Command::toggleLoop},
                      {U'L', Command::toggleLoop}, {U'f', Command::toggleFullScreen},
                      {U'i', Command::toggleInfo}, {U'p', Command::properties},
                      {U'x', Command::none},       {U'\x0F', Command::none},
                      {0x10FFFF, Command::none}};
    for (const auto& entry : characters) EXPECT_EQ(CommandOfCharacter(entry.character), entry.command);
    EXPECT_EQ(CommandOfKey('O', true, false), Command::open);
    EXPECT_EQ(CommandOfKey('O', false, false), Command::none) << "as a character it is known anyway";
    EXPECT_EQ(CommandOfKey(kKeyLeft, false, false), Command::secondBack);
    EXPECT_EQ(CommandOfKey(kKeyLeft, false, true), Command::stepBack);
    EXPECT_EQ(CommandOfKey(kKeyLeft, true, false), Command::none);
    EXPECT_EQ(CommandOfKey(kKeySpace, false, false), Command::none) << "once is enough";
}

TEST(PlayerStateTest, CommandsMoveWithinTheClip)
{
    const struct
    {
        Command command;
        int64_t from, to;
        bool plays;
    } moves[] = {{Command::stepForward, 5, 6, false},   {Command::stepForward, 59, 59, false},
                 {Command::stepBack, 5, 4, false},      {Command::stepBack, 0, 0, false},
                 {Command::secondForward, 5, 30, true}, {Command::secondForward, 50, 59, true},
                 {Command::secondBack, 30, 5, true},    {Command::tenForward, 5, 15, true},
                 {Command::tenBack, 5, 0, true},        {Command::first, 40, 0, true},
                 {Command::last, 4, 59, true}};
    for (const auto& move : moves) {
        PlayerState state = Playing(60, move.from);
        const PlayerOrder order = Obey(&state, move.command);
        EXPECT_EQ(order.seek, move.to);
        EXPECT_EQ(state.shown, move.to);
        EXPECT_EQ(order.play, move.plays);
        EXPECT_EQ(state.playing, move.plays);
        PlayerState nothing;
        EXPECT_FALSE(Obey(&nothing, move.command).seek) << "with no clip open";
    }
}

TEST(PlayerStateTest, PlayPauseAndTheEnd)
{
    PlayerState state = Playing(60, 20);
    PlayerOrder order = Obey(&state, Command::togglePlay);
    EXPECT_EQ(order.play, false);
    EXPECT_FALSE(order.seek);
    order = Obey(&state, Command::togglePlay);
    EXPECT_EQ(order.play, true);
    EXPECT_FALSE(order.seek) << "goes on where it was";

    state.shown = 59;
    order = ReachEnd(&state);
    EXPECT_EQ(order.play, false);
    EXPECT_TRUE(state.atEnd);
    EXPECT_FALSE(ReachEnd(&state).play) << "an end once paused changes nothing";
    order = Obey(&state, Command::togglePlay);
    EXPECT_EQ(order.seek, 0);
    EXPECT_EQ(order.play, true);

    Obey(&state, Command::toggleLoop);
    state.shown = 59;
    order = ReachEnd(&state);
    EXPECT_EQ(order.seek, 0);
    EXPECT_EQ(order.play, true);
    EXPECT_FALSE(state.atEnd);
    PlayerState still = Playing(1, 0);
    still.loop = true;
    EXPECT_EQ(ReachEnd(&still).play, false);
}

TEST(PlayerStateTest, SpeedsRunFromATenthToEightAndBack)
{
    PlayerState state = Playing(60, 7);
    double last = state.Speed();
    EXPECT_EQ(last, 1);
    for (int i = 0; i < 20; ++i) {
        const PlayerOrder order = Obey(&state, Command::faster);
        EXPECT_EQ(order.speed, state.Speed() > last);
        EXPECT_EQ(order.seek.has_value(), order.speed);
        last = state.Speed();
    }
    EXPECT_EQ(last, 8);
    for (int i = 0; i < 20; ++i) Obey(&state, Command::slower);
    EXPECT_EQ(state.Speed(), 0.1);
    EXPECT_TRUE(Obey(&state, Command::normalSpeed).speed);
    EXPECT_EQ(state.Speed(), 1);
    EXPECT_FALSE(Obey(&state, Command::normalSpeed).speed);
    // A speed chosen with nothing open holds for the next clip.
    PlayerState empty;
    EXPECT_FALSE(Obey(&empty, Command::faster).speed);
    EXPECT_TRUE(OpenClip(&empty, 5, 400000).speed);
}

TEST(PlayerText, TimesAndStatus)
{
    EXPECT_EQ(TimeText(0), "0:00.000");
    EXPECT_EQ(TimeText(-5), "0:00.000");
    EXPECT_EQ(TimeText(620'400'000), "1:02.040");
    EXPECT_EQ(TimeText(36'610'000'000 + 9'999), "1:01:01.000");
    EXPECT_EQ(TimeText(INT64_MAX), "256204778:48:05.477");

    PlayerState state = Playing(60, 11);
    EXPECT_EQ(StatusText(state, {24.93, false, 0, 0}),
              "frame 12 of 60 | 0:00.440 / 0:02.400 | 24.9 of 25.0 fps");
    state.playing = false;
    state.loop = true;
    Obey(&state, Command::slower);
    EXPECT_EQ(StatusText(state, {24.93, true, -600.4, 1500}),
              "frame 12 of 60 | 0:00.440 / 0:02.400 | 18.8 fps | speed 0.75 | loop | C -600 W 1500 | "
              "paused");
    EXPECT_EQ(StatusText(PlayerState(), {}), "");
}

TEST(PlayerText, TheRateIsThatOfTheLastSecond)
{
    RateMeter meter;
    EXPECT_EQ(meter.PerSecond(), 0);
    meter.Add(0);
    EXPECT_EQ(meter.PerSecond(), 0);
    for (int i = 1; i <= 10; ++i) meter.Add(i * 500'000'000LL);  // slow at first
    EXPECT_NEAR(meter.PerSecond(), 2, 1e-9);
    for (int i = 1; i <= 100; ++i) meter.Add(5'000'000'000LL + i * 40'000'000LL);
    EXPECT_NEAR(meter.PerSecond(), 25, 1e-9);
    meter.Reset();
    meter.Add(1);
    meter.Add(1);
    EXPECT_EQ(meter.PerSecond(), 0) << "no time has gone by";
}

TEST(LevelDrag, DraggingWidensAndDarkensWithinBounds)
{
    const GreyLevelWindow start = {40, 400};
    GreyLevelWindow window = DragWindow(start, 50, 0, 500, 400, -1024, 3071);
    EXPECT_DOUBLE_EQ(window.width, 480);
    EXPECT_DOUBLE_EQ(window.center, 40);
    window = DragWindow(start, 0, -25, 500, 400, -1024, 3071);
    EXPECT_DOUBLE_EQ(window.width, 400);
    EXPECT_DOUBLE_EQ(window.center, 0);
    window = DragWindow(start, -1e9, 1e9, 500, 400, -1024, 3071);
    EXPECT_EQ(window.width, 1);
    EXPECT_EQ(window.center, 3071);
    window = DragWindow(start, 1e9, -1e9, 0, 0, -1024, 3071);
    EXPECT_EQ(window.width, 2 * 4095);
    EXPECT_EQ(window.center, -1024);
}

TEST(PlayerLayoutTest, PicturesKeepTheirShape)
{
    const Box view = {10, 20, 650, 500};
    for (const auto& [width, height] : {std::pair{640, 480},
                                        {4, 3},
                                        {1, 1},
                                        {1920, 1080},
                                        {3, 1000},
                                        {100000, 1},
                                        {480, 640},
                                        {INT32_MAX, INT32_MAX}}) {
        const Box box = FitPicture(view, width, height);
        EXPECT_TRUE(box.left >= view.left && box.right <= view.right && box.top >= view.top &&
                    box.bottom <= view.bottom);
        EXPECT_TRUE(box.Width() == view.Width() || box.Height() == view.Height()) << width << " x " << height;
        const double shape = static_cast<double>(width) / height;
        EXPECT_NEAR(box.Width(), std::max(1.0, box.Height() * shape), 1 + shape) << width << " x " << height;
        EXPECT_NEAR(box.left - view.left, view.right - box.right, 1);
        EXPECT_NEAR(box.top - view.top, view.bottom - box.bottom, 1);
    }
    EXPECT_EQ(FitPicture({0, 0, 0, 5}, 4, 3), Box());
    EXPECT_EQ(FitPicture(view, 0, 3), Box());
}

TEST(PlayerLayoutTest, WindowsFitTheScreenAndTheBars)
{
    for (const int32_t dpi : {96, 144, 192})
        for (const auto& [width, height] :
             {std::pair{3, 3}, {64, 64}, {640, 480}, {5000, 40}, {4096, 4096}}) {
            const Box size = FirstSize(width, height, 1280, 900, dpi);
            EXPECT_GE(size.right, Scaled(kSmallestWidth, dpi));
            EXPECT_GE(size.bottom, Scaled(kSmallestHeight, dpi));
            EXPECT_LE(size.right, std::max(1280, Scaled(kSmallestWidth, dpi)));
            EXPECT_LE(size.bottom, 900);
            const PlayerLayout layout = LayOut(size.right, size.bottom, dpi, true);
            EXPECT_EQ(layout.view.bottom, layout.track.top);
            EXPECT_EQ(layout.track.bottom, layout.status.top);
            EXPECT_EQ(layout.status.bottom, size.bottom);
            EXPECT_LT(layout.button.right, layout.track.left);
            EXPECT_GT(layout.track.Width(), 0);
        }
    EXPECT_EQ(FirstSize(64, 64, 1280, 900, 96).right, 512) << "eight times";
    EXPECT_EQ(LayOut(100, 80, 96, false).view, (Box{0, 0, 100, 80}));
    EXPECT_EQ(LayOut(-5, 3, 96, true).view, Box()) << "a window too small for anything";
}

TEST(PlayerLayoutTest, TheSeekBarAndTheFramesAgree)
{
    const Box track = {40, 0, 440, 30};
    for (const int64_t frames : {2, 3, 60, 401, 100000})
        for (int64_t frame = 0; frame < frames; frame += 1 + frames / 77) {
            const int64_t back = FrameAtPlace(track, PlaceOfFrame(track, frame, frames), frames);
            EXPECT_NEAR(static_cast<double>(back), static_cast<double>(frame),
                        static_cast<double>(frames) / 400);
        }
    EXPECT_EQ(FrameAtPlace(track, -100, 60), 0);
    EXPECT_EQ(FrameAtPlace(track, 5000, 60), 59);
    EXPECT_EQ(FrameAtPlace(track, 200, 1), 0);
    EXPECT_EQ(PlaceOfFrame(track, 99, 1), 40);
}
}  // namespace
}  // namespace talv

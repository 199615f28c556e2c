#pragma once

#include <memory>

#include "play_graph.h"
#include "player_window.h"
#include "tools/dicplay/logic/level_drag.h"

namespace talv {
/// The player in its window: carries commands out on the graph and tells the window what to show.
class Player final : private PlayerWindowClient
{
  public:
    explicit Player(const PlayOptions& options) : options_(options), window_(*this)
    {
        state_.loop = options.loop;
    }
    /// Opens the options' file, if there is one, and plays until the window is closed or, with --exit, the
    /// clip has ended. Empty, or what went wrong with the file opened last.
    std::string Run();
    /// The graph opened last; null when there was none.
    const PlayGraph* Graph() const { return graph_.get(); }

  private:
    // PlayerWindowClient
    const PlayerState& State() const override { return state_; }
    bool LastPicture(FramePicture* picture) const override;
    std::wstring Status() const override;
    std::wstring Info() const override;
    std::wstring Message() const override;
    bool HasLevels() const override { return graph_ && graph_->Display() != nullptr; }
    void Do(PlayerCommand command) override;
    void OpenFile(const std::wstring& file) override;
    void DragSeek(Drag phase, int64_t frame) override;
    void DragLevels(Drag phase, int32_t right, int32_t down, int32_t across) override;
    void FrameArrived() override;
    void Tick() override;

    void Fail(const std::string& problem);
    void ShowProperties();
    void Carry(const PlayerOrder& order);
    void SeekSoon(int64_t frame);
    void TakeNews();
    bool PumpMessages();

    const PlayOptions& options_;
    PlayerWindow window_;
    std::unique_ptr<PlayGraph> graph_;  ///< posts to the window, so it goes first
    PlayerState state_;
    std::wstring file_;
    std::string problem_;  ///< why nothing is shown

    // Seeks of a drag go out one at a time: the next when a picture has come.
    bool seekUnderWay_ = false;
    DWORD seekedAt_ = 0;
    int64_t seekNext_ = -1;
    bool playAfterDrag_ = false;
    GreyLevelWindow dragStart_;
};
}  // namespace talv

#include "player.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace talv {
namespace {
constexpr DWORD kSeekPatienceMs = 300;

std::wstring Widen(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    const int length = MultiByteToWideChar(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()),
                                           wide.data(), static_cast<int>(wide.size()));
    wide.resize(static_cast<size_t>(length));
    return wide;
}

std::wstring NameOf(const std::wstring& path)
{
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}
}  // namespace

std::string Player::Run()
{
    if (!window_.Create()) return "no window (is there a display?)";
    if (!options_.file.empty()) OpenFile(options_.file);
    if (options_.properties && graph_) ShowProperties();
    if (!problem_.empty() && options_.exit) return problem_;
    while (PumpMessages()) {
        const HANDLE news = graph_ ? graph_->NewsHandle() : nullptr;
        MsgWaitForMultipleObjects(news != nullptr ? 1 : 0, &news, FALSE, 200, QS_ALLINPUT);
        if (graph_) TakeNews();
    }
    if (graph_) graph_->Stop();
    return problem_;
}

// False once the window is closed.
bool Player::PumpMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) return false;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return true;
}

void Player::OpenFile(const std::wstring& file)
{
    graph_.reset();
    problem_.clear();
    file_ = file;
    seekUnderWay_ = false;
    seekNext_ = -1;
    state_.frames = 0;
    state_.playing = false;
    window_.SetTitle(NameOf(file) + L" - dicplay");
    auto graph = std::make_unique<PlayGraph>(options_, window_.Handle());
    const std::string problem = graph->Open(file);
    if (!problem.empty()) {
        Fail(problem);
        return;
    }
    graph_ = std::move(graph);
    const auto& header =
        reinterpret_cast<const VIDEOINFOHEADER*>(graph_->Monitor()->Type().pbFormat)->bmiHeader;
    window_.FitTo(header.biWidth, header.biHeight);
    Carry(OpenClip(&state_, graph_->FrameCount(), graph_->FrameUnits()));
}

void Player::Fail(const std::string& problem)
{
    graph_.reset();
    problem_ = problem;
    state_.frames = 0;
    state_.playing = false;
    window_.Repaint();
}

void Player::Carry(const PlayerOrder& order)
{
    if (!graph_) return;
    const bool changes = order.speed || order.seek;
    if (order.speed || (order.play && !*order.play)) graph_->Pause();
    if (order.speed) graph_->SetSpeed(state_.Speed());
    if (order.seek) {
        graph_->Seek(*order.seek);
        seekUnderWay_ = true;
        seekedAt_ = GetTickCount();
    }
    if (changes) graph_->Monitor()->ResetRate();
    if (order.play && *order.play)
        if (const std::string problem = graph_->Run(); !problem.empty()) Fail(problem);
    window_.Repaint();
}

// While a picture is awaited, only the latest wish is kept.
void Player::SeekSoon(int64_t frame)
{
    if (seekUnderWay_ && GetTickCount() - seekedAt_ < kSeekPatienceMs) {
        seekNext_ = frame;
        return;
    }
    seekNext_ = -1;
    Carry(GoTo(&state_, frame));
}

void Player::FrameArrived()
{
    if (!graph_) return;
    graph_->Monitor()->TakeNotice();
    seekUnderWay_ = false;
    if (seekNext_ >= 0)
        SeekSoon(std::exchange(seekNext_, -1));
    else if (state_.playing)
        state_.shown = std::clamp<int64_t>(graph_->Monitor()->LastFrame(), 0, state_.frames - 1);
    window_.Repaint();
}

void Player::Tick()
{
    if (seekNext_ >= 0 && GetTickCount() - seekedAt_ >= kSeekPatienceMs)
        SeekSoon(std::exchange(seekNext_, -1));
    if (state_.playing) window_.Repaint();
}

void Player::TakeNews()
{
    switch (graph_->Poll()) {
        case GraphNews::failed:
            Fail(graph_->Failure());
            break;
        case GraphNews::ended:
            Carry(ReachEnd(&state_));
            if (options_.exit && !state_.loop) window_.Close();
            break;
        default:
            break;
    }
}

void Player::Do(PlayerCommand command)
{
    switch (command) {
        case PlayerCommand::none:
            return;
        case PlayerCommand::open:
            if (const std::wstring file = window_.AskForFile(); !file.empty()) OpenFile(file);
            return;
        case PlayerCommand::properties:
            if (graph_) ShowProperties();
            return;
        case PlayerCommand::resetWindow:
            if (!HasLevels()) return;
            graph_->Display()->ResetWindow();
            if (!state_.playing) SeekSoon(state_.shown);
            window_.Repaint();
            return;
        case PlayerCommand::quit:
            window_.Close();
            return;
        default:
            Carry(Obey(&state_, command));
            window_.FollowState();
    }
}

void Player::ShowProperties()
{
    const std::string problem = graph_->ShowProperties(window_.Handle());
    if (!problem.empty())
        MessageBoxW(window_.Handle(), Widen(problem).c_str(), L"dicplay", MB_ICONEXCLAMATION);
    if (!graph_) return;
    graph_->ReadTimes();
    state_.frameUnits = graph_->FrameUnits();
    window_.Repaint();
}

void Player::DragSeek(Drag phase, int64_t frame)
{
    if (phase == Drag::begin) {
        playAfterDrag_ = state_.playing;
        state_.playing = false;
        if (graph_) graph_->Pause();
    }
    if (phase != Drag::end) {
        SeekSoon(frame);
        return;
    }
    state_.playing = playAfterDrag_;
    seekNext_ = -1;
    Carry(GoTo(&state_, frame));
}

void Player::DragLevels(Drag phase, int32_t right, int32_t down, int32_t across)
{
    if (!HasLevels()) return;
    ITVGreyDisplay* display = graph_->Display();
    if (phase == Drag::begin) display->GetWindow(&dragStart_.center, &dragStart_.width);
    if (right == 0 && down == 0) return;
    double fileCenter = 0, fileWidth = 0, smallest = 0, largest = 0;
    display->GetFileWindow(&fileCenter, &fileWidth);
    display->GetValueRange(&smallest, &largest);
    const GreyLevelWindow wanted = DragWindow(dragStart_, right, down, across, fileWidth, smallest, largest);
    display->SetWindow(wanted.center, wanted.width);
    if (!state_.playing) SeekSoon(state_.shown);  // the frame comes again, through the new window
    window_.Repaint();
}

bool Player::LastPicture(FramePicture* picture) const
{
    return graph_ && graph_->Monitor()->LastPicture(picture);
}

std::wstring Player::Status() const
{
    StatusFacts facts;
    if (graph_) facts.framesPerSecond = graph_->Monitor()->Rate();
    if (HasLevels()) {
        facts.hasWindow = true;
        graph_->Display()->GetWindow(&facts.center, &facts.width);
    }
    return Widen(StatusText(state_, facts));
}

std::wstring Player::Info() const
{
    if (!state_.info || !graph_) return L"";
    const BITMAPINFOHEADER header = graph_->SourceHeader();
    wchar_t text[256];
    std::swprintf(text, std::size(text),
                  L"\n%ld x %ld pixels of %d bits\n%lld frames, %.3f ms each\nshown %lld, left out %lld",
                  header.biWidth, header.biHeight, header.biBitCount, static_cast<long long>(state_.frames),
                  static_cast<double>(state_.frameUnits) / 1e4,
                  static_cast<long long>(graph_->Monitor()->Frames()),
                  static_cast<long long>(graph_->Monitor()->Dropped()));
    return NameOf(file_) + text;
}

std::wstring Player::Message() const
{
    if (!problem_.empty())
        return NameOf(file_) + L" cannot be played\n\n" + Widen(problem_) + L"\n\nCtrl+O opens another file";
    return graph_ ? L"" : L"Drop a DICOM file here, or open one with Ctrl+O";
}
}  // namespace talv

#pragma once

#include <memory>
#include <string>

#include "TVDicRd.h"
#include "TVGreyDisplay.h"
#include "filter/directshow/com_pointer.h"
#include "play_options.h"
#include "sample_monitor.h"

namespace talv {
/// What a graph has to say since the last question.
enum class GraphNews
{
    none,
    ended,
    failed,
};

/// A filter graph around the reader: source, the grey display where grey levels are to be seen, sample
/// grabber and null renderer. The window draws what the grabber saw. Used on one thread.
class PlayGraph
{
  public:
    /// `window` gets kFrameArrived; null: nobody looks, and the samples are those of the reader.
    PlayGraph(const PlayOptions& options, HWND window) : options_(options), window_(window) {}
    ~PlayGraph();
    PlayGraph(const PlayGraph&) = delete;
    PlayGraph& operator=(const PlayGraph&) = delete;

    /// Loads `file` and builds the graph. Empty when it succeeded, else what went wrong.
    std::string Open(const std::wstring& file);
    /// Shows the reader's property pages and waits until they are closed; as Open.
    std::string ShowProperties(HWND owner);

    std::string Run();
    void Pause() { control_->Pause(); }
    void Stop() { control_->Stop(); }
    /// Goes to a frame of the clip.
    bool Seek(int64_t frame);
    /// Times the normal speed; the graph is paused and goes to a frame afterwards.
    void SetSpeed(double speed);
    GraphNews Poll();
    /// What made the graph fail.
    const std::string& Failure() const { return failure_; }
    /// Signalled when Poll has something to say.
    HANDLE NewsHandle() const;

    /// Frames of the clip and the time of one, 100 ns.
    int64_t FrameCount() const { return frames_; }
    int64_t FrameUnits() const { return frameUnits_; }
    void ReadTimes();
    SampleMonitor* Monitor() const { return monitor_.get(); }
    /// Null for clips that need none.
    ITVGreyDisplay* Display() const { return display_.Get(); }
    /// The header of the pictures as the reader hands them out.
    BITMAPINFOHEADER SourceHeader() const;

    void PrintSummary() const;
    bool WriteSnapshot() const;

  private:
    std::string LoadSource(const std::wstring& file);
    std::string Build();
    std::string ConnectSource(IPin* output);
    std::string AddGreyDisplay(ComPointer<IPin>* output);
    bool AddFilter(const GUID& classId, const wchar_t* name, ComPointer<IBaseFilter>* out);

    const PlayOptions& options_;
    const HWND window_;
    std::unique_ptr<SampleMonitor> monitor_;  ///< called by the graph, so it goes after it
    ComPointer<IBaseFilter> source_;
    ComPointer<ITVDicRd> reader_;
    ComPointer<IBaseFilter> displayFilter_, grabber_, sink_;
    ComPointer<ITVGreyDisplay> display_;
    ComPointer<IGraphBuilder> graph_;
    ComPointer<IMediaControl> control_;
    ComPointer<IMediaEvent> events_;
    bool isMpeg2_ = false;
    int64_t frames_ = 0, frameUnits_ = 0;
    std::string failure_;
};
}  // namespace talv

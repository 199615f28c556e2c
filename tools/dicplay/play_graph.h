#pragma once

#include <memory>
#include <string>

#include "TVDicRd.h"
#include "filter/directshow/com_pointer.h"
#include "frame_window.h"
#include "play_options.h"
#include "sample_monitor.h"

namespace talv {
/// A filter graph around the reader: source, sample grabber, and a renderer that fits the type.
class PlayGraph
{
  public:
    explicit PlayGraph(const PlayOptions& options) : options_(options) {}
    ~PlayGraph();
    PlayGraph(const PlayGraph&) = delete;
    PlayGraph& operator=(const PlayGraph&) = delete;

    /// The steps in their order; each is empty when it succeeded, else what went wrong.
    std::string LoadSource();
    std::string Build();
    /// Shows the reader's property pages and waits until they are closed.
    std::string ShowProperties();
    std::string Play();
    void PrintSummary() const;
    bool WriteSnapshot() const;

  private:
    std::string BuildVideo(IPin* output);
    std::string BuildMpeg2(IPin* output);
    std::string AddSink(IPin* grabberOutput, bool ownWindow);
    bool AddFilter(const GUID& classId, const wchar_t* name, ComPointer<IBaseFilter>* out);
    bool HandleEvents(bool* ended);
    void PumpMessages();
    bool WaitWhileHeld();

    const PlayOptions& options_;
    FrameWindow window_;
    std::unique_ptr<SampleMonitor> monitor_;  ///< called by the graph, so it goes after it
    ComPointer<IBaseFilter> source_;
    ComPointer<ITVDicRd> reader_;
    ComPointer<IBaseFilter> grabber_, sink_;
    ComPointer<IGraphBuilder> graph_;
    ComPointer<IMediaControl> control_;
    ComPointer<IMediaEvent> events_;
    bool userEnded_ = false;
    std::string failure_;
};
}  // namespace talv

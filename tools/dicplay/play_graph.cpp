#include "play_graph.h"

#include <olectl.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "component.h"
#include "filter/directshow/media_type.h"
#include "filter/directshow/server_ids.h"
#include "tools/dicplay/notice_capture.h"

namespace talv {
namespace {
std::string WithCode(const char* text, HRESULT hr)
{
    char code[24];
    std::snprintf(code, sizeof(code), " (0x%08lX)", static_cast<unsigned long>(hr));
    return text + std::string(code);
}

constexpr char kRefusedText[] = "the file was refused";

// The message of the last notice, which is written as "title: message".
std::string ReasonFrom(std::string notices)
{
    while (!notices.empty() && notices.back() == '\n') notices.pop_back();
    const size_t colon = notices.rfind(": ");
    return colon == std::string::npos ? kRefusedText : notices.substr(colon + 2);
}

// The component's notices go to standard error, and so to a NoticeCapture, as long as this lives.
class NoticesToError
{
  public:
    NoticesToError() : was_(GetEnvironmentVariableW(kName, nullptr, 0) != 0)
    {
        SetEnvironmentVariableW(kName, L"1");
    }
    ~NoticesToError()
    {
        if (!was_) SetEnvironmentVariableW(kName, nullptr);
    }
    NoticesToError(const NoticesToError&) = delete;
    NoticesToError& operator=(const NoticesToError&) = delete;

  private:
    static constexpr wchar_t kName[] = L"TALV_NO_NOTICE";
    const bool was_;
};
}  // namespace

PlayGraph::~PlayGraph()
{
    if (control_) control_->Stop();
}

std::string PlayGraph::Open(const std::wstring& file)
{
    const std::string problem = LoadSource(file);
    return problem.empty() ? Build() : problem;
}

std::string PlayGraph::LoadSource(const std::wstring& file)
{
    const HRESULT hr = MakeReaderFilter(options_.server, &source_);
    if (hr == REGDB_E_CLASSNOTREG) return "the reader is not registered; name its file with --server";
    if (FAILED(hr)) return WithCode("the reader could not be made", hr);
    reader_ = QueryFor<ITVDicRd>(source_.Get(), IID_ITVDicRd);
    const auto loader = QueryFor<IFileSourceFilter>(source_.Get(), IID_IFileSourceFilter);
    if (!reader_ || !loader) return "the reader lacks an interface";
    const NoticesToError quietly;
    const NoticeCapture notices;
    return loader->Load(file.c_str(), nullptr) == S_OK ? "" : ReasonFrom(notices.Text());
}

bool PlayGraph::AddFilter(const GUID& classId, const wchar_t* name, ComPointer<IBaseFilter>* out)
{
    return SUCCEEDED(
               CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, out->OutVoid())) &&
           SUCCEEDED(graph_->AddFilter(out->Get(), name));
}

std::string PlayGraph::Build()
{
    HRESULT hr = CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                  graph_.OutVoid());
    if (FAILED(hr)) return WithCode("no filter graph", hr);
    control_ = QueryFor<IMediaControl>(graph_.Get(), IID_IMediaControl);
    events_ = QueryFor<IMediaEvent>(graph_.Get(), IID_IMediaEvent);
    hr = graph_->AddFilter(source_.Get(), L"Reader");
    if (FAILED(hr)) return WithCode("the reader cannot join the graph", hr);
    ComPointer<IPin> output = FindPin(source_.Get(), PINDIR_OUTPUT);
    if (!output) return "the reader has no pin";
    VARIANT_BOOL mpeg2 = VARIANT_FALSE;
    reader_->get_IsMPEG2Stream(&mpeg2);
    isMpeg2_ = mpeg2 != VARIANT_FALSE;
    if (!AddFilter(kSampleGrabberClass, L"Grabber", &grabber_)) return "no sample grabber";
    if (!AddFilter(kNullRendererClass, L"Renderer", &sink_)) return "no null renderer";
    const std::string problem = ConnectSource(output.Get());
    if (!problem.empty()) return problem;
    hr = ConnectPins(graph_.Get(), FindPin(grabber_.Get(), PINDIR_OUTPUT).Get(),
                     FindPin(sink_.Get(), PINDIR_INPUT).Get());
    if (FAILED(hr)) return WithCode("the renderer does not take the video", hr);
    const auto filter = QueryFor<IMediaFilter>(graph_.Get(), IID_IMediaFilter);
    if (options_.noClock && filter) filter->SetSyncSource(nullptr);
    ReadTimes();
    return "";
}

// Reader to grabber: directly, through the grey display, or through the system's parser and decoder.
std::string PlayGraph::ConnectSource(IPin* output)
{
    const auto grab = QueryFor<SampleGrabber>(grabber_.Get(), kSampleGrabberInterface);
    if (!grab) return "no sample grabber";
    const ComPointer<IPin> input = FindPin(grabber_.Get(), PINDIR_INPUT);
    ComPointer<IPin> last(output);
    HRESULT hr = S_OK;
    if (isMpeg2_) {
        AM_MEDIA_TYPE wanted = {};
        wanted.majortype = MEDIATYPE_Video;
        wanted.subtype = MEDIASUBTYPE_RGB32;
        grab->SetMediaType(&wanted);
        hr = graph_->Connect(output, input.Get());
        if (FAILED(hr)) return WithCode("no parser and decoder for the MPEG-2 stream", hr);
    } else {
        const uint16_t bits = SourceHeader().biBitCount;
        if (bits == 0) return "the file's pictures have no video format";
        if (window_ != nullptr && (bits == 12 || bits == 16))
            if (std::string problem = AddGreyDisplay(&last); !problem.empty()) return problem;
        hr = ConnectPins(graph_.Get(), last.Get(), input.Get());
        if (FAILED(hr)) return WithCode("the grabber does not take the video", hr);
    }
    AM_MEDIA_TYPE type = {};
    hr = grab->GetConnectedMediaType(&type);
    const bool isVideo =
        SUCCEEDED(hr) && type.formattype == FORMAT_VideoInfo && type.cbFormat >= sizeof(VIDEOINFOHEADER);
    if (isVideo) {
        monitor_ = std::make_unique<SampleMonitor>(options_.logSamples, window_);
        monitor_->TakeType(type);
        hr = grab->SetCallback(monitor_.get(), 0);
    }
    FreeMediaType(&type);
    return isVideo && SUCCEEDED(hr) ? "" : WithCode("the pictures cannot be watched", hr);
}

std::string PlayGraph::AddGreyDisplay(ComPointer<IPin>* output)
{
    HRESULT hr = MakeGreyDisplayFilter(options_.server, &displayFilter_);
    if (FAILED(hr)) return WithCode("grey pictures need TVGreyDisplay.ax, which is not registered", hr);
    display_ = QueryFor<ITVGreyDisplay>(displayFilter_.Get(), IID_ITVGreyDisplay);
    hr = graph_->AddFilter(displayFilter_.Get(), L"Grey Display");
    if (SUCCEEDED(hr))
        hr = ConnectPins(graph_.Get(), output->Get(), FindPin(displayFilter_.Get(), PINDIR_INPUT).Get());
    if (FAILED(hr)) return WithCode("the grey display does not take the video", hr);
    *output = FindPin(displayFilter_.Get(), PINDIR_OUTPUT);
    return "";
}

BITMAPINFOHEADER PlayGraph::SourceHeader() const
{
    BITMAPINFOHEADER header = {};
    const ComPointer<IPin> output = FindPin(source_.Get(), PINDIR_OUTPUT);
    ComPointer<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* type = nullptr;
    if (!output || FAILED(output->EnumMediaTypes(types.Out())) || types->Next(1, &type, nullptr) != S_OK)
        return header;
    if (type->formattype == FORMAT_VideoInfo && type->cbFormat >= sizeof(VIDEOINFOHEADER))
        header = reinterpret_cast<const VIDEOINFOHEADER*>(type->pbFormat)->bmiHeader;
    DeleteMediaType(type);
    return header;
}

void PlayGraph::ReadTimes()
{
    LONGLONG duration = 0, frames = 0;
    if (isMpeg2_) {
        const auto seeking = QueryFor<IMediaSeeking>(graph_.Get(), IID_IMediaSeeking);
        const auto& format = *reinterpret_cast<const VIDEOINFOHEADER*>(monitor_->Type().pbFormat);
        frameUnits_ = format.AvgTimePerFrame > 0 ? format.AvgTimePerFrame : 400'000;
        if (!seeking || FAILED(seeking->GetDuration(&duration))) duration = 0;
        frames_ = std::max<int64_t>(1, (duration + frameUnits_ / 2) / frameUnits_);
        return;
    }
    const ComPointer<IPin> pin = FindPin(source_.Get(), PINDIR_OUTPUT);
    const auto seeking = QueryFor<IMediaSeeking>(pin.Get(), IID_IMediaSeeking);
    if (seeking) {
        seeking->GetDuration(&duration);
        seeking->ConvertTimeFormat(&frames, &TIME_FORMAT_FRAME, duration, &TIME_FORMAT_MEDIA_TIME);
    }
    frames_ = frames;
    frameUnits_ = frames > 0 ? duration / frames : 0;
}

HANDLE PlayGraph::NewsHandle() const
{
    HANDLE handle = nullptr;
    if (events_) events_->GetEventHandle(reinterpret_cast<OAEVENT*>(&handle));
    return handle;
}

GraphNews PlayGraph::Poll()
{
    GraphNews news = GraphNews::none;
    long code = 0;
    LONG_PTR first = 0, second = 0;
    while (events_->GetEvent(&code, &first, &second, 0) == S_OK) {
        events_->FreeEventParams(code, first, second);
        if (code == EC_COMPLETE && news == GraphNews::none) news = GraphNews::ended;
        if (code == EC_ERRORABORT) {
            failure_ = WithCode("playing ended with an error", static_cast<HRESULT>(first));
            news = GraphNews::failed;
        }
    }
    return news;
}

std::string PlayGraph::ShowProperties(HWND owner)
{
    const auto pages = QueryFor<ISpecifyPropertyPages>(source_.Get(), IID_ISpecifyPropertyPages);
    CAUUID classes = {};
    if (!pages || FAILED(pages->GetPages(&classes))) return "the reader has no property pages";
    IUnknown* reader = source_.Get();
    const HRESULT hr =
        OleCreatePropertyFrame(owner, 0, 0, L"Talv DICOM Reader (2.0)", 1, &reader, classes.cElems,
                               classes.pElems, LOCALE_USER_DEFAULT, 0, nullptr);
    CoTaskMemFree(classes.pElems);
    return SUCCEEDED(hr) ? ""
                         : WithCode("the property pages cannot be shown (is the reader registered?)", hr);
}

std::string PlayGraph::Run()
{
    // A graph may start the source first; a renderer that is not ready refuses the sample, and the grabber
    // then sees it twice. So downstream is made ready here, but for a graph that goes on.
    FILTER_STATE state = State_Stopped;
    sink_->GetState(0, &state);
    for (const ComPointer<IBaseFilter>* filter : {&sink_, &grabber_, &displayFilter_})
        if (*filter && state == State_Stopped && !isMpeg2_) (*filter)->Pause();
    const HRESULT hr = control_->Run();
    return SUCCEEDED(hr) ? "" : WithCode("the graph does not run", hr);
}

bool PlayGraph::Seek(int64_t frame)
{
    const auto seeking = QueryFor<IMediaSeeking>(graph_.Get(), IID_IMediaSeeking);
    LONGLONG position = frame * frameUnits_;
    return seeking && SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0));
}

void PlayGraph::SetSpeed(double speed)
{
    // At the pin: a graph may take a rate without telling anybody (Wine's does).
    const ComPointer<IPin> pin = FindPin(source_.Get(), PINDIR_OUTPUT);
    if (const auto seeking = QueryFor<IMediaSeeking>(pin.Get(), IID_IMediaSeeking)) seeking->SetRate(speed);
}

void PlayGraph::PrintSummary() const
{
    if (isMpeg2_ || !monitor_) {
        std::puts("MPEG-2 stream played by the system's decoder");
        return;
    }
    const BITMAPINFOHEADER header = SourceHeader();
    std::printf("played %" PRId64 " frames (%" PRId64 " in the file, %" PRId64
                " dropped), %ld x %ld, %d bits, %.3f ms a frame, %.3f s in all\n",
                monitor_->Frames(), frames_, monitor_->Dropped(), header.biWidth, header.biHeight,
                header.biBitCount, static_cast<double>(frameUnits_) / 1e4,
                static_cast<double>(frameUnits_ * frames_) / 1e7);
}

bool PlayGraph::WriteSnapshot() const
{
    FramePicture picture;
    return monitor_ && monitor_->LastPicture(&picture) && WritePicture(picture, options_.snapshot);
}
}  // namespace talv

#include "play_graph.h"

#include <olectl.h>

#include <cinttypes>
#include <cstdio>

#include "component.h"
#include "filter/directshow/media_type.h"
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

// The classic video renderer takes these; others are drawn by a window of our own.
bool RendererTakes(const AM_MEDIA_TYPE& type)
{
    return type.subtype == MEDIASUBTYPE_RGB8 || type.subtype == MEDIASUBTYPE_RGB24 ||
           type.subtype == MEDIASUBTYPE_RGB32;
}
}  // namespace

PlayGraph::~PlayGraph()
{
    if (control_) control_->Stop();
}

std::string PlayGraph::LoadSource()
{
    HRESULT hr = MakeReaderFilter(options_.server, &source_);
    if (hr == REGDB_E_CLASSNOTREG) return "the reader is not registered; name its file with --server";
    if (FAILED(hr)) return WithCode("the reader could not be made", hr);
    reader_ = QueryFor<ITVDicRd>(source_.Get(), IID_ITVDicRd);
    const auto file = QueryFor<IFileSourceFilter>(source_.Get(), IID_IFileSourceFilter);
    if (!reader_ || !file) return "the reader lacks an interface";
    const bool unattended = GetEnvironmentVariableW(L"TALV_NO_NOTICE", nullptr, 0) != 0;
    if (!unattended) return file->Load(options_.file.c_str(), nullptr) == S_OK ? "" : kRefusedText;
    const NoticeCapture notices;
    return file->Load(options_.file.c_str(), nullptr) == S_OK ? "" : ReasonFrom(notices.Text());
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
    const ComPointer<IPin> output = FindPin(source_.Get(), PINDIR_OUTPUT);
    if (!output) return "the reader has no pin";
    VARIANT_BOOL mpeg2 = VARIANT_FALSE;
    reader_->get_IsMPEG2Stream(&mpeg2);
    const std::string problem = mpeg2 != VARIANT_FALSE ? BuildMpeg2(output.Get()) : BuildVideo(output.Get());
    if (!problem.empty()) return problem;
    const auto filter = QueryFor<IMediaFilter>(graph_.Get(), IID_IMediaFilter);
    if (options_.noClock && filter) filter->SetSyncSource(nullptr);
    return "";
}

std::string PlayGraph::BuildMpeg2(IPin* output)
{
    const HRESULT hr = graph_->Render(output);
    return SUCCEEDED(hr) ? "" : WithCode("no parser and decoder for the MPEG-2 stream", hr);
}

std::string PlayGraph::BuildVideo(IPin* output)
{
    ComPointer<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* type = nullptr;
    if (FAILED(output->EnumMediaTypes(types.Out())) || types->Next(1, &type, nullptr) != S_OK)
        return "the file's pictures have no video format";
    const AM_MEDIA_TYPE offered = *type;
    const BITMAPINFOHEADER header = reinterpret_cast<VIDEOINFOHEADER*>(type->pbFormat)->bmiHeader;
    const bool ownWindow = !options_.null && !RendererTakes(offered);
    if (ownWindow && !window_.Create(header.biWidth, header.biHeight, options_.file.c_str())) {
        DeleteMediaType(type);
        return "no window (is there a display?)";
    }
    monitor_ = std::make_unique<SampleMonitor>(options_.logSamples, window_.Handle());
    monitor_->TakeType(offered);
    window_.ShowFramesOf(monitor_.get());
    DeleteMediaType(type);

    if (!AddFilter(kSampleGrabberClass, L"Grabber", &grabber_)) return "no sample grabber";
    const auto grab = QueryFor<SampleGrabber>(grabber_.Get(), kSampleGrabberInterface);
    if (!grab || FAILED(grab->SetCallback(monitor_.get(), 0))) return "no sample grabber";
    const HRESULT hr = ConnectPins(graph_.Get(), output, FindPin(grabber_.Get(), PINDIR_INPUT).Get());
    if (FAILED(hr)) return WithCode("the grabber does not take the video", hr);
    return AddSink(FindPin(grabber_.Get(), PINDIR_OUTPUT).Get(), ownWindow);
}

std::string PlayGraph::AddSink(IPin* grabberOutput, bool ownWindow)
{
    const bool renderer = !options_.null && !ownWindow;
    if (!AddFilter(renderer ? kVideoRendererClass : kNullRendererClass, L"Renderer", &sink_))
        return renderer ? "no video renderer (is there a display?)" : "no null renderer";
    const HRESULT hr = ConnectPins(graph_.Get(), grabberOutput, FindPin(sink_.Get(), PINDIR_INPUT).Get());
    if (FAILED(hr)) return WithCode("the renderer does not take the video", hr);
    const auto window =
        renderer ? QueryFor<IVideoWindow>(graph_.Get(), IID_IVideoWindow) : ComPointer<IVideoWindow>();
    if (window) {
        const BSTR caption = SysAllocString(options_.file.c_str());
        window->put_Caption(caption);
        SysFreeString(caption);
    }
    return "";
}

void PlayGraph::PumpMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

// True when the graph goes on; `ended` when the last frame has been shown.
bool PlayGraph::HandleEvents(bool* ended)
{
    long code = 0;
    LONG_PTR first = 0, second = 0;
    while (events_->GetEvent(&code, &first, &second, 0) == S_OK) {
        events_->FreeEventParams(code, first, second);
        if (code == EC_COMPLETE) *ended = true;
        if (code == EC_USERABORT) userEnded_ = true;
        if (code == EC_ERRORABORT) {
            failure_ = WithCode("playing ended with an error", static_cast<HRESULT>(first));
            return false;
        }
    }
    return !userEnded_;
}

bool PlayGraph::WaitWhileHeld()
{
    const bool windowed = window_.IsOpen();
    bool ignored = false;
    while (HandleEvents(&ignored) && (!windowed || window_.IsOpen())) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        PumpMessages();
    }
    return true;
}

std::string PlayGraph::ShowProperties()
{
    const auto pages = QueryFor<ISpecifyPropertyPages>(source_.Get(), IID_ISpecifyPropertyPages);
    CAUUID classes = {};
    if (!pages || FAILED(pages->GetPages(&classes))) return "the reader has no property pages";
    IUnknown* reader = source_.Get();
    const HRESULT hr =
        OleCreatePropertyFrame(nullptr, 0, 0, L"Talv DICOM Reader (2.0)", 1, &reader, classes.cElems,
                               classes.pElems, LOCALE_USER_DEFAULT, 0, nullptr);
    CoTaskMemFree(classes.pElems);
    return SUCCEEDED(hr) ? ""
                         : WithCode("the property pages cannot be shown (is the reader registered?)", hr);
}

std::string PlayGraph::Play()
{
    const bool windowed = window_.IsOpen();
    HANDLE waiting = nullptr;
    events_->GetEventHandle(reinterpret_cast<OAEVENT*>(&waiting));
    // A graph may start the source first; a renderer that is not ready refuses the sample, and the grabber
    // then sees it twice.
    if (sink_) sink_->Pause();
    if (grabber_) grabber_->Pause();
    const HRESULT hr = control_->Run();
    if (FAILED(hr)) return WithCode("the graph does not run", hr);
    for (;;) {
        MsgWaitForMultipleObjects(1, &waiting, FALSE, 200, QS_ALLINPUT);
        PumpMessages();
        bool ended = false;
        if (!HandleEvents(&ended) || (windowed && !window_.IsOpen())) break;
        if (!ended) continue;
        if (!options_.loop) {
            if (options_.hold && !options_.null) WaitWhileHeld();
            break;
        }
        LONGLONG begin = 0;
        const auto seeking = QueryFor<IMediaSeeking>(graph_.Get(), IID_IMediaSeeking);
        if (!seeking || FAILED(seeking->SetPositions(&begin, AM_SEEKING_AbsolutePositioning, nullptr, 0)))
            break;
    }
    control_->Stop();
    return failure_;
}

void PlayGraph::PrintSummary() const
{
    if (!monitor_) {
        std::puts("MPEG-2 stream played by the system's decoder");
        return;
    }
    const ComPointer<IPin> pin = FindPin(source_.Get(), PINDIR_OUTPUT);
    const auto seeking = QueryFor<IMediaSeeking>(pin.Get(), IID_IMediaSeeking);
    LONGLONG duration = 0, frames = 0;
    if (seeking) {
        seeking->GetDuration(&duration);
        seeking->ConvertTimeFormat(&frames, &TIME_FORMAT_FRAME, duration, &TIME_FORMAT_MEDIA_TIME);
    }
    const auto& header = reinterpret_cast<const VIDEOINFOHEADER*>(monitor_->Type().pbFormat)->bmiHeader;
    const double frameTime = frames > 0 ? duration / 1e4 / static_cast<double>(frames) : 0.0;
    std::printf("played %" PRId64 " frames (%" PRId64 " in the file, %" PRId64
                " dropped), %ld x %ld, %d bits, %.3f ms a frame, %.3f s in all\n",
                monitor_->Frames(), static_cast<int64_t>(frames), monitor_->Dropped(), header.biWidth,
                header.biHeight, header.biBitCount, frameTime, duration / 1e7);
}

bool PlayGraph::WriteSnapshot() const
{
    FramePicture picture;
    return monitor_ && monitor_->LastPicture(&picture) && WritePicture(picture, options_.snapshot);
}
}  // namespace talv

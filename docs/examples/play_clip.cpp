// Plays a DICOM file in a window of the system's own renderer, twice, and prints what it learned about it.
//
//     play_clip FILE
//
//     x86_64-w64-mingw32-g++-posix -std=c++20 -static -municode -DNO_DSHOW_STRSAFE play_clip.cpp -o
//     play_clip.exe \
//         -lstrmiids -lole32 -loleaut32 -luuid
#include <dshow.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

namespace {
// {E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}
const CLSID kDicomReader = {0xE2B7DDB8, 0x38C5, 0x11D5, {0x91, 0xF6, 0x00, 0x10, 0x4B, 0xDB, 0x8F, 0xF9}};

void Check(HRESULT hr, const char* what)
{
    if (SUCCEEDED(hr)) return;
    std::fprintf(stderr, "%s failed: 0x%08lx\n", what, static_cast<unsigned long>(hr));
    std::exit(1);
}

template <typename T>
T* Query(IUnknown* object, REFIID iid, const char* what)
{
    T* result = nullptr;
    Check(object->QueryInterface(iid, reinterpret_cast<void**>(&result)), what);
    return result;
}

/// The filter's pin: "Output" for frames, or the pull pin of an MPEG-2 file. Exactly one is exposed at a
/// time.
IPin* FirstPin(IBaseFilter* filter)
{
    IEnumPins* pins = nullptr;
    IPin* pin = nullptr;
    Check(filter->EnumPins(&pins), "EnumPins");
    if (pins->Next(1, &pin, nullptr) != S_OK) Check(E_FAIL, "finding the pin");
    pins->Release();
    return pin;
}

/// Handles window messages until the graph reports its end.
void WaitForEnd(IMediaEvent* events)
{
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
        long code = 0;
        LONG_PTR first = 0, second = 0;
        while (events->GetEvent(&code, &first, &second, 20) == S_OK) {
            events->FreeEventParams(code, first, second);
            if (code == EC_COMPLETE || code == EC_ERRORABORT || code == EC_USERABORT) return;
        }
    }
}
}  // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count != 2) {
        std::fprintf(stderr, "usage: play_clip FILE\n");
        return 2;
    }
    Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx");

    IGraphBuilder* graph = nullptr;
    Check(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                           reinterpret_cast<void**>(&graph)),
          "making the filter graph");
    IBaseFilter* reader = nullptr;
    Check(CoCreateInstance(kDicomReader, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                           reinterpret_cast<void**>(&reader)),
          "making the DICOM reader (is it registered for this bitness?)");

    // A refused file is S_FALSE, a success code: SUCCEEDED would take it for a loaded one.
    IFileSourceFilter* source = Query<IFileSourceFilter>(reader, IID_IFileSourceFilter, "IFileSourceFilter");
    if (source->Load(arguments[1], nullptr) != S_OK) Check(E_FAIL, "loading the file");

    Check(graph->AddFilter(reader, L"DICOM"), "AddFilter");
    IPin* pin = FirstPin(reader);
    Check(graph->Render(pin), "rendering the pin");

    IMediaSeeking* seeking = Query<IMediaSeeking>(graph, IID_IMediaSeeking, "IMediaSeeking");
    LONGLONG duration = 0;
    Check(seeking->GetDuration(&duration), "GetDuration");
    std::printf("%.3f seconds\n", static_cast<double>(duration) / 1e7);

    IMediaControl* control = Query<IMediaControl>(graph, IID_IMediaControl, "IMediaControl");
    IMediaEvent* events = Query<IMediaEvent>(graph, IID_IMediaEvent, "IMediaEvent");
    for (int round = 1; round <= 2; ++round) {
        LONGLONG start = 0;
        Check(
            seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning),
            "seeking to the start");
        Check(control->Run(), "Run");
        WaitForEnd(events);
        std::printf("played %d\n", round);
    }
    Check(control->Stop(), "Stop");

    for (IUnknown* object :
         {static_cast<IUnknown*>(events), static_cast<IUnknown*>(control), static_cast<IUnknown*>(seeking),
          static_cast<IUnknown*>(pin), static_cast<IUnknown*>(source), static_cast<IUnknown*>(reader),
          static_cast<IUnknown*>(graph)})
        object->Release();
    CoUninitialize();
    return 0;
}

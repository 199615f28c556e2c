#include "tests/directshow/component_fixture.h"

#include <iterator>

namespace talv {
namespace {
template <class Function>
void Find(HMODULE module, const char* name, Function* out)
{
    *out = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

std::wstring Widen(const char* text)
{
    wchar_t wide[1024] = {};
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide, 1023);
    return wide;
}
}  // namespace

Server& Server::Get()
{
    static Server server = [] {
        wchar_t self[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, self, MAX_PATH);
        Server loaded;
        loaded.path = self;
        loaded.path.resize(loaded.path.find_last_of(L'\\'));
        loaded.path += L"\\..\\filter\\directshow\\TVDicRd2.ax";
        loaded.module = LoadLibraryW(loaded.path.c_str());
        EXPECT_NE(loaded.module, nullptr);
        const HMODULE module = loaded.module;
        Find(module, "DllGetClassObject", &loaded.getClassObject);
        Find(module, "DllCanUnloadNow", &loaded.canUnloadNow);
        Find(module, "DllRegisterServer", &loaded.registerServer);
        Find(module, "DllUnregisterServer", &loaded.unregisterServer);
        return loaded;
    }();
    return server;
}

ComPointer<IBaseFilter> MakeFilter()
{
    ComPointer<IClassFactory> factory;
    ComPointer<IBaseFilter> filter;
    EXPECT_EQ(Server::Get().getClassObject(kReaderClass, IID_IClassFactory, factory.OutVoid()), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.OutVoid()), S_OK);
    return filter;
}

HRESULT LoadPath(IBaseFilter* filter, const char* path)
{
    return Query<IFileSourceFilter>(filter, IID_IFileSourceFilter)->Load(Widen(path).c_str(), nullptr);
}

ComPointer<IPin> OnlyPin(IBaseFilter* filter)
{
    ComPointer<IEnumPins> pins;
    ComPointer<IPin> pin;
    EXPECT_EQ(filter->EnumPins(pins.Out()), S_OK);
    EXPECT_EQ(pins->Next(1, pin.Out(), nullptr), S_OK);
    return pin;
}

DicomBuilder GreyClip(int frames, const char* frameTime)
{
    ByteVector pixels;
    for (int n = 0; n < frames; ++n)
        for (int i = 0; i < 8; ++i) pixels.push_back(static_cast<uint8_t>(16 * n + i));
    ImageAttributes image;
    image.rows = 2;
    image.columns = 4;
    image.numberOfFrames = std::to_string(frames);
    DicomBuilder file = PreambleFile();
    file.ExplicitLittle().Ds(0x00181063, frameTime).Image(image).NativePixels(pixels);
    return file;
}

ByteVector GreyClipSample(int n)
{
    ByteVector bytes;
    for (const int y : {1, 0})
        for (int x = 0; x < 4; ++x) bytes.push_back(static_cast<uint8_t>(16 * n + 4 * y + x));
    return bytes;
}

TestGraph::TestGraph(IBaseFilter* filter)
{
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.OutVoid());
    CoCreateInstance(kSampleGrabberClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                     grabberFilter_.OutVoid());
    CoCreateInstance(kNullRendererClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, sink_.OutVoid());
    graph->AddFilter(filter, L"Reader");
    graph->AddFilter(grabberFilter_.Get(), L"Grabber");
    graph->AddFilter(sink_.Get(), L"Sink");
    control_ = Query<IMediaControl>(graph.Get(), IID_IMediaControl);
    events_ = Query<IMediaEvent>(graph.Get(), IID_IMediaEvent);
    grabber_ = Query<SampleGrabber>(grabberFilter_.Get(), kSampleGrabberInterface);
    grabber_->SetCallback(this, 0);
    Query<IMediaFilter>(graph.Get(), IID_IMediaFilter)->SetSyncSource(nullptr);
    ComPointer<IPin> in, out, sinkIn;
    grabberFilter_->FindPin(L"In", in.Out());
    grabberFilter_->FindPin(L"Out", out.Out());
    sinkIn = OnlyPin(sink_.Get());
    connected = graph->ConnectDirect(OnlyPin(filter).Get(), in.Get(), nullptr);
    if (SUCCEEDED(connected)) connected = graph->ConnectDirect(out.Get(), sinkIn.Get(), nullptr);
}

TestGraph::~TestGraph()
{
    control_->Stop();
    grabber_->SetCallback(nullptr, 0);
}

void TestGraph::UseClock()
{
    graph->SetDefaultSyncSource();
}

// Wine's graph starts the source first. Downstream is made ready here, so that each sample passes the grabber
// once: a frame seen twice is the source's fault.
HRESULT TestGraph::Run()
{
    TakeEvent(EC_COMPLETE, 0);  // of an earlier run that nobody waited for
    sink_->Pause();
    grabberFilter_->Pause();
    return control_->Run();
}

// Not by WaitForCompletion: once a graph has come to an end, Wine's answers at once in every later run.
bool TestGraph::WaitForEnd()
{
    return TakeEvent(EC_COMPLETE, 10000);
}

bool TestGraph::TakeEvent(long wanted, DWORD timeout)
{
    long code = 0;
    LONG_PTR first = 0, second = 0;
    while (events_->GetEvent(&code, &first, &second, static_cast<long>(timeout)) == S_OK) {
        events_->FreeEventParams(code, first, second);
        if (code == wanted) return true;
    }
    return false;
}

void TestGraph::WaitForSamples(size_t count)
{
    for (int i = 0; i < 1000 && Samples().size() < count; ++i) Sleep(5);
}

std::vector<RecordedSample> TestGraph::Samples() const
{
    const std::lock_guard guard(mutex_);
    return samples_;
}

STDMETHODIMP TestGraph::QueryInterface(REFIID, void** out)
{
    *out = static_cast<SampleGrabberCallback*>(this);
    return S_OK;
}

RecordedSample Record(IMediaSample* sample)
{
    RecordedSample record;
    sample->GetTime(&record.start, &record.stop);
    sample->GetMediaTime(&record.mediaStart, &record.mediaStop);
    record.discontinuity = sample->IsDiscontinuity() == S_OK;
    record.sync = sample->IsSyncPoint() == S_OK;
    record.preroll = sample->IsPreroll() == S_OK;
    BYTE* bytes = nullptr;
    sample->GetPointer(&bytes);
    if (bytes != nullptr) record.bytes.assign(bytes, bytes + sample->GetActualDataLength());
    return record;
}

STDMETHODIMP TestGraph::SampleCB(double, IMediaSample* sample)
{
    RecordedSample record = Record(sample);
    const std::lock_guard guard(mutex_);
    samples_.push_back(std::move(record));
    return S_OK;
}

void ComponentTest::SetUp()
{
    SetEnvironmentVariableW(L"TALV_NO_NOTICE", L"1");
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    ASSERT_NE(Server::Get().getClassObject, nullptr);
}

void ComponentTest::TearDown()
{
    EXPECT_EQ(Server::Get().canUnloadNow(), S_OK) << "component objects are left";
    CoUninitialize();
}
}  // namespace talv

// The grey display in real filter graphs and against a downstream pin of the test's own.
#include <memory>
#include <thread>

#include "TVGreyDisplay.h"
#include "filter/greydisplay/grey_display.h"
#include "filter/greydisplay/windows/grey_display_ids.h"
#include "tests/directshow/fake_downstream.h"

namespace talv {
namespace {
constexpr LONGLONG kFrameUnits = 400000;  // of GreyClip16

/// A 16-bit clip whose pixel (x, y) of frame n, in a window that shows each value as that level, is what
/// GreyClip has.
DicomBuilder GreyClip16(int frames)
{
    ByteWriter pixels;
    for (int n = 0; n < frames; ++n)
        for (uint32_t i = 0; i < 8; ++i) pixels.U16le(16 * static_cast<uint32_t>(n) + i);
    ImageAttributes image;
    image.rows = 2;
    image.columns = 4;
    image.bitsAllocated = 16;
    image.bitsStored = 12;
    image.highBit = 11;
    image.numberOfFrames = std::to_string(frames);
    DicomBuilder file = PreambleFile();
    file.ExplicitLittle().Ds(0x00181063, "40").Image(image);
    file.Ds(0x00281050, "128").Ds(0x00281051, "256").NativePixels(pixels);
    return file;
}

/// What a frame of GreyClip becomes: blue, green, red, 0; bottom row first.
ByteVector Picture(const ByteVector& levels)
{
    ByteVector pixels;
    for (const uint8_t level : levels) pixels.insert(pixels.end(), {level, level, level, 0});
    return pixels;
}

ByteVector TopDown(ByteVector pixels)
{
    std::rotate(pixels.begin(), pixels.begin() + static_cast<ptrdiff_t>(pixels.size() / 2), pixels.end());
    return pixels;  // of two rows
}

struct GreyServer
{
    static GreyServer& Get()
    {
        static GreyServer server = [] {
            GreyServer loaded;
            std::wstring path = Server::Get().path;
            path.replace(path.find_last_of(L'\\') + 1, std::wstring::npos, L"TVGreyDisplay.ax");
            const HMODULE module = LoadLibraryW(path.c_str());
            const auto find = [&](const char* name, auto* entry) {
                *entry = reinterpret_cast<std::remove_pointer_t<decltype(entry)>>(
                    reinterpret_cast<void*>(GetProcAddress(module, name)));
            };
            find("DllGetClassObject", &loaded.getClassObject);
            find("DllCanUnloadNow", &loaded.canUnloadNow);
            find("DllRegisterServer", &loaded.registerServer);
            find("DllUnregisterServer", &loaded.unregisterServer);
            return loaded;
        }();
        return server;
    }
    HRESULT(WINAPI* getClassObject)(REFCLSID, REFIID, void**) = nullptr;
    HRESULT(WINAPI* canUnloadNow)() = nullptr;
    HRESULT(WINAPI* registerServer)() = nullptr;
    HRESULT(WINAPI* unregisterServer)() = nullptr;
};

ComPointer<IBaseFilter> MakeDisplay()
{
    ComPointer<IClassFactory> factory;
    ComPointer<IBaseFilter> filter;
    EXPECT_EQ(GreyServer::Get().getClassObject(kGreyDisplayClass, IID_IClassFactory, factory.OutVoid()),
              S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.OutVoid()), S_OK);
    return filter;
}

ComPointer<IPin> PinOf(IBaseFilter* filter, const wchar_t* name)
{
    ComPointer<IPin> pin;
    EXPECT_EQ(filter->FindPin(name, pin.Out()), S_OK);
    return pin;
}

/// Takes what the grabber sees.
class Recorder final : public SampleGrabberCallback
{
  public:
    STDMETHODIMP QueryInterface(REFIID, void** out) override
    {
        *out = this;
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }
    STDMETHODIMP SampleCB(double, IMediaSample* sample) override
    {
        RecordedSample record = Record(sample);
        const std::lock_guard guard(mutex_);
        samples_.push_back(std::move(record));
        return S_OK;
    }
    std::vector<RecordedSample> Samples() const
    {
        const std::lock_guard guard(mutex_);
        return samples_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<RecordedSample> samples_;
};

class GreyDisplayGraph : public ComponentTest
{
  protected:
    void SetUp() override
    {
        ComponentTest::SetUp();
        ASSERT_NE(GreyServer::Get().getClassObject, nullptr);
    }
    void TearDown() override
    {
        EXPECT_EQ(GreyServer::Get().canUnloadNow(), S_OK) << "objects of the grey display are left";
        ComponentTest::TearDown();
    }
};

// Registered, the display is found by the graph alone: the reader is added as the source and its pin
// rendered.
class RenderedGraph : public GreyDisplayGraph
{
  protected:
    void SetUp() override
    {
        GreyDisplayGraph::SetUp();
        ASSERT_EQ(GreyServer::Get().registerServer(), S_OK);
    }
    void TearDown() override
    {
        Release();
        EXPECT_EQ(GreyServer::Get().unregisterServer(), S_OK);
        GreyDisplayGraph::TearDown();
    }
    void Release()
    {
        graph_.Reset();
        grabber_.Reset();
        reader_.Reset();
    }

    // Source and grabber in a graph; the grabber takes RGB32 only. The renderer is the graph's choice too: a
    // null renderer would take the grey samples as they are.
    void Build(const char* path)
    {
        reader_ = MakeFilter();
        ASSERT_EQ(LoadPath(reader_.Get(), path), S_OK);
        ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                   graph_.OutVoid()),
                  S_OK);
        CoCreateInstance(kSampleGrabberClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                         grabber_.OutVoid());
        AM_MEDIA_TYPE type = {};
        type.majortype = MEDIATYPE_Video;
        type.subtype = MEDIASUBTYPE_RGB32;
        const auto grab = Query<SampleGrabber>(grabber_.Get(), kSampleGrabberInterface);
        grab->SetMediaType(&type);
        grab->SetCallback(&recorder_, 0);
        graph_->AddFilter(reader_.Get(), L"Reader");
        graph_->AddFilter(grabber_.Get(), L"Grabber");
        Query<IMediaFilter>(graph_.Get(), IID_IMediaFilter)->SetSyncSource(nullptr);
        ASSERT_TRUE(SUCCEEDED(graph_->Render(OnlyPin(reader_.Get()).Get())));
        Query<IVideoWindow>(graph_.Get(), IID_IVideoWindow)->put_AutoShow(OAFALSE);
    }
    void PlayToTheEnd()
    {
        // Downstream first, so that each sample passes the grabber once.
        ForEachFilter([&](IBaseFilter* filter) {
            if (filter != reader_.Get()) filter->Pause();
        });
        const auto events = Query<IMediaEvent>(graph_.Get(), IID_IMediaEvent);
        ASSERT_TRUE(SUCCEEDED(Query<IMediaControl>(graph_.Get(), IID_IMediaControl)->Run()));
        long code = 0;
        LONG_PTR first = 0, second = 0;
        for (const DWORD began = GetTickCount(); code != EC_COMPLETE && GetTickCount() - began < 10000;) {
            // The renderer's window belongs to this thread.
            MSG message;
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
            if (events->GetEvent(&code, &first, &second, 2) != S_OK) continue;
            events->FreeEventParams(code, first, second);
            ASSERT_NE(code, EC_ERRORABORT);
        }
        EXPECT_EQ(code, EC_COMPLETE);
        Query<IMediaControl>(graph_.Get(), IID_IMediaControl)->Stop();
    }
    template <class Call>
    void ForEachFilter(Call call)
    {
        ComPointer<IEnumFilters> filters;
        graph_->EnumFilters(filters.Out());
        ComPointer<IBaseFilter> filter;
        while (filters->Next(1, filter.Out(), nullptr) == S_OK) call(filter.Get());
    }
    // The display that the graph made; null when it made none.
    ComPointer<ITVGreyDisplay> Display()
    {
        ComPointer<ITVGreyDisplay> display;
        ForEachFilter([&](IBaseFilter* filter) {
            if (!display) display = Query<ITVGreyDisplay>(filter, IID_ITVGreyDisplay);
        });
        return display;
    }

    Recorder recorder_;
    ComPointer<IBaseFilter> reader_, grabber_;
    ComPointer<IGraphBuilder> graph_;
};

TEST_F(RenderedGraph, TheGraphInsertsTheDisplayAndEveryPixelIsRight)
{
    const TemporaryFile file = GreyClip16(3).Save();
    Build(file.Path());
    const auto display = Display();
    ASSERT_TRUE(display);
    PlayToTheEnd();
    const std::vector<RecordedSample> samples = recorder_.Samples();
    ASSERT_EQ(samples.size(), 3u);
    for (int n = 0; n < 3; ++n) {
        const RecordedSample& sample = samples[static_cast<size_t>(n)];
        EXPECT_EQ(sample.bytes, Picture(GreyClipSample(n)));
        EXPECT_EQ(sample.start, n * kFrameUnits);
        EXPECT_EQ(sample.stop, (n + 1) * kFrameUnits);
        EXPECT_EQ(sample.mediaStart, n);
        EXPECT_EQ(sample.mediaStop, n + 1);
        EXPECT_EQ(sample.discontinuity, n == 0);
        EXPECT_TRUE(sample.sync);
        EXPECT_FALSE(sample.preroll);
    }
    double center = 0, width = 0;
    EXPECT_EQ(display->GetWindow(&center, &width), S_OK);
    EXPECT_EQ(center, 128);
    EXPECT_EQ(width, 256);
    // Half the width: twice the contrast around the same middle.
    EXPECT_EQ(display->SetWindow(128, 128.5), S_OK);
    PlayToTheEnd();
    EXPECT_EQ(recorder_.Samples().back().bytes, Picture(ByteVector(8, 0)));
    EXPECT_EQ(display->SetWindow(20, 41), S_OK);
    PlayToTheEnd();
    for (size_t i = 0; i < 8; ++i) {
        const double value = GreyClipSample(2)[i];
        const double level = ((value - 19.5) / 40 + 0.5) * 255;
        EXPECT_EQ(recorder_.Samples().back().bytes[4 * i], static_cast<int>(std::min(level, 255.0) + 0.5));
    }
    EXPECT_EQ(display->ResetWindow(), S_OK);
    PlayToTheEnd();
    EXPECT_EQ(recorder_.Samples().back().bytes, Picture(GreyClipSample(2)));
}

TEST_F(RenderedGraph, ASampleClipPlaysAndSeeksThroughTheDisplay)
{
    Build(TALV_TEST_DATA "/samples/le-mr-10f.dcm");
    ASSERT_TRUE(Display());
    PlayToTheEnd();
    ASSERT_EQ(recorder_.Samples().size(), 10u);
    const size_t pictureBytes = 64 * 64 * 4;
    const ByteVector last = recorder_.Samples().back().bytes;
    EXPECT_EQ(last.size(), pictureBytes);
    EXPECT_GT(*std::max_element(last.begin(), last.end()), 200) << "the file's own window shows its picture";
    EXPECT_EQ(*std::min_element(last.begin(), last.end()), 0);

    const auto seeking = Query<IMediaSeeking>(graph_.Get(), IID_IMediaSeeking);
    LONGLONG position = 7 * 166666, duration = 0;
    EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 10 * 166666);
    EXPECT_TRUE(SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0)));
    PlayToTheEnd();
    ASSERT_EQ(recorder_.Samples().size(), 13u);
    EXPECT_EQ(recorder_.Samples()[10].mediaStart, 7);
    EXPECT_EQ(recorder_.Samples()[12].bytes, last);
}

TEST_F(RenderedGraph, RegistrationIsItsOwnAndLeavesNothing)
{
    const auto listed = [](DWORD merit) {
        ComPointer<IFilterMapper2> mapper;
        CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                         mapper.OutVoid());
        const GUID in[] = {MEDIATYPE_Video, kSubtypeGrey};
        ComPointer<IEnumMoniker> monikers;
        mapper->EnumMatchingFilters(monikers.Out(), 0, TRUE, merit, TRUE, 1, in, nullptr, nullptr, FALSE,
                                    TRUE, 0, nullptr, nullptr, nullptr);
        ComPointer<IMoniker> moniker;
        bool found = false;
        while (monikers && monikers->Next(1, moniker.Out(), nullptr) == S_OK) {
            LPOLESTR name = nullptr;
            moniker->GetDisplayName(nullptr, nullptr, &name);
            found |= name != nullptr && wcsstr(name, L"E8AD189E-52E8-497E") != nullptr;
            CoTaskMemFree(name);
        }
        return found;
    };
    const auto exists = [](const char* path) {
        HKEY key = nullptr;
        const bool found = RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key) == ERROR_SUCCESS;
        if (found) RegCloseKey(key);
        return found;
    };
    constexpr char kClass[] = "CLSID\\{E8AD189E-52E8-497E-8215-7994D6930D23}";
    EXPECT_EQ(GreyServer::Get().registerServer(), S_OK) << "once more changes nothing";
    EXPECT_TRUE(exists(kClass));
    EXPECT_TRUE(listed(0x600000));
    EXPECT_FALSE(listed(0x600001));
    EXPECT_FALSE(exists("CLSID\\{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"))
        << "the component's is another matter";
    EXPECT_EQ(GreyServer::Get().unregisterServer(), S_OK);
    EXPECT_FALSE(exists(kClass));
    EXPECT_FALSE(listed(0x200000));
    EXPECT_EQ(GreyServer::Get().unregisterServer(), S_OK) << "nothing to remove is no error";
}

/// Reader, display and a pin of the test's own, without a graph.
class DisplayDownstream : public GreyDisplayGraph
{
  protected:
    void SetUp() override
    {
        GreyDisplayGraph::SetUp();
        allocator_ = std::make_unique<FakeAllocator>();
        reader_ = MakeFilter();
        ASSERT_EQ(LoadPath(reader_.Get(), file_.Path()), S_OK);
        readerPin_ = OnlyPin(reader_.Get());
        display_ = MakeDisplay();
        in_ = PinOf(display_.Get(), L"Input");
        out_ = PinOf(display_.Get(), L"Output");
    }
    void TearDown() override
    {
        StopBoth();
        out_->Disconnect();
        readerPin_->Disconnect();
        in_->Disconnect();
        out_.Reset();
        in_.Reset();
        readerPin_.Reset();
        display_.Reset();
        reader_.Reset();
        EXPECT_EQ(pin_.References(), 1u);
        EXPECT_EQ(allocator_->References(), 1u);
        allocator_.reset();
        GreyDisplayGraph::TearDown();
    }
    void Connect(bool withAllocator)
    {
        if (withAllocator) pin_.allocator = allocator_.get();
        ASSERT_EQ(readerPin_->Connect(in_.Get(), nullptr), S_OK);
        ASSERT_EQ(out_->Connect(&pin_, nullptr), S_OK);
    }
    void RunBoth()
    {
        ASSERT_EQ(display_->Run(0), S_OK);
        ASSERT_EQ(reader_->Run(0), S_OK);
    }
    void StopBoth()
    {
        EXPECT_EQ(display_->Stop(), S_OK);
        EXPECT_EQ(reader_->Stop(), S_OK);
    }
    // A type of RGB32 with this width and height in its header.
    MediaType RgbType(LONG width, LONG height, bool withTarget)
    {
        VIDEOINFOHEADER header = {};
        header.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
        header.bmiHeader.biWidth = width;
        header.bmiHeader.biHeight = height;
        header.bmiHeader.biPlanes = 1;
        header.bmiHeader.biBitCount = 32;
        if (withTarget) header.rcTarget = {0, 0, 4, 2};
        MediaType type;
        type.Get().majortype = MEDIATYPE_Video;
        type.Get().subtype = MEDIASUBTYPE_RGB32;
        type.Get().formattype = FORMAT_VideoInfo;
        EXPECT_EQ(type.SetFormat(&header, sizeof(header)), S_OK);
        return type;
    }

    const TemporaryFile file_ = GreyClip16(5).Save();
    ComPointer<IBaseFilter> reader_, display_;
    ComPointer<IPin> readerPin_, in_, out_;
    FakePin pin_;
    std::unique_ptr<FakeAllocator> allocator_;
};

TEST_F(DisplayDownstream, AnswersForItsInterfacesAndPins)
{
    for (const GUID* iid : {&IID_IPersist, &IID_IMediaFilter, &IID_IBaseFilter, &IID_ITVGreyDisplay})
        EXPECT_TRUE(Query<IUnknown>(display_.Get(), *iid));
    for (const GUID* iid : {&IID_IFileSourceFilter, &IID_ISpecifyPropertyPages, &IID_IMediaSeeking})
        EXPECT_FALSE(Query<IUnknown>(display_.Get(), *iid));
    for (const GUID* iid : {&IID_IPin, &IID_IQualityControl, &IID_IMediaSeeking, &IID_IMediaPosition})
        EXPECT_TRUE(Query<IUnknown>(out_.Get(), *iid));
    EXPECT_TRUE(Query<IUnknown>(in_.Get(), IID_IMemInputPin));
    EXPECT_FALSE(Query<IUnknown>(in_.Get(), IID_IMediaSeeking));
    EXPECT_EQ(out_->Connect(&pin_, nullptr), VFW_E_NOT_CONNECTED) << "without an input there is no type";
    const auto grey = Query<ITVGreyDisplay>(display_.Get(), IID_ITVGreyDisplay);
    double number = 0;
    EXPECT_EQ(grey->GetWindow(&number, nullptr), E_POINTER);
    EXPECT_EQ(grey->SetWindow(0, 0.5), E_INVALIDARG);
    Connect(false);
    double smallest = 0, largest = 0;
    EXPECT_EQ(grey->GetValueRange(&smallest, &largest), S_OK);
    EXPECT_EQ(smallest, 0);
    EXPECT_EQ(largest, 4095);
    EXPECT_EQ(in_->Connect(&pin_, nullptr), E_UNEXPECTED);
    EXPECT_EQ(out_->Connect(&pin_, nullptr), VFW_E_ALREADY_CONNECTED);
}

TEST_F(DisplayDownstream, HostileTypesAreRefused)
{
    AM_MEDIA_TYPE good = {};
    ComPointer<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* first = nullptr;
    readerPin_->EnumMediaTypes(types.Out());
    ASSERT_EQ(types->Next(1, &first, nullptr), S_OK);
    good = *first;
    EXPECT_EQ(in_->QueryAccept(&good), S_OK);
    const auto refuses = [&](auto change) {
        MediaType copy;
        copy.CopyFrom(good);
        change(copy.Get());
        return in_->QueryAccept(&copy.Get()) == S_FALSE &&
               in_->ReceiveConnection(readerPin_.Get(), &copy.Get()) == VFW_E_TYPE_NOT_ACCEPTED;
    };
    const auto header = [](AM_MEDIA_TYPE& type) -> BITMAPINFOHEADER& {
        return reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader;
    };
    EXPECT_TRUE(refuses([](AM_MEDIA_TYPE& type) { type.majortype = MEDIATYPE_Audio; }));
    EXPECT_TRUE(refuses([](AM_MEDIA_TYPE& type) { type.subtype = MEDIASUBTYPE_RGB32; }));
    EXPECT_TRUE(refuses([](AM_MEDIA_TYPE& type) { type.formattype = FORMAT_VideoInfo2; }));
    EXPECT_TRUE(refuses([](AM_MEDIA_TYPE& type) { type.bTemporalCompression = TRUE; }));
    EXPECT_TRUE(refuses([](AM_MEDIA_TYPE& type) { type.cbFormat = 88; }));
    EXPECT_TRUE(refuses([&](AM_MEDIA_TYPE& type) { header(type).biWidth = 0x40000000; }));
    EXPECT_TRUE(refuses([&](AM_MEDIA_TYPE& type) { header(type).biBitCount = 8; }));
    EXPECT_TRUE(refuses([&](AM_MEDIA_TYPE& type) { header(type).biClrUsed = 65537; }));
    EXPECT_EQ(in_->QueryAccept(nullptr), S_FALSE);
    EXPECT_EQ(in_->ReceiveConnection(readerPin_.Get(), nullptr), E_POINTER);
    DeleteMediaType(first);
}

// A renderer may ask for longer rows and for the first row first, when it connects or with any sample.
TEST_F(DisplayDownstream, RowsAreAsDownstreamWantsThem)
{
    Connect(true);
    EXPECT_EQ(pin_.chosen, allocator_.get());
    EXPECT_EQ(out_->QueryAccept(&RgbType(4, -2, false).Get()), S_OK);
    EXPECT_EQ(out_->QueryAccept(&RgbType(7, -2, true).Get()), S_OK);
    EXPECT_EQ(out_->QueryAccept(&RgbType(7, 2, false).Get()), S_FALSE) << "a wider picture";
    EXPECT_EQ(out_->QueryAccept(&RgbType(3, 2, true).Get()), S_FALSE);
    EXPECT_EQ(out_->QueryAccept(&RgbType(4, 3, false).Get()), S_FALSE);
    allocator_->changedType = RgbType(4, -2, false);
    allocator_->changeAt = 2;
    RunBoth();
    ASSERT_TRUE(pin_.WaitForEnd());
    const std::vector<RecordedSample> samples = pin_.Samples();
    ASSERT_EQ(samples.size(), 5u);
    for (int n = 0; n < 5; ++n) {
        const ByteVector picture = Picture(GreyClipSample(n));
        EXPECT_EQ(samples[static_cast<size_t>(n)].bytes, n < 2 ? picture : TopDown(picture)) << n;
    }
    StopBoth();
    AM_MEDIA_TYPE type = {};
    ASSERT_EQ(out_->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader.biHeight, -2);
    FreeMediaType(&type);

    EXPECT_EQ(out_->Disconnect(), S_OK);
    pin_.ends = 0;
    allocator_->changedType.Reset();
    const MediaType wide = RgbType(6, 2, true);
    ASSERT_EQ(out_->Connect(&pin_, &wide.Get()), S_OK);
    RunBoth();
    ASSERT_TRUE(pin_.WaitForEnd());
    const ByteVector last = pin_.Samples().back().bytes, narrow = Picture(GreyClipSample(4));
    ASSERT_EQ(last.size(), 6u * 4 * 2);
    EXPECT_TRUE(std::equal(narrow.begin(), narrow.begin() + 16, last.begin()));
    EXPECT_TRUE(std::equal(narrow.begin() + 16, narrow.end(), last.begin() + 24));
}

TEST_F(DisplayDownstream, BuffersThatAreTooSmallAreNoPlaceForAPicture)
{
    allocator_->largest = 31;
    Connect(true);
    EXPECT_NE(pin_.chosen, allocator_.get());
    EXPECT_EQ(out_->Disconnect(), S_OK);
    allocator_->honest = false;  // promises the size, hands out less
    ASSERT_EQ(out_->Connect(&pin_, nullptr), S_OK);
    EXPECT_EQ(pin_.chosen, allocator_.get());
    RunBoth();
    Sleep(50);
    EXPECT_TRUE(pin_.Samples().empty());
}

TEST_F(DisplayDownstream, StormsOfSeeksWindowsAndStopsNeverBlock)
{
    Connect(false);
    pin_.msPerSample = 1;
    const auto seeking = Query<IMediaSeeking>(out_.Get(), IID_IMediaSeeking);
    const auto grey = Query<ITVGreyDisplay>(display_.Get(), IID_ITVGreyDisplay);
    ASSERT_TRUE(seeking);
    std::atomic<bool> over{false};
    std::atomic<int> rounds{0};
    std::thread storm([&] {
        for (int i = 0; !over; ++i, ++rounds) {
            LONGLONG position = (i * 3 % 5) * kFrameUnits;
            EXPECT_TRUE(
                SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0)));
            EXPECT_EQ(grey->SetWindow(i % 100, 1 + i % 300), S_OK);
            if (i % 7 == 0) {
                EXPECT_EQ(grey->ResetWindow(), S_OK);
            }
            Sleep(1);
        }
    });
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(display_->Run(0), S_OK);
        EXPECT_EQ(reader_->Run(0), S_OK);
        Sleep(static_cast<DWORD>(i % 4));
        if (i % 2 == 0) {
            EXPECT_EQ(display_->Pause(), S_OK);
        }
        StopBoth();
    }
    over = true;
    storm.join();
    EXPECT_GT(rounds, 10);
    EXPECT_FALSE(pin_.Samples().empty());
    EXPECT_EQ(grey->ResetWindow(), S_OK);
    LONGLONG begin = 0;
    seeking->SetPositions(&begin, AM_SEEKING_AbsolutePositioning, nullptr, 0);
    pin_.ends = 0;
    RunBoth();
    ASSERT_TRUE(pin_.WaitForEnd());
    EXPECT_EQ(pin_.Samples().back().bytes, Picture(GreyClipSample(4)));
}

// Graphs come and go without a reference left behind.
TEST_F(RenderedGraph, ManyGraphsLeaveNothing)
{
    const TemporaryFile file = GreyClip16(2).Save();
    for (int i = 0; i < 20; ++i) {
        Build(file.Path());
        ASSERT_TRUE(Display());
        if (i % 4 == 0) PlayToTheEnd();
        Release();
        ASSERT_EQ(GreyServer::Get().canUnloadNow(), S_OK) << i;
        ASSERT_EQ(Server::Get().canUnloadNow(), S_OK) << i;
    }
}
}  // namespace
}  // namespace talv

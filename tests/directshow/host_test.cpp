// Hosts that are short of something, that changed their threads, or that let go while frames are on their
// way.
#include <xmmintrin.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "tests/directshow/fake_downstream.h"
#include "tests/directshow/import_patch.h"

namespace talv {
namespace {
class Host : public ComponentTest
{
  protected:
    static ComPointer<IBaseFilter> Owner(IPin* pin)
    {
        PIN_INFO info = {};
        pin->QueryPinInfo(&info);
        ComPointer<IBaseFilter> owner;
        *owner.Out() = info.pFilter;
        return owner;
    }
    static FILTER_STATE StateOf(IBaseFilter* filter)
    {
        FILTER_STATE state = State_Running;
        filter->GetState(0, &state);
        return state;
    }
};

HANDLE WINAPI NoThread(SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE, void*, DWORD, DWORD*)
{
    return nullptr;
}
HANDLE WINAPI NoEvent(SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCWSTR)
{
    return nullptr;
}

TEST_F(Host, WithoutAThreadOrAnEventRunningFailsAndNothingStays)
{
    const TemporaryFile file = GreyClip(3).Save();
    const auto play = [&](IBaseFilter* filter, bool possible) {
        FakePin input;
        const ComPointer<IPin> output = OnlyPin(filter);
        ASSERT_EQ(output->Connect(&input, nullptr), S_OK);
        EXPECT_EQ(filter->Run(0), possible ? S_OK : E_OUTOFMEMORY);
        EXPECT_EQ(StateOf(filter), possible ? State_Running : State_Stopped);
        if (possible) {
            EXPECT_TRUE(input.WaitForEnd());
        }
        filter->Stop();
        output->Disconnect();
    };
    const ComPointer<IBaseFilter> filter = MakeFilter();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    {
        const ImportPatch patch("CreateThread", &NoThread);
        ASSERT_TRUE(patch.Placed());
        play(filter.Get(), false);
    }
    play(filter.Get(), true);
    const ImportPatch patch("CreateEventW", &NoEvent);
    ASSERT_TRUE(patch.Placed());
    const ComPointer<IBaseFilter> second = MakeFilter();
    ASSERT_EQ(LoadPath(second.Get(), file.Path()), S_OK);
    play(second.Get(), false);
}

// Memory calls of the component until one fails; negative: none does.
std::atomic<int> callsLeft{-1};
bool MemoryIsShort()
{
    return callsLeft >= 0 && callsLeft-- == 0;
}
void* ShortMalloc(size_t size)
{
    return MemoryIsShort() ? nullptr : std::malloc(size);
}
void* ShortCalloc(size_t count, size_t size)
{
    return MemoryIsShort() ? nullptr : std::calloc(count, size);
}
void* ShortRealloc(void* block, size_t size)
{
    return MemoryIsShort() ? nullptr : std::realloc(block, size);
}
HGLOBAL WINAPI ShortGlobalAlloc(UINT flags, SIZE_T size)
{
    return MemoryIsShort() ? nullptr : GlobalAlloc(flags, size);
}
LPVOID WINAPI ShortTaskAlloc(SIZE_T size)
{
    return MemoryIsShort() ? nullptr : CoTaskMemAlloc(size);
}

// Opens and plays the file while memory call `n` fails; false when there was no such call, and all went well.
bool FailCall(int n, const std::string& path)
{
    const NoticeCapture notices;
    bool complete = false, failed = true;
    callsLeft = n;
    {
        ComPointer<IClassFactory> factory;
        ComPointer<IBaseFilter> filter;
        HRESULT hr = Server::Get().getClassObject(kReaderClass, IID_IClassFactory, factory.OutVoid());
        if (SUCCEEDED(hr)) hr = factory->CreateInstance(nullptr, IID_IBaseFilter, filter.OutVoid());
        if (FAILED(hr)) {
            EXPECT_EQ(hr, E_OUTOFMEMORY) << n;
        } else {
            const HRESULT loaded = LoadPath(filter.Get(), path.c_str());
            EXPECT_TRUE(loaded == S_OK || loaded == S_FALSE) << n;
            ComPointer<IEnumPins> pins;
            ComPointer<IPin> output;
            FakePin input;
            if (SUCCEEDED(filter->EnumPins(pins.Out()))) pins->Next(1, output.Out(), nullptr);
            if (output && SUCCEEDED(output->Connect(&input, nullptr)) && SUCCEEDED(filter->Run(0)))
                complete = input.WaitForEnd();
            filter->Stop();
            if (output) output->Disconnect();
            failed = callsLeft < 0;
            callsLeft = -1;
            EXPECT_EQ(LoadPath(filter.Get(), path.c_str()), S_OK) << n;
        }
    }
    callsLeft = -1;
    EXPECT_EQ(Server::Get().canUnloadNow(), S_OK) << n;
    EXPECT_TRUE(failed || complete);
    return failed && n < 5000;
}

// For every memory call that opening and playing needs: no exception comes out, what was made goes away, and
// the next attempt succeeds.
TEST_F(Host, EveryMemoryCallMayFail)
{
    const ImportPatch patches[] = {{"malloc", &ShortMalloc},
                                   {"calloc", &ShortCalloc},
                                   {"realloc", &ShortRealloc},
                                   {"GlobalAlloc", &ShortGlobalAlloc},
                                   {"CoTaskMemAlloc", &ShortTaskAlloc}};
    _putenv("FLT_THREADS=1");  // a thread's own first lock needs memory of the system's library
    ASSERT_TRUE(patches[0].Placed());
    ASSERT_TRUE(patches[2].Placed());
    const TemporaryFile clip = GreyClip(2).Save();
    for (const std::string& path :
         {std::string(clip.Path()), TALV_TEST_DATA + std::string("/samples/jpeg-ybr-3x3.dcm"),
          TALV_TEST_DATA + std::string("/samples/j2k-mr.dcm")}) {
        SCOPED_TRACE(path);
        int calls = 0;
        while (FailCall(calls, path)) ++calls;
        EXPECT_GT(calls, 30);
    }
    _putenv("FLT_THREADS=");
}

// What is left of the caller's arithmetic: every trap on, rounding upwards, small numbers lost, 24 bits.
class ChangedArithmetic
{
  public:
    ChangedArithmetic() : vector_(_mm_getcsr())
    {
        const uint16_t control = 0x0800;
        asm volatile("fnstcw %0" : "=m"(x87_));
        asm volatile("fldcw %0" : : "m"(control));
        _mm_setcsr(0xC040);
    }
    ~ChangedArithmetic()
    {
        EXPECT_EQ(_mm_getcsr(), 0xC040u);
        uint16_t control = 0;
        asm volatile("fnstcw %0" : "=m"(control));
        EXPECT_EQ(control & 0x0F3F, 0x0800);
        asm volatile("fnclex\n\tfldcw %0" : : "m"(x87_));
        _mm_setcsr(vector_);
    }

  private:
    uint32_t vector_;
    uint16_t x87_;
};

TEST_F(Host, ArithmeticOfTheCallersThreadDoesNotMatter)
{
    for (const char* name :
         {"j2k-nm-lossy.dcm", "jpeg-rgb.dcm", "le-ct-rescale.dcm", "jpeg-ybr422-us-30f.dcm"}) {
        SCOPED_TRACE(name);
        const std::string path = std::string(TALV_TEST_DATA "/samples/") + name;
        ByteVector formats[2];
        LONGLONG stops[2] = {};
        for (const bool changed : {false, true}) {
            const ComPointer<IBaseFilter> filter = MakeFilter();
            const auto reader = Query<ITVDicRd>(filter.Get(), IID_ITVDicRd);
            reader->ResetToDefaults();
            const auto seeking = Query<IMediaSeeking>(OnlyPin(filter.Get()).Get(), IID_IMediaSeeking);
            const auto quality = Query<IQualityControl>(OnlyPin(filter.Get()).Get(), IID_IQualityControl);
            {
                std::unique_ptr<ChangedArithmetic> arithmetic;
                if (changed) arithmetic = std::make_unique<ChangedArithmetic>();
                EXPECT_EQ(LoadPath(filter.Get(), path.c_str()), S_OK);
                EXPECT_EQ(seeking->SetRate(3.0), S_OK);
                EXPECT_EQ(quality->Notify(nullptr, {Flood, 700, 0, 0}), S_OK);
                EXPECT_EQ(reader->put_FrameTime(77), S_OK);
                EXPECT_EQ(seeking->GetDuration(&stops[changed]), S_OK);
            }
            ComPointer<IEnumMediaTypes> types;
            AM_MEDIA_TYPE* type = nullptr;
            OnlyPin(filter.Get())->EnumMediaTypes(types.Out());
            ASSERT_EQ(types->Next(1, &type, nullptr), S_OK);
            formats[changed].assign(type->pbFormat, type->pbFormat + type->cbFormat);
            DeleteMediaType(type);
            reader->ResetToDefaults();
        }
        EXPECT_TRUE(formats[0] == formats[1]);
        EXPECT_EQ(stops[0], stops[1]);
    }
}

constexpr size_t kPainted = 512 * 1024;

__attribute__((noinline)) uint8_t* PaintStack()
{
    auto* lowest = static_cast<uint8_t*>(__builtin_alloca(kPainted));
    for (size_t i = 0; i < kPainted; ++i) const_cast<volatile uint8_t*>(lowest)[i] = 0xA5;
    uint8_t* result = lowest;
    asm volatile("" : "+r"(result));  // the address outlives the array, whose bytes stay where they are
    return result;
}

// Bytes of stack that loading `path` takes below this call.
size_t StackOfLoading(const char* path)
{
    size_t used = 0;
    std::thread([&] {
        const ComPointer<IBaseFilter> filter = MakeFilter();
        const volatile uint8_t* lowest = PaintStack();
        LoadPath(filter.Get(), path);
        size_t untouched = 0;
        while (untouched < kPainted && lowest[untouched] == 0xA5) ++untouched;
        used = kPainted - untouched;
    }).join();
    return used;
}

TEST_F(Host, LoadingFitsAStackOf64KiB)
{
    const NoticeCapture notices;
    for (const char* name : {"j2k-nm-lossy.dcm", "j2k-rgb-lossy.dcm", "jpeg-spectral12.dcm", "jpeg-rgb.dcm",
                             "jpegll14-ct.dcm", "rle-palette.dcm", "le-ybr-full.dcm", "le-ct-rescale.dcm"})
        EXPECT_LT(StackOfLoading((std::string(TALV_TEST_DATA "/samples/") + name).c_str()), 56u * 1024)
            << name;
    DicomBuilder nested = PreambleFile();
    nested.ExplicitLittle();
    for (int level = 0; level < 250; ++level) nested.BeginSequence(0x00081140).BeginItem();
    for (int level = 0; level < 250; ++level) nested.EndItem().EndSequence();
    const TemporaryFile file = nested.Image({.rows = 1, .columns = 4}).NativePixels(ByteVector(4, 1)).Save();
    EXPECT_LT(StackOfLoading(file.Path()), 56u * 1024);
}

// The worker is held by downstream while another thread lets go of everything.
TEST_F(Host, TheLibraryStaysWhileAWorkerEnds)
{
    const TemporaryFile file = GreyClip(5).Save();
    FakePin input;
    ComPointer<IBaseFilter> filter = MakeFilter();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    ASSERT_EQ(OnlyPin(filter.Get())->Connect(&input, nullptr), S_OK);
    input.msPerSample = 300;
    ASSERT_EQ(filter->Run(0), S_OK);
    while (input.Samples().empty()) Sleep(1);
    std::atomic<bool> gone{false};
    std::thread last([&] {
        filter.Reset();
        gone = true;
    });
    int stays = 0;
    while (!gone) {
        const HRESULT may = Server::Get().canUnloadNow();
        if (!gone) {
            EXPECT_EQ(may, S_FALSE);
            ++stays;
        }
        Sleep(5);
    }
    last.join();
    EXPECT_GT(stays, 5);
    EXPECT_EQ(input.References(), 1u);
}

// The worker itself lets go of the last reference, from downstream; also when it stopped the filter before.
TEST_F(Host, TheWorkerMayLetGoOfTheLastReference)
{
    const TemporaryFile file = GreyClip(5).Save();
    for (const bool stopFirst : {false, true}) {
        FakePin input;
        ComPointer<IBaseFilter> filter = MakeFilter();
        ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
        ComPointer<IPin> output = OnlyPin(filter.Get());
        ASSERT_EQ(output->Connect(&input, nullptr), S_OK);
        std::atomic<bool> alone{false};
        input.onSample = [&] {
            while (!alone) Sleep(1);
            if (stopFirst) Owner(output.Get())->Stop();
            output.Reset();
        };
        ASSERT_EQ(filter->Run(0), S_OK);
        filter.Reset();
        alone = true;
        for (int i = 0; i < 1000 && Server::Get().canUnloadNow() != S_OK; ++i) Sleep(10);
        EXPECT_EQ(Server::Get().canUnloadNow(), S_OK);
        EXPECT_EQ(input.Samples().size(), 1u);
        EXPECT_EQ(input.ends, 0);
        EXPECT_EQ(input.References(), 1u);
    }
}
}  // namespace
}  // namespace talv

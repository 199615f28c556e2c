#include "filter/directshow/media_type.h"
#include "tests/directshow/fake_downstream.h"

namespace talv {
namespace {
class PinFormat : public ComponentTest
{
  protected:
    // The one type that the pin offers.
    static AM_MEDIA_TYPE* Offered(IPin* pin)
    {
        ComPointer<IEnumMediaTypes> types;
        EXPECT_EQ(pin->EnumMediaTypes(types.Out()), S_OK);
        AM_MEDIA_TYPE* type = nullptr;
        EXPECT_EQ(types->Next(1, &type, nullptr), S_OK);
        AM_MEDIA_TYPE* second = nullptr;
        EXPECT_EQ(types->Next(1, &second, nullptr), S_FALSE);
        return type;
    }
};

TEST_F(PinFormat, OffersEightBitVideoAndRefusesWhatDiffers)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(3).Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    const ComPointer<IPin> pin = OnlyPin(filter.Get());
    AM_MEDIA_TYPE* type = Offered(pin.Get());
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->majortype, MEDIATYPE_Video);
    EXPECT_EQ(type->subtype, MEDIASUBTYPE_RGB8);
    EXPECT_EQ(type->formattype, FORMAT_VideoInfo);
    EXPECT_EQ(type->cbFormat, 1128u);
    EXPECT_EQ(type->lSampleSize, 8u);
    auto* info = reinterpret_cast<VIDEOINFO*>(type->pbFormat);
    EXPECT_EQ(info->AvgTimePerFrame, 400000);
    EXPECT_EQ(info->bmiHeader.biWidth, 4);
    EXPECT_EQ(info->bmiHeader.biHeight, 2);
    EXPECT_EQ(pin->QueryAccept(type), S_OK);

    const auto refused = [&](auto change) {
        MediaType changed;
        changed.CopyFrom(*type);
        change(changed.Get(), *reinterpret_cast<VIDEOINFO*>(changed.Get().pbFormat));
        return pin->QueryAccept(&changed.Get()) == S_FALSE;
    };
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE& t, VIDEOINFO&) { t.majortype = MEDIATYPE_Audio; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE& t, VIDEOINFO&) { t.subtype = MEDIASUBTYPE_YUY2; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE& t, VIDEOINFO&) { t.lSampleSize = 12; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE& t, VIDEOINFO&) { t.bTemporalCompression = TRUE; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE& t, VIDEOINFO&) { t.bFixedSizeSamples = FALSE; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE& t, VIDEOINFO&) { t.cbFormat = 60; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE&, VIDEOINFO& i) { i.bmiHeader.biHeight = -2; }));
    EXPECT_TRUE(refused([](AM_MEDIA_TYPE&, VIDEOINFO& i) { i.bmiHeader.biCompression = 1; }));
    EXPECT_EQ(pin->QueryAccept(nullptr), S_FALSE);
    DeleteMediaType(type);
}

TEST_F(PinFormat, WithoutAFileThereIsNoType)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    ComPointer<IEnumMediaTypes> types;
    ASSERT_EQ(OnlyPin(filter.Get())->EnumMediaTypes(types.Out()), S_OK);
    AM_MEDIA_TYPE* type = nullptr;
    EXPECT_EQ(types->Next(1, &type, nullptr), S_FALSE);
    LPOLESTR name = nullptr;
    AM_MEDIA_TYPE current = {};
    EXPECT_EQ(Query<IFileSourceFilter>(filter.Get(), IID_IFileSourceFilter)->GetCurFile(&name, &current),
              E_FAIL);
    EXPECT_EQ(name, nullptr);
}

TEST_F(PinFormat, AConnectedPinKeepsItsFile)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile first = GreyClip(2).Save(), second = GreyClip(3).Save();
    ASSERT_EQ(LoadPath(filter.Get(), first.Path()), S_OK);
    TestGraph graph(filter.Get());
    ASSERT_EQ(graph.connected, S_OK);
    EXPECT_EQ(LoadPath(filter.Get(), second.Path()), S_FALSE);
    const ComPointer<IPin> pin = OnlyPin(filter.Get());
    LONGLONG frames = 0;
    const auto seeking = Query<IMediaSeeking>(pin.Get(), IID_IMediaSeeking);
    EXPECT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(seeking->GetDuration(&frames), S_OK);
    EXPECT_EQ(frames, 2);
}

TEST_F(PinFormat, SeeksRoundAndConversionsTruncate)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(5).Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    const auto seeking = Query<IMediaSeeking>(OnlyPin(filter.Get()).Get(), IID_IMediaSeeking);
    LONGLONG position = 600000, converted = 0;
    EXPECT_EQ(seeking->ConvertTimeFormat(&converted, &TIME_FORMAT_FRAME, position, nullptr), S_OK);
    EXPECT_EQ(converted, 1);
    EXPECT_EQ(seeking->ConvertTimeFormat(&converted, &TIME_FORMAT_BYTE, position, nullptr), E_INVALIDARG);
    EXPECT_EQ(
        seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime, nullptr, 0),
        S_OK);
    EXPECT_EQ(position, 800000);
    EXPECT_EQ(seeking->SetPositions(nullptr, AM_SEEKING_AbsolutePositioning, nullptr, 0), E_POINTER);
    EXPECT_EQ(seeking->SetPositions(&position, AM_SEEKING_IncrementalPositioning, nullptr, 0), E_INVALIDARG);
    DWORD capabilities = 0xFFFFFFFF;
    EXPECT_EQ(seeking->CheckCapabilities(&capabilities), S_FALSE);
    EXPECT_EQ(capabilities, 63u);
    EXPECT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_SAMPLE), S_FALSE);
}

// Stream position, length and the bytes of an MPEG-2 file's second item, read by pull.
TEST_F(PinFormat, Mpeg2StreamIsReadByPull)
{
    ByteVector stream;
    for (int i = 0; i < 1000; ++i) stream.push_back(static_cast<uint8_t>(i * 7));
    const TemporaryFile file = PreambleFile()
                                   .ExplicitLittle("1.2.840.10008.1.2.4.100")
                                   .Image({.rows = 2, .columns = 4})
                                   .Encapsulated({stream})
                                   .Save();
    const ComPointer<IBaseFilter> filter = MakeFilter();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    const ComPointer<IPin> pin = OnlyPin(filter.Get());
    EXPECT_FALSE(Query<IMediaSeeking>(pin.Get(), IID_IMediaSeeking));
    const auto reader = Query<IAsyncReader>(pin.Get(), IID_IAsyncReader);
    ASSERT_TRUE(reader);
    LONGLONG total = 0, available = 0;
    EXPECT_EQ(reader->Length(&total, &available), S_OK);
    EXPECT_EQ(total, 1000);
    EXPECT_EQ(available, 1000);
    uint8_t bytes[16] = {};
    EXPECT_EQ(reader->SyncRead(500, 16, bytes), S_OK);
    EXPECT_TRUE(std::equal(bytes, bytes + 16, stream.begin() + 500));
    EXPECT_EQ(reader->SyncRead(992, 16, bytes), S_FALSE);
    EXPECT_EQ(reader->SyncRead(-1, 16, bytes), E_INVALIDARG);
    EXPECT_EQ(reader->SyncRead(0, 16, nullptr), E_POINTER);

    ALLOCATOR_PROPERTIES properties = {2, 64, 1, 0};
    ComPointer<IMemAllocator> allocator;
    ASSERT_EQ(reader->RequestAllocator(nullptr, &properties, allocator.Out()), S_OK);
    allocator->Commit();
    ComPointer<IMediaSample> sample, back;
    ASSERT_EQ(allocator->GetBuffer(sample.Out(), nullptr, nullptr, 0), S_OK);
    REFERENCE_TIME start = 100 * 10000000ll, stop = 164 * 10000000ll;
    sample->SetTime(&start, &stop);
    EXPECT_EQ(reader->Request(sample.Get(), 42), S_OK);
    DWORD_PTR user = 0;
    EXPECT_EQ(reader->WaitForNext(1000, back.Out(), &user), S_OK);
    EXPECT_EQ(user, 42u);
    EXPECT_EQ(back.Get(), sample.Get());
    EXPECT_EQ(sample->GetActualDataLength(), 64);
    BYTE* read = nullptr;
    sample->GetPointer(&read);
    EXPECT_TRUE(std::equal(read, read + 64, stream.begin() + 100));
    EXPECT_EQ(reader->WaitForNext(10, back.Out(), &user), VFW_E_TIMEOUT);
    EXPECT_EQ(reader->BeginFlush(), S_OK);
    EXPECT_EQ(reader->WaitForNext(INFINITE, back.Out(), &user), VFW_E_WRONG_STATE);
    EXPECT_EQ(reader->EndFlush(), S_OK);
}

// What a refused load leaves alone, and what a pin that is not shown any more answers.
TEST_F(PinFormat, OnlyThePinThatIsShownConnects)
{
    const TemporaryFile clip = GreyClip(2).Save();
    const TemporaryFile mpeg2 = PreambleFile()
                                    .ExplicitLittle("1.2.840.10008.1.2.4.100")
                                    .Image({.rows = 2, .columns = 4})
                                    .Encapsulated({ByteVector(64, 1)})
                                    .Save();
    const ComPointer<IBaseFilter> filter = MakeFilter();
    FakePin input;
    ASSERT_EQ(LoadPath(filter.Get(), clip.Path()), S_OK);
    const ComPointer<IPin> video = OnlyPin(filter.Get());
    ComPointer<IEnumPins> pins;
    ASSERT_EQ(filter->EnumPins(pins.Out()), S_OK);
    ASSERT_EQ(LoadPath(filter.Get(), mpeg2.Path()), S_OK);
    const ComPointer<IPin> stream = OnlyPin(filter.Get());
    ComPointer<IPin> listed;
    EXPECT_EQ(pins->Next(1, listed.Out(), nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Next(1, listed.Out(), nullptr), S_OK);
    EXPECT_EQ(listed.Get(), stream.Get());
    EXPECT_EQ(video->Connect(&input, nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
    ASSERT_EQ(stream->Connect(&input, nullptr), S_OK);

    ComPointer<IMemAllocator> allocator;
    const auto reader = Query<IAsyncReader>(stream.Get(), IID_IAsyncReader);
    ALLOCATOR_PROPERTIES wanted = {1, 64, 1, 0};
    ASSERT_EQ(reader->RequestAllocator(nullptr, &wanted, allocator.Out()), S_OK);
    allocator->Commit();
    ComPointer<IMediaSample> sample, back;
    ASSERT_EQ(allocator->GetBuffer(sample.Out(), nullptr, nullptr, 0), S_OK);
    REFERENCE_TIME start = 0, stop = 64 * 10'000'000;
    sample->SetTime(&start, &stop);
    EXPECT_EQ(reader->Request(sample.Get(), 5), S_OK);
    EXPECT_EQ(LoadPath(filter.Get(), clip.Path()), S_FALSE);
    DWORD_PTR user = 0;
    EXPECT_EQ(reader->WaitForNext(0, back.Out(), &user), S_OK) << "a refused load keeps what was asked for";
    EXPECT_EQ(user, 5u);
    EXPECT_EQ(stream->Disconnect(), S_OK);
}
}  // namespace
}  // namespace talv

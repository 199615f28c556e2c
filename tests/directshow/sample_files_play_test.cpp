#if __has_include(<nlohmann/json.hpp>)
#include <fstream>
#include <nlohmann/json.hpp>

#include "dicom/data_set.h"
#include "filter/directshow/media_type.h"
#include "filter/frame_source.h"
#include "filter/media_format.h"
#include "filter/memory_sample.h"
#include "tests/directshow/component_fixture.h"

// The sample files, and clips made of them, played to their end in a graph. What arrives is compared with
// what the portable frame source of this program makes of the same file.
namespace talv {
namespace {
using nlohmann::json;

const std::string kSamples = TALV_TEST_DATA "/samples/";

// A file as the portable source sees it.
struct Reference
{
    explicit Reference(const std::string& path)
    {
        loaded = source.Load(std::u16string(path.begin(), path.end()).c_str(), false);
    }
    ByteVector Frame(int64_t index)
    {
        MemorySample sample(source.SampleSize());
        EXPECT_EQ(source.ReadFrameIntoSample(&sample, index), 0) << "frame " << index;
        return sample.bytes;
    }
    // The value of Pixel Data; encapsulated: of all items behind the offset table.
    ByteVector PixelBytes()
    {
        DicomDataSet* dataSet = source.dataSet;
        ByteVector all;
        const auto append = [&](DicomElement* element) {
            const size_t before = all.size();
            all.resize(before + element->length);
            EXPECT_EQ(dataSet->ReadValueBytes(element, 0, all.data() + before, element->length),
                      element->length);
        };
        if (source.pixelDataElement->length != kUndefinedLength) {
            append(source.pixelDataElement);
            return all;
        }
        DicomElement* item = dataSet->GetChildElement(source.pixelDataElement, true);
        while ((item = dataSet->GetNextElement(item, true, true)) != nullptr)
            if (item->length != kUndefinedLength) append(item);
        return all;
    }

    FrameTimeline timeline;
    FrameSource source{&timeline};
    int32_t loaded;
};

class SampleFilesPlay : public ComponentTest
{
  protected:
    SampleFilesPlay()
    {
        std::ifstream file(kSamples + "samples.json");
        samples_ = json::parse(file).at("files");
    }

    // The type that the pin offers, byte for byte the portable source's.
    static void ExpectFormat(const std::string& path, const FrameSource& source)
    {
        const ComPointer<IBaseFilter> filter = MakeFilter();
        ASSERT_EQ(LoadPath(filter.Get(), path.c_str()), S_OK);
        ComPointer<IEnumMediaTypes> types;
        AM_MEDIA_TYPE* type = nullptr;
        OnlyPin(filter.Get())->EnumMediaTypes(types.Out());
        ASSERT_EQ(types->Next(1, &type, nullptr), S_OK);
        MediaFormat format;
        ASSERT_TRUE(BuildMediaFormat(source, &format));
        EXPECT_TRUE(std::equal(type->pbFormat, type->pbFormat + type->cbFormat, format.block.begin(),
                               format.block.end()));
        EXPECT_EQ(type->lSampleSize, format.sampleSize);
        const GUID* const subtypes[] = {&GUID_NULL,         &MEDIASUBTYPE_RGB1, &MEDIASUBTYPE_RGB4,
                                        &MEDIASUBTYPE_RGB8, &kSubtypeGrey,      &MEDIASUBTYPE_RGB24,
                                        &MEDIASUBTYPE_RGB32};
        EXPECT_EQ(type->subtype, *subtypes[static_cast<int>(format.subtype)]);
        DeleteMediaType(type);
    }

    // Plays `path` to its end. Frame n must arrive once, at n times `units`, with the bytes of `frame(n)`.
    template <class Frame>
    static void ExpectPlays(const std::string& path, int frames, int64_t units, Frame frame)
    {
        const ComPointer<IBaseFilter> filter = MakeFilter();
        ASSERT_EQ(LoadPath(filter.Get(), path.c_str()), S_OK);
        TestGraph graph(filter.Get());
        ASSERT_EQ(graph.connected, S_OK);
        ASSERT_TRUE(SUCCEEDED(graph.Run()));
        ASSERT_TRUE(graph.WaitForEnd());
        const std::vector<RecordedSample> samples = graph.Samples();
        ASSERT_EQ(samples.size(), static_cast<size_t>(frames));
        for (int n = 0; n < frames; ++n) {
            const RecordedSample& sample = samples[static_cast<size_t>(n)];
            EXPECT_EQ(sample.start, units * n);
            EXPECT_EQ(sample.stop, units * (n + 1));
            EXPECT_EQ(sample.mediaStart, n);
            EXPECT_EQ(sample.mediaStop, n + 1);
            EXPECT_TRUE(sample.bytes == frame(n)) << "bytes of frame " << n;
        }
    }

    json samples_;
};

TEST_F(SampleFilesPlay, ToTheirEndWithTheStampsOfTheirFacts)
{
    int played = 0;
    for (const auto& [name, facts] : samples_.items()) {
        SCOPED_TRACE(name);
        const std::string path = kSamples + name, outcome = facts.at("outcome");
        if (outcome == "mpeg2") continue;
        const NoticeCapture notices;
        Reference reference(path);
        if (outcome == "refuse") {
            EXPECT_EQ(LoadPath(MakeFilter().Get(), path.c_str()), S_FALSE);
            EXPECT_NE(reference.loaded, kLoadOk);
        } else if (outcome == "ok" || reference.loaded == kLoadOk) {
            const json& expected = facts.at("expected");
            ExpectFormat(path, reference.source);
            ExpectPlays(path, expected.at("frames"), expected.at("frameTimeUnits"),
                        [&](int n) { return reference.Frame(n); });
            ++played;
        }
    }
    EXPECT_GE(played, 33);
}

// A single picture of each transfer syntax becomes a clip of five, one fragment for each frame.
TEST_F(SampleFilesPlay, ClipsOfEveryTransferSyntax)
{
    for (const char* name : {"implicit-mr.dcm", "le-mr-signed16.dcm", "be-mr.dcm", "be-rgb-planar.dcm",
                             "rle-mr16.dcm", "jpeg-rgb.dcm", "jpeg-extended12.dcm", "jpegll14-ct.dcm",
                             "jpegll-rgb.dcm", "j2k-mr.dcm", "j2k-rgb-lossy.dcm"}) {
        SCOPED_TRACE(name);
        const json& facts = samples_.at(name);
        Reference reference(kSamples + name);
        ASSERT_EQ(reference.loaded, kLoadOk);
        ImageAttributes image;
        image.rows = facts.at("rows");
        image.columns = facts.at("columns");
        image.bitsAllocated = facts.at("bitsAllocated");
        image.bitsStored = facts.at("bitsStored");
        image.highBit = facts.at("highBit");
        image.pixelRepresentation = facts.at("pixelRepresentation");
        image.samplesPerPixel = facts.at("samplesPerPixel");
        image.photometric = facts.at("photometric");
        image.planarConfiguration = facts.value("planarConfiguration", 0);
        image.numberOfFrames = "5";
        DicomBuilder file = PreambleFile();
        const std::string syntax = facts.at("transferSyntax");
        if (syntax == "1.2.840.10008.1.2")
            file.ImplicitLittle();
        else if (syntax == "1.2.840.10008.1.2.2")
            file.ExplicitBig();
        else
            file.ExplicitLittle(syntax);
        file.Ds(0x00181063, "25").Image(image);
        const ByteVector pixels = reference.PixelBytes();
        if (facts.at("encapsulated")) {
            file.Encapsulated(std::vector<ByteVector>(5, pixels));
        } else {
            ByteVector all;
            for (int n = 0; n < 5; ++n) all.insert(all.end(), pixels.begin(), pixels.end());
            file.NativePixels(all, image.bitsAllocated == 8 ? "OB" : "OW");
        }
        const TemporaryFile saved = file.Save();
        Reference clip(saved.Path());
        EXPECT_EQ(clip.Frame(4), reference.Frame(0));
        ExpectPlays(saved.Path(), 5, 250000, [&](int n) { return clip.Frame(n); });
    }
}

// The stream goes through the system's parser and decoder, where it has them for this bitness.
TEST_F(SampleFilesPlay, Mpeg2ThroughTheSystemsDecoder)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    ASSERT_EQ(LoadPath(filter.Get(), (kSamples + "mpeg2-generated.dcm").c_str()), S_OK);
    ComPointer<IGraphBuilder> graph;
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.OutVoid());
    graph->AddFilter(filter.Get(), L"Reader");
    if (FAILED(graph->Render(OnlyPin(filter.Get()).Get())))
        GTEST_SKIP() << "no MPEG-2 parser or decoder here";
    const auto control = Query<IMediaControl>(graph.Get(), IID_IMediaControl);
    ASSERT_TRUE(SUCCEEDED(control->Run()));
    const auto events = Query<IMediaEvent>(graph.Get(), IID_IMediaEvent);
    long code = 0;
    EXPECT_EQ(events->WaitForCompletion(20000, &code), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    control->Stop();
}
}  // namespace
}  // namespace talv
#endif

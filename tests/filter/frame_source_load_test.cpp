#include <filesystem>
#include <fstream>

#include "tests/filter/source_fixture.h"

namespace talv {
namespace {
using FrameSourceLoad = SourceTest;
using FrameTimeSearch = SourceTest;

TEST_F(FrameSourceLoad, RefusalsTellTheirReason)
{
    const std::vector<std::string> tooLong = {"File name exceeds 260 character"};
    const std::vector<std::string> notLoaded = {"Error loading DICOM file"};
    EXPECT_EQ(source.Load(u"x", true), 1);
    EXPECT_EQ(source.Load(nullptr, false), 1);
    EXPECT_TRUE(notices.empty());
    for (const size_t length : {260, 261, 40000}) {
        notices.clear();
        EXPECT_EQ(source.Load(std::u16string(length, u'a').c_str(), false), 1);
        EXPECT_EQ(notices, tooLong) << length;
    }
    const char16_t unpaired[] = {u'a', 0xD800, 0};
    for (const char16_t* name : {u"", u"   ", u"no/such/file.dcm", u".", unpaired}) {
        notices.clear();
        EXPECT_EQ(source.Load(name, false), 1);
        EXPECT_EQ(notices, notLoaded);
    }
    EXPECT_FALSE(source.fileNameSet);
    EXPECT_EQ(source.fileName, "");
}

TEST_F(FrameSourceLoad, EmptyFileIsRefused)
{
    const TemporaryFile empty({});
    EXPECT_EQ(Load(empty.Path()), 1);
    EXPECT_EQ(notices, std::vector<std::string>{"Zero size Dicom file"});
}

TEST_F(FrameSourceLoad, LateRefusalsKeepTheName)
{
    EXPECT_EQ(Load(PreambleFile().ExplicitLittle().Cs(0x00080060, "OT")), 1);
    EXPECT_EQ(notices, std::vector<std::string>{"No pixel data available in this Dicom file"});
    EXPECT_EQ(source.fileName, LastFile().Path());
    EXPECT_TRUE(source.fileNameSet);
    EXPECT_EQ(source.SampleSize(), 0);

    notices.clear();
    EXPECT_EQ(Load(PreambleFile().ExplicitLittle().Us(0x00280010, 2).NativePixels({1, 2, 3, 4})), 1);
    EXPECT_EQ(notices, std::vector<std::string>{"Error reading Dicom images"});
    EXPECT_EQ(source.lastRefusal, kDicomNoGeometry);
    EXPECT_EQ(source.pixelDataElement, nullptr);
}

TEST_F(FrameSourceLoad, NameOf259CharactersLoads)
{
    namespace fs = std::filesystem;
    fs::path directory = fs::temp_directory_path() / "talv-long-name";
    const size_t separators = 2;
    ASSERT_LT(directory.string().size(), 100u);
    directory /= std::string(110, 'd');
    fs::create_directories(directory);
    const std::string name(259 - directory.string().size() - separators + 1, 'f');
    const std::string path = (directory / name).string();
    ASSERT_EQ(path.size(), 259u);
    const ByteVector bytes = GreyClip(1, "").Bytes();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    EXPECT_EQ(Load(path), 0);
    EXPECT_EQ(source.fileName, path);
    ASSERT_EQ(Load(GreyClip(1, "")), 0);  // lets go of the file
    fs::remove_all(directory.parent_path());
}

TEST_F(FrameSourceLoad, GeometryAndDefaultsOfAGreyClip)
{
    ASSERT_EQ(Load(GreyClip(2, "2")), 0);
    EXPECT_TRUE(notices.empty());
    EXPECT_EQ(source.width, 3);
    EXPECT_EQ(source.height, 2);
    EXPECT_EQ(source.bitsPerPixel, 8u);
    EXPECT_EQ(source.lowBit, 0);
    EXPECT_EQ(source.highBit, 7);
    EXPECT_EQ(source.imageFlags, 0x16u);
    EXPECT_EQ(source.frameTime, 166666);
    EXPECT_EQ(source.SampleSize(), 8);
    EXPECT_TRUE(source.palette.empty());
    EXPECT_EQ(source.pixelDataCounter, 1u);
    EXPECT_EQ(timeline.frameCount, 2);
    EXPECT_EQ(timeline.stopFrame, 2);
    EXPECT_FALSE(timeline.fileFrameTimeFound);
    ASSERT_EQ(Load(GreyClip(1, "")), 0);
    EXPECT_EQ(timeline.frameCount, 1);
    EXPECT_EQ(source.pixelDataCounter, 2u);
}

TEST_F(FrameSourceLoad, FrameCountIsTheFirstIntegerOrOne)
{
    const std::pair<const char*, int64_t> cases[] = {
        {"", 1}, {" ", 1}, {"0", 0}, {"-5", -5}, {"7\\9", 7}, {"2147483647", INT32_MAX}, {"3.7", 3},
    };
    for (const auto& [text, count] : cases) {
        EXPECT_EQ(Load(GreyClip(2, "").Is(0x00280008, text)), 0);
        EXPECT_EQ(timeline.frameCount, count) << text;
    }
}

TEST_F(FrameSourceLoad, APositionSoughtInTheFileBeforeIsForgotten)
{
    ASSERT_EQ(Load(GreyClip(9, "").Is(0x00280008, "9")), kLoadOk);
    int64_t position = 6;
    timeline.timeFormat = TimeFormat::frame;
    EXPECT_EQ(SetPositions(&timeline, &position, kSeekAbsolute, nullptr, 0), SeekResult::changed);
    ASSERT_EQ(Load(GreyClip(3, "").Is(0x00280008, "3")), kLoadOk);
    StartWorker(&timeline);
    EXPECT_EQ(timeline.currentFrame, 0);
    EXPECT_EQ(timeline.stopFrame, 2);
}

TEST_F(FrameSourceLoad, RescaleValuesLoseFractionAndSign)
{
    const struct
    {
        const char *center, *width, *intercept, *slope;
        int32_t storedCenter, storedWidth;
        double storedIntercept, storedSlope;
        uint32_t flags;
    } cases[] = {
        {"40", "400", "-1024", "1", 40, 400, 4294966272.0, 1.0, 0x15},
        {"-40.9", "400.9", "2.9", "0.5", -40, 400, 2.0, 0.0, 0x15},
        {"40", "400", "3e9", "-1", 40, 400, 2147483647.0, 4294967295.0, 0x15},
        {"40", "400", "", "2", 40, 400, 0.0, 1.0, 0x14},
        {"40", "400", "-7", "", 40, 400, 0.0, 1.0, 0x15},
        {"", "400", "-7", "2", 0, 0, 0.0, 1.0, 0x16},  // from the pixel range, of which 8 bits have none
        {"40", "", "-7", "2", 0, 0, 0.0, 1.0, 0x16},
        {"-1e30", "1e30", "0", "nan", INT32_MIN, INT32_MAX, 0.0, 1.0, 0x15},
        {"40", "nan", "1", "1", 0, 0, 0.0, 1.0, 0x16},
    };
    for (const auto& c : cases) {
        DicomBuilder file = GreyClip(1, "");
        file.Ds(0x00281050, c.center).Ds(0x00281051, c.width).Ds(0x00281052, c.intercept);
        ASSERT_EQ(Load(file.Ds(0x00281053, c.slope)), 0);
        SCOPED_TRACE(testing::Message()
                     << c.center << ", " << c.width << ", " << c.intercept << ", " << c.slope);
        EXPECT_EQ(source.windowCenter, c.storedCenter);
        EXPECT_EQ(source.windowWidth, c.storedWidth);
        EXPECT_EQ(source.rescaleIntercept, c.storedIntercept);
        EXPECT_EQ(source.rescaleSlope, c.storedSlope);
        EXPECT_EQ(source.imageFlags, c.flags);
    }
}

TEST_F(FrameSourceLoad, EightBitPaletteIsTheImagesOwn)
{
    ASSERT_EQ(Load(GreyClip(1, "", "MONOCHROME1")), 0);
    EXPECT_EQ(source.palette8[0].green, 255);
    EXPECT_EQ(source.palette8[255].green, 0);
    ASSERT_EQ(Load(GreyClip(1, "").Ds(0x00281050, "100").Ds(0x00281051, "100")), 0);
    EXPECT_EQ(source.palette8[50].red, 0);
    EXPECT_EQ(source.palette8[100].red, 127);
    EXPECT_EQ(source.palette8[150].red, 255);
}

TEST_F(FrameSourceLoad, PixelDataInsideASequenceIsTheSecondChoice)
{
    DicomBuilder nested = PreambleFile().ExplicitLittle();
    nested.BeginSequence(0x00082112)
        .BeginItem()
        .NativePixels({1, 2, 3, 4, 5, 6}, "OB")
        .EndItem()
        .EndSequence();
    nested.Image({.rows = 2, .columns = 3});
    ASSERT_EQ(Load(nested), 0);
    EXPECT_EQ(ReadFrame(0), GreyClipSample(0));
    EXPECT_EQ(source.SetDicomDS(source.dataSet, true, false), 1);  // looks at the top level only
    EXPECT_EQ(notices, std::vector<std::string>{"No pixel data available in this Dicom file"});
}

TEST_F(FrameTimeSearch, TagsInOrderOfPrecedence)
{
    const struct
    {
        const char* time;
        const char* vector;
        uint32_t pointer, slices;
        double milliseconds;  // 0: not found
    } cases[] = {
        {"", "", 0, 0, 0},
        {"33.333", "50", 0, 0, 33.333},
        {nullptr, "50\\60", 0, 0, 50},
        {nullptr, nullptr, 0, 90, 90},
        {"40", nullptr, 0, 90, 40},
        {"40", "70", 0x00181065, 0, 70},
        {"40", "70", 0x00181065, 90, 40},    // the pointer is not looked at
        {"40", nullptr, 0x00189999, 0, 40},  // to nothing
        {"40", nullptr, 0x00280009, 0, 0},   // to itself
        {"40", nullptr, kTagPixelData, 0, 0},
        {"nan", "50", 0, 0, 0},
    };
    for (const auto& c : cases) {
        DicomBuilder file = GreyClip(1, "");
        if (c.time != nullptr) file.Ds(0x00181063, c.time);
        if (c.vector != nullptr) file.Ds(0x00181065, c.vector);
        if (c.pointer != 0) file.At(0x00280009, {c.pointer});
        if (c.slices != 0) file.Us(0x00540080, c.slices);
        ASSERT_EQ(Load(file), 0);
        SCOPED_TRACE(testing::Message()
                     << c.milliseconds << " ms, pointer " << c.pointer << ", slices " << c.slices);
        double milliseconds = 0;
        EXPECT_EQ(FindFrameTime(source.dataSet, &milliseconds), c.milliseconds != 0);
        EXPECT_EQ(milliseconds, c.milliseconds);
        EXPECT_EQ(timeline.fileFrameTimeFound, c.milliseconds != 0);
    }
}

TEST_F(FrameTimeSearch, LoadClampsWhatItFound)
{
    const std::pair<const char*, int64_t> cases[] = {{"10", 166666},   {"5000", 20000000},
                                                     {"0", 166666},    {"-40", 166666},
                                                     {"1e-9", 166666}, {"1e300", 20000000}};
    for (const auto& [text, units] : cases) {
        ASSERT_EQ(Load(GreyClip(1, "").Ds(0x00181063, text)), 0);
        EXPECT_EQ(timeline.frameTimeUnits, units) << text;
        EXPECT_EQ(source.frameTime, units) << text;
    }
    PutFrameControl(&timeline, true);
    ASSERT_EQ(Load(GreyClip(1, "").Ds(0x00181063, "10")), 0);
    EXPECT_EQ(source.frameTime, 400000);
}

TEST_F(FrameSourceLoad, TransferSyntaxClasses)
{
    const std::pair<const char*, int32_t> cases[] = {{"", 0},      {"5", 1},      {"4.57", 2}, {"4.70", 2},
                                                     {"4.50", 3},  {"4.56", 3},   {"4.59", 3}, {"4.64", 3},
                                                     {"4.80", 4},  {"4.81", 5},   {"4.90", 6}, {"4.91", 7},
                                                     {"4.100", 8}, {"4.1000", 0}, {"4.10", 0}, {"1", 0}};
    for (const auto& [suffix, expected] : cases) {
        DicomDataSet dataSet;
        DicomElement* element = dataSet.InsertElement(nullptr, false, kTagTransferSyntaxUid, 0, false, 0);
        const std::string uid = std::string("1.2.840.10008.1.2.") + suffix;
        ASSERT_TRUE(dataSet.SetRawValue(element, uid.data(), static_cast<uint32_t>(uid.size())));
        EXPECT_EQ(GetTransferSyntaxClass(&dataSet), expected) << uid;
    }
}
}  // namespace
}  // namespace talv

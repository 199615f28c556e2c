#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/dicom/dicom_fixture.h"

namespace talv {
namespace {
using Tags = std::vector<uint32_t>;

DicomBuilder SmallImage(DicomBuilder builder)
{
    builder.Ui(0x00080016, "1.2.3").Cs(0x00080060, "US").Pn(0x00100010, "A^B").Is(0x00200013, "7");
    builder.Image({.rows = 2, .columns = 2});
    return builder;
}

TEST(LoadDataSet, FindsTheEncodingThatTheFileDeclaresOrShows)
{
    struct Case
    {
        DicomBuilder builder;
        uint16_t mode;
    };
    const Case cases[] = {
        {PreambleFile().ImplicitLittle(), 0x0015},
        {PreambleFile().ExplicitLittle(), 0x0025},
        {PreambleFile().ExplicitBig(), 0x0029},
        {BareFile().ImplicitLittle(), 0x0016},
        {BareFile().ExplicitLittle(), 0x0026},
        {PreambleFile().ExplicitLittle().MetaWithoutVr(), 0x0025},
        {PreambleFile().ImplicitLittle(""), 0x0015},
        {PreambleFile().ExplicitLittle(""), 0x0025},
        {PreambleFile().ExplicitBig(""), 0x0029},
        {PreambleFile().NoMeta().ExplicitLittle(), 0x0025},
        {BareFile().ExplicitLittle().Da(0x00080012, "20200101"), 0x0026},
    };
    for (const Case& c : cases) {
        DicomBuilder builder = c.builder;
        builder.Ui(0x00080016, "1.2.3").Us(0x00280010, 0x0102).NativePixels({1, 2, 3, 4});
        LoadedBytes loaded(builder.Bytes());
        ASSERT_EQ(loaded.status, kDicomOk) << std::hex << c.mode;
        EXPECT_EQ(loaded.dataSet.mode, c.mode);
        int32_t rows = 0;
        EXPECT_TRUE(loaded.dataSet.GetInteger(loaded.Find(0x00280010), 0, &rows));
        EXPECT_EQ(rows, 0x0102);
        ASSERT_NE(loaded.Find(kTagPixelData), nullptr);
        EXPECT_EQ(loaded.Find(kTagPixelData)->vr, MakeVr('O', 'W'));
        uint8_t pixels[8] = {};
        EXPECT_EQ(loaded.dataSet.ReadValueBytes(loaded.Find(kTagPixelData), 1, pixels, 8), 3u);
        EXPECT_EQ(pixels[0], 2);
    }
}

TEST(LoadDataSet, MagicWithoutPreambleStartsAtFour)
{
    ByteVector file = {'D', 'I', 'C', 'M'};
    const ByteVector body = BareFile().ExplicitLittle().Us(0x00280010, 5).Us(0x00280011, 6).Bytes();
    file.insert(file.end(), body.begin(), body.end());
    LoadedBytes loaded(file);
    EXPECT_EQ(loaded.status, kDicomOk);
    EXPECT_EQ(TagsOf(loaded.dataSet.tree.first), (Tags{0x00280010, 0x00280011}));
    EXPECT_EQ(loaded.dataSet.mode & 3, kModeBare);
}

TEST(LoadDataSet, RefusesWhatTheFlagsRuleOut)
{
    const ByteVector bare = BareFile().ExplicitLittle().Us(0x00280010, 5).Bytes();
    EXPECT_EQ(LoadedBytes(bare, kModePreamble).status, kDicomShortRead);
    EXPECT_EQ(LoadedBytes(ByteVector(200, 0), kModePreamble).status, kDicomNotDicom);
    const ByteVector big = PreambleFile().ExplicitBig().Us(0x00280010, 5).Bytes();
    LoadedBytes refused(big, kModeLittleEndian | kModeCallerMark);
    EXPECT_EQ(refused.status, kDicomNotDicom);
    EXPECT_EQ(refused.dataSet.tree.first, nullptr);
    EXPECT_EQ(refused.dataSet.mode, kModeInitial | kModeCallerMark);
    DicomDataSet dataSet;
    EXPECT_EQ(LoadDataSet(&dataSet, nullptr, 0, false), kDicomInvalidArgument);
    EXPECT_EQ(LoadFile(&dataSet, "no such file", 0), kDicomFileNotOpened);
    DicomStream stream;
    EXPECT_EQ(LoadDataSet(&dataSet, &stream, 0, false), kDicomSeekFailed);
    stream.OpenMemory(bare.data(), bare.size());
    dataSet.readOnly = true;
    EXPECT_EQ(LoadDataSet(&dataSet, &stream, 0, false), kDicomInvalidArgument);
}

TEST(LoadDataSet, HoldsAnElementOfTheDictionaryWhereNoSyntaxIsKnown)
{
    struct Case
    {
        const char* name;
        ByteVector bytes;
        DicomStatus status;
    };
    const std::string text = "Once upon a time there was a file of plain text.\r\nIt had two lines.\r\n";
    ByteVector picture = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    picture.resize(4000, 0x55);
    ByteVector cutInMeta = PreambleFile().Bytes();
    cutInMeta.resize(142);
    const Case cases[] = {
        {"nothing", {}, kDicomOk},
        {"text", ByteVector(text.begin(), text.end()), kDicomNotDicom},
        {"picture", picture, kDicomNotDicom},
        {"photograph", {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0}, kDicomNotDicom},
        {"zeros", ByteVector(4096, 0), kDicomNotDicom},
        {"unknown elements only", BareFile().ImplicitLittle().Us(0x00070010, 1).Bytes(), kDicomNotDicom},
        {"a private one first", BareFile().ImplicitLittle().Us(0x00070010, 1).Us(0x00280010, 1).Bytes(),
         kDicomOk},
        {"zeros behind a meta group", PreambleFile().ExplicitLittle("").Raw(ByteVector(4096, 0)).Bytes(),
         kDicomOk},
        {"unknown elements behind a meta group",
         PreambleFile().ExplicitLittle("1.2").Us(0x00070010, 1).Bytes(), kDicomNotDicom},
        {"unknown elements of a known syntax", PreambleFile().ExplicitLittle().Us(0x00070010, 1).Bytes(),
         kDicomOk},
        {"a group length that the file ends in", cutInMeta, kDicomOk},
        {"a command", BareFile().ImplicitLittle().Ul(0, 10).Us(0x00000100, 1).Bytes(), kDicomOk},
    };
    for (const Case& c : cases) {
        LoadedBytes loaded(c.bytes);
        EXPECT_EQ(loaded.status, c.status) << c.name;
        EXPECT_EQ(loaded.dataSet.tree.first != nullptr,
                  c.status == kDicomOk && c.bytes.size() > 0 && c.bytes != cutInMeta)
            << c.name;
    }
    const TemporaryFile zeros(ByteVector(1, 0));
    std::error_code error;
    std::filesystem::resize_file(zeros.Path(), uint64_t{1} << 30, error);
    DicomDataSet dataSet;
    if (!error) {
        EXPECT_EQ(LoadFile(&dataSet, zeros.Path(), 0), kDicomNotDicom);
    }
}

TEST(LoadDataSet, SequencesOfEitherLengthFormGiveTheSameTree)
{
    for (const bool undefinedSequence : {false, true}) {
        for (const bool undefinedItem : {false, true}) {
            DicomBuilder builder = PreambleFile().ExplicitLittle();
            builder.BeginSequence(0x00081140, undefinedSequence);
            builder.BeginItem(undefinedItem).Ui(0x00081150, "1.2").Ui(0x00081155, "1.3").EndItem();
            builder.BeginItem(undefinedItem).EndItem().EndSequence().Us(0x00280010, 5);
            LoadedBytes loaded(builder.Bytes());
            ASSERT_EQ(loaded.status, kDicomOk);
            const DicomElement* const sequence = loaded.Find(0x00081140);
            ASSERT_NE(sequence, nullptr);
            EXPECT_EQ(sequence->length, kUndefinedLength);
            EXPECT_EQ(TagsOf(sequence->firstChild), (Tags{kTagItem, kTagItem}));
            EXPECT_EQ(TagsOf(sequence->firstChild->firstChild), (Tags{0x00081150, 0x00081155}));
            EXPECT_EQ(sequence->lastChild->firstChild, nullptr);
            EXPECT_NE(sequence->firstChild->streamOffset, 0u);
            EXPECT_NE(loaded.Find(0x00280010), nullptr);
        }
    }
}

TEST(LoadDataSet, AnUnknownSequenceHasItemsOfEitherVrStyle)
{
    for (const DicomBuilder& style : {BareFile().ImplicitLittle(), BareFile().ExplicitLittle()}) {
        DicomBuilder content = style;
        content.BeginSequence(0x00081140).BeginItem().Ui(0x00081150, "1.2").EndItem().EndSequence();
        DicomBuilder builder = PreambleFile().ExplicitLittle().BeginSequence(0x00091010, true, "UN");
        builder.BeginItem().Raw(content.Bytes()).EndItem().BeginItem().EndItem().EndSequence();
        LoadedBytes loaded(builder.Us(0x00280010, 5).Bytes());
        ASSERT_EQ(loaded.status, kDicomOk);
        EXPECT_EQ(loaded.Count(), 10u);
        ASSERT_NE(loaded.Find(0x00081150, false), nullptr);
        EXPECT_EQ(loaded.Find(0x00081150, false)->vr, MakeVr('U', 'I'));
        EXPECT_NE(loaded.Find(0x00280010), nullptr);
    }
}

TEST(LoadDataSet, FragmentsBecomeItemsOfThePixelData)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle("1.2.840.10008.1.2.4.50");
    builder.Encapsulated({{1, 2, 3, 4}, {5, 6}});
    LoadedBytes loaded(builder.Bytes());
    ASSERT_EQ(loaded.status, kDicomOk);
    const DicomElement* const pixels = loaded.Find(kTagPixelData);
    ASSERT_EQ(TagsOf(pixels->firstChild), (Tags{kTagItem, kTagItem, kTagItem}));
    EXPECT_EQ(pixels->vr, MakeVr('O', 'B'));
    EXPECT_EQ(pixels->firstChild->length, 0u);
    EXPECT_TRUE(IsHiddenElement(pixels->lastChild));
    EXPECT_FALSE(IsHiddenElement(pixels));
    uint8_t bytes[2] = {};
    EXPECT_EQ(loaded.dataSet.ReadValueBytes(pixels->lastChild, 0, bytes, 2), 2u);
    EXPECT_EQ(bytes[1], 6);
}

TEST(LoadDataSet, KeepsTheLettersThatARuleReplaced)
{
    LoadedBytes loaded(PreambleFile().ExplicitBig().NativePixels({1, 2}, "OB").Bytes());
    ASSERT_EQ(loaded.status, kDicomOk);
    EXPECT_EQ(loaded.Find(kTagPixelData)->vr, MakeVr('O', 'W'));
    EXPECT_EQ(loaded.Find(kTagPixelData)->storedVr, MakeVr('O', 'B'));
    // Zeros in place of letters: the dictionary's VR.
    LoadedBytes none(PreambleFile().ExplicitLittle().Raw({0x28, 0, 0x10, 0, 0, 0, 2, 0, 5, 0}).Bytes());
    ASSERT_NE(none.Find(0x00280010), nullptr);
    EXPECT_EQ(none.Find(0x00280010)->vr, MakeVr('U', 'S'));
}

TEST(LoadDataSet, CopiesEveryValueWhenAsked)
{
    LoadedBytes loaded(SmallImage(PreambleFile()).NativePixels(ByteVector(5000, 9)).Bytes(),
                       kModeValuesCopied | kModeRecordElements);
    ASSERT_EQ(loaded.status, kDicomOk);
    std::fill(loaded.bytes.begin(), loaded.bytes.end(), uint8_t{0});  // the source may change now
    DicomElement* const pixels = loaded.Find(kTagPixelData);
    EXPECT_EQ(pixels->valueStream, &loaded.dataSet.ownStream);
    uint8_t last = 0;
    EXPECT_EQ(loaded.dataSet.ReadValueBytes(pixels, 4999, &last, 1), 1u);
    EXPECT_EQ(last, 9);
    EXPECT_EQ(loaded.dataSet.records.size(), loaded.Count());
    EXPECT_EQ(loaded.dataSet.currentStream, &loaded.dataSet.fileStream);
    loaded.dataSet.DeleteElement(pixels);
    EXPECT_EQ(loaded.dataSet.records.size(), loaded.Count());

    const ByteVector large = SmallImage(PreambleFile()).NativePixels(ByteVector(2000000, 9)).Bytes();
    DicomStream stream;
    stream.OpenMemory(large.data(), large.size());
    DicomDataSet full;
    full.ownStream.Open("no such folder", kStreamOwnFlags);
    EXPECT_EQ(LoadDataSet(&full, &stream, kModeValuesCopied, false), kDicomShortWrite);
}

TEST(LoadDataSet, AcceptsADamagedTailBehindPixelData)
{
    DicomBuilder builder = SmallImage(PreambleFile()).NativePixels({1, 2, 3, 4});
    builder.Raw({0xE1, 0x7F, 0x10});  // half a header
    LoadedBytes loaded(builder.Bytes());
    EXPECT_EQ(loaded.status, kDicomOk);
    EXPECT_NE(loaded.Find(kTagPixelData), nullptr);
    DicomBuilder withoutPixels = SmallImage(PreambleFile());
    EXPECT_EQ(LoadedBytes(withoutPixels.Bytes(), 0, true).status, kDicomNotDicom);
    EXPECT_EQ(LoadedBytes(withoutPixels.Raw({0xE1, 0x7F, 0x10}).Bytes()).status, kDicomNotDicom);
}

TEST(LoadFile, RepairsFiftyOddLengthsAndRefusesFiftyOne)
{
    for (const int count : {50, 51}) {
        DicomBuilder builder = PreambleFile().ExplicitLittle();
        for (int i = 0; i < count; ++i) builder.Header(0x00090010 + i, "LO", 3).Raw("abc");
        const TemporaryFile file = builder.Save();
        DicomDataSet dataSet;
        ASSERT_EQ(LoadFile(&dataSet, file.Path(), 0), count == 50 ? kDicomOk : kDicomNotDicom);
        EXPECT_EQ(dataSet.warningCount, 0u);
        if (count == 51) continue;
        EXPECT_STREQ(dataSet.fileName, file.Path());
        DicomElement* const last = dataSet.FindFirstElement(nullptr, 0x00090010 + 49, true);
        EXPECT_EQ(last->length, 4u);
        ASSERT_NE(dataSet.GetStrings(last, 0, 1), nullptr);
        EXPECT_STREQ(*dataSet.GetStrings(last, 0, 1), "abc");
    }
    DicomBuilder numbers = PreambleFile().ExplicitLittle().Header(0x00280010, "US", 3).Raw({4, 0, 7});
    const TemporaryFile file = numbers.Header(kTagPixelData, "OW", 3).Raw({1, 2, 3}).Save();
    DicomDataSet dataSet;
    ASSERT_EQ(LoadFile(&dataSet, file.Path(), 0), kDicomOk);
    ASSERT_EQ(LoadFile(&dataSet, dataSet.fileName, 0), kDicomOk);
    EXPECT_EQ(dataSet.GetValueCount(dataSet.FindFirstElement(nullptr, 0x00280010, true)), 1);
    EXPECT_EQ(dataSet.GetValueCount(dataSet.FindFirstElement(nullptr, kTagPixelData, true)), 2);
    EXPECT_EQ(LoadedBytes(BareFile().ExplicitLittle().Header(0x00090010, "LO", 3).Raw("abc").Bytes(),
                          kExplicitLittle)
                  .status,
              kDicomNotDicom);
}

TEST(LoadDataSet, DirectoryRecordsGetTheFileOfTheRecordTheyPointAt)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    builder.BeginSequence(0x00041220);
    const uint32_t first = static_cast<uint32_t>(builder.Position());
    builder.BeginItem().Cs(0x00041500, "DIR\\FILE").EndItem();
    builder.BeginItem().Ul(0x00041504, first).EndItem();
    builder.BeginItem().Cs(0x00041500, "OWN").Ul(0x00041504, first + 1).EndItem().EndSequence();
    LoadedBytes loaded(builder.Bytes());
    ASSERT_EQ(loaded.status, kDicomOk);
    DicomElement* const item = loaded.Find(0x00041220)->firstChild;
    EXPECT_EQ(item->streamOffset, first);
    char text[32] = {};
    EXPECT_EQ(TagsOf(item->nextSibling->firstChild), (Tags{0x00041500}));
    EXPECT_TRUE(
        loaded.dataSet.GetTagValue(item->nextSibling->firstChild, 0x00041500, text, 1, sizeof text, 0));
    EXPECT_STREQ(text, "FILE");
    EXPECT_EQ(TagsOf(item->nextSibling->nextSibling->firstChild), (Tags{0x00041500}));
}

TEST(ReadElementHeader, HasALongFormForSixVrsOnly)
{
    struct Case
    {
        const char* name;
        ByteVector bytes;
        DicomStatus status;
        uint32_t length;
        uint32_t headerBytes;
    };
    const Case cases[] = {
        {"short form", {0x28, 0, 0x10, 0, 'U', 'S', 2, 0}, kDicomOk, 2, 8},
        {"long form", {0x28, 0, 0x10, 0, 'O', 'F', 0, 0, 4, 0, 0, 0}, kDicomOk, 4, 12},
        {"UT in its old short form", {0x28, 0, 0x10, 0, 'U', 'T', 6, 0}, kDicomOk, 6, 8},
        {"a VR of later editions", {0x28, 0, 0x10, 0, 'O', 'D', 0, 0, 8, 0, 0, 0}, kDicomOk, 0, 8},
        {"item", {0xFE, 0xFF, 0, 0xE0, 8, 0, 0, 0}, kDicomOk, 8, 8},
        {"a delimiter's length is void", {0xFE, 0xFF, 0x0D, 0xE0, 8, 0, 0, 0}, kDicomOk, 0, 8},
        {"nothing", {}, kDicomEndOfStream, 0, 0},
        {"half a group", {0x28}, kDicomEndOfStream, 0, 0},
        {"no length", {0x28, 0, 0x10, 0, 'U', 'S', 2}, kDicomShortRead, 0, 0},
        {"odd length of a bare data set", {0x28, 0, 0x10, 0, 'U', 'S', 3, 0}, kDicomNotDicom, 3, 8},
    };
    for (const Case& c : cases) {
        DicomDataSet dataSet;
        dataSet.mode = kExplicitLittle | kModeBare;
        DicomStream stream;
        stream.OpenMemory(c.bytes.data(), c.bytes.size());
        ElementHeader header;
        EXPECT_EQ(ReadElementHeader(&dataSet, &stream, true, true, &header), c.status) << c.name;
        if (c.status != kDicomOk) continue;
        EXPECT_EQ(header.length, c.length) << c.name;
        EXPECT_EQ(header.headerBytes, c.headerBytes) << c.name;
        EXPECT_EQ(stream.Tell(), c.headerBytes) << c.name;
    }
}

TEST(ClassifyTransferSyntax, UnknownUidsAreImplicitLittle)
{
    struct Case
    {
        const char* uid;
        uint16_t encoding;
        int32_t compression;
    };
    const Case cases[] = {
        {"1.2.840.10008.1.2", kImplicitLittle, 0},       {"1.2.840.10008.1.2.2", kExplicitBig, 0},
        {"1.2.840.10008.1.2.4.57", kExplicitLittle, 2},  {"1.2.840.10008.1.2.4.64", kExplicitLittle, 3},
        {"1.2.840.10008.1.2.4.100", kExplicitLittle, 8}, {"1.2.3", kImplicitLittle, 0},
        {"1.2.840.10008.1.2.1.99", kImplicitLittle, 0},  {"1.2.840.10008.1.2.1 ", kImplicitLittle, 0},
    };
    for (const Case& c : cases) {
        TransferSyntax syntax;
        EXPECT_TRUE(ClassifyTransferSyntax(nullptr, c.uid, &syntax));
        EXPECT_EQ(syntax.encoding, c.encoding) << c.uid;
        EXPECT_EQ(syntax.compression, c.compression) << c.uid;
    }
    DicomDataSet empty;
    TransferSyntax syntax;
    EXPECT_FALSE(ClassifyTransferSyntax(&empty, nullptr, &syntax));
}

TEST(DetermineVr, AsksNeighboursForWaveformsAndCurves)
{
    DicomBuilder builder = BareFile().ImplicitLittle();
    builder.Us(0x50000103, 2).Ow(0x50003000, {0, 0}).Us(0x50022002, 8).Ow(0x5002200C, {1});
    builder.Us(0x54001004, 8).Ow(0x54001010, {1}).Us(0x00990010, 1);
    LoadedBytes loaded(builder.Bytes(), kImplicitLittle);
    ASSERT_EQ(loaded.status, kDicomOk);
    EXPECT_EQ(loaded.Find(0x50003000)->vr, MakeVr('F', 'L'));
    EXPECT_EQ(loaded.Find(0x5002200C)->vr, MakeVr('O', 'B'));
    EXPECT_EQ(loaded.Find(0x54001010)->vr, MakeVr('O', 'W'));  // bytes only in explicit VR
    EXPECT_EQ(loaded.Find(0x00990010)->vr, MakeVr('U', 'N'));
    EXPECT_EQ(DetermineVr(&loaded.dataSet, nullptr, 0x00280000), MakeVr('U', 'L'));
}

/// One line of a listing, or an element of ours.
struct Listed
{
    uint32_t tag = 0;
    std::string vr;       // empty where the two need not agree
    uint32_t length = 0;  // undefined for containers
    std::string text;     // of short text VRs

    bool operator==(const Listed&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Listed& listed)
    {
        return out << std::hex << listed.tag << ' ' << listed.vr << ' ' << listed.length << ' '
                   << listed.text;
    }
};

/// Items have no VR, and dcmdump shows the one that encapsulated pixel data should have (PS3.5 A.4), whatever
/// the file says.
bool HasLetters(const Listed& listed)
{
    return listed.tag != kTagItem && (listed.tag != kTagPixelData || listed.length != kUndefinedLength);
}

bool IsShortText(std::string_view vr)
{
    return vr == "AE" || vr == "CS" || vr == "LO" || vr == "PN" || vr == "SH" || vr == "UI";
}

/// Each value without blanks around it.
std::string TrimEachValue(const std::string& text)
{
    std::string trimmed;
    std::istringstream values(text);
    for (std::string value; std::getline(values, value, '\\');) {
        const size_t first = std::min(value.find_first_not_of(' '), value.size());
        trimmed += value.substr(first, value.find_last_not_of(' ') + 1 - first) + '\\';
    }
    if (!text.empty() && text.back() == '\\') trimmed += '\\';
    return trimmed;
}

/// False for a line whose text goes on in the next one.
bool IsComplete(const std::string& line)
{
    const size_t hash = line.rfind('#');
    unsigned length = 0, multiplicity = 0;
    return hash != std::string::npos &&
           (line.compare(hash, 5, "# u/l") == 0 ||
            std::sscanf(line.c_str() + hash, "# %u, %u", &length, &multiplicity) == 2);
}

/// Reads "(0008,0060) CS [MR]     #   2, 1 Modality"; false for lines of another form and for tags that the
/// tree never holds.
bool ReadLine(const std::string& line, bool explicitVr, Listed* listed)
{
    const size_t at = line.find_first_not_of(' ');
    const size_t hash = line.rfind('#');
    unsigned group = 0, element = 0;
    char vr[3] = {};
    if (at == std::string::npos || hash == std::string::npos ||
        std::sscanf(line.c_str() + at, "(%4x,%4x) %2s", &group, &element, vr) != 3)
        return false;
    listed->tag = MakeTag(static_cast<uint16_t>(group), static_cast<uint16_t>(element));
    if (element == 0 || listed->tag == kTagItemDelimiter || listed->tag == kTagSequenceDelimiter ||
        listed->tag == kTagTrailingPadding)
        return false;
    const bool isContainer = line.find(" (Sequence with") != std::string::npos ||
                             line.find(" (Item with") != std::string::npos ||
                             line.find(" (PixelSequence") != std::string::npos;
    listed->length = kUndefinedLength;
    // Odd lengths are made even when a file is loaded.
    if (!isContainer) listed->length = (static_cast<uint32_t>(std::atoi(line.c_str() + hash + 1)) + 1) & ~1u;
    if ((explicitVr || group == 2) && HasLetters(*listed)) listed->vr = vr;
    const size_t open = line.find('['), close = line.rfind(']', hash);
    if (IsShortText(vr) && open != std::string::npos && close != std::string::npos && close > open)
        listed->text = TrimEachValue(line.substr(open + 1, close - open - 1));
    return true;
}

Listed Describe(DicomDataSet* dataSet, DicomElement* element)
{
    Listed listed;
    listed.tag = element->tag;
    listed.length = element->length;
    const uint16_t vr = element->storedVr != 0 ? element->storedVr : element->vr;
    const std::string letters = {static_cast<char>(vr >> 8), static_cast<char>(vr)};
    const bool isExplicit = (dataSet->mode & kModeExplicitVr) != 0 || TagGroup(element->tag) == 2;
    if (isExplicit && HasLetters(listed)) listed.vr = letters;
    if (!IsShortText(letters)) return listed;
    const size_t size = dataSet->FormatValueText(element, nullptr);
    std::string text(size, '\0');
    dataSet->FormatValueText(element, text.data());
    if (size > 1) listed.text = TrimEachValue(text.substr(0, size - 1));
    return listed;
}

// Every sample: tag, VR, length and short texts are those that dcmdump lists, group lengths apart.
TEST(Samples, ElementsAgreeWithDcmdump)
{
    if (std::system("dcmdump --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "dcmdump is not installed";
    int compared = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SamplePath(""))) {
        const std::string path = entry.path().string();
        if (entry.path().extension() != ".dcm" || entry.path().filename() == "deflated.dcm") continue;
        const TemporaryFile listing({}, ".txt");
        const std::string command = "dcmdump -q -Un +L " + path + " >" + listing.Path() + " 2>/dev/null";
        if (std::system(command.c_str()) != 0) continue;  // a damaged sample

        DicomDataSet dataSet;
        ASSERT_EQ(LoadFile(&dataSet, path.c_str(), 0), kDicomOk) << path;
        std::vector<Listed> expected, found;
        std::ifstream lines(listing.Path());
        Listed listed;
        for (std::string line, more; std::getline(lines, line); listed = {}) {
            const bool isElement = line.find('(') < line.find_first_not_of(' ') + 1;
            while (isElement && !IsComplete(line) && std::getline(lines, more)) line += more;
            if (ReadLine(line, (dataSet.mode & kModeExplicitVr) != 0, &listed)) expected.push_back(listed);
        }
        for (auto* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node))
            found.push_back(Describe(&dataSet, node));
        EXPECT_EQ(found.size(), expected.size()) << path;
        for (size_t i = 0; i < std::min(found.size(), expected.size()); ++i)
            EXPECT_EQ(found[i], expected[i]) << path;
        ++compared;
    }
    EXPECT_GT(compared, 30);
}

// Compressed bytes read as headers of elements that nobody knows.
TEST(Samples, DeflatedIsRefused)
{
    DicomDataSet dataSet;
    EXPECT_EQ(LoadFile(&dataSet, SamplePath("deflated.dcm").c_str(), 0), kDicomNotDicom);
}

TEST(LoadFile, ReadsBeyondFourGigabytes)
{
    DicomBuilder builder = SmallImage(PreambleFile());
    builder.Header(0x00E10010, "UN", 0xFFFFFFF0);
    const uint64_t behind = builder.Position() + uint64_t{0xFFFFFFF0};
    const TemporaryFile file = builder.Save();
    std::error_code error;
    std::filesystem::resize_file(file.Path(), behind, error);
    if (error) GTEST_SKIP() << "the file system refuses a sparse file of 4 GiB";
    const ByteVector tail = BareFile().ExplicitLittle().NativePixels({1, 2, 3, 4}).Bytes();
    std::ofstream(file.Path(), std::ios::binary | std::ios::app)
        .write(reinterpret_cast<const char*>(tail.data()), static_cast<std::streamsize>(tail.size()));
    DicomDataSet dataSet;
    ASSERT_EQ(LoadFile(&dataSet, file.Path(), 0), kDicomOk);
    const DicomElement* const pixels = dataSet.FindFirstElement(nullptr, kTagPixelData, true);
    ASSERT_NE(pixels, nullptr);
    EXPECT_GT(pixels->valuePosition, uint64_t{0xFFFFFFFF});
    uint8_t bytes[4] = {};
    EXPECT_EQ(dataSet.ReadValueBytes(pixels, 0, bytes, 4), 4u);
    EXPECT_EQ(bytes[3], 4);
}
}  // namespace
}  // namespace talv

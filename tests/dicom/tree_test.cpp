#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <random>

#include "dicom/allocator.h"
#include "tests/dicom/dicom_fixture.h"

namespace talv {
namespace {
using Tags = std::vector<uint32_t>;
constexpr uint32_t kLast = 0xFFFFFFFF;

TEST(InsertElement, KeepsLevelsInOrderAndRefusesWhatDoesNotBelong)
{
    DicomDataSet dataSet;
    DicomElement* const sequence = dataSet.InsertElement(nullptr, false, 0x00081140, 0, false, kLast);
    ASSERT_NE(sequence, nullptr);
    DicomElement* const plain = dataSet.InsertElement(sequence, false, 0x00280010, 0, false, kLast);
    EXPECT_EQ(plain->vr, MakeVr('U', 'S'));
    EXPECT_NE(dataSet.InsertElement(plain, false, 0x00100010, 0, false, kLast), nullptr);
    EXPECT_EQ(TagsOf(dataSet.tree.first), (Tags{0x00081140, 0x00100010, 0x00280010}));
    for (const uint32_t tag :
         {0x00100010u, 0x00080000u, kTagItemDelimiter, kTagSequenceDelimiter, kTagTrailingPadding})
        EXPECT_EQ(dataSet.InsertElement(nullptr, false, tag, 0, false, kLast), nullptr) << std::hex << tag;
    EXPECT_EQ(dataSet.InsertElement(plain, true, 0x00080016, 0, false, kLast), nullptr);
    DicomElement* const second = dataSet.InsertElement(sequence, true, kTagItem, 0, true, kLast);
    DicomElement* const first = dataSet.InsertElement(sequence, true, kTagItem, 0, true, 0);
    EXPECT_EQ(sequence->firstChild, first);
    EXPECT_EQ(dataSet.DeleteElement(first), second);
    EXPECT_EQ(dataSet.DeleteElement(second), sequence);
    dataSet.readOnly = true;
    EXPECT_EQ(dataSet.DeleteElement(sequence), nullptr);
    EXPECT_EQ(dataSet.InsertElement(nullptr, false, 0x00080016, 0, false, kLast), nullptr);
}

TEST(InsertElement, OrdersALongLevelWhateverTheOrderOfInsertion)
{
    std::vector<uint32_t> tags(20000);
    std::iota(tags.begin(), tags.end(), 0x00090001u);
    std::vector<uint32_t> shuffled = tags;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    DicomDataSet dataSet;
    for (const uint32_t tag : shuffled)
        ASSERT_NE(dataSet.InsertElement(nullptr, false, tag, 0, false, kLast), nullptr);
    for (const uint32_t tag : shuffled)
        ASSERT_EQ(dataSet.InsertElement(nullptr, false, tag, 0, false, kLast), nullptr);
    EXPECT_EQ(TagsOf(dataSet.tree.first), tags);
    DicomElement* const middle = dataSet.FindFirstElement(nullptr, tags[9000], true);
    EXPECT_EQ(dataSet.DeleteElement(middle)->tag, tags[9001]);
    EXPECT_NE(dataSet.InsertElement(nullptr, false, tags[9000], 0, false, kLast), nullptr);
    EXPECT_EQ(TagsOf(dataSet.tree.first), tags);
}

TEST(DicomDataSet, WalksStepOverHiddenElementsAndReportForeignOnes)
{
    LoadedBytes loaded(PreambleFile().Cs(0x00080060, "US").Us(0x00280010, 2).Us(0x00280301, 1).Bytes());
    DicomDataSet& dataSet = loaded.dataSet;
    DicomElement* const modality = loaded.Find(0x00080060);
    EXPECT_EQ(dataSet.GetNextElement(modality, true, false)->tag, 0x00280301u);
    EXPECT_EQ(dataSet.GetNextElement(modality, false, true)->tag, 0x00280010u);
    EXPECT_EQ(dataSet.GetPrevElement(loaded.Find(0x00280301), false, false), modality);
    uint32_t reported = 0;
    dataSet.elementCheckUser = &reported;
    dataSet.elementCheck = [](DicomElement*, uint32_t code, void* user) {
        *static_cast<uint32_t*>(user) += code;
    };
    DicomElement foreign;
    EXPECT_EQ(dataSet.GetNextElement(&foreign, true, true), nullptr);
    EXPECT_EQ(dataSet.DeleteElement(&foreign), nullptr);
    EXPECT_EQ(reported, 2 * kCheckForeignElement);
}

TEST(CopyDataSet, CopiesTreeAndValues)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle().Cs(0x00080060, "US").BeginSequence(0x00081140);
    builder.BeginItem().Ui(0x00081150, "1.2").EndItem().EndSequence().Us(0x00280010, 7);
    LoadedBytes loaded(builder.Bytes());
    DicomDataSet copy;
    ASSERT_EQ(copy.CopyDataSet(&loaded.dataSet), kDicomOk);
    loaded.dataSet.ResetDataSet(true);
    EXPECT_EQ(TagsOf(copy.FindFirstElement(nullptr, 0x00081140, true)->firstChild->firstChild),
              (Tags{0x00081150}));
    int32_t rows = 0;
    EXPECT_TRUE(copy.GetInteger(copy.FindFirstElement(nullptr, 0x00280010, true), 0, &rows));
    EXPECT_EQ(rows, 7);
}

// --- damage
// ----------------------------------------------------------------------------------------------------------

TEST(LoadDataSet, LimitsNesting)
{
    for (const int depth : {255, 256, 257, 60000}) {
        DicomBuilder builder = BareFile().ExplicitLittle();
        for (int i = 0; i < depth; ++i) builder.BeginSequence(0x00081140).BeginItem();
        LoadedBytes loaded(builder.Bytes(), kExplicitLittle);
        EXPECT_EQ(loaded.status, depth <= kMaxNesting ? kDicomOk : kDicomNotDicom) << depth;
    }
}

TEST(LoadDataSet, ContentOfARefusedContainerStaysOutOfTheTree)
{
    DicomBuilder builder = BareFile().ExplicitLittle();
    for (const uint16_t rows : {1, 2})
        builder.BeginSequence(0x00081140).BeginItem().Us(0x00280011, rows).EndItem().EndSequence();
    builder.Header(0x00090000, "UN", kUndefinedLength).BeginItem().Us(0x00280010, 9).EndItem();
    builder.Header(kTagSequenceDelimiter, "", 0).Us(0x00280100, 8);
    LoadedBytes loaded(builder.Bytes(), kExplicitLittle);
    ASSERT_EQ(loaded.status, kDicomOk);
    EXPECT_EQ(TagsOf(loaded.dataSet.tree.first), (Tags{0x00081140, 0x00280100}));
    EXPECT_EQ(loaded.Count(), 4u);
}

int allocationsLeft;
int blocksOut;
void* FailingAllocate(size_t count, size_t size)
{
    if (allocationsLeft-- <= 0) return nullptr;
    ++blocksOut;
    return std::calloc(count, size);
}
void CountingFree(void* block)
{
    if (block != nullptr) --blocksOut;
    std::free(block);
}

TEST(LoadDataSet, SurvivesEveryFailedAllocation)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    for (uint32_t i = 0; i < 200; ++i) builder.Us(0x00090001 + i * 77 % 199, i);
    const ByteVector file = builder.Bytes();
    const DicomAllocator saved = dicomAllocator;
    bool loadedOnce = false;
    for (int n = 0; n < 2000 && !loadedOnce; ++n) {
        blocksOut = 0;
        allocationsLeft = n;
        dicomAllocator = {FailingAllocate, saved.reallocate, CountingFree};
        {
            LoadedBytes loaded(file);
            loadedOnce = loaded.status == kDicomOk && loaded.Count() == 202;
            if (!loadedOnce) {
                EXPECT_TRUE(loaded.status == kDicomNoMemory || loaded.status == kDicomNotDicom) << n;
                EXPECT_EQ(loaded.dataSet.tree.first, nullptr) << n;
            }
        }
        EXPECT_EQ(blocksOut, 0) << n;
    }
    dicomAllocator = saved;
    EXPECT_TRUE(loadedOnce);
}

// Any cut and any changed byte gives a documented status, an empty tree when refused, and values that can be
// asked for.
TEST(LoadDataSet, TakesEveryCutAndManyChangedBytes)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle("1.2.840.10008.1.2.4.50").Cs(0x00080060, "US");
    builder.BeginSequence(0x00081140, false).BeginItem(false).Ui(0x00081150, "1.2").EndItem().EndSequence();
    const ByteVector file = builder.Image({.rows = 2, .columns = 2}).Encapsulated({{1, 2}, {3, 4}}).Bytes();
    const auto check = [](const ByteVector& bytes) {
        LoadedBytes loaded(bytes);
        EXPECT_TRUE(loaded.status == kDicomOk || loaded.dataSet.tree.first == nullptr);
        for (auto* node = loaded.dataSet.tree.first; node != nullptr; node = NextInPreOrder(node))
            loaded.dataSet.FormatValueText(node, nullptr);
    };
    for (size_t length = 0; length < file.size(); ++length)
        check(ByteVector(file.begin(), file.begin() + length));
    for (size_t at = 132; at < file.size(); ++at) {
        for (const uint8_t value : {0x00, 0x01, 0x7F, 0xFE, 0xFF}) {
            ByteVector changed = file;
            changed[at] = value;
            check(changed);
        }
    }
}

// --- streams
// ---------------------------------------------------------------------------------------------------------

TEST(DicomStream, TemporaryContentIsTheSameInMemoryAndInItsFile)
{
    DicomStream stream;
    ASSERT_TRUE(stream.Open("", kStreamOwnFlags));
    ByteVector written;
    for (int i = 0; i < 1500; ++i) {
        const ByteVector piece(1000, static_cast<uint8_t>(i));
        written.insert(written.end(), piece.begin(), piece.end());
        ASSERT_TRUE(stream.Write(piece.data(), piece.size()));
    }
    ByteVector read(written.size() + 10);
    EXPECT_EQ(stream.ReadAt(0, read.data(), read.size()), written.size());
    read.resize(written.size());
    EXPECT_EQ(read, written);
    EXPECT_TRUE(stream.Seek(10, 2));
    EXPECT_EQ(stream.Tell(), written.size() + 10);
    EXPECT_FALSE(stream.Seek(-1, 0));
    stream.Truncate();
    EXPECT_EQ(stream.Size(), 0u);
    EXPECT_TRUE(stream.Write("ab", 2));
    EXPECT_EQ(stream.Size(), 2u);
}

TEST(DicomStream, AFileThatShrinksGivesShortReads)
{
    const TemporaryFile file(ByteVector(20000, 1));
    DicomStream stream;
    ASSERT_TRUE(stream.Open(file.Path(), kStreamRead));
    std::filesystem::resize_file(file.Path(), 100);
    uint8_t bytes[200];
    EXPECT_EQ(stream.ReadAt(50, bytes, 200), 50u);
    EXPECT_EQ(stream.ReadAt(10000, bytes, 200), 0u);
    stream.Close();
    EXPECT_TRUE(stream.IsOpen());  // not the owner of the handle
    stream.Close(true);
    EXPECT_FALSE(stream.IsOpen());
}
}  // namespace
}  // namespace talv

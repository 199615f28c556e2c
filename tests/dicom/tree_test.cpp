#include <pthread.h>

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

/// A bare implicit VR data set whose top level holds empty elements with these tags.
ByteVector EmptyElements(const Tags& tags)
{
    ByteWriter writer;
    for (const uint32_t tag : tags) writer.U16le(TagGroup(tag)).U16le(TagElement(tag)).U32le(0);
    return writer;
}

enum class Order
{
    ascending,
    descending,
    shuffled,
    items
};

Tags MakeTags(Order order, size_t count)
{
    Tags tags(count, kTagItem);
    tags.front() = 0x00080001;
    if (order == Order::items) return tags;
    for (size_t i = 1; i < count; ++i) tags[i] = tags[i - 1] + (TagElement(tags[i - 1]) == 0xFFFF ? 2 : 1);
    if (order == Order::descending) std::reverse(tags.begin(), tags.end());
    if (order == Order::shuffled) std::shuffle(tags.begin(), tags.end(), std::mt19937(7));
    return tags;
}

// A walk of the level for each element would be 5e11 steps an order: it would not end within the test's
// time-out.
TEST(LoadDataSet, ALevelOfAMillionElementsInAnyOrderIsSorted)
{
    for (const Order order : {Order::ascending, Order::descending, Order::shuffled, Order::items}) {
        Tags tags = MakeTags(order, 1000000);
        LoadedBytes loaded(EmptyElements(tags), kImplicitLittle);
        ASSERT_EQ(loaded.status, kDicomOk);
        std::sort(tags.begin(), tags.end());
        ASSERT_EQ(TagsOf(loaded.dataSet.tree.first), tags);
    }
}

TEST(InsertElement, FindsItsPlaceInALongLevelAfterDeletions)
{
    Tags tags = MakeTags(Order::shuffled, 20000);
    LoadedBytes loaded(EmptyElements(tags), kImplicitLittle);
    DicomDataSet& dataSet = loaded.dataSet;
    for (const uint32_t tag : tags)
        ASSERT_EQ(dataSet.InsertElement(nullptr, false, tag, 0, false, kLast), nullptr);
    std::sort(tags.begin(), tags.end());
    EXPECT_EQ(dataSet.DeleteElement(loaded.Find(tags[9000]))->tag, tags[9001]);
    EXPECT_NE(dataSet.InsertElement(nullptr, false, tags[9000], 0, false, kLast), nullptr);
    EXPECT_EQ(TagsOf(dataSet.tree.first), tags);
}

TEST(InsertElement, PutsElementsBeforeManyItems)
{
    DicomDataSet dataSet;
    dataSet.InsertElement(nullptr, false, 0x00080016, 0, false, kLast);
    for (int i = 0; i < 40; ++i) dataSet.InsertElement(nullptr, false, kTagItem, 0, true, kLast);
    dataSet.InsertElement(nullptr, false, 0x00100010, 0, false, kLast);
    dataSet.InsertElement(nullptr, false, kTagItem, 0, true, 2);
    dataSet.InsertElement(nullptr, false, 0x00280010, 0, false, kLast);
    Tags expected(44, kTagItem);
    expected[0] = 0x00080016, expected[1] = 0x00100010, expected[2] = 0x00280010;
    EXPECT_EQ(TagsOf(dataSet.tree.first), expected);
}

// A walk of the top level for the transfer syntax of each would be 4e10 steps.
TEST(LoadDataSet, ManyItemsMayHavePixelData)
{
    constexpr size_t kCount = 200000;
    ByteWriter writer;
    writer.Bytes(EmptyElements(MakeTags(Order::ascending, kCount)));
    writer.U16le(0x0040).U16le(0x9096).U32le(kUndefinedLength);
    for (size_t i = 0; i < kCount; ++i)
        writer.U16le(0xFFFE).U16le(0xE000).U32le(8).U16le(0x7FE0).U16le(0x0010).U32le(0);
    LoadedBytes loaded(writer, kImplicitLittle);
    EXPECT_EQ(loaded.status, kDicomOk);
    EXPECT_EQ(loaded.Count(), 3 * kCount + 1);
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

/// Loads, copies and deletes `bytes`, a ByteVector.
void* LoadAndCopy(void* bytes)
{
    LoadedBytes loaded(*static_cast<ByteVector*>(bytes));
    DicomDataSet copy;
    if (loaded.status == kDicomOk && copy.CopyDataSet(&loaded.dataSet) != kDicomOk) return bytes;
    for (auto* node = copy.tree.first; node != nullptr; node = NextInPreOrder(node))
        copy.FormatValueText(node, nullptr);
    if (copy.tree.first != nullptr) copy.DeleteElement(copy.tree.first);
    return nullptr;
}

// Hosts load files on threads with small stacks.
TEST(LoadDataSet, NeedsLittleStack)
{
    for (const size_t size : {size_t{5000}, size_t{1} << 20}) {  // within and beyond the limit of nesting
        DicomBuilder builder = PreambleFile().ExplicitLittle();
        while (builder.Position() < size) builder.BeginSequence(0x00081140).BeginItem().Us(0x00080001, 1);
        ByteVector bytes = builder.Bytes();
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 * 1024), 0);
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, &attributes, LoadAndCopy, &bytes), 0);
        void* result = &thread;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, nullptr);
        pthread_attr_destroy(&attributes);
    }
}

/// A drive that fails once: read number `failing` gives nothing.
class FailingOnceStream : public DicomStream
{
  public:
    size_t ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        return reads++ == failing ? 0 : DicomStream::ReadAt(position, buffer, count);
    }
    int failing = -1;
    int reads = 0;
};

TEST(LoadDataSet, AFailedReadGivesTheWholeTreeOrNone)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    for (uint32_t i = 0; i < 40; ++i) builder.Un(0x00090010 + i, ByteVector(17000, 1)).Us(0x000A0001 + i, 7);
    const ByteVector bytes = builder.Bytes();
    for (const uint16_t flags : {uint16_t{0}, uint16_t{kModeValuesCopied}}) {
        size_t whole = 0;
        int refused = 0;
        for (int failing = -1, reads = 0; failing < reads; ++failing) {
            FailingOnceStream stream;
            stream.failing = failing;
            stream.OpenMemory(bytes.data(), bytes.size());
            DicomDataSet dataSet;
            const DicomStatus status = LoadDataSet(&dataSet, &stream, flags, false);
            size_t count = 0;
            for (auto* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node)) ++count;
            if (failing < 0) whole = count, reads = stream.reads;
            EXPECT_TRUE(status == kDicomOk ? count == whole : count == 0) << failing;
            EXPECT_TRUE(status == kDicomOk || status == kDicomNotDicom) << failing;
            refused += status != kDicomOk;
        }
        EXPECT_GT(whole, 80u);
        EXPECT_GT(refused, 30);
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
    std::error_code error;
    std::filesystem::resize_file(file.Path(), 100, error);
    if (error) GTEST_SKIP() << "the system lets nobody shrink a file that is open";
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

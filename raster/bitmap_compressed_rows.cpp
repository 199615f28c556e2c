#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "raster/bitmap_storage.h"
#include "raster/run_length_row.h"

// Every row is kept as its run lengths when that is shorter than the row itself, else as it is. The rows lie
// one after the other in one growing block, the row store; a row that no longer fits into its old place moves
// to the end, and the block is packed anew when half of it is waste. A bit beyond the width reads as 0.

namespace talv {
namespace {
struct RowSlot
{
    uint32_t offset;  ///< in the row store
    uint32_t length;  ///< bytes kept: 0 for a row never written, bytesPerLine for one kept as it is
};

struct RowStore
{
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> row;  ///< one unpacked row
    size_t waste = 0;
};

/// The runs of a row without any 1 bit that is too wide for a single run.
struct SplitList
{
    uint32_t count;
    uint16_t lengths[1];  ///< `count` of them: 65535 each, the last one the remainder
};

struct CompressedRowTable
{
    uint8_t* scratch;
    SplitList* splitList;
    uint32_t scratchSize;
    RowStore* store;
    RowSlot slots[1];  ///< one for every row
};
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(offsetof(CompressedRowTable, slots) == 16 && sizeof(RowSlot) == 8);
#endif

CompressedRowTable* TableOf(const ImageBitmap* bitmap)
{
    return reinterpret_cast<CompressedRowTable*>(bitmap->data);
}

void FreeTable(CompressedRowTable* table)
{
    if (table == nullptr) return;
    delete table->store;
    std::free(table->splitList);
    std::free(table->scratch);
    std::free(table);
}

SplitList* CreateSplitList(uint32_t width)
{
    const uint32_t count = (width + 65535) / 65535;
    auto* list =
        static_cast<SplitList*>(std::malloc(offsetof(SplitList, lengths) + count * sizeof(uint16_t)));
    if (list == nullptr) return nullptr;
    list->count = count;
    for (uint32_t i = 0; i < count; ++i) list->lengths[i] = 65535;
    list->lengths[count - 1] = static_cast<uint16_t>(width - 65535 * (count - 1));
    return list;
}

void UnpackRow(const ImageBitmap* bitmap, const RowSlot& slot, uint8_t* row, uint32_t byteCount)
{
    const CompressedRowTable* table = TableOf(bitmap);
    const uint8_t* kept = table->store->bytes.data() + slot.offset;
    if (slot.length == bitmap->bytesPerLine) {
        std::memcpy(row, kept, byteCount);
        return;
    }
    if (slot.length == 0) {
        const auto wholeRow = static_cast<uint16_t>(bitmap->width);
        if (table->splitList == nullptr)
            DecodeRuns(&wholeRow, 1, row, byteCount);
        else
            DecodeRuns(table->splitList->lengths, table->splitList->count, row, byteCount);
        return;
    }
    std::memcpy(table->scratch, kept, slot.length);  // the store does not align
    DecodeRuns(reinterpret_cast<const uint16_t*>(table->scratch), slot.length / 2, row, byteCount);
}

/// Where memory for the packed block is short the waste stays.
void PackStore(RowStore* store, RowSlot* slots, int32_t rows)
{
    std::vector<uint8_t> packed;
    try {
        packed.reserve(store->bytes.size() - store->waste);
    } catch (const std::bad_alloc&) {
        return;
    }
    for (int32_t i = 0; i < rows; ++i) {
        const auto offset = static_cast<uint32_t>(packed.size());
        const uint8_t* kept = store->bytes.data() + slots[i].offset;
        packed.insert(packed.end(), kept, kept + slots[i].length);
        slots[i].offset = offset;
    }
    store->bytes.swap(packed);
    store->waste = 0;
}

/// Keeps `length` bytes for the row of `slot`; on std::bad_alloc the row is as it was.
void KeepRow(ImageBitmap* bitmap, RowSlot* slot, const uint8_t* bytes, uint32_t length)
{
    CompressedRowTable* table = TableOf(bitmap);
    RowStore* store = table->store;
    if (length <= slot->length) {
        if (length > 0) std::memcpy(store->bytes.data() + slot->offset, bytes, length);
        store->waste += slot->length - length;
    } else {
        const auto offset = static_cast<uint32_t>(store->bytes.size());
        store->bytes.insert(store->bytes.end(), bytes, bytes + length);
        store->waste += slot->length;
        slot->offset = offset;
    }
    slot->length = length;
    constexpr size_t kWorthPacking = 64 << 10;
    if (store->waste > kWorthPacking && store->waste > store->bytes.size() / 2)
        PackStore(store, table->slots, bitmap->height);
}

void ClearBitsBeyondWidth(const ImageBitmap* bitmap, uint8_t* row)
{
    const auto width = static_cast<uint32_t>(bitmap->width);
    const uint32_t used = (width + 7) / 8;
    if ((width & 7) != 0) row[used - 1] &= static_cast<uint8_t>(0xFF << (8 - (width & 7)));
    std::memset(row + used, 0, bitmap->bytesPerLine - used);
}
}  // namespace

int32_t BuildCompressedRows(ImageBitmap* bitmap)
{
    const auto width = static_cast<uint32_t>(bitmap->width);
    const uint64_t tableBytes =
        offsetof(CompressedRowTable, slots) + uint64_t{uint32_t(bitmap->height)} * sizeof(RowSlot);
    const uint64_t scratchSize = 2 * uint64_t{width} + 8;
    if (tableBytes > SIZE_MAX / 2 || scratchSize > SIZE_MAX / 2 || scratchSize > UINT32_MAX)
        return kRasterNoMemory;

    auto* table = static_cast<CompressedRowTable*>(std::calloc(1, static_cast<size_t>(tableBytes)));
    if (table == nullptr) return kRasterNoMemory;
    table->scratchSize = static_cast<uint32_t>(scratchSize);
    table->scratch = static_cast<uint8_t*>(std::malloc(table->scratchSize));
    table->store = new (std::nothrow) RowStore;
    if (width > 65535) table->splitList = CreateSplitList(width);
    if (table->scratch == nullptr || table->store == nullptr ||
        (width > 65535 && table->splitList == nullptr)) {
        FreeTable(table);
        return kRasterNoMemory;
    }
    bitmap->data = reinterpret_cast<uint8_t*>(table);
    bitmap->storageHandle = table->store;
    bitmap->flags |= kBitmapAllocated | kBitmapInMemory | kBitmapCompressedRows;
    return kRasterOk;
}

void ReleaseCompressedRows(ImageBitmap* bitmap)
{
    FreeTable(TableOf(bitmap));
}

int32_t ReadCompressedRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount)
{
    UnpackRow(bitmap, TableOf(bitmap)->slots[row], static_cast<uint8_t*>(buffer), byteCount);
    return static_cast<int32_t>(byteCount);
}

int32_t WriteCompressedRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    CompressedRowTable* table = TableOf(bitmap);
    RowSlot* slot = &table->slots[row];
    try {
        std::vector<uint8_t>& whole = table->store->row;
        whole.resize(bitmap->bytesPerLine);
        if (byteCount < bitmap->bytesPerLine) UnpackRow(bitmap, *slot, whole.data(), bitmap->bytesPerLine);
        std::memcpy(whole.data(), buffer, byteCount);
        ClearBitsBeyondWidth(bitmap, whole.data());

        // Runs are only worth keeping when they are shorter than the row.
        auto* runs = reinterpret_cast<uint16_t*>(table->scratch);
        const size_t shorter = (bitmap->bytesPerLine - 1) / 2;
        const size_t count = EncodeRuns(whole.data(), static_cast<uint32_t>(bitmap->width), runs, shorter);
        if (count > 0)
            KeepRow(bitmap, slot, table->scratch, static_cast<uint32_t>(count * 2));
        else
            KeepRow(bitmap, slot, whole.data(), bitmap->bytesPerLine);
    } catch (const std::bad_alloc&) {
        return kRasterNoMemory;
    }
    return static_cast<int32_t>(byteCount);
}
}  // namespace talv

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/memory.h"
#include "raster/bitmap_storage.h"
#include "raster/raster_settings.h"
#include "raster/temporary_store.h"

namespace talv {
namespace {
struct Tile
{
    void* mapping;          ///< the mapping object of a resident tile
    uint8_t* view;          ///< first row of a resident tile, else null
    TemporaryStore* store;  ///< the file of the other tiles, else kNoStore
    uint32_t reserved;      ///< zero
};

struct TileTable
{
    uint32_t tileCount;
    uint32_t residentWanted;  ///< tiles that settings and memory allow to be resident
    uint32_t rowsPerTile;
    uint32_t zero;
    uint32_t residentCount;  ///< tiles that are: 0 .. residentCount - 1
    Tile tiles[1];           ///< tileCount of them
};
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(offsetof(TileTable, tiles) == 20 && sizeof(Tile) == 16);
#endif

TemporaryStore* const kNoStore = reinterpret_cast<TemporaryStore*>(UINTPTR_MAX);

TileTable* TableOf(const ImageBitmap* bitmap)
{
    return reinterpret_cast<TileTable*>(bitmap->data);
}

/// Bytes of a tile; the last one holds the rows left over.
uint64_t TileBytes(const ImageBitmap* bitmap, const TileTable* table, uint32_t index)
{
    const auto height = static_cast<uint32_t>(bitmap->height);
    const uint32_t rows =
        index + 1 < table->tileCount ? table->rowsPerTile : height - table->rowsPerTile * index;
    return uint64_t{rows} * bitmap->bytesPerLine;
}

void FreeTable(const ImageBitmap* bitmap, TileTable* table)
{
    for (uint32_t i = table->tileCount; i-- > 0;) {
        Tile& tile = table->tiles[i];
        if (tile.view != nullptr) {
            MappedMemory mapping{tile.mapping, tile.view, TileBytes(bitmap, table, i)};
            ReleaseMappedMemory(&mapping);
        }
        if (tile.store != kNoStore) delete tile.store;
    }
    std::free(table);
}

uint32_t ResidentTiles(uint32_t tileCount, uint64_t tileBytes, uint64_t memoryBudget)
{
    const int64_t setting = rasterSettings.maxResidentTiles;
    uint64_t wanted = setting >= 0 ? static_cast<uint64_t>(setting)
                                   : uint64_t{tileCount} * static_cast<uint64_t>(-setting) / 100;
    wanted = std::min<uint64_t>(wanted, tileCount);
    wanted = std::min(wanted, memoryBudget / tileBytes);
    return static_cast<uint32_t>(std::max<uint64_t>(wanted, 1));
}

int32_t FillTile(const ImageBitmap* bitmap, TileTable* table, uint32_t index)
{
    Tile& tile = table->tiles[index];
    const uint64_t bytes = TileBytes(bitmap, table, index);
    if (index < table->residentWanted && index == table->residentCount) {
        const MappedMemory mapping = CreateMappedMemory(bytes);
        if (mapping.view != nullptr) {
            tile.mapping = mapping.handle;
            tile.view = mapping.view;
            ++table->residentCount;
            return kRasterOk;
        }
        if (index == 0) return kRasterNotAllocated;  // not even one tile fits
    }
    std::unique_ptr<TemporaryStore> store;
    if (int32_t status = TemporaryStore::Create(bytes, &store); status < 0) return status;
    tile.store = store.release();
    return kRasterOk;
}

int32_t BuildTable(ImageBitmap* bitmap, uint64_t tileBytes, uint64_t memoryBudget)
{
    const uint32_t bytesPerLine = bitmap->bytesPerLine;
    const auto height = static_cast<uint64_t>(bitmap->height);
    const uint64_t rowsPerTile = std::min(std::max<uint64_t>(tileBytes, bytesPerLine) / bytesPerLine, height);
    const auto tileCount = static_cast<uint32_t>((height + rowsPerTile - 1) / rowsPerTile);
    const uint64_t tableBytes = offsetof(TileTable, tiles) + uint64_t{tileCount} * sizeof(Tile);
    auto* table =
        tableBytes <= SIZE_MAX ? static_cast<TileTable*>(std::calloc(1, size_t(tableBytes))) : nullptr;
    if (table == nullptr) return kRasterNotAllocated;

    table->tileCount = tileCount;
    table->rowsPerTile = static_cast<uint32_t>(rowsPerTile);
    table->residentWanted = ResidentTiles(tileCount, rowsPerTile * bytesPerLine, memoryBudget);
    for (uint32_t i = 0; i < tileCount; ++i) table->tiles[i].store = kNoStore;
    for (uint32_t i = 0; i < tileCount; ++i) {
        if (int32_t status = FillTile(bitmap, table, i); status < 0) {
            FreeTable(bitmap, table);
            return status;
        }
    }
    bitmap->data = reinterpret_cast<uint8_t*>(table);
    bitmap->flags |= kBitmapAllocated | kBitmapInMemory | kBitmapTiled;
    return kRasterOk;
}

/// The tile of a row and the row's byte offset in it.
Tile& LocateTile(const ImageBitmap* bitmap, int32_t row, uint64_t* offset)
{
    TileTable* table = TableOf(bitmap);
    const auto wanted = static_cast<uint32_t>(row);
    *offset = uint64_t{wanted % table->rowsPerTile} * bitmap->bytesPerLine;
    return table->tiles[wanted / table->rowsPerTile];
}
}  // namespace

int32_t BuildTiles(ImageBitmap* bitmap, uint64_t tileBytes, uint64_t memoryBudget)
{
    for (;;) {
        const int32_t status = BuildTable(bitmap, tileBytes, memoryBudget);
        if (status > 0 || status == kRasterWriteFailed) return status;  // smaller tiles need no less disk
        tileBytes /= 2;
        if (tileBytes <= 8 * uint64_t{bitmap->bytesPerLine}) return kRasterNotAllocated;
    }
}

void ReleaseTiles(ImageBitmap* bitmap)
{
    FreeTable(bitmap, TableOf(bitmap));
}

int32_t ReadTileRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount)
{
    uint64_t offset = 0;
    const Tile& tile = LocateTile(bitmap, row, &offset);
    if (tile.view == nullptr) return tile.store->Read(offset, buffer, byteCount);
    std::memcpy(buffer, tile.view + offset, byteCount);
    return static_cast<int32_t>(byteCount);
}

int32_t WriteTileRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    uint64_t offset = 0;
    Tile& tile = LocateTile(bitmap, row, &offset);
    if (tile.view == nullptr) return tile.store->Write(offset, buffer, byteCount);
    std::memcpy(tile.view + offset, buffer, byteCount);
    return static_cast<int32_t>(byteCount);
}
}  // namespace talv

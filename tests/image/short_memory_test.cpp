// Every request for memory by operator new fails in turn while frames are decoded.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "tests/image/image_fixture.h"

namespace {
thread_local int requestsLeft = -1;  // negative: all are granted

void* Request(size_t bytes)
{
    if (requestsLeft == 0) return nullptr;
    if (requestsLeft > 0) --requestsLeft;
    return std::malloc(bytes != 0 ? bytes : 1);
}
}  // namespace

void* operator new(size_t bytes)
{
    void* const block = Request(bytes);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new(size_t bytes, const std::nothrow_t&) noexcept
{
    return Request(bytes);
}
void* operator new[](size_t bytes)
{
    return operator new(bytes);
}
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept
{
    return Request(bytes);
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, size_t) noexcept
{
    std::free(block);
}
void operator delete[](void* block) noexcept
{
    std::free(block);
}
void operator delete[](void* block, size_t) noexcept
{
    std::free(block);
}

namespace talv {
namespace {
ByteVector PaletteFile(uint16_t entries)
{
    ImageAttributes image = Grey8(2, 2);
    image.photometric = "PALETTE COLOR";
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    const std::vector<uint16_t> ramp(entries, 0x4000);
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Us(0x00281101 + colour, {entries, 0, 16});
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Ow(0x00281201 + colour, ramp);
    return builder.NativePixels({0, 1, 2, 3}).Bytes();
}

ByteVector RescaledFile()
{
    ImageAttributes image = Grey16(2, 2, true);
    image.numberOfFrames = std::to_string(2);
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    builder.Ds(0x00281052, "-1024").Ds(0x00281053, "1").BeginSequence(0x52009230).BeginItem().EndItem();
    return builder.EndSequence().NativePixels(ByteVector(16, 3)).Bytes();
}

ByteVector FragmentsFile()
{
    ByteVector item(66);
    item[0] = 1, item[4] = 64, item[64] = 0xFD;
    ImageAttributes image = Grey8(2, 2);
    image.numberOfFrames = std::to_string(2);
    return PreambleFile().ExplicitLittle(kRleSyntax).Image(image).Encapsulated({item, item, item}).Bytes();
}
}  // namespace

TEST(ShortMemory, IsAnAnswerAndTheNextCallWorks)
{
    const ByteVector files[] = {
        PaletteFile(4), PaletteFile(300), RescaledFile(), FragmentsFile(),
        PreambleFile().ExplicitLittle().Image(Color8(2, 2)).NativePixels(ByteVector(12)).Bytes()};
    for (const ByteVector& bytes : files) {
        LoadedFile whole(bytes);
        Picture expected(&whole, 0, kPlayerImageOptions | kImageOverlays);
        ASSERT_EQ(expected.status, kDicomOk);
        const ByteVector rows = expected.Rows();
        for (int granted = 0, refused = 1; refused != 0; ++granted) {
            LoadedFile file(bytes);
            DicomElement* const pixels = file.PixelData();
            refused = 0;
            // What a failed call leaves behind must serve the next one, until one succeeds.
            for (int more = granted; more < granted + 3; ++more) {
                ImageBitmap bitmap{};
                requestsLeft = more;
                const DicomStatus status =
                    GetImage(&file.dataSet, pixels, &bitmap, kBitmapStructSize, 0, 0, 4,
                             kPlayerImageOptions | kImageOverlays, nullptr, nullptr);
                requestsLeft = -1;
                ASSERT_TRUE(status == kDicomOk || status == kDicomNoMemory) << status << " after " << more;
                ASSERT_EQ(status == kDicomOk, (bitmap.flags & kBitmapAllocated) != 0);
                refused += status != kDicomOk;
                FreeBitmap(&bitmap);
            }
            Picture picture(&file, 0, kPlayerImageOptions | kImageOverlays);
            ASSERT_EQ(picture.status, kDicomOk) << granted;
            ASSERT_EQ(picture.Rows(), rows) << granted;
            ASSERT_EQ(picture.bitmap.lutLength, expected.bitmap.lutLength);
            if (rows.empty() || picture.bitmap.palette == nullptr) continue;
            for (uint32_t i = 0; i < picture.bitmap.colorCount; ++i)
                ASSERT_EQ(picture.bitmap.palette[i].red, expected.bitmap.palette[i].red) << granted;
        }
    }
}
}  // namespace talv

#include <png.h>

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <new>

#include "tools/talvdicom/png_writer.h"

namespace talv {
namespace {
constexpr int kLevel = 1;  // speed over size

void AppendBytes(png_structp png, png_bytep bytes, png_size_t count)
{
    auto* const file = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    try {
        file->insert(file->end(), bytes, bytes + count);
    } catch (const std::bad_alloc&) {
        png_error(png, "out of memory");
    }
}

struct PngShape
{
    uint32_t width, height;
    int bitDepth, colourType;
};

/// Nothing that needs destroying lives here: the library leaves by longjmp. `rows` of bytes as they are to
/// be written, but for 16-bit numbers, which are in the order of this machine.
bool WritePng(png_structp png, png_infop header, const PngShape& shape, png_bytepp rows)
{
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_set_compression_level(png, kLevel);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, shape.bitDepth == 1 ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_set_IHDR(png, header, shape.width, shape.height, shape.bitDepth, shape.colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, header);
    if (shape.bitDepth == 1) png_set_packing(png);
    if (shape.bitDepth == 16 && std::endian::native == std::endian::little) png_set_swap(png);
    png_write_image(png, rows);
    png_write_end(png, header);
    return true;
}

void IgnoreWarning(png_structp, png_const_charp) {}
}  // namespace

std::vector<uint8_t> EncodePng(const Picture& picture)
{
    const bool deep = !picture.deep.empty();
    const PngShape shape = {static_cast<uint32_t>(picture.width), static_cast<uint32_t>(picture.height),
                            deep              ? 16
                            : picture.bilevel ? 1
                                              : 8,
                            picture.channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY};
    std::vector<uint8_t> bytes;
    if (deep) {
        bytes.resize(picture.deep.size() * 2);
        std::copy_n(reinterpret_cast<const uint8_t*>(picture.deep.data()), bytes.size(), bytes.begin());
    } else {
        bytes = picture.pixels;
        if (picture.bilevel)  // one byte a pixel, 0 or 1; the library packs them
            for (uint8_t& pixel : bytes) pixel &= 1;
    }
    const size_t rowBytes = size_t{shape.width} * (deep ? 2 : static_cast<size_t>(picture.channels));
    std::vector<png_bytep> rows(shape.height);
    for (size_t y = 0; y < rows.size(); ++y) rows[y] = bytes.data() + y * rowBytes;

    std::vector<uint8_t> file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, IgnoreWarning);
    png_infop header = png != nullptr ? png_create_info_struct(png) : nullptr;
    bool written = false;
    if (header != nullptr) {
        png_set_write_fn(png, &file, AppendBytes, nullptr);
        written = WritePng(png, header, shape, rows.data());
    }
    png_destroy_write_struct(&png, &header);
    if (!written) throw std::bad_alloc();  // the one thing that can go wrong
    return file;
}
}  // namespace talv

#include <zlib.h>

#include <new>

#include "tools/talvdicom/png_writer.h"

namespace talv {
namespace {
constexpr int kLevel = Z_BEST_SPEED;

void PutBig32(uint32_t value, std::vector<uint8_t>* out)
{
    for (int shift = 24; shift >= 0; shift -= 8) out->push_back(static_cast<uint8_t>(value >> shift));
}

/// Length, type, data, check sum over type and data (ISO/IEC 15948 5.3).
void PutChunk(const char (&type)[5], const std::vector<uint8_t>& data, std::vector<uint8_t>* out)
{
    PutBig32(static_cast<uint32_t>(data.size()), out);
    const size_t start = out->size();
    out->insert(out->end(), type, type + 4);
    out->insert(out->end(), data.begin(), data.end());
    PutBig32(static_cast<uint32_t>(crc32_z(0, out->data() + start, out->size() - start)), out);
}

std::vector<uint8_t> Header(const Picture& picture)
{
    std::vector<uint8_t> header;
    PutBig32(static_cast<uint32_t>(picture.width), &header);
    PutBig32(static_cast<uint32_t>(picture.height), &header);
    const uint8_t depth = !picture.deep.empty() ? 16 : picture.bilevel ? 1 : 8;
    const uint8_t colourType = picture.channels == 3 ? 2 : 0;
    header.insert(header.end(), {depth, colourType, 0, 0, 0});
    return header;
}

/// Rows, each after its filter byte; unfiltered.
std::vector<uint8_t> Rows(const Picture& picture)
{
    const size_t rowBytes = size_t(picture.width) * size_t(picture.channels);
    std::vector<uint8_t> rows;
    rows.reserve((rowBytes + 1) * size_t(picture.height));
    for (size_t i = 0; i < picture.deep.size(); ++i) {
        if (i % rowBytes == 0) rows.push_back(0);
        rows.push_back(static_cast<uint8_t>(picture.deep[i] >> 8));
        rows.push_back(static_cast<uint8_t>(picture.deep[i]));
    }
    if (!picture.deep.empty()) return rows;
    for (int32_t y = 0; y < picture.height; ++y) {
        const uint8_t* row = picture.pixels.data() + size_t(y) * rowBytes;
        rows.push_back(0);
        if (!picture.bilevel) {
            rows.insert(rows.end(), row, row + rowBytes);
            continue;
        }
        const size_t start = rows.size();
        rows.resize(start + (rowBytes + 7) / 8);
        for (size_t x = 0; x < rowBytes; ++x)
            if (row[x] != 0) rows[start + x / 8] |= static_cast<uint8_t>(0x80 >> (x & 7));
    }
    return rows;
}

std::vector<uint8_t> Compress(const std::vector<uint8_t>& bytes)
{
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::vector<uint8_t> out(size);
    const int status = compress2(out.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()), kLevel);
    if (status != Z_OK) throw std::bad_alloc();  // the one thing that can go wrong
    out.resize(size);
    return out;
}
}  // namespace

std::vector<uint8_t> EncodePng(const Picture& picture)
{
    std::vector<uint8_t> file = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    PutChunk("IHDR", Header(picture), &file);
    PutChunk("IDAT", Compress(Rows(picture)), &file);
    PutChunk("IEND", {}, &file);
    return file;
}
}  // namespace talv

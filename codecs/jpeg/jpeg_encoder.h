#pragma once

#include <cstdint>
#include <vector>

#include "codecs/entry_points.h"
#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
inline constexpr uint32_t kCompressionYuy2 = 0x32595559;
inline constexpr uint32_t kCompressionUyvy = 0x59565955;
inline constexpr uint32_t kCompressionTgry = 0x59524754;
inline bool IsPacked422(const BitmapHeader& header)
{
    return header.compression == kCompressionYuy2 || header.compression == kCompressionUyvy;
}

/// The picture to be written: one plane a component, already subsampled, in whole MCUs (edges repeated).
struct EncoderPlane
{
    int h = 1;
    int v = 1;
    int stride = 0;
    std::vector<uint16_t> samples;
};

struct EncoderPicture
{
    int width = 0;
    int height = 0;  ///< of a field when there are two
    int fields = 1;
    int precision = 8;
    bool lossless = false;
    bool rgb = false;
    int mcusAcross = 0;
    int mcuRows = 0;                      ///< of a field
    std::vector<EncoderPlane> planes[2];  ///< by field
};

/// Builds the planes of one field or of the whole picture.
void FillPicture(const uint8_t* source, const BitmapHeader& header, int colourMode, EncoderPicture* picture);

/// A Huffman table as the encoder needs it: code and length by symbol.
struct EncoderTable
{
    uint16_t code[256] = {};
    uint8_t length[256] = {};

    explicit EncoderTable(const HuffmanCounts& counted);
};

/// The best table for symbols with these frequencies (T.81 K.2).
HuffmanCounts BestTable(const std::vector<int64_t>& frequencies);

/// Appends the entropy-coded data of all fields, restart markers between intervals and fields.
void EncodeDctScan(const EncoderPicture& picture, const HuffmanCounts* dc, const HuffmanCounts* ac,
                   const uint16_t (*quant)[64], int restartInterval, std::vector<uint8_t>* out);
void EncodeLosslessScan(const EncoderPicture& picture, int restartInterval, HuffmanCounts* table,
                        std::vector<uint8_t>* out);

/// The arguments of the exported encoder function.
struct SaveRequest
{
    const uint8_t* source;
    const BitmapHeader* header;
    uint8_t* output;
    uint32_t* outputSize;
    uint32_t sixteenBitLimit;
    uint32_t options;
    int32_t kind;
    uint32_t coding;
    const SaveExtras* extras;
};

int32_t SaveBuffer(const SaveRequest& request);
}  // namespace talv::jpeg

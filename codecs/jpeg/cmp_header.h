#pragma once

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
inline constexpr int kCmpHeaderBytes = 24;
inline constexpr int kCmpExtensionBytes = 22;

/// The stream kinds of the entry points that follow the CMP rules.
inline constexpr int32_t kCmpKind = 5;
inline bool IsCmpKind(int32_t kind)
{
    return kind == kCmpKind || kind == 20 || kind == 165;
}

/// A CMP stream starts with the first two letters of either signature.
bool LooksLikeCmp(const uint8_t* source, size_t length);
/// Reads the header in place of the marker segments and makes the payload readable; 0, or a negative code.
int32_t ReadCmpHeader(JpegDecoder* decoder);
/// Fills the table slots with a built-in Huffman table set (0 to 3) and the built-in quantisation tables.
void UseBuiltInTables(JpegDecoder* decoder, int huffmanSet, bool grey, int quality);
}  // namespace talv::jpeg

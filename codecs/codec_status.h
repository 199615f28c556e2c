#pragma once

#include <cstdint>

namespace talv {
/// Results of the exported codec functions: 1 for success, a negative code for each failure.
enum CodecStatus : int32_t
{
    kCodecOk = 1,
    kCodecNoMemory = -1,
    kCodecUnsupported = -9,  ///< not a stream this decoder accepts
    kCodecInvalidParameter = -13,
    kCodecSixteenBits = -21,  ///< 16 bits per pixel where the stream kind does not allow it
    kCodecBadDepth = -27,     ///< destination bits per pixel do not fit the stream
    kCodecHeaderReadTwice = -31,
    kCodecNotReadable = -34,
    kCodecBadColourMode = -38,     ///< encoder colour mode outside 0..12
    kCodecTooNarrow = -44,         ///< destination narrower than the image
    kCodecNoQuantTable = -49,      ///< a component lacks its quantisation table
    kCodecNoDcTable = -50,         ///< a component lacks its DC Huffman table
    kCodecNoAcTable = -51,         ///< a component lacks its AC Huffman table
    kCodecNoReader = -53,          ///< no input
    kCodecTooManyDcTables = -54,   ///< a DC table beyond the four slots
    kCodecTooManyAcTables = -55,   ///< an AC table beyond the four slots
    kCodecBadRegion = -56,         ///< decoding region outside the image
    kCodecEmptyRegion = -58,       ///< no MCU in the decoding region
    kCodecBadSegmentLength = -62,  ///< marker segment length below 2 while looking for DNL
    kCodecWrongStructSize = -789,  ///< a record does not say the size it must have
};
}  // namespace talv

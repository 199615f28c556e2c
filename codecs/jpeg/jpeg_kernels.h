#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cpu.h"

namespace talv::jpeg {
/// A block on its way back to samples. Coefficients and quantisation table are in natural order (row by row).
template <typename Sample>
struct InverseTask
{
    const int16_t* block;
    const uint16_t* quant;
    Sample* out;       ///< the first of 8 rows
    ptrdiff_t stride;  ///< samples between rows
};

/// The inner loops. Every level gives the same bytes.
struct JpegKernels
{
    /// Dequantisation (products wrap at 16 bits) and inverse DCT of two blocks. `lowOnly`: only the 4 by 4
    /// coefficients of lowest frequency may be other than 0.
    void (*inverse8)(const InverseTask<uint8_t> tasks[2], bool lowOnly);
    /// The same for 12-bit samples.
    void (*inverse12)(const InverseTask<uint16_t> tasks[2], bool lowOnly);
    /// Two samples for each of `width`, by linear interpolation between sample centres.
    void (*widen)(const uint8_t* in, uint8_t* out, int width);
    /// The same for a row between two: three parts of `near` and one of `far`.
    void (*widenBetween)(const uint8_t* near, const uint8_t* far, uint8_t* out, int width);
    /// Y, Cb, Cr to blue, green, red.
    void (*yccToBgr)(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* out, int width);
    /// Three planes, the first one to the third byte of a pixel.
    void (*planesToBgr)(const uint8_t* first, const uint8_t* second, const uint8_t* third, uint8_t* out,
                        int width);
    /// Words that three components take in turns to a row of each.
    void (*splitThree)(const uint16_t* in, uint16_t* first, uint16_t* second, uint16_t* third, int count);
    /// By predictor (1 to 7): `count` samples of a lossless row from their differences, modulo 65536. The
    /// sample before `row` exists and so does, but for predictor 1, the row above with the sample before it.
    void (*predict[8])(const uint16_t* differences, uint16_t* row, const uint16_t* above, int count);
};

/// The kernels of a level; those of lower levels where it has none of its own.
JpegKernels SelectJpegKernels(SimdLevel level);

void UseJpegKernelsSse2(JpegKernels* kernels);
void UseJpegKernelsAvx2(JpegKernels* kernels);

// Factors of the inverse DCT with 13 fraction bits: cosines of multiples of pi/16, times the square root of
// 2, as sums of the rounded factors of the fast algorithm of Loeffler, Ligtenberg and Moschytz (ICASSP 1989).
// Output k of the odd part takes inputs 1, 3, 5, 7.
inline constexpr int kDctBits = 13;
inline constexpr int16_t kDctOne = 1 << kDctBits;
inline constexpr int16_t kDctEven[2][2] = {{10703, 4433}, {4433, -10704}};  // of inputs 2 and 6
inline constexpr int16_t kDctOdd[4][4] = {
    {11363, 9633, 6437, 2260},
    {9633, -2259, -11362, -6436},
    {6437, -11362, 2261, 9633},
    {2260, -6436, 9633, -11363},
};

// Fraction bits kept between the two passes: 8-bit samples leave room for two in 16 bits, 12-bit samples for
// none.
inline constexpr int kKeptBits8 = 2;
inline constexpr int kKeptBits12 = 0;

// Colour factors in units of 1/16384.
// Kept: the Cr-to-R factor is 22890/16384 = 1.3971, a little under JFIF's 1.402, on purpose.
// Pinned by JpegKernels.RedOfFullCrIsBelowJfif.
inline constexpr int kCrToRed = 22890;
inline constexpr int kCrToGreen = 11700;
inline constexpr int kCbToGreen = 5638;
inline constexpr int kCbToBlue = 29028;
}  // namespace talv::jpeg

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>

#include "codecs/jpeg/jpeg_encoder.h"

namespace talv::jpeg {
namespace {
/// Bits of an entropy-coded segment, with stuffing.
class BitWriter
{
  public:
    explicit BitWriter(std::vector<uint8_t>* out) : out_(out) {}

    /// The low `count` bits of `value`, 0 to 16; no other bits may be set.
    void Put(uint32_t value, int count)
    {
        bits_ = bits_ << count | value;
        for (used_ += count; used_ >= 8;) {
            used_ -= 8;
            const auto byte = static_cast<uint8_t>(bits_ >> used_);
            out_->push_back(byte);
            if (byte == 0xFF) out_->push_back(0);
        }
    }
    /// Fills the last byte up with ones (T.81 F.1.2.3).
    void Pad()
    {
        if (used_ != 0) Put(0xFFu >> used_, 8 - used_);
    }
    void RestartMarker(int number)
    {
        Pad();
        out_->push_back(0xFF);
        out_->push_back(static_cast<uint8_t>(0xD0 + (number & 7)));
    }

  private:
    std::vector<uint8_t>* out_;
    uint32_t bits_ = 0;  ///< the last bits put in; of them `used_` wait to fill a byte
    int used_ = 0;
};

int Category(int value)
{
    return static_cast<int>(std::bit_width(static_cast<uint32_t>(std::abs(value))));
}

uint32_t ExtraBits(int value, int category)
{
    return static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1u << category) - 1);
}

/// The forward DCT as it is defined (T.81 A.3.3), divided by the table and rounded, in stream order.
void TransformBlock(const uint16_t* samples, int stride, const uint16_t* quant, int* coefficients)
{
    static const auto kBasis = [] {
        std::array<std::array<double, 8>, 8> basis;
        for (int u = 0; u < 8; ++u)
            for (int x = 0; x < 8; ++x)
                basis[static_cast<size_t>(u)][static_cast<size_t>(x)] =
                    (u == 0 ? std::sqrt(0.125) : 0.5) * std::cos((2 * x + 1) * u * std::numbers::pi / 16);
        return basis;
    }();
    double rows[8][8];
    for (size_t y = 0; y < 8; ++y) {
        for (size_t u = 0; u < 8; ++u) {
            double sum = 0;
            for (size_t x = 0; x < 8; ++x)
                sum += (samples[static_cast<int>(y) * stride + static_cast<int>(x)] - 128) * kBasis[u][x];
            rows[y][u] = sum;
        }
    }
    for (size_t k = 0; k < 64; ++k) {
        const size_t v = kZigzagToNatural[k] / 8u, u = kZigzagToNatural[k] % 8u;
        double sum = 0;
        for (size_t y = 0; y < 8; ++y) sum += rows[y][u] * kBasis[v][y];
        coefficients[k] = static_cast<int>(std::clamp(std::round(sum / quant[k]), -1023.0, 1023.0));
    }
}

void PutBlock(BitWriter* writer, const int* coefficients, int difference, const EncoderTable& dc,
              const EncoderTable& ac)
{
    const int category = Category(difference);
    writer->Put(dc.code[category], dc.length[category]);
    writer->Put(ExtraBits(difference, category), category);
    int run = 0;
    for (int k = 1; k < 64; ++k) {
        if (coefficients[k] == 0) {
            ++run;
            continue;
        }
        for (; run > 15; run -= 16) writer->Put(ac.code[0xF0], ac.length[0xF0]);
        const int size = Category(coefficients[k]);
        writer->Put(ac.code[run << 4 | size], ac.length[run << 4 | size]);
        writer->Put(ExtraBits(coefficients[k], size), size);
        run = 0;
    }
    if (run > 0) writer->Put(ac.code[0], ac.length[0]);
}

/// Calls `unit(field, row, mcu)` for every MCU and `restart(number)` between intervals and fields.
template <typename Unit, typename RestartFn>
void VisitMcus(const EncoderPicture& picture, int restartInterval, Unit unit, RestartFn restart)
{
    int toRestart = restartInterval;
    int number = 0;
    for (int field = 0; field < picture.fields; ++field) {
        for (int row = 0; row < picture.mcuRows; ++row) {
            for (int mcu = 0; mcu < picture.mcusAcross; ++mcu) {
                const bool fieldStarts = field > 0 && row == 0 && mcu == 0;
                if (fieldStarts || (restartInterval != 0 && toRestart == 0)) {
                    restart(number++);
                    toRestart = restartInterval;
                }
                --toRestart;
                unit(field, row, mcu);
            }
        }
    }
}
}  // namespace

EncoderTable::EncoderTable(const HuffmanCounts& counted)
{
    uint32_t next = 0;
    int index = 0;
    for (int bits = 1; bits <= 16; ++bits, next <<= 1) {
        for (int i = 0; i < counted.counts[bits]; ++i, ++index) {
            code[counted.symbols[index]] = static_cast<uint16_t>(next++);
            length[counted.symbols[index]] = static_cast<uint8_t>(bits);
        }
    }
}

HuffmanCounts BestTable(const std::vector<int64_t>& frequencies)
{
    // One symbol more keeps the code of all ones free (T.81 K.2).
    const size_t count = frequencies.size() + 1;
    std::vector<int64_t> weight(frequencies);
    weight.push_back(1);
    std::vector<int> bits(count, 0);
    std::vector<int> group(count);
    for (size_t i = 0; i < count; ++i) group[i] = static_cast<int>(i);
    for (;;) {
        int least = -1, second = -1;
        for (int i = 0; i < static_cast<int>(count); ++i) {
            const int64_t w = weight[static_cast<size_t>(i)];
            if (w == 0) continue;
            if (least < 0 || w <= weight[static_cast<size_t>(least)]) {
                second = least;
                least = i;
            } else if (second < 0 || w <= weight[static_cast<size_t>(second)]) {
                second = i;
            }
        }
        if (second < 0) break;
        weight[static_cast<size_t>(least)] += weight[static_cast<size_t>(second)];
        weight[static_cast<size_t>(second)] = 0;
        for (size_t i = 0; i < count; ++i) {
            if (group[i] != least && group[i] != second) continue;
            group[i] = least;
            ++bits[i];
        }
    }
    // At most 17 symbols come here, so no code is longer than 17 bits; a longest pair is shortened as in
    // figure K.3.
    int counts[33] = {};
    for (size_t i = 0; i < count; ++i) ++counts[bits[i]];
    for (int i = 32; i > 16; --i) {
        while (counts[i] > 0) {
            int j = i - 2;
            while (counts[j] == 0) --j;
            counts[i] -= 2;
            ++counts[i - 1];
            counts[j + 1] += 2;
            --counts[j];
        }
    }
    int longest = 16;
    while (longest > 0 && counts[longest] == 0) --longest;
    --counts[longest];
    HuffmanCounts counted;
    counted.defined = true;
    for (int i = 1; i <= 16; ++i) counted.counts[i] = static_cast<uint8_t>(counts[i]);
    for (int length = 1; length <= 32; ++length)
        for (size_t i = 0; i + 1 < count; ++i)
            if (bits[i] == length) counted.symbols[counted.symbolCount++] = static_cast<uint8_t>(i);
    return counted;
}

void EncodeDctScan(const EncoderPicture& picture, const HuffmanCounts* dcSpecs, const HuffmanCounts* acSpecs,
                   const uint16_t (*quant)[64], int restartInterval, std::vector<uint8_t>* out)
{
    const EncoderTable dc[2] = {EncoderTable(dcSpecs[0]), EncoderTable(dcSpecs[1])};
    const EncoderTable ac[2] = {EncoderTable(acSpecs[0]), EncoderTable(acSpecs[1])};
    BitWriter writer(out);
    int prediction[kMaxComponents] = {};
    const auto unit = [&](int field, int row, int mcu) {
        const std::vector<EncoderPlane>& planes = picture.planes[field];
        for (size_t i = 0; i < planes.size(); ++i) {
            const EncoderPlane& plane = planes[i];
            const size_t slot = i == 0 || planes.size() == 4 ? 0 : 1;
            for (int v = 0; v < plane.v; ++v) {
                for (int h = 0; h < plane.h; ++h) {
                    const size_t x = static_cast<size_t>(mcu * plane.h + h) * 8;
                    const size_t y = static_cast<size_t>(row * plane.v + v) * 8;
                    int coefficients[64];
                    TransformBlock(&plane.samples[y * static_cast<size_t>(plane.stride) + x], plane.stride,
                                   quant[slot], coefficients);
                    PutBlock(&writer, coefficients, coefficients[0] - prediction[i], dc[slot], ac[slot]);
                    prediction[i] = coefficients[0];
                }
            }
        }
    };
    VisitMcus(picture, restartInterval, unit, [&](int number) {
        writer.RestartMarker(number);
        std::fill(std::begin(prediction), std::end(prediction), 0);
    });
    writer.Pad();
}

void EncodeLosslessScan(const EncoderPicture& picture, int restartInterval, HuffmanCounts* table,
                        std::vector<uint8_t>* out)
{
    // Differences to the sample on the left, above at the start of a row (T.81 H.1.2.1, predictor 1).
    const int initial = 1 << (picture.precision - 1);
    const auto visit = [&](auto put, auto restart) {
        bool reset = true;
        bool firstLine = true;
        VisitMcus(
            picture, restartInterval,
            [&](int field, int row, int mcu) {
                if (mcu == 0 && !reset) firstLine = false;
                for (const EncoderPlane& plane : picture.planes[field]) {
                    const uint16_t* at =
                        &plane.samples[static_cast<size_t>(row) * static_cast<size_t>(plane.stride) +
                                       static_cast<size_t>(mcu)];
                    const int prediction = reset ? initial : mcu > 0 ? at[-1] : at[-plane.stride];
                    const int difference = static_cast<int16_t>(at[0] - prediction);
                    put(difference == -32768 ? 32768 : difference);
                }
                reset = false;
            },
            [&](int number) {
                restart(number);
                reset = firstLine = true;
            });
    };
    std::vector<int64_t> frequencies(17, 0);
    visit([&](int difference) { ++frequencies[static_cast<size_t>(Category(difference))]; }, [](int) {});
    *table = BestTable(frequencies);
    const EncoderTable codes(*table);
    BitWriter writer(out);
    visit(
        [&](int difference) {
            const int category = Category(difference);
            writer.Put(codes.code[category], codes.length[category]);
            if (category < 16) writer.Put(ExtraBits(difference, category), category);
        },
        [&](int number) { writer.RestartMarker(number); });
    writer.Pad();
}
}  // namespace talv::jpeg

#include "codecs/j2k/j2k_mq.h"

namespace talv {
namespace {
struct Row
{
    uint16_t qe;
    uint8_t nextMps, nextLps, switches;
};

// clang-format off
//    Qe      NMPS NLPS SWITCH   (T.800 table C.2)
constexpr Row kRows[47] = {
    {0x5601,   1,   1,  1}, {0x3401,   2,   6,  0}, {0x1801,   3,   9,  0}, {0x0AC1,   4,  12,  0},
    {0x0521,   5,  29,  0}, {0x0221,  38,  33,  0}, {0x5601,   7,   6,  1}, {0x5401,   8,  14,  0},
    {0x4801,   9,  14,  0}, {0x3801,  10,  14,  0}, {0x3001,  11,  17,  0}, {0x2401,  12,  18,  0},
    {0x1C01,  13,  20,  0}, {0x1601,  29,  21,  0}, {0x5601,  15,  14,  1}, {0x5401,  16,  14,  0},
    {0x5101,  17,  15,  0}, {0x4801,  18,  16,  0}, {0x3801,  19,  17,  0}, {0x3401,  20,  18,  0},
    {0x3001,  21,  19,  0}, {0x2801,  22,  19,  0}, {0x2401,  23,  20,  0}, {0x2201,  24,  21,  0},
    {0x1C01,  25,  22,  0}, {0x1801,  26,  23,  0}, {0x1601,  27,  24,  0}, {0x1401,  28,  25,  0},
    {0x1201,  29,  26,  0}, {0x1101,  30,  27,  0}, {0x0AC1,  31,  28,  0}, {0x09C1,  32,  29,  0},
    {0x08A1,  33,  30,  0}, {0x0521,  34,  31,  0}, {0x0441,  35,  32,  0}, {0x02A1,  36,  33,  0},
    {0x0221,  37,  34,  0}, {0x0141,  38,  35,  0}, {0x0111,  39,  36,  0}, {0x0085,  40,  37,  0},
    {0x0049,  41,  38,  0}, {0x0025,  42,  39,  0}, {0x0015,  43,  40,  0}, {0x0009,  44,  41,  0},
    {0x0005,  45,  42,  0}, {0x0001,  45,  43,  0}, {0x5601,  46,  46,  0},
};
// clang-format on

constexpr MqContext MakeContext(size_t row, size_t symbol)
{
    return static_cast<MqWord>(kRows[row].qe) << kMqBelow | (row * 2 + symbol) * 4 | symbol;
}

constexpr MqStates MakeStates()
{
    MqStates states{};
    for (size_t row = 0; row < 47; ++row) {
        for (size_t symbol = 0; symbol < 2; ++symbol) {
            MqContext* words = &states.words[(row * 2 + symbol) * 4];
            words[0] = MakeContext(row, symbol);
            words[1] = MakeContext(kRows[row].nextMps, symbol);
            words[2] = MakeContext(kRows[row].nextLps, symbol ^ kRows[row].switches);
        }
    }
    return states;
}

}  // namespace

constinit const MqStates kMqStates = MakeStates();

// T.800 C.3.4: after 0xFF a byte carries seven bits; a byte above 0x8F there is a marker, and from there on,
// as behind the last byte, the decoder is fed with ones. Behind a segment two bytes 0xFF lie: a marker.
MqSupply RefillMqBytes(MqSupply s)
{
    while (s.ahead < 8) {
        const bool stuffed = s.next[-1] == 0xFF;
        if (stuffed && *s.next > 0x8F) {
            s.ahead += 8;
            s.code += MqWord{0xFF} << (kMqBelow - s.ahead);
        } else {
            s.ahead += stuffed ? 7 : 8;
            s.code += static_cast<MqWord>(*s.next++) << (kMqBelow - s.ahead);
        }
    }
    return s;
}
}  // namespace talv

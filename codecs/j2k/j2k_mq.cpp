#include "codecs/j2k/j2k_mq.h"

#include <array>

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

using StateTable = std::array<MqState, 94>;

StateTable MakeStates(const StateTable& self)
{
    StateTable states{};
    for (size_t i = 0; i < 94; ++i) {
        const Row& row = kRows[i / 2];
        const size_t symbol = i % 2;
        states[i] = {static_cast<int64_t>(row.qe) << kMqScale,
                     {&self[row.nextMps * 2u + symbol], &self[row.nextLps * 2u + (symbol ^ row.switches)]},
                     static_cast<int64_t>(symbol)};
    }
    return states;
}

const StateTable kStates = MakeStates(kStates);
}  // namespace

const MqState* MqInitialState(int row)
{
    return &kStates[static_cast<size_t>(row) * 2];
}

// T.800 C.3.4: after 0xFF a byte carries seven bits; a byte above 0x8F there is a marker, and from there on,
// as behind the last byte, the decoder is fed with ones.
MqSupply RefillMqBytes(MqSupply s)
{
    while (s.position > 8) {
        if (s.next < s.end && !(s.last == 0xFF && *s.next > 0x8F)) {
            s.position -= s.last == 0xFF ? 7 : 8;
            s.last = *s.next++;
            s.code += static_cast<int64_t>(s.last) << s.position;
        } else {
            s.end = s.next;
            s.position -= 8;
            s.code += int64_t{0xFF} << s.position;
        }
    }
    return s;
}
}  // namespace talv

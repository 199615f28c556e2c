#include <immintrin.h>

#include "codecs/jpeg/refining_scan.h"

namespace talv::jpeg {
namespace {
struct BitMaps
{
    static int Count(uint64_t map) { return __builtin_popcountll(map); }
    static uint64_t Deposit(uint64_t value, uint64_t map) { return DepositBits(value, map); }
    static uint64_t Select(uint64_t map, int index)
    {
        const int fromLowest = Count(map) - 1 - index;
        return fromLowest < 0 ? 0 : DepositBits(uint64_t{1} << fromLowest, map);
    }

  private:
    static uint64_t DepositBits(uint64_t value, uint64_t map)
    {
#if defined(__x86_64__)
        return _pdep_u64(value, map);
#else
        const auto low = static_cast<uint32_t>(map);
        const int inLow = __builtin_popcount(low);
        return _pdep_u32(static_cast<uint32_t>(value), low) |
               uint64_t{_pdep_u32(static_cast<uint32_t>(value >> inLow), static_cast<uint32_t>(map >> 32))}
                   << 32;
#endif
    }
};
}  // namespace

void RefineAcScanAvx2(JpegDecoder* decoder)
{
    RefineAcScan<BitMaps>(decoder);
}
}  // namespace talv::jpeg

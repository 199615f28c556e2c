// From the bytes of a stream to rows. The first four bytes choose size, depth, format and flags; what must
// hold is checked here and aborts when it does not: a documented status, a source that stays as it was, guard
// bytes around the rows, two runs over different rows, of different threads and instruction sets, that agree
// on every pixel they deliver.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codecs/jpeg/load_buffer.h"

namespace {
void Require(bool holds)
{
    if (!holds) std::abort();
}

constexpr size_t kGuard = 64;

int32_t Decode(const std::vector<uint8_t>& source, int width, int height, uint32_t bits, int32_t format,
               uint32_t flags, bool other, std::vector<uint8_t>* rows)
{
    const size_t bytes =
        (static_cast<size_t>(width) * bits + 31) / 32 * 4 * static_cast<size_t>(std::abs(height));
    const uint8_t fill = other ? 0xFF : 0x00;
    rows->assign(bytes + 2 * kGuard, fill);
    const std::vector<uint8_t> before(source);
    talv::LoadRequest request{source.data(),
                              static_cast<uint32_t>(source.size()),
                              rows->data() + kGuard,
                              format,
                              width,
                              height,
                              bits,
                              nullptr,
                              flags};
    request.threads = other ? 3 : 1;
    if (other && request.level > talv::SimdLevel::sse2) request.level = talv::SimdLevel::sse2;
    const int32_t status = talv::LoadBuffer(request);
    Require(before == source);
    Require(status == 1 || (status < 0 && status >= -62));
    for (size_t i = 0; i < kGuard; ++i) Require((*rows)[i] == fill && (*rows)[rows->size() - 1 - i] == fill);
    return status;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static constexpr uint32_t kDepths[4] = {8, 16, 24, 32};
    static constexpr int32_t kFormats[4] = {0, 0, 5, -10};
    const uint8_t choice = size > 0 ? data[size / 2] : 0;
    const int width = 1 << (4 + choice % 5);
    const int height = (size % 5 == 0 ? -1 : 1) * (24 + 8 * (choice % 16));
    const std::vector<uint8_t> source(data, data + size);
    for (uint32_t bits : kDepths) {
        std::vector<uint8_t> first, second;
        const int32_t format = kFormats[size / 7 % 4];
        const uint32_t flags = size % 3 == 0 ? 1u << 28 : size % 11 == 0 ? 1u << 31 : 0;
        const int32_t a = Decode(source, width, height, bits, format, flags, false, &first);
        const int32_t b = Decode(source, width, height, bits, format, flags, true, &second);
        Require(a == b);
        if (first == second) continue;
        // A delivered byte is the same in both runs; one that was left alone shows both fills.
        for (size_t i = 0; i < first.size(); ++i)
            Require(first[i] == second[i] || (first[i] == 0x00 && second[i] == 0xFF));
    }
    return 0;
}

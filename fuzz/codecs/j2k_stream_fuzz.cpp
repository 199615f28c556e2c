// Any bytes as a JPEG 2000 codestream. What must hold: a documented status, no byte outside the destination
// rows touched, the same picture whatever the rows held before and however many threads work.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "codecs/j2k/j2k_decoder.h"
#include "codecs/j2k/j2k_status.h"

namespace {
using namespace talv;

void Require(bool holds)
{
    if (!holds) std::abort();
}

int32_t Decode(const uint8_t* data, const J2KFrameDescriptor& descriptor, uint8_t fill, unsigned threads,
               std::vector<uint8_t>* rows)
{
    constexpr size_t kGuard = 64;
    const size_t size = size_t{descriptor.bytesPerLine} * descriptor.height;
    rows->assign(size + 2 * kGuard, fill);
    int32_t status = kCodecNoMemory;
    try {
        status = DecodeJ2kFrame(data, rows->data() + kGuard, descriptor, threads);
    } catch (const std::bad_alloc&) {
    }
    for (size_t i = 0; i < kGuard; ++i) Require((*rows)[i] == fill && (*rows)[size + kGuard + i] == fill);
    Require(status == kCodecOk || status == kCodecNoMemory || status == kCodecUnsupported ||
            status == kCodecBadDepth || status == kJ2kBrokenHeader || status == kJ2kNoCodestream ||
            status == kJ2kBadSize || status == kJ2kNoSize);
    return status;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The component count of the stream, where there is one, chooses a depth that may fit.
    const unsigned components = size > 41 ? data[41] : 1;
    const uint32_t depths[] = {8, 16, 32};
    J2KFrameDescriptor descriptor{};
    descriptor.size = sizeof descriptor;
    descriptor.sourceLength = static_cast<uint32_t>(size);
    descriptor.bitsPerPixel = components == 3 ? 24 : components == 4 ? 32 : depths[size % 3];
    descriptor.width = 67;
    descriptor.height = 45;
    descriptor.bytesPerLine = descriptor.width * descriptor.bitsPerPixel / 8;

    std::vector<uint8_t> first, second;
    const int32_t status = Decode(data, descriptor, 0x00, 1, &first);
    const int32_t again = Decode(data, descriptor, 0xFF, 2, &second);
    if (status == kCodecOk && again == kCodecOk)
        Require(std::memcmp(first.data() + 64, second.data() + 64, first.size() - 128) == 0);
    return 0;
}

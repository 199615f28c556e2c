#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talv {
/// `bytes` as a zlib stream (RFC 1950) of one deflate block with the fixed codes (RFC 1951 3.2.6). Fast
/// rather than small: repeats are looked for in one place only.
std::vector<uint8_t> CompressZlib(const std::vector<uint8_t>& bytes);
}  // namespace talv

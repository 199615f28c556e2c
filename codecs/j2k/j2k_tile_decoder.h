#pragma once

#include "codecs/codec_workers.h"
#include "codecs/j2k/j2k_codestream.h"
#include "codecs/j2k/j2k_output.h"
#include "codecs/j2k/j2k_packets.h"

namespace talv {
/// Decodes one tile from its packets to its destination rows. `packets` receives the number of packets read.
/// kCodecOk, kJ2kBrokenHeader or kCodecNoMemory. Throws std::bad_alloc.
int32_t DecodeJ2kTile(const J2kCodestream& stream, uint32_t index, const std::vector<J2kPacketSource>& parts,
                      const J2KDestination& destination, J2kBudget& budget, CodecWorkers& workers,
                      uint64_t* packets);
}  // namespace talv

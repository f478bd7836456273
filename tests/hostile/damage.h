#pragma once
#include "seeds.h"

// Damage done to sound files, the same every time.
namespace zel::damage {

struct Damaged {
    std::string how; ///< "cut after 17 bytes"
    seeds::Bytes bytes;
};

/// Cut at `count` lengths, spread over the file.
std::vector<Damaged> cuts(const seeds::Seed& seed, int count);
/// One to three bytes changed, others for every `round`. Checksums of PNG chunks are put right again in every second
/// one.
std::vector<Damaged> changes(const seeds::Seed& seed, int count, std::uint32_t round);
inline std::vector<Damaged> changes(const seeds::Seed& seed, int count)
{
    return changes(seed, count, 0);
}
/// Fields of the header that say sizes, counts and depths, set to 0, to huge and to contradicting values.
std::vector<Damaged> patches(const seeds::Seed& seed, int count);

/// Computes the checksum of every whole chunk of a PNG file again.
void repairPngChecksums(seeds::Bytes& bytes);

} // namespace zel::damage

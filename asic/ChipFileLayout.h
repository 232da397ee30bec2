// What is where in a chip file.
//
//   0          identity     what the file is, and the chip's configuration; written once
//              epoch        number of the checkpoint that holds
//              end          number of the next call
//              room         chunks that each of the two areas has
//              checkpoints  two descriptions; checkpoint n is described by the one at n mod 2
//   kRingAt    calls        the latest calls; call n is at n mod kRingSize
//   kAreasAt   chunks       of area 0 and area 1 in turn; checkpoint n lies in area n mod 2
//
// The file up to kAreasAt is mapped; the chunks are read and written, and the file grows by them.
#pragma once

#include "asic/Changes.h"
#include "asic/SharedWords.h"
#include "pd/calls/PackedCall.h"

#include <cstddef>
#include <cstdint>

namespace asic {

/// Changes with every change of what is written where, of the rows of pd::kOperations, or of what a
/// recorded change means.
inline constexpr std::uint64_t kLayoutVersion = 1;

/// "VELMCHIP"
inline constexpr std::uint64_t kMagic = 0x50494843'4D4C4556;

/// Words of the identity.
namespace identity_at {
enum : std::size_t {
    kMagic,
    kVersion,
    kRingSize,
    kChunkSize,
    kEntries, // the configuration, as in velmor_asic_chip_config
    kMembers,
    kGroups,
    kGroupSize,
    kPipes,
    kFirstHandle,
    kSeal,
    kWords
};
} // namespace identity_at

/// Words of a checkpoint's description.
namespace checkpoint_at {
enum : std::size_t {
    kGeneration, // boot generation of the chip
    kSystemBoot, // boot of the computer in which the chip was powered up
    kFirstCall,  // the checkpoint holds what the calls before this one left
    kNextHandle,
    kItems,       // changes that make the chip
    kItemsDigest, // check sum over these
    kSeal,
    kWords
};
} // namespace checkpoint_at

/// Words of a call.
namespace call_at {
enum : std::size_t {
    kSequence,
    kGeneration, // of the chip when the call was made
    kHead,       // from here on the packed call
    kShapes,     // with a bit on top: whether the call changed the chip
    kArguments,
    kHandle = kHead + pd::packed_at::kWords, // handle that was next before the call
    kSeal,
    kWords
};
} // namespace call_at

using IdentityWords = SharedRecord<identity_at::kWords>::Words;
using CheckpointWords = SharedRecord<checkpoint_at::kWords>::Words;
using CallWords = SharedRecord<call_at::kWords>::Words;

inline constexpr std::size_t kRingAt = 4096;
inline constexpr std::size_t kRingSize = 16384;
/// Changes in a chunk.
inline constexpr std::size_t kChunkItems = 4096;
inline constexpr std::size_t kChunkSize = kChunkItems * sizeof(Change);

struct ChipFileHead {
    SharedRecord<identity_at::kWords> identity;
    SharedWord epoch;
    SharedWord end;
    SharedWord room;
    std::array<SharedRecord<checkpoint_at::kWords>, 2> checkpoints;
};
static_assert(sizeof(ChipFileHead) <= kRingAt);

struct ChipFileLayout {
    ChipFileHead head;
    std::array<std::byte, kRingAt - sizeof(ChipFileHead)> unused;
    std::array<SharedRecord<call_at::kWords>, kRingSize> calls;
};
static_assert(offsetof(ChipFileLayout, calls) == kRingAt);

inline constexpr std::size_t kAreasAt = sizeof(ChipFileLayout);
static_assert(kAreasAt % 4096 == 0 && kChunkSize % 4096 == 0, "the file is mapped by pages");

} // namespace asic

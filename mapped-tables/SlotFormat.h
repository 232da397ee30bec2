#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "framework/Export.h"
#include "framework/Words.h"
#include "platform/Glimt/SharedTable.h"

/**
 * The bytes of a table file, which is a sequence of 64-bit words in the order of this machine:
 *
 *     header  0 magic
 *             1 size of a slot in bytes       | layout version << 32
 *             2 capacity                      | kind of record << 32
 *             3 device
 *             4 boot generation of the chip
 *             5 number of the desired state that the records belong to
 *             6 mark: 0, or kMarkCorrupt once the table was found corrupt
 *             7 CRC-32C of the serial         | latest serial number << 32
 *             8 check of the commit           | latest commit of the desired state << 16
 *             9 CRC-32C of words 0 to 5
 *     slots   0 state: 0 (never committed), kStateCommitted or kStateRetired
 *             1 sequence number of the commit
 *             2 key
 *             3 handle                        | what it is << 32
 *             . further words of the record, as many as its kind has
 *             . CRC-32C of the slot's number and of its words 1 to the last but one
 *
 * Words that change during the table's life are written by one aligned store each; the four that
 * decide anything (state, mark, serial, commit) are of a kind that no single flipped bit turns into
 * another valid one.
 */
namespace Glimt {

/// What the records of a table are about.
struct TableContext {
    Kel::U32 device = 0;
    /// Differs after every reset of the chip, which leaves no handle valid.
    Kel::U64 chipBoot = 0;
    /// Tells the desired states apart whose objects are recorded: ids of another one mean nothing.
    Kel::U64 state = 0;
    /// The latest commit of the desired state. A table is told of each once it holds, so one that
    /// is more than one behind is an old copy.
    Kel::U64 commit = 0;
};

/// What a table is: all of it must be the same for a file to be believed.
struct TableDescription {
    const char* name = "";
    Kel::U32 kind = 0;
    /// 64-bit words of a record beyond key and handle; at most `SlotContent::kMaxExtra`.
    Kel::U32 extraWords = 0;
    /// The lower half of a key is the id of its object, and no id has two records.
    bool isAnonymous = false;
    /// Largest number of records.
    Kel::U32 capacity = 0;
    TableContext context{};
};

/// A slot's content: the record of an object, or the reservation of a key whose object may or may
/// not have come into being.
struct SlotContent {
    enum class Kind : Kel::U32 { kReservation = 1, kRecord = 2 };
    static constexpr std::size_t kMaxExtra = 2;

    EntryKey key = 0;
    Kind kind = Kind::kRecord;
    Kel::U32 handle = 0;
    std::array<Kel::U64, kMaxExtra> extra{};

    friend bool operator==(const SlotContent&, const SlotContent&) = default;
};

namespace SlotFormat {

constexpr Kel::U32 kLayoutVersion = 2;
constexpr std::size_t kHeaderWords = 10;
constexpr std::size_t kMarkWord = 6;
constexpr std::size_t kSerialWord = 7;
constexpr std::size_t kCommitWord = 8;
/// Reservations that a table has room for beside its records. One call of the hardware is under way
/// at a time, so all but the newest are of objects that the hardware refused.
constexpr std::size_t kReservations = 16;

// Texts in memory: "!CORRUPT", "IS VALID", "RETIRED!".
constexpr Kel::U64 kMarkCorrupt = 0x5450'5552'524f'4321;
constexpr Kel::U64 kStateCommitted = 0x4449'4c41'5620'5349;
constexpr Kel::U64 kStateRetired = 0x2144'4552'4954'4552;

/// The upper half of a key, which orders the keys.
constexpr Kel::U32 serialOf(EntryKey key) noexcept {
    return static_cast<Kel::U32>(key >> 32);
}
constexpr Kel::U32 idOf(EntryKey key) noexcept {
    return static_cast<Kel::U32>(key);
}

constexpr std::size_t slotWords(const TableDescription& table) noexcept {
    return 5 + table.extraWords;
}
/// An update needs a slot beside the one that it replaces.
constexpr std::size_t slots(const TableDescription& table) noexcept {
    return std::size_t{table.capacity} + kReservations + 1;
}
constexpr std::size_t words(const TableDescription& table) noexcept {
    return kHeaderWords + slots(table) * slotWords(table);
}

/// Writes the header of an empty table of the context's commit.
void writeHeader(std::span<Kel::U64, kHeaderWords> header, const TableDescription& table);

/// The description of a table of that kind with the capacity and the context that the header names.
/// Whether the header is sound is for `checkHeader` to say.
TableDescription ofThisChip(TableDescription table,
                            std::span<const Kel::U64, kHeaderWords> header) noexcept;

/// Why a file is not the table that the description asks for.
struct Refusal {
    std::string reason;
    /// The file was damaged, which is worth a look; otherwise it is just another table.
    bool isDamage = false;
};
std::optional<Refusal> checkHeader(std::span<const Kel::U64, kHeaderWords> header,
                                   const TableDescription& table);

Kel::U64 serialWord(Kel::U32 serial) noexcept;
/// Of the commit's number 48 bits are kept.
Kel::U64 commitWord(Kel::U64 commit) noexcept;
constexpr Kel::U64 commitOf(Kel::U64 word) noexcept {
    return word >> 16;
}

/// The words of a slot without its state, as they are stored: `slotWords - 1` of them.
using SlotImage = std::array<Kel::U64, 4 + SlotContent::kMaxExtra>;
SlotImage slotImage(const TableDescription& table, std::size_t slot, Kel::U64 sequence,
                    const SlotContent& content) noexcept;

/// What a slot holds, taken on its own.
struct Examined {
    enum class State { kFree, kNeverCommitted, kRetired, kCommitted, kCorrupt };
    State state = State::kFree;
    Kel::U64 sequence = 0;
    SlotContent content{};
    /// What is wrong with a corrupt one.
    const char* reason = "";
};
Examined examine(const TableDescription& table, std::size_t slot, Kel::U32 latestSerial,
                 std::span<const Kel::U64> words) noexcept;

} // namespace SlotFormat

} // namespace Glimt

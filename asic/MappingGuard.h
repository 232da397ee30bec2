// Mappings of files that another program may cut short.
//
// A load or store behind the end of a mapped file is a SIGBUS, which ends the process, and a driver
// with it. While a mapping is guarded, its pages from there on become zeros of the process's own
// instead, and the mapping is marked: what is loaded then is damaged, what is stored is lost.
//
// The handler of the process for SIGBUS is replaced as long as a mapping is guarded, and gets every
// other SIGBUS. REQUIRES: nobody replaces this one while a mapping is guarded, unless to put it
// back before; one thread at a time guards and unguards.
#pragma once

#include <cstddef>

namespace asic {

/// Guards a mapping. Of more than a few at a time the last ones are not guarded.
void guardMapping(void* memory, std::size_t size) noexcept;
/// REQUIRES: it is mapped still. Nothing happens for one that is not guarded.
void unguardMapping(void* memory) noexcept;
/// Whether pages of a guarded mapping were replaced.
[[nodiscard]] bool hasLostPages(const void* memory) noexcept;

} // namespace asic

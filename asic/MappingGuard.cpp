#include "asic/MappingGuard.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace asic {

namespace {

struct Guarded {
    std::atomic<std::uintptr_t> begin = 0; // 0: none
    std::atomic<std::uintptr_t> end = 0;
    std::atomic<bool> hasLostPages = false;
};
static_assert(std::atomic<std::uintptr_t>::is_always_lock_free, "a signal handler reads it");

// An attached chip, and a file that is being made.
constinit std::array<Guarded, 2> guarded{};
constinit struct sigaction previous {};
constinit std::uintptr_t pageSize = 0;

std::uintptr_t addressOf(const void* memory) noexcept {
    return reinterpret_cast<std::uintptr_t>(memory);
}

Guarded* find(std::uintptr_t begin) noexcept {
    const auto found = std::ranges::find_if(
        guarded, [=](const Guarded& one) { return one.begin.load() == begin; });
    return found == guarded.end() ? nullptr : &*found;
}

bool isAnyGuarded() noexcept {
    return std::ranges::any_of(guarded, [](const Guarded& one) { return one.begin.load() != 0; });
}

/// Replaces the pages of the mapping from that address on, which the file has not got any more.
bool replaceLostPages(std::uintptr_t address) noexcept {
    for (Guarded& one : guarded) {
        const std::uintptr_t end = one.end.load();
        if (address < one.begin.load() || address >= end) {
            continue;
        }
        void* const page = reinterpret_cast<void*>(address - address % pageSize);
        one.hasLostPages.store(true);
        return ::mmap(page, end - addressOf(page), PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == page;
    }
    return false;
}

void onBusError(int signal, siginfo_t* info, void* context) {
    const int error = errno;
    const bool isFault = info->si_code == BUS_ADRERR;
    if (isFault && replaceLostPages(addressOf(info->si_addr))) {
        errno = error;
        return; // and try again
    }
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, info, context);
    } else if (previous.sa_handler == SIG_DFL || (isFault && previous.sa_handler == SIG_IGN)) {
        // What comes of it comes when this returns: of the same fault, or of the signal again.
        ::sigaction(SIGBUS, &previous, nullptr);
        if (!isFault) {
            ::raise(SIGBUS);
        }
    } else if (previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
    }
    errno = error;
}

} // namespace

void guardMapping(void* memory, std::size_t size) noexcept {
    Guarded* const free = find(0);
    if (!free) {
        return;
    }
    if (!isAnyGuarded()) {
        pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
        ::sigaction(SIGBUS, nullptr, &previous);
        struct sigaction own {};
        own.sa_sigaction = onBusError;
        own.sa_flags = SA_SIGINFO | SA_ONSTACK;
        ::sigaction(SIGBUS, &own, nullptr);
    }
    free->hasLostPages.store(false);
    free->end.store(addressOf(memory) + size);
    free->begin.store(addressOf(memory));
}

void unguardMapping(void* memory) noexcept {
    Guarded* const one = find(addressOf(memory));
    if (!one) {
        return;
    }
    one->end.store(0);
    one->begin.store(0);
    if (!isAnyGuarded()) {
        ::sigaction(SIGBUS, &previous, nullptr);
    }
}

bool hasLostPages(const void* memory) noexcept {
    const Guarded* const one = find(addressOf(memory));
    return one && one->hasLostPages.load();
}

} // namespace asic

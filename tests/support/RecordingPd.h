#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Journal.h"
#include "tests/support/RecordingPdControl.h"

namespace test_support {

/**
 * The recording PD library, loaded at run time: `dlHandle()` goes where the driver takes a PD
 * library's handle.
 *
 *     Journal journal;
 *     RecordingPd pd(&journal);
 *     pd.failNext("p4_pd_velmor_switch_lagGroup_add_entry", 9);
 *     ... the driver at work ...
 *     EXPECT_THAT(pd.calls(), ElementsAre(
 *         "p4_pd_velmor_switch_lagGroup_add_entry(session=7, dev=0, pipe=65535, value=5, mask=255,
 * " "priority=10, mbr=1)"));
 *
 * Out handles rise from 1 or from `handleIs`. Entries read as unknown (status 6) unless
 * `entryReadsAs` says what they hold. One at a time: construction resets the library.
 */
class RecordingPd {
  public:
    using Entry = recording_pd_entry;

    explicit RecordingPd(Journal* journal = nullptr);
    ~RecordingPd();
    RecordingPd(const RecordingPd&) = delete;
    RecordingPd& operator=(const RecordingPd&) = delete;

    /// Open until this object dies.
    void* dlHandle() const noexcept { return library_; }
    /// The file that was loaded.
    static const char* path() noexcept;

    /// Forgets calls, orders, entries and the next handle, and goes on writing into the journal.
    void reset();
    /// Every call since construction, `reset` or `takeCalls`.
    const std::vector<std::string>& calls() const noexcept { return calls_; }
    std::vector<std::string> takeCalls();
    /// How many of the calls were calls of this function.
    std::size_t count(std::string_view function) const;

    /// The next call of the function returns the status and does nothing else.
    void failNext(const char* function, pipe_status status) { fail(function, status, 0, 1); }
    /// The n-th call from now on (1 is the next) returns the status.
    void failNth(const char* function, std::uint32_t n, pipe_status status) {
        fail(function, status, n - 1, 1);
    }
    void failAlways(const char* function, pipe_status status) {
        fail(function, status, 0, UINT32_MAX);
    }
    void succeed(const char* function) { fail(function, 0, 0, 0); }

    /// The handle that the next creating call gives; later ones rise from it.
    void handleIs(std::uint32_t next) { nextHandleIs_(next); }

    /// What `get_entry` gives for this handle from now on.
    void entryReadsAs(p4_pd_entry_hdl_t handle, const Entry& entry) { entryIs_(handle, &entry); }
    void entryIsUnknown(p4_pd_entry_hdl_t handle) { entryIs_(handle, nullptr); }

  private:
    void fail(const char* function, pipe_status status, std::uint32_t skip, std::uint32_t count) {
        statusIs_(function, status, skip, count);
    }
    template <class Function>
    void resolve(Function*& function, const char* name);

    void* library_;
    Journal* journal_;
    std::vector<std::string> calls_;
    decltype(&recording_pd_reset) reset_;
    decltype(&recording_pd_listener_is) listenerIs_;
    decltype(&recording_pd_status_is) statusIs_;
    decltype(&recording_pd_next_handle_is) nextHandleIs_;
    decltype(&recording_pd_entry_is) entryIs_;
};

} // namespace test_support

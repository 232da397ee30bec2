/*
 * What a tool may ask of a PD library beyond the PD API: the log of the PD calls, and the boot
 * generation of a chip. A library need not have these functions; who loads one looks for them by
 * their C names. None of them appears in the call log.
 *
 * Functions that can fail return a pipe_status of the PD API: 0 for success,
 * P4_PD_STATUS_INVALID_ARG (3) for an unknown device, a null pointer or a value out of range,
 * P4_PD_STATUS_NO_SYS_RESOURCES (2) when memory runs out. A call that fails changes nothing and
 * leaves its out-arguments untouched. Not thread-safe, like the PD API.
 *
 * Valid as C11 and as C++20.
 */
#ifndef PD_PDTOOLS_H
#define PD_PDTOOLS_H

#include "pd/p4_pd_velmor_switch.h"

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The boot generation of a chip: it differs after every power cycle and from that of a chip made
 * anew, and is never 0.
 */
pipe_status velmor_asic_chip_boot(int device_id, uint64_t* generation);

/* ---- Call log -------------------------------------------------------------------------------
 *
 * A ring of the latest PD calls: those of sessions, of the match table (with
 * lagGroup_get_entry) and of the action profile. The read-back calls for tools are not logged.
 * The log is off until it is started. Calls are numbered from 1 in the order in which they ended;
 * numbers are not used again when the log is cleared.
 *
 * A library may keep the log outside of the process, with the calls of every process that drives
 * the chip. It is always on then: start and stop change nothing, and clearing hides the calls so
 * far from this process alone.
 */

#define VELMOR_ASIC_LOG_MAX_CAPACITY 1048576u

/*
 * Starts recording into an empty ring of the given number of calls (1 to
 * VELMOR_ASIC_LOG_MAX_CAPACITY). What an earlier recording left is dropped.
 */
pipe_status velmor_asic_log_start(uint32_t capacity);

/* Stops recording. What was recorded remains readable. */
void velmor_asic_log_stop(void);

/* Drops what was recorded. Recording goes on if it was on. */
void velmor_asic_log_clear(void);

/*
 * The kept calls have the sequence numbers from begin to end - 1; begin equals end when there is
 * none. A reader that remembers end and reads on from there later sees every call once, as long as
 * the ring has not dropped it (then begin is greater than what it remembers).
 */
uint64_t velmor_asic_log_begin(void);
uint64_t velmor_asic_log_end(void);

typedef struct velmor_asic_call {
    uint64_t sequence;
    const char* operation; /* full name of the PD function; valid while the library is loaded */
    pipe_status status;    /* what the call returned */
} velmor_asic_call_t;

/* P4_PD_STATUS_OBJ_NOT_FOUND if the call is not in the ring (dropped, or not made yet). */
pipe_status velmor_asic_log_read(uint64_t sequence, velmor_asic_call_t* call);

/*
 * Writes a call as one line without line end, in the manner of snprintf: at most size bytes with
 * the closing null, returns the length of the whole line. Negative if the call is not in the ring
 * or memory runs out. buffer may be null if size is 0. The line reads
 *
 *   operation(argument=value, ...) -> status output=value ...
 *
 * with the argument names of the PD header, for example
 *
 *   p4_pd_velmor_switch_lagGroup_add_entry(sess_hdl=0, dev_tgt={0, 65535},
 *   match_spec={0x10, 0xffffffff}, priority=5, mbr_hdl=1) -> 0 entry_hdl=2
 *
 * Outputs are shown for a call that succeeded; a null pointer is shown among the arguments.
 */
int velmor_asic_log_format(uint64_t sequence, char* buffer, size_t size);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif

/*
 * What a tool may ask of a PD library beyond the PD API: a chip's boot generation, the way that a
 * flow takes through it, the log of the PD calls, failures of PD calls on demand, and counters. A
 * library need not have these functions; a program that loads one looks for them by their C names.
 * None of them appears in the call log or is subject to the fault plan.
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

/*
 * Power-cycles a chip: it is empty, its handles start over, and its boot generation is another one.
 * The call log is not of the chip: it stays, and its numbers go on rising.
 */
pipe_status velmor_asic_chip_power_cycle(int device_id);

/*
 * Gives the device its chip: what path names is the library's own (the software ASIC: the file in
 * which the chip lives). A null config stands for the default one. After a failure the device is
 * what it was.
 */
typedef struct velmor_asic_chip_config velmor_asic_chip_config_t;
pipe_status velmor_asic_chip_attach(int device_id, const char* path,
                                    const velmor_asic_chip_config_t* config);

/* Why the latest attach in the process failed, in one line; "" if it did not. Never null; valid
 * until the next one. */
const char* velmor_asic_attach_error(void);

/*
 * Puts the library back to where it was when it was loaded: only session 0 open, call log off and
 * empty with its sequence numbers starting over, no fault planned. A chip that outlives the process
 * keeps what it has.
 */
void velmor_asic_reset(void);

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

/* ---- Data path ------------------------------------------------------------------------------ */

/* Outcomes. */
enum {
    VELMOR_ASIC_FORWARDED = 0,               /* the action of a member was carried out */
    VELMOR_ASIC_MISS = 1,                    /* no entry matches and no default entry is set */
    VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER = 2 /* the entry's group has no active member */
};

/* What became of one packet. A handle that does not apply is 0. */
typedef struct velmor_asic_result {
    uint32_t outcome;            /* VELMOR_ASIC_FORWARDED, _MISS or _DROPPED_... */
    bool default_entry;          /* the default entry decided, not a match */
    uint16_t port;               /* port of setLagPort; 0 for the other actions */
    uint32_t action;             /* P4_PD_ACTION_*; meaningful when forwarded */
    p4_pd_entry_hdl_t entry_hdl; /* the entry that decided */
    p4_pd_grp_hdl_t grp_hdl;     /* its selector group, if it points at one */
    p4_pd_mbr_hdl_t mbr_hdl;     /* the member whose action was carried out */
} velmor_asic_result_t;

/*
 * Sends one packet through the lagGroup table: finds the entry (or the default entry) for the
 * metadata value, and follows it to its member, or to the active member of its group that the flow
 * hash selects.
 *
 * pipe is the pipe in which the packet travels. With the entry scope "single pipeline" the packet
 * sees the objects of that pipe, with "all pipelines" those of P4_PD_ALL_PIPES; in the latter case
 * pipe may also be P4_PD_ALL_PIPES, since every pipe decides the same.
 *
 * The selection is stable: when a member becomes inactive or leaves the group, only its own flows
 * move, and when it is active again exactly these return to it.
 */
pipe_status velmor_asic_forward(int device_id, uint16_t pipe, uint32_t metadata, uint32_t flow_hash,
                                velmor_asic_result_t* result);

/* A match entry or default entry. */
typedef struct velmor_asic_entry {
    uint32_t value, mask, priority; /* as they were written; 0 for the default entry */
    bool default_entry;
    p4_pd_grp_hdl_t grp_hdl; /* what it points at; the other one is 0 */
    p4_pd_mbr_hdl_t mbr_hdl;
} velmor_asic_entry_t;

/*
 * What lagGroup_get_entry tells, for tools: without a session, and without a place in the call log.
 * P4_PD_STATUS_OBJ_NOT_FOUND if there is no such entry.
 */
pipe_status velmor_asic_entry_read(int device_id, p4_pd_entry_hdl_t entry_hdl,
                                   velmor_asic_entry_t* entry);

/* ---- Fault plan ----------------------------------------------------------------------------- */

/* Fault modes. */
enum {
    VELMOR_ASIC_FAULT_ONCE = 0,  /* the n-th call fails, then the fault is done with */
    VELMOR_ASIC_FAULT_ALWAYS = 1 /* the n-th call and every later one fail */
};

/*
 * Plans a fault: the nth call from now on (1 is the next one) of the PD function with this full
 * name returns status and does nothing else. Every function of the PD header can be named. Calls
 * count whether they succeed or not. Several faults may be planned, also for one operation; each
 * counts on its own, and when two are due at once the one planned first gives the status.
 * Unknown operation, nth 0, status 0 or an unknown mode is P4_PD_STATUS_INVALID_ARG.
 */
pipe_status velmor_asic_fault_plan(const char* operation, uint32_t nth, pipe_status status,
                                   uint32_t mode);

/* Drops every planned fault. */
void velmor_asic_fault_clear(void);

/* How many faults are planned still. One that was planned once and has struck is not counted. */
uint32_t velmor_asic_fault_count(void);

/* ---- Counters -------------------------------------------------------------------------------
 *
 * Packets and bytes, for a chip that counts them.
 */

typedef struct velmor_asic_counters {
    uint64_t packets;
    uint64_t bytes;
} velmor_asic_counters_t;

/*
 * Reads all counters from the chip at once. The other functions tell what was read then, and
 * P4_PD_STATUS_OBJ_NOT_FOUND for an object that was not there.
 */
pipe_status velmor_asic_counters_read(int device_id);

/* What matched an entry or the default entry since it was added. */
pipe_status velmor_asic_entry_counters(int device_id, p4_pd_entry_hdl_t entry_hdl,
                                       velmor_asic_counters_t* matched);

/* What a member took, directly or as one of a group, since its action was last written. */
pipe_status velmor_asic_member_counters(int device_id, p4_pd_mbr_hdl_t mbr_hdl,
                                        velmor_asic_counters_t* taken);

/* What came in at a port of the chip and went out of it, whoever sent it there. */
pipe_status velmor_asic_port_counters(int device_id, uint32_t port,
                                      velmor_asic_counters_t* received,
                                      velmor_asic_counters_t* sent);

/*
 * Why the latest call failed that did not fail for its arguments, in one line; "" if none did. Never
 * null; valid until the next call of the library.
 */
const char* velmor_asic_problem(void);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif

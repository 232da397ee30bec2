/*
 * Controls, data path and fault plan of the software ASIC.
 *
 * The forwarding state of the software ASIC is written through p4_pd_velmor_switch.h, exactly as on
 * a chip. This header is what a chip does not have: making chips of a chosen size, sending a flow
 * through one, and making a PD call fail on demand. None of these functions appears in the call log
 * or is subject to the fault plan. The call log and the boot generation are in pd/PdTools.h.
 *
 * Conventions
 * - Every function is exported under its C name, so that a program which loads the library at run
 *   time finds it with dlsym.
 * - Functions that can fail return a pipe_status of the PD API: 0 for success,
 *   P4_PD_STATUS_INVALID_ARG (3) for an unknown device, a null pointer or a value out of range,
 *   P4_PD_STATUS_NO_SYS_RESOURCES (2) when memory runs out. A call that fails changes nothing and
 *   leaves its out-arguments untouched.
 * - Not thread-safe, like the PD API: one thread drives the library.
 *
 * Valid as C11 and as C++20.
 */
#ifndef ASIC_SOFTWAREASIC_H
#define ASIC_SOFTWAREASIC_H

#include "pd/PdTools.h"
#include "pd/p4_pd_velmor_switch.h"

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Chips ----------------------------------------------------------------------------------
 *
 * Device 0 exists from the start, with the default configuration. To give it another one, destroy
 * it and create it again.
 */

/* Most pipes that a chip can have. */
#define VELMOR_ASIC_MAX_PIPES 64u

typedef struct velmor_asic_chip_config {
    uint32_t entry_capacity;   /* match entries of one scope, the default entry not counted */
    uint32_t member_capacity;  /* action-profile members of one scope */
    uint32_t group_capacity;   /* selector groups of one scope */
    uint16_t group_size_limit; /* largest max_grp_size that a group may ask for; at least 1 */
    uint16_t pipes;            /* pipe ids are 0 to pipes - 1; 1 to VELMOR_ASIC_MAX_PIPES */
    uint32_t first_handle;     /* handles rise from here; at least 1 */
} velmor_asic_chip_config_t;

/* 4096 entries, 65536 members, 4096 groups of at most 512 members, 4 pipes, handles from 1. */
pipe_status velmor_asic_chip_config_default(velmor_asic_chip_config_t* config);

/*
 * Creates an empty chip. A null config stands for the default one. A negative device id or a config
 * value out of range is P4_PD_STATUS_INVALID_ARG, an existing device P4_PD_STATUS_ALREADY_EXISTS.
 */
pipe_status velmor_asic_chip_create(int device_id, const velmor_asic_chip_config_t* config);

/* Destroys a chip with all that it holds. A chip in a file is detached; the file stays. */
pipe_status velmor_asic_chip_destroy(int device_id);

/*
 * Puts the whole library back to where it was when it was loaded: device 0 alone and empty, no chip
 * attached, only session 0 open, call log off and empty with its sequence numbers starting over, no
 * fault planned, no step hook.
 */
void velmor_asic_reset(void);

/* ---- Chips in files --------------------------------------------------------------------------
 *
 * A chip can live in a file instead of in the memory of the process. It outlives the process,
 * however that dies, and several processes can have it at the same time: what one writes the others
 * see at once. A PD call has either been made altogether, with its place in the call log, or not at
 * all.
 *
 * The call log of the process that has a chip attached is the one in the file: the latest calls
 * (16383) that any process made while it had the chip attached, whatever device they were about.
 *
 * Sessions, fault plan and step hook are each process's own. A restart of the computer is a power
 * cycle of the chip. A PD call that the file fails (a full disk: 2, a damaged file: 22) changes
 * nothing and is not logged.
 *
 * Beside the file, FILE.XXXXXX may be left behind by a process that died while it made one. It can
 * be removed.
 */

/*
 * Attaches device_id to the chip in a file; makes the file, with an empty chip, when there is none.
 * The chip takes the place of the device's chip in memory, if there is one. config is for a new
 * file (null: the default); for an existing one its own configuration holds. A process can attach
 * one chip at a time.
 *
 * The file must be regular, the caller's own, of mode 0600, not a symbolic link, and without a
 * second name (hard link). The status is P4_PD_STATUS_INVALID_ARG (3)       a bad argument, or a
 * file that cannot be used P4_PD_STATUS_ALREADY_EXISTS (4)    the process has an attached chip
 *   P4_PD_STATUS_NOT_SUPPORTED (17)    a file of another layout
 *   P4_PD_STATUS_INTERNAL_ERROR (22)   not a chip file, or a damaged one
 *   P4_PD_STATUS_NO_SYS_RESOURCES (2)  no memory, or no room on the disk
 * After a failure the device is what it was, and the file has not been changed.
 */
pipe_status velmor_asic_chip_attach(int device_id, const char* path,
                                    const velmor_asic_chip_config_t* config);

/*
 * Makes the file of an empty chip and attaches nothing. A null config stands for the default one.
 * P4_PD_STATUS_ALREADY_EXISTS if there is anything of this name, even a symbolic link to nowhere:
 * it is left as it is, also if another process makes it at this very time. Otherwise fails as an
 * attach does, and then there is no file.
 */
pipe_status velmor_asic_chip_file_make(const char* path, const velmor_asic_chip_config_t* config);

/*
 * Why the latest attach or making of a file in the process failed, in one line; "" if it did not.
 * Never null; valid until the next of them.
 */
const char* velmor_asic_attach_error(void);

/*
 * Power-cycles a chip: it is empty, its handles start over, and its boot generation is another one.
 * The call log is not of the chip: it stays, and its numbers go on rising.
 */
pipe_status velmor_asic_chip_power_cycle(int device_id);

/* ---- Steps -----------------------------------------------------------------------------------
 *
 * For tests of what dying at any moment leaves.
 */

enum {
    VELMOR_ASIC_STEP_CALL_BEGIN, /* a PD call has not done anything yet */
    VELMOR_ASIC_STEP_STORE,      /* something is about to be stored in a chip file */
    VELMOR_ASIC_STEP_CALL_END    /* a PD call is about to return */
};

/* operation is the full name of the PD function; null for a store outside a PD call. */
typedef void (*velmor_asic_step_hook_t)(uint32_t step, const char* operation, void* context);

/* Calls hook before each step; null ends that. The hook must not call this library. */
void velmor_asic_step_hook(velmor_asic_step_hook_t hook, void* context);

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

/* "forwarded", "miss", "dropped: no active member"; "unknown" for any other value. Never null. */
const char* velmor_asic_outcome_name(uint32_t outcome);

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

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif

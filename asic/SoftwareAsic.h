/*
 * Controls of the software ASIC.
 *
 * The forwarding state of the software ASIC is written through p4_pd_velmor_switch.h, exactly as on
 * a chip, and it has what pd/PdTools.h declares, but for the counters and the problem of the latest
 * call. This header is what it has beyond: chips of a chosen size, chips in files, and steps. None
 * of these functions appears in the call log or is subject to the fault plan.
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

#include <stddef.h>
#include <stdint.h>

#include "pd/PdTools.h"
#include "pd/p4_pd_velmor_switch.h"

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Chips ----------------------------------------------------------------------------------
 *
 * Device 0 exists from the start, with the default configuration. To give it another one, destroy
 * it and create it again. After a reset of the library there is device 0 alone, and empty; no chip
 * is attached, and there is no step hook.
 */

/* Most pipes that a chip can have. */
#define VELMOR_ASIC_MAX_PIPES 64u

struct velmor_asic_chip_config {
    uint32_t entry_capacity;   /* match entries of one scope, the default entry not counted */
    uint32_t member_capacity;  /* action-profile members of one scope */
    uint32_t group_capacity;   /* selector groups of one scope */
    uint16_t group_size_limit; /* largest max_grp_size that a group may ask for; at least 1 */
    uint16_t pipes;            /* pipe ids are 0 to pipes - 1; 1 to VELMOR_ASIC_MAX_PIPES */
    uint32_t first_handle;     /* handles rise from here; at least 1 */
};

/* 4096 entries, 65536 members, 4096 groups of at most 512 members, 4 pipes, handles from 1. */
pipe_status velmor_asic_chip_config_default(velmor_asic_chip_config_t* config);

/*
 * Creates an empty chip. A null config stands for the default one. A negative device id or a config
 * value out of range is P4_PD_STATUS_INVALID_ARG, an existing device P4_PD_STATUS_ALREADY_EXISTS.
 */
pipe_status velmor_asic_chip_create(int device_id, const velmor_asic_chip_config_t* config);

/* Destroys a chip with all that it holds. A chip in a file is detached; the file stays. */
pipe_status velmor_asic_chip_destroy(int device_id);

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
 * velmor_asic_chip_attach attaches device_id to the chip in a file; makes the file, with an empty
 * chip, when there is none. The chip takes the place of the device's chip in memory, if there is
 * one. config is for a new file (null: the default); for an existing one its own configuration
 * holds. A process can attach one chip at a time.
 *
 * The file must be regular, the caller's own, of mode 0600, not a symbolic link, and without a
 * second name (hard link). The status is
 * - P4_PD_STATUS_INVALID_ARG (3): a bad argument, or a file that cannot be used,
 * - P4_PD_STATUS_ALREADY_EXISTS (4): the process has an attached chip,
 * - P4_PD_STATUS_NOT_SUPPORTED (17): a file of another layout,
 * - P4_PD_STATUS_INTERNAL_ERROR (22): not a chip file, or a damaged one,
 * - P4_PD_STATUS_NO_SYS_RESOURCES (2): no memory, or no room on the disk.
 * After a failure the device is what it was, and the file has not been changed.
 */

/*
 * Makes the file of an empty chip and attaches nothing. A null config stands for the default one.
 * P4_PD_STATUS_ALREADY_EXISTS if there is anything of this name, even a symbolic link to nowhere:
 * it is left as it is, also if another process makes it at this very time. Otherwise fails as an
 * attach does, and then there is no file; velmor_asic_attach_error() tells of this, too.
 */
pipe_status velmor_asic_chip_file_make(const char* path, const velmor_asic_chip_config_t* config);

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

/* "forwarded", "miss", "dropped: no active member"; "unknown" for any other value. Never null. */
const char* velmor_asic_outcome_name(uint32_t outcome);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif

/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VEL_DEVICE_TRUST_DESCRIBED_C_H
#define VEL_DEVICE_TRUST_DESCRIBED_C_H

/**
 * @file
 * Described Macs, for the tests of hosts in C. The library vel_device_trust_described is all of
 * vel_device_trust and this function: link a test with it in place of vel_device_trust.
 *
 *     char* error = NULL;
 *     vel_runner* runner = vel_described_runner_create(description, strlen(description),
 *                                                      NULL, NULL, NULL, &error);
 *     if (runner == NULL) {
 *         fprintf(stderr, "%s\n", error != NULL ? error : "out of memory");
 *         vel_result_free(error);
 *     }
 */

#include "vel_device_trust/vel_device_trust_c.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wnullability-extension"
#pragma clang assume_nonnull begin
#endif

/**
 * Makes a runner as vel_runner_create() does, for the Mac that a machine description describes:
 * requests need no rights, run no tool and ask nothing of this machine. Time is the described Mac's
 * own, so a tool that hangs costs no time, and results are the same on every run. All functions of
 * vel_device_trust_c.h take the runner.
 *
 * Thread-safe.
 *
 * @param description `description_length` bytes: a JSON object in UTF-8, see the schema
 *        machine-description; may be null if there are none
 * @param log as for vel_runner_create(); it stays as it was if no runner could be made
 * @param context as for vel_runner_create()
 * @param release as for vel_runner_create()
 * @param error may be null. Receives null, or what is wrong with the description, and where:
 *        NUL-terminated, to be given to vel_result_free()
 * @return the runner, to be given to vel_runner_free(); null when the description is wrong or
 *         memory runs out
 */
VEL_EXPORT vel_runner* VEL_NULLABLE vel_described_runner_create(
    const char* VEL_NULLABLE description, size_t description_length,
    vel_log_function VEL_NULLABLE log, void* VEL_NULLABLE context,
    vel_release_function VEL_NULLABLE release, char* VEL_NULLABLE* VEL_NULLABLE error);

#if defined(__clang__)
#pragma clang assume_nonnull end
#pragma clang diagnostic pop
#endif

#ifdef __cplusplus
}
#endif

#endif

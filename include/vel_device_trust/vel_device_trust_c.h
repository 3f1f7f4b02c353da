/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VEL_DEVICE_TRUST_C_H
#define VEL_DEVICE_TRUST_C_H

/** @file
 * The library for hosts in C, and in languages that call C (Swift, Python and others). C99.
 *
 *     vel_runner* runner = vel_runner_create(NULL, NULL, NULL);
 *     const char* request = "{\"mac\": [{\"type\": \"localFirewall\"}]}";
 *     char* result = vel_runner_run(runner, request, strlen(request), NULL);
 *     puts(result);
 *     vel_result_free(result);
 *     vel_runner_free(runner);
 *
 * Texts are UTF-8. No C++ exception leaves these functions. A thread that runs them must not be
 * cancelled with pthread_cancel.
 */

#include "vel_device_trust/VELExport.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* For Swift: which pointers may be null. */
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wnullability-extension"
#pragma clang assume_nonnull begin
#define VEL_NULLABLE _Nullable
#else
#define VEL_NULLABLE
#endif

/** Levels of log messages. The library never filters by level: the host decides what to show. */
enum {
    /** One line per item inside a loop over many items. */
    VEL_LOG_TRACE = 0,
    /** Inputs and outputs of a request, the start of each check, values read from the system. */
    VEL_LOG_INFORMATION = 1,
    /** Something suspicious that does not stop the check. */
    VEL_LOG_WARNING = 2,
    /** A failure to carry out work. */
    VEL_LOG_ERROR = 3
};

/**
 * Receives one log message, on the thread that runs the request: on several threads at once if the
 * host runs requests on several threads. It may create runners and run requests. It must return,
 * not longjmp; exceptions that it throws are ignored.
 *
 * @param context what the host gave to vel_runner_create()
 * @param message the text, `message_length` bytes of valid UTF-8, not NUL-terminated; gone after
 *        the call
 * @param level one of VEL_LOG_TRACE to VEL_LOG_ERROR
 * @param file the library's source file, relative to its source tree; for display only. Lives as
 *        long as the library, as `function` does
 * @param function the calling operation's printable name; for display only
 * @param line the calling source line, from 1; for display only
 */
typedef void (*vel_log_function)(void* VEL_NULLABLE context, const char* message,
                                 size_t message_length, int64_t level, const char* file,
                                 const char* function, int32_t line);

/** Called once, on any thread, when `context` is no longer used. */
typedef void (*vel_release_function)(void* VEL_NULLABLE context);

/** Runs requests on this machine, with all check types of the library. */
typedef struct vel_runner vel_runner;

/**
 * Makes a runner. `log` becomes the logger of the whole process, also for earlier runners; a null
 * `log` switches logging off.
 *
 * Thread-safe.
 *
 * @param log receives every message until another runner is made; it outlives the runner
 * @param context handed to `log`; the library only keeps it
 * @param release called when `log` has been replaced and no message is under way to it any more, or
 *        at once if `log` is null or no runner could be made; may be null
 * @return the runner, to be given to vel_runner_free(); null when memory runs out
 */
VEL_EXPORT vel_runner* VEL_NULLABLE vel_runner_create(vel_log_function VEL_NULLABLE log,
                                                      void* VEL_NULLABLE context,
                                                      vel_release_function VEL_NULLABLE release);

/**
 * Frees a runner; does nothing with null. The logger stays.
 *
 * Thread-safe, unless the runner is still running a request.
 */
VEL_EXPORT void vel_runner_free(vel_runner* VEL_NULLABLE runner);

/**
 * Runs a request and returns its result, both JSON documents in UTF-8. It runs on the caller's
 * thread and returns when every check has finished.
 *
 * Every problem is reported in the result: an invalid request, a null runner, a null request with a
 * length other than 0, or no memory for a document gives the error result, an object with the
 * single key "error".
 *
 * Thread-safe, also with the same runner.
 *
 * @param request `request_length` bytes; may be null if there are none
 * @param result_length receives the number of bytes before the result's NUL; may be null
 * @return the result, NUL-terminated, to be given to vel_result_free(); never null
 */
VEL_EXPORT char* vel_runner_run(const vel_runner* VEL_NULLABLE runner,
                                const char* VEL_NULLABLE request, size_t request_length,
                                size_t* VEL_NULLABLE result_length);

/** Frees a result of vel_runner_run(); does nothing with null. Thread-safe. */
VEL_EXPORT void vel_result_free(char* VEL_NULLABLE result);

/**
 * The version of the library that is loaded, such as "1.0.0". Static; thread-safe.
 */
VEL_EXPORT const char* vel_version(void);

/** The version of the interface: 1.0. */
extern VEL_EXPORT const double vel_device_trustVersionNumber;

/** The library's name and full version, such as "vel_device_trust 1.0.0". */
extern VEL_EXPORT const char* const vel_device_trustVersionString;

/** Top-level key of an identity request and of its result: "identity_params". */
extern VEL_EXPORT const char* const kIDParams;

/** Name of the hardware serial number in an identity request: "device_serial_number". */
extern VEL_EXPORT const char* const kMacSerialNumberKey;

/** Name of the device identifier in an identity request: "device_id". */
extern VEL_EXPORT const char* const kDeviceIDKey;

/** The domain of the library's errors: "com.vel.posturecheck". Its codes are for hosts in C++. */
extern VEL_EXPORT const char* const kVELPostureCheckErrorDomain;

/**
 * The userInfo key of the text of such an error: "com.vel.posturecheck.unlocalized-description".
 */
extern VEL_EXPORT const char* const kUnlocalizedDescriptionKey;

#if defined(__clang__)
#pragma clang assume_nonnull end
#pragma clang diagnostic pop
#endif

#ifdef __cplusplus
}
#endif

#endif

/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VEL_EXPORT

/** Marks what the shared library exports; everything else stays hidden. */
#define VEL_EXPORT __attribute__((visibility("default")))

#endif

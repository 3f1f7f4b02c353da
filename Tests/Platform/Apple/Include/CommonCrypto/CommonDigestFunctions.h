// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" unsigned char* CC_SHA1(const void* data, CC_LONG length, unsigned char* digest);

// SPDX-License-Identifier: MIT
#pragma once

// The order in which objects that exist from load to exit are constructed. Each is defined next to
// its own code, with its priority from this list; programs may use priorities from 101 on. They are
// constructed before all objects without a priority, which may therefore use them, even if the
// library is linked statically. The byte array constants, the SIMD constants and the box glyphs are
// initialised by the compiler, before all of these.

#define QZ_LOAD_CANCELLATION 1020
#define QZ_LOAD_LOADING_THREAD 1030
#define QZ_LOAD_MIME_TYPES 1040
#define QZ_LOAD_TIME 1050
#define QZ_LOAD_LIGHT_COUNTER 1070
#define QZ_LOAD_FULL_COUNTER 1080
#define QZ_LOAD_VERSION_RECORD 1090
#define QZ_LOAD_NULL_VARIANT 1100

#pragma once

// The order in which the objects that exist from load to exit are constructed. Each of them is
// defined beside the code that it belongs to, with its priority from this list; 101 is the first
// that a program may use. All come before the objects without a priority, so that these may use
// them also where the library is linked statically. The byte array constants, the SIMD constants
// and the box glyphs come before all of these, as the compiler initialises them.

#define QZ_LOAD_CANCELLATION 1020
#define QZ_LOAD_LOADING_THREAD 1030
#define QZ_LOAD_MIME_TYPES 1040
#define QZ_LOAD_TIME 1050
#define QZ_LOAD_LIGHT_COUNTER 1070
#define QZ_LOAD_FULL_COUNTER 1080
#define QZ_LOAD_VERSION_RECORD 1090
#define QZ_LOAD_NULL_VARIANT 1100

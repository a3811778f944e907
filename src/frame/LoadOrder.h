#pragma once

// The order in which the objects that live from load to exit are made; 101 is the first that a
// program may use. All come ahead of the objects without a priority, so that these may use them
// also where the library is linked statically. What stands ahead of the counters needs no making:
// the byte array constants, the SIMD constants and the box glyphs.

#define QZ_LOAD_CANCELLATION 1020
#define QZ_LOAD_MIME_TYPES 1040
#define QZ_LOAD_TIME 1050
#define QZ_LOAD_LIGHT_COUNTER 1070
#define QZ_LOAD_FULL_COUNTER 1080
#define QZ_LOAD_VERSION_RECORD 1090
#define QZ_LOAD_NULL_VARIANT 1100

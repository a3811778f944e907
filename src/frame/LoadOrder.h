#pragma once

// The order in which the objects that live from load to exit are made; 101 is the first that a
// program may use. All come ahead of the objects without a priority, so that these may use them
// also where the library is linked statically.

#define QZ_LOAD_LIGHT_COUNTER 1070
#define QZ_LOAD_FULL_COUNTER 1080
#define QZ_LOAD_NULL_VARIANT 1100

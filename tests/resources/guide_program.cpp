// SPDX-License-Identifier: MIT
#include "samples/resources-program.inc"

#include "samples/resources-program.inc"

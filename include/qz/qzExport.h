#pragma once

/// @file
/// The mark of everything that the shared object exports; all other symbols stay hidden.

/// Put on an exported class or function.
#define QZ_API __attribute__((visibility("default")))

/// Put on what an exported class keeps to itself.
#define QZ_LOCAL __attribute__((visibility("hidden")))

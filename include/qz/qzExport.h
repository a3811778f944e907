// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// Marks for the symbols that the shared object exports; all others are hidden.

/// Marks an exported class or function.
#define QZ_API __attribute__((visibility("default")))

/// Marks a private member of an exported class, which is not exported.
#define QZ_LOCAL __attribute__((visibility("hidden")))

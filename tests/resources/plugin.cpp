// SPDX-License-Identifier: MIT
// A module that brings a resource: what a test loads and unloads.

extern "C" [[gnu::visibility("default")]] int getPluginNumber()
{
    return 42;
}

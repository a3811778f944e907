// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz::faults {

/// While one is alive, the preload library counts the calls and fails the one that it was told to.
/// Does nothing in a process without that library.
class Watch {
public:
    Watch();
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
};

/// Does something under a `Watch`. A thread that could not be started is its outcome.
std::string watchStart(std::string (*body)());

/// One piece of work with the library. Gives what a caller gets to see of it, in a line.
/// @param folder a folder to work in, which is the same at each call.
using Work = std::string (*)(const std::string& folder);

/// Stands before the number of allocations that failed.
inline const std::string kFailedAllocations = "allocations failed: ";

/// Removes the file that an earlier run has left; gives its path. No part of the work.
std::string makeFreshPath(const std::string& folder);

/// The main function of a scenario.
///
/// Without arguments it does the work once and prints "outcome: " and the outcome. With
/// "--allocations" it does the work with each of its allocations failing once, and prints each
/// different outcome so; and one more for each time that the work, done again after a failure, did
/// not come out as before all failures. Then it prints how many allocations failed. At last,
/// "descriptors kept: " and how many more are open than before.
int runScenario(int argumentCount, char** arguments, Work work);

}  // namespace qz::faults

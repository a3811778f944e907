// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// What the benchmark programs share: rows with their contenders, checks before the timing, and
/// a barrier for the optimiser.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

namespace bench {

/// Tells the compiler that `value` is looked at and may change here.
///
/// Stands in for `benchmark::DoNotOptimize`, whose constraint "+m,r" lets g++ 12 work on a copy of
/// some lvalues in a register and lose what was stored. An address has no such freedom.
template <typename T>
inline void keep(T& value)
{
    asm volatile("" : : "r"(&value) : "memory");
}

/// The clock that a case is judged by.
enum class Clock {
    Thread,  ///< The thread's own time: another process on the processor doesn't count.
    Wall,    ///< For work that other threads or processes do.
    Own,     ///< The case says itself what its one iteration took.
};

/// One contender in one row, as a static object of the file that measures it.
///
/// The program's name for it is "ROW/CONTENDER"; run.py sets the contenders of a row side by side
/// and holds "qz" against the fastest of the others.
struct Case {
    /// @param body measures; it is called with a fresh state for every repetition.
    Case(const char* row, const char* contender, void (*body)(benchmark::State&),
         Clock clock = Clock::Thread);
};

/// A test that must hold before anything is timed, as a static object too: a contender that does
/// another job than the others would win or lose for nothing.
struct Check {
    /// @param holds returns whether it does; it starts what it needs by itself.
    Check(const char* name, bool (*holds)());
};

/// Compares two texts for a `Check`, and prints both when they differ.
bool isSameText(const std::string& text, const std::string& expected);

/// Tells whether the program was called with --tiny, to see whether it still works.
bool isTiny();

/// Gives `full`, or `tiny` in a program called with --tiny.
std::size_t sized(std::size_t full, std::size_t tiny);

/// Starts the library light, once, until the end of the program; its log keeps silent.
void startLibrary();

/// A file in memory (tmpfs), which the destructor removes.
class ScratchFile {
public:
    /// Chooses the path of a file that doesn't exist yet.
    explicit ScratchFile(const std::string& name);
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    /// The path, ASCII.
    const std::string& getPath() const { return mPath; }

private:
    std::string mPath;
};

}  // namespace bench

// SPDX-License-Identifier: MIT
#include "support.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include <unistd.h>

#include <qz/qzLog.h>
#include <qz/qzSystem.h>

namespace bench {

namespace {

struct CaseEntry {
    std::string name;
    void (*body)(benchmark::State&);
    Clock clock;
};

struct CheckEntry {
    const char* name;
    bool (*holds)();
};

bool sTiny = false;

// Functions, because the static objects that fill them stand in other files.
std::vector<CaseEntry>& editCases()
{
    static std::vector<CaseEntry> cases;
    return cases;
}

std::vector<CheckEntry>& editChecks()
{
    static std::vector<CheckEntry> checks;
    return checks;
}

struct LibraryRun {
    LibraryRun()
    {
        qz::initializeQzSystem(qz::LightInit);
        qz::qzLog::msInstance->setEchoToConsole(false);
    }
    ~LibraryRun() { qz::terminateQzSystem(); }
};

// What the frame itself costs an iteration; every program shows it.
void measureEmptyLoop(benchmark::State& state)
{
    int value = 0;
    for (auto _ : state)
        keep(value);
}

const Case kEmptyLoop("empty loop", "frame", measureEmptyLoop);

bool takeTinyFlag(int& argc, char** argv)
{
    char** end = std::remove_if(argv + 1, argv + argc,
                                [](const char* text) { return std::strcmp(text, "--tiny") == 0; });
    const int left = static_cast<int>(end - argv);
    const bool found = left != argc;
    argc = left;
    argv[argc] = nullptr;
    return found;
}

bool allChecksHold()
{
    bool all = true;
    for (const CheckEntry& check : editChecks()) {
        if (check.holds()) continue;
        std::fprintf(stderr, "Not comparable: %s\n", check.name);
        all = false;
    }
    return all;
}

void registerCases()
{
    for (const CaseEntry& entry : editCases()) {
        auto* added = benchmark::RegisterBenchmark(entry.name.c_str(), entry.body);
        if (entry.clock == Clock::Wall) added->UseRealTime();
        if (entry.clock == Clock::Own) added->UseManualTime()->Iterations(1);
    }
}

}  // namespace

Case::Case(const char* row, const char* contender, void (*body)(benchmark::State&), Clock clock)
{
    editCases().push_back({std::string(row) + "/" + contender, body, clock});
}

Check::Check(const char* name, bool (*holds)())
{
    editChecks().push_back({name, holds});
}

bool isSameText(const std::string& text, const std::string& expected)
{
    if (text == expected) return true;
    std::fprintf(stderr, "got      \"%s\"\nexpected \"%s\"\n", text.c_str(), expected.c_str());
    return false;
}

bool isTiny()
{
    return sTiny;
}

std::size_t sized(std::size_t full, std::size_t tiny)
{
    return sTiny ? tiny : full;
}

void startLibrary()
{
    static const LibraryRun run;
}

ScratchFile::ScratchFile(const std::string& name)
    : mPath("/dev/shm/qz-bench-" + std::to_string(::getpid()) + "-" + name)
{
}

ScratchFile::~ScratchFile()
{
    ::unlink(mPath.c_str());
}

}  // namespace bench

int main(int argc, char** argv)
{
    bench::sTiny = bench::takeTinyFlag(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!bench::allChecksHold()) return 1;
    bench::registerCases();
    // A filter that nothing matches, or a case that gave up, must not look like a success.
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}

// SPDX-License-Identifier: MIT
#include "Symbols.h"

#include <cerrno>
#include <set>
#include <sstream>

#include <qz/ext/ChildProcess.h>

#include "BuildId.h"
#include "FunctionSymbols.h"

namespace {

// What a hostile report may cost.
constexpr std::size_t kMostFrames = 4096;
constexpr std::size_t kMostModules = 256;
constexpr std::size_t kMostOutput = 16UL * 1024 * 1024;
constexpr int kTimeoutMs = 60'000;

struct Finder {
    const char* program;
    std::vector<std::string> options;
};

const std::vector<Finder>& getFinders()
{
    static const std::vector<Finder> finders = {
        {"addr2line", {"-a", "-C", "-f", "-i", "-e"}},
        {"eu-addr2line", {"-a", "-C", "-f", "-i", "-e"}},
        {"llvm-symbolizer", {"--output-style=GNU", "-a", "-C", "-f", "-i", "-e"}},
    };
    return finders;
}

std::string toHex(std::uint64_t value)
{
    std::ostringstream text;
    text << std::hex << std::showbase << value;
    return text.str();
}

// The file with the names: separate debug information, or the file itself if it is still the same.
std::string findObject(const std::string& file, const std::string& buildId)
{
    if (buildId.size() < 3) return {};
    const std::string debugFile =
        "/usr/lib/debug/.build-id/" + buildId.substr(0, 2) + "/" + buildId.substr(2) + ".debug";
    for (const std::string& path : {debugFile, file}) {
        if (path[0] == '/' && readBuildId(path) == buildId) return path;
    }
    return {};
}

// The output has the address, and then a line with a function and one with its place, for each
// function at that address.
template <typename Places>
void parseOutput(const std::string& output, Places& places)
{
    std::istringstream stream(output);
    auto next = places.begin();
    std::vector<SourcePlace>* found = nullptr;
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("0x", 0) == 0) {
            if (next == places.end()) return;
            found = &next++->second;
            continue;
        }
        SourcePlace place;
        place.function = line;
        if (found == nullptr || !std::getline(stream, place.line)) return;
        found->push_back(place);
    }
}

}  // namespace

bool SourcePlace::hasLine() const
{
    const std::string number = line.substr(line.rfind(':') + 1);
    return !number.empty() && number != "0" && number != "?";
}

Symbols::Symbols(const qz::ext::CrashReport& report)
{
    std::size_t count = 0;
    for (const qz::ext::CrashEvent& event : report.events) {
        for (const qz::ext::CrashFrame& frame : event.frames) {
            if (frame.file.empty() || ++count > kMostFrames) continue;
            if (mModules.size() == kMostModules) continue;
            mModules[{frame.file, frame.buildId}][frame.offset];
        }
    }
    for (auto& [module, places] : mModules)
        lookUp(module, places);
}

void Symbols::lookUp(const Module& module, Places& places)
{
    if (mIsMissing) return;
    const auto& [file, buildId] = module;
    const std::string object = findObject(file, buildId);
    if (object.empty()) {
        mRemarks.push_back("no file with the build id " + (buildId.empty() ? "(none)" : buildId) +
                           " of " + file);
    } else if (!run(object, places)) {
        mIsMissing = true;
        mRemarks.emplace_back(
            "no addr2line: install the package binutils, elfutils or llvm for names and lines");
    }
}

// @return false if none of the programs is installed.
bool Symbols::run(const std::string& object, Places& places)
{
    for (const Finder& finder : getFinders()) {
        qz::ext::ChildOptions options;
        options.programs = {{finder.program, finder.options}};
        std::vector<std::string>& arguments = options.programs[0].arguments;
        arguments.push_back(object);
        for (const auto& [offset, unknown] : places)
            arguments.push_back(toHex(offset));
        options.output = qz::ext::ChildOutput::Memory(kMostOutput);
        qz::ext::ChildWait wait;
        wait.timeoutMs = kTimeoutMs;
        const qz::ext::ChildResult result = qz::ext::ChildProcess::Run(options, wait);
        if (result.failure.error == ENOENT) continue;
        parseOutput(result.output, places);
        dropGuesses(object, places);
        if (!result.isSuccess())
            mRemarks.push_back(finder.program + std::string(" failed for ") + object);
        return true;
    }
    return false;
}

// Without debug information an address outside of all functions of the table has the name of the
// function before it: in a stripped library, of any that happens to be exported.
void Symbols::dropGuesses(const std::string& object, Places& places)
{
    std::set<std::uint64_t> addresses;
    for (const auto& [address, found] : places)
        if (!found.empty() && !found[0].hasLine()) addresses.insert(address);
    const std::set<std::uint64_t> known = findInFunctions(object, addresses);
    for (const std::uint64_t address : addresses)
        if (!known.contains(address)) places[address].clear();
}

const std::vector<SourcePlace>& Symbols::find(const qz::ext::CrashFrame& frame) const
{
    static const std::vector<SourcePlace> kNone;
    const auto module = mModules.find({frame.file, frame.buildId});
    if (module == mModules.end()) return kNone;
    const auto places = module->second.find(frame.offset);
    return places != module->second.end() ? places->second : kNone;
}

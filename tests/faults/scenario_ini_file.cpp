// SPDX-License-Identifier: MIT
// A tree is saved, loaded, and saved over what is there.

#include <string>

#include <qz/qzIniFile.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace {

using Map = qz::qzVariant::qzVariantMapImpl;

const char* const kFirstText = "[General]\na=1\n\n[s]\nb=x\n";
const char* const kLastText = "[General]\na=1\nc=true\n\n[s]\nb=y\n";

std::string getContent(const std::string& path)
{
    const qz::support::AllocationPause ownWork;
    const std::string content = qz::support::readFile(path);
    if (content == kFirstText) return "first";
    if (content == kLastText) return "last";
    return content.empty() ? "empty" : "cut";
}

std::string saveAndLoad(const std::string& path)
{
    const Map first{{"a", 1}, {"s", Map{{"b", "x"}}}};
    const Map change{{"c", true}, {"s", Map{{"b", "y"}}}};
    if (!SaveIniFile(path, first, false)) return "not saved";
    Map loaded;
    if (!LoadIniFile(path, loaded)) return "not loaded";
    const std::string tree = loaded == first ? "" : ", tree " + loaded.toString();
    if (!SaveIniFile(path, change, true)) return "not merged" + tree;
    return "done" + tree;
}

std::string useFile(const std::string& folder)
{
    const std::string path = folder + "/file.ini";
    {
        const qz::support::AllocationPause ownWork;
        qz::support::writeFile(path, "");
    }
    std::string text;
    {
        const qz::faults::Watch watch;
        text = saveAndLoad(path);
    }
    return text + ", file " + getContent(path);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    const qz::support::LogCapture log;
    return qz::faults::runScenario(argumentCount, arguments, &useFile);
}

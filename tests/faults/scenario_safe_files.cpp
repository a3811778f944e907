// SPDX-License-Identifier: MIT
// A file is made, and replaced through a link; an ini file is merged, and a file copied; all of
// them as a whole.

#include <filesystem>
#include <string>

#include <qz/ext/SafeFiles.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace {

namespace fs = std::filesystem;
using namespace qz::ext;
using Map = qz::qzVariant::qzVariantMapImpl;

const std::string kOld = "old";
const std::string kNew(200'000, 'n');  // more than the buffer of the device
const char* const kOldIni = "[General]\na=1\n";
const char* const kNewIni = "[General]\na=1\nb=2\n";

void prepare(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    for (const auto& entry : fs::directory_iterator(folder))
        fs::remove(entry);
    qz::support::writeFile(folder + "/old", kOld);
    qz::support::writeFile(folder + "/ini", kOldIni);
    fs::create_symlink("old", folder + "/link");
}

bool write(const std::string& path, SystemFailure& failure)
{
    AtomicFile file;
    if (!file.openUtf8(path, &failure)) return false;
    file << kNew.substr(0, 10);
    file << kNew.substr(10);
    return file.commit(&failure);
}

std::string useFiles(const std::string& folder)
{
    const qz::faults::Watch watch;
    SystemFailure failure;
    if (!write(folder + "/new", failure)) return "make: " + failure.toString();
    if (!write(folder + "/link", failure)) return "replace: " + failure.toString();
    if (!saveIniFileAtomically(folder + "/ini", Map{{"b", 2}}, /*merge=*/true, &failure))
        return "ini: " + failure.toString();
    if (!copyFileChecked(folder + "/old", folder + "/copy", &failure))
        return "copy: " + failure.toString();
    return "all done";
}

std::string withoutFolder(std::string text, const std::string& folder)
{
    const std::size_t at = text.find(folder + "/");
    return at == std::string::npos ? text : text.erase(at, folder.size() + 1);
}

// What must never be there.
std::string findDamage(const std::string& folder)
{
    std::string damage;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (name[0] == '.') {
            damage += ", a file is left";
            continue;
        }
        const std::string content = qz::support::readFile(entry.path());
        const bool isIni = name == "ini";
        const bool isWhole = content == (isIni ? kNewIni : kNew);
        const bool isOld =
            (isIni && content == kOldIni) || (content == kOld && (name == "old" || name == "link"));
        if (!isWhole && !isOld) damage += ", " + name + " is damaged";
    }
    return damage;
}

std::string work(const std::string& folder)
{
    prepare(folder);
    std::string text;
    try {
        text = useFiles(folder);
    } catch (const std::bad_alloc&) {
        const qz::support::AllocationPause ownWork;
        const std::string damage = findDamage(folder);
        if (damage.empty()) throw;
        return "no memory" + damage;
    }
    const qz::support::AllocationPause ownWork;
    return withoutFolder(text, folder) + findDamage(folder);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    const qz::support::LogCapture log;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}

// SPDX-License-Identifier: MIT
// A lock is taken on a new file, refused to another object, which finds its holder, released, and
// taken on the file that is there.

#include <unistd.h>

#include <string>

#include <qz/ext/FileLock.h>
#include <qz/qzCancelInterface.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

using namespace qz::ext;

constexpr int kLongTimeMs = 0x7FFFFFFF;

// Lets a wait make some attempts.
struct CancelAfterAWhile : qz::qzCancelInterfaceReadOnly {
    bool shouldCancel() const override { return ++polls > 3; }
    mutable int polls = 0;
};

// The reason without the path.
std::string describe(const SystemFailure& failure)
{
    const bool namesHolder = failure.step.find("held by process") != std::string::npos;
    const SystemFailure withoutPath = {namesHolder ? "held" : "failed", failure.error};
    return withoutPath.toString();
}

std::string useLocks(const std::string& path)
{
    const qz::faults::Watch watch;
    FileLock lock;
    FileLock other;
    SystemFailure failure;
    if (!lock.lockUtf8(path, FileLock::Exclusive, kLongTimeMs, nullptr, &failure))
        return "new: " + describe(failure);
    const std::string place = lock.isFileInPlace() ? "" : "elsewhere, ";
    const auto holder = FileLock::FindHolderUtf8(path);
    const std::string found = holder && holder->pid == ::getpid() ? "found, " : "not found, ";
    const CancelAfterAWhile cancel;
    if (other.lockUtf8(path, FileLock::Shared, kLongTimeMs, &cancel, &failure))
        return "two holders";
    const std::string refusal = describe(failure);
    lock.unlock();
    if (!other.tryLockUtf8(path, FileLock::Shared, &failure))
        return "existing: " + describe(failure);
    return place + found + "refused: " + refusal;
}

std::string work(const std::string& folder)
{
    return useLocks(qz::faults::makeFreshPath(folder));
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}

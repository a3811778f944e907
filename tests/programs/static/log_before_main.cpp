// SPDX-License-Identifier: MIT
// Reports in a static constructor and in a static destructor. It is linked from the library's bare
// objects, and its own come first, so that the constructor runs before the standard streams exist.

#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

namespace {

struct Reporter {
    Reporter() { qz::logInfo() << "constructor " << 1; }
    ~Reporter() { qz::logInfo() << "destructor " << 2; }
};

const Reporter gReporter;

}  // namespace

int main()
{
    qz::initializeQzSystem(qz::FullInit);
    qz::logInfo() << "main";
    qz::terminateQzSystem();
    return 0;
}

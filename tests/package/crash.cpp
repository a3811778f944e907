// SPDX-License-Identifier: MIT
// Crashes after a full start.

#include <qz/qzSystem.h>

namespace {

int* volatile gNowhere = nullptr;

}  // namespace

int main()
{
    qz::initializeQzSystem(qz::FullInit);
    return *gNowhere;
}

// SPDX-License-Identifier: MIT
// A program that carries a file of its project.

#include <string>

#include <qz/qzResources.h>
#include <qz/qzSystem.h>

int main()
{
    qz::initializeQzSystem(qz::LightInit, /*probeMainDisk=*/false);
    std::string text;
    const bool isFound = qz::rc::GetResource("project/CMakeLists.txt", text);
    qz::terminateQzSystem();
    return isFound && text.find("qz_add_resources") != std::string::npos ? 0 : 1;
}

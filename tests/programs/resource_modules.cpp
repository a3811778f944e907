// SPDX-License-Identifier: MIT
// A program with resources of its own, as a generator of code makes them: found after each start,
// gone after each stop. An argument ends the program with the library still up.

#include <iostream>
#include <memory>
#include <string>

#include <qz/qzResources.h>
#include <qz/qzSystem.h>

namespace {

const char kBlob[] = "firstsecond";
const char* const kNames[] = {"first", "second"};
const std::string kDigest(64, 'a');
const char* const kDigests[] = {kDigest.c_str(), kDigest.c_str()};
const unsigned long kSizes[] = {5, 6};
const unsigned long kOffsets[] = {0, 5};

// Before the library, for all that it knows.
const qz::rc::impl::Module gModule(2, kBlob, kNames, kDigests, kSizes, kOffsets);

const char* const kLateNames[] = {"late"};

std::unique_ptr<qz::rc::impl::Module> makeLateModule()
{
    return std::make_unique<qz::rc::impl::Module>(1, kBlob, kLateNames, kDigests, kSizes, kOffsets);
}

void show(const char* when)
{
    std::string line = when + std::string(":");
    for (const char* name : {"first", "second", "late"}) {
        std::string content;
        const bool isFound = qz::rc::GetResource(name, content);
        line += ' ' + (isFound ? content : "-");
    }
    std::cout << line << std::endl;
}

}  // namespace

int main(int argumentCount, char** /*arguments*/)
{
    std::cerr.rdbuf(nullptr);
    qz::initializeQzSystem(qz::LightInit);
    show("light");
    auto late = makeLateModule();
    show("with a late one");
    qz::initializeQzSystem(qz::FullInit);
    show("full");
    late.reset();
    show("without it");
    late = makeLateModule();
    qz::terminateQzSystem();
    show("half stopped");
    qz::terminateQzSystem();
    qz::initializeQzSystem(qz::FullInit);
    show("again");
    if (argumentCount > 1) return 0;
    qz::terminateQzSystem();
    late.reset();
    qz::initializeQzSystem(qz::LightInit);
    show("at last");
    qz::terminateQzSystem();
    return 0;
}

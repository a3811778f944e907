// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzIniFile.h>

#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "variant/MemoryFile.h"
#include "variant/VariantTrees.h"

namespace qz {

/// An ini file in a folder of its own.
class IniFixture : public ::testing::Test {
protected:
    using Map = qzVariant::qzVariantMapImpl;
    using List = qzVariant::qzVariantListImpl;

    /// Makes the file with this content and gives the tree that it is read as.
    Map load(const std::string& content)
    {
        mFolder.write(kName, content);
        Map map;
        EXPECT_TRUE(LoadIniFile(mPath, map));
        return map;
    }
    std::string loadText(const std::string& content) { return describe(load(content)); }
    std::string read() const { return mFolder.read(kName); }

    /// The message of a warning about the file.
    std::string warning(const std::string& what, int line) const
    {
        return "WARNING " + what + std::to_string(line) + ") " + mPath + " in Ini file";
    }

    static constexpr const char* kName = "file.ini";

    support::LibraryStart mLibrary;
    support::LogCapture mLog;
    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath(kName);
};

}  // namespace qz

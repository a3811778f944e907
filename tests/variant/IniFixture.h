#pragma once

#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzIniFile.h>

#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"
#include "support/ScratchFolder.h"
#include "variant/VariantTrees.h"

namespace qz {

/// A file without a disk under it, for tests that write thousands of them.
class MemoryFile {
public:
    MemoryFile() : mDescriptor(support::makeMemoryFile()) {}
    ~MemoryFile() { ::close(mDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string getPath() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }
    void write(const std::string& content) const { support::writeFile(getPath(), content); }
    std::string read() const { return support::readWholeFile(mDescriptor); }

private:
    const int mDescriptor;
};

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

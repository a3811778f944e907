// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzDirUtils.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "log/ConsoleRecorder.h"
#include "log/LogLines.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

/// A log that writes to files of a folder of its own, in the light or the full state.
class LogFileFixture : public ::testing::Test {
protected:
    explicit LogFileFixture(InitType state) : mLibrary(state) {}

    static qzLog& log() { return *qzLog::msInstance; }

    /// Installs a file handler that keeps all files, and has the installation done.
    void install(const std::string& name, int flags = 0, long maxSize = -1, int maxFiles = -1,
                 qzLog::TimeRotationInterval interval = qzLog::RotateNever) const
    {
        log().installFileHandlerExUtf8(mFolder.getPath(name), flags, maxSize, maxFiles, interval);
        log().flush();
    }
    static void write(const std::string& text)
    {
        logInfo() << text;
        log().flush();
    }

    /// The names of the files in the folder, in order.
    std::vector<std::string> list() const
    {
        std::vector<std::string> names;
        qzDirUtils::GlobFileAndFolderUtf8(mFolder.getPath(), nullptr, &names, nullptr,
                                          qzDirUtils::GlobBareNames);
        std::sort(names.begin(), names.end());
        return names;
    }
    /// What a file holds: its messages, joined by ';', after "BOM " where there is a mark.
    std::string show(const std::string& name) const { return showLogFile(mFolder.read(name)); }
    /// The messages on the console.
    std::string showConsole() const { return showLogFile(mConsole.getText()); }

    const support::ScratchFolder mFolder;
    const support::LibraryStart mLibrary;
    const ConsoleRecorder mConsole;
};

}  // namespace qz

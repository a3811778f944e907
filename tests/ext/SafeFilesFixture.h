// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/SafeFiles.h>

#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz::ext {

// A folder with a target, and the last failure.
class SafeFilesTest : public ::testing::Test {
protected:
    static constexpr int kExpected = 42;  // the exit code of a child that finds all as it should be

    enum class Place { Disk, Memory };

    explicit SafeFilesTest(Place place = Place::Disk)
        : mTemporary(place == Place::Memory && ::access(kMemory, W_OK | X_OK) == 0
                         ? std::make_unique<support::EnvironmentVariable>("TMPDIR", kMemory)
                         : nullptr)
    {
    }

    // Writes to a file by an `AtomicFile`, and commits.
    bool replace(const std::string& path, const std::string& content)
    {
        AtomicFile file;
        if (!file.openUtf8(path, &mFailure)) return false;
        file << content;
        return file.commit(&mFailure);
    }
    // The names of all entries of the folder, sorted.
    std::vector<std::string> list() const { return list(mFolder.getPath()); }
    static std::vector<std::string> list(const std::string& folder)
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string getTarget() const { return mFolder.read("target"); }
    static unsigned int getMode(const std::string& path)
    {
        return static_cast<unsigned int>(std::filesystem::status(path).permissions());
    }
    // Which error a step met; `path` is shown as PATH.
    std::string getFailure() const
    {
        std::string text = mFailure.toString();
        const std::size_t at = text.find(mFolder.getPath());
        return at == std::string::npos ? text : text.replace(at, mFolder.getPath().size(), "F");
    }

    static constexpr const char* kMemory = "/dev/shm";

    support::LibraryStart mStart;
    const std::unique_ptr<support::EnvironmentVariable> mTemporary;  // for the folder
    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.write("target", "old");
    SystemFailure mFailure;
};

}  // namespace qz::ext

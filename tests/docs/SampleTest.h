// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz::docs {

/// The library is started, and the current folder is an empty one: many samples name files without
/// a folder.
class SampleTest : public ::testing::Test {
protected:
    explicit SampleTest(InitType type = LightInit) : mLibrary(type)
    {
        std::filesystem::current_path(mFolder.getPath());
    }
    ~SampleTest() override { std::filesystem::current_path(mOldFolder); }

    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    const std::filesystem::path mOldFolder = std::filesystem::current_path();
};

}  // namespace qz::docs

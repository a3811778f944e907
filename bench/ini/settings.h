// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The settings of the ini rows.

#include <string>
#include <variant>
#include <vector>

#include "../support.h"

namespace bench {

/// The keys of a section.
struct Section {
    struct Setting {
        std::string key;
        std::variant<long, double, bool, std::string> value;
    };

    std::string name;
    std::vector<Setting> settings;
};

/// Sections of 100 settings each with `count` settings in all; the same in each run.
std::vector<Section> makeSettings(std::size_t count);

/// Those of the rows with a goal: 10,000.
const std::vector<Section>& getSettings();
std::size_t getSettingsCount();

/// The value as it stands in a file.
std::string toIniText(const Section::Setting& setting);

/// Writes a file of the settings by hand.
void writeSettings(const std::vector<Section>& sections, const std::string& path);

/// A file of `getSettings()`, written when it is first asked for.
const std::string& getSettingsPath();

/// The rows of one contender. `Format` has `std::size_t load(path)`, which gives the count of keys,
/// `Tree build(sections)` and `void save(tree, path)` as static functions.
template <typename Format>
class IniRows {
public:
    explicit IniRows(const char* name)
        : mCheck(name, readsWhatWasWritten),
          mLoad("load 10,000 keys", name, measureLoad),
          mSave("save 10,000 keys", name, measureSave)
    {
    }

private:
    static bool readsWhatWasWritten()
    {
        const ScratchFile file("ini-check");
        Format::save(Format::build(getSettings()), file.getPath());
        return Format::load(getSettingsPath()) == getSettingsCount() &&
               Format::load(file.getPath()) == getSettingsCount();
    }

    static void measureLoad(benchmark::State& state)
    {
        const std::string& path = getSettingsPath();
        for (auto _ : state) {
            std::size_t count = Format::load(path);
            keep(count);
        }
    }

    static void measureSave(benchmark::State& state)
    {
        const ScratchFile file("ini");
        const auto tree = Format::build(getSettings());
        for (auto _ : state)
            Format::save(tree, file.getPath());
    }

    Check mCheck;
    Case mLoad;
    Case mSave;
};

}  // namespace bench

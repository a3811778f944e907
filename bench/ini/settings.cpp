// SPDX-License-Identifier: MIT
#include "settings.h"

#include <fstream>
#include <random>

namespace bench {

namespace {

constexpr unsigned kSeed = 20'262;
constexpr std::size_t kSectionSize = 100;

struct ToText {
    std::string operator()(long value) const { return std::to_string(value); }
    std::string operator()(double value) const { return std::to_string(value); }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(const std::string& value) const { return value; }
};

}  // namespace

std::vector<Section> makeSettings(std::size_t count)
{
    std::mt19937 random(kSeed);
    std::vector<Section> sections;
    for (std::size_t i = 0; i != count; ++i) {
        if (i % kSectionSize == 0)
            sections.push_back({"section" + std::to_string(i / kSectionSize), {}});
        Section::Setting setting{"setting" + std::to_string(i % kSectionSize), {}};
        switch (random() % 4) {
            case 0:
                setting.value = static_cast<long>(random() % 1'000'000);
                break;
            case 1:
                setting.value = static_cast<double>(random() % 10'000) / 100.0;
                break;
            case 2:
                setting.value = random() % 2 == 0;
                break;
            default:
                setting.value = "/usr/share/doc/" + std::to_string(random());
                break;
        }
        sections.back().settings.push_back(std::move(setting));
    }
    return sections;
}

const std::vector<Section>& getSettings()
{
    static const std::vector<Section> sections = makeSettings(sized(10'000, 200));
    return sections;
}

std::size_t getSettingsCount()
{
    return getSettings().size() * kSectionSize;
}

std::string toIniText(const Section::Setting& setting)
{
    return std::visit(ToText(), setting.value);
}

void writeSettings(const std::vector<Section>& sections, const std::string& path)
{
    std::ofstream stream(path);
    for (const Section& section : sections) {
        stream << "\n[" << section.name << "]\n";
        for (const Section::Setting& setting : section.settings)
            stream << setting.key << '=' << toIniText(setting) << '\n';
    }
}

const std::string& getSettingsPath()
{
    static const ScratchFile file("settings.ini");
    static const bool isWritten = (writeSettings(getSettings(), file.getPath()), true);
    static_cast<void>(isWritten);
    return file.getPath();
}

}  // namespace bench

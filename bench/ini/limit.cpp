// SPDX-License-Identifier: MIT
// No peer but the floor of saving: each line is handed to the system before the next one is made,
// so each takes a call.

#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include "settings.h"

namespace bench {

namespace {

using Lines = std::vector<std::string>;

Lines readLines(const std::string& path)
{
    Lines lines;
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line + '\n');
    return lines;
}

void save(const Lines& lines, const std::string& path)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    for (const std::string& line : lines) {
        ssize_t written = ::write(file, line.data(), line.size());
        keep(written);
    }
    ::close(file);
}

bool isFileComplete()
{
    const ScratchFile file("limit-check");
    save(readLines(getSettingsPath()), file.getPath());
    return std::filesystem::file_size(file.getPath()) ==
           std::filesystem::file_size(getSettingsPath());
}

void measureSave(benchmark::State& state)
{
    const ScratchFile file("limit");
    const Lines lines = readLines(getSettingsPath());
    for (auto _ : state)
        save(lines, file.getPath());
}

const Check kFileCheck("lines in the file by the limit", isFileComplete);
const Case kSave("save 10,000 keys", "limit", measureSave);

}  // namespace

}  // namespace bench

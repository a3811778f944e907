// SPDX-License-Identifier: MIT
#include "support/Files.h"

#include <fcntl.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qz::support {

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("can't read " + path);
    // In blocks, because a sanitizer makes a loop over the bytes slow.
    std::string content;
    std::string block(65536, '\0');
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())) ||
           file.gcount() != 0)
        content.append(block, 0, static_cast<std::size_t>(file.gcount()));
    if (file.bad()) throw std::runtime_error("can't read " + path);
    return content;
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file) throw std::runtime_error("can't write " + path);
}

std::size_t countOpenDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    const auto count = std::distance(begin(descriptors), end(descriptors));
    // The walk holds a descriptor of its own.
    return static_cast<std::size_t>(count) - 1;
}

std::size_t countInheritedDescriptors()
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (::fcntl(std::stoi(entry.path().filename()), F_GETFD) == 0) ++count;
    }
    return count;
}

std::string toHex(const std::string& bytes)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (!text.empty()) text += ' ';
        text += kDigits[value / 16];
        text += kDigits[value % 16];
    }
    return text;
}

}  // namespace qz::support

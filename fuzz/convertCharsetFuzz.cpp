// SPDX-License-Identifier: MIT
// Converts a text of chance between all pairs of character sets, and compares with a direct call of
// the system's converter. The first byte chooses the local set.

#include <iconv.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

#include <qz/qzStringUtils.h>

#include "support/FuzzInput.h"

namespace {

using qz::qzStringUtils;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;

struct LocalSet {
    const char* locale;
    const char* name;  // the set as the system's converter knows it
};

// Locales that every system has.
constexpr LocalSet kLocalSets[] = {{"C.UTF-8", "UTF-8"}, {"C", "ANSI_X3.4-1968"}};

// One call of the converter, with just the input and the room that callers know the library to give
// it.
std::string convertPlainly(const std::string& text, const std::string& from, const std::string& to)
{
    iconv_t const descriptor = ::iconv_open((to + "//TRANSLIT//IGNORE").c_str(), from.c_str());
    std::string input = text;
    std::string output((text.size() + 1) * 2, '\0');
    char* in = input.data();
    char* out = output.data();
    std::size_t inputSize = text.size() + 1;
    std::size_t room = output.size();
    const bool isDone = ::iconv(descriptor, &in, &inputSize, &out, &room) != std::size_t(-1);
    ::iconv_close(descriptor);
    return isDone ? output.substr(0, output.size() - room - 1) : std::string();
}

// Brings the text services up in the locale, unless they are so already.
void useLocalSet(const LocalSet& set)
{
    static const LocalSet* current = nullptr;
    if (current == &set) return;
    qzStringUtils::TerminateStringUtils();
    ::setenv("LC_ALL", set.locale, /*overwrite=*/1);
    qzStringUtils::InitializeStringUtils();
    current = &set;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const LocalSet& local = kLocalSets[input.takeByte() % std::size(kLocalSets)];
    useLocalSet(local);
    const std::string text = input.takeRest();
    const char* const names[] = {local.name, "UTF-8", "US-ASCII"};
    for (int from = 0; from < 3; ++from) {
        for (int to = 0; to < 3; ++to) {
            const std::string expected =
                from == to ? std::string() : convertPlainly(text, names[from], names[to]);
            const std::string got =
                qzStringUtils::convertCharset(text, static_cast<qzStringUtils::qzCharSet>(from),
                                              static_cast<qzStringUtils::qzCharSet>(to));
            expectSame(got == expected, std::string(names[from]) + " to " + names[to]);
        }
    }
    return 0;
}

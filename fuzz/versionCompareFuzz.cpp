// SPDX-License-Identifier: MIT
// Compares two versions of chance, and compares the result with that of the plain steps. The first
// byte is the bound of components; the first line after it is one version, the rest the other.

#include <cstddef>
#include <cstdint>
#include <string>

#include <qz/qzStringUtils.h>

#include "../tests/text/PlainVersion.h"
#include "support/FuzzInput.h"

using qz::qzStringUtils;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const unsigned bound = input.takeByte() % 8;
    const std::string texts = input.takeRest();
    const std::size_t seam = texts.find('\n');
    const std::string a = texts.substr(0, seam);
    const std::string b = seam == std::string::npos ? "1.0" : texts.substr(seam + 1);
    expectSame(qzStringUtils::compareSoftwareVersion(a, b, bound) ==
                   qz::plain::compareVersions(a, b, bound),
               "compareSoftwareVersion");
    const int natural = qzStringUtils::CompareUTF8Natural(a, b, true);
    expectSame(natural == (a.compare(b) < 0 ? 1 : 0), "CompareUTF8Natural");
    expectSame(!qzStringUtils::UTF8NaturalSortFunction(a, b), "UTF8NaturalSortFunction");
    return 0;
}

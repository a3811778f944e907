// SPDX-License-Identifier: MIT
// Writes 1234567 with separators in the locale of the first argument, and then in that of the
// second one.

#include <clocale>
#include <cstdio>

#include <qz/qzMathUtils.h>

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    for (int i = 1; i <= 2; ++i) {
        if (std::setlocale(LC_ALL, argv[i]) == nullptr) {
            std::fprintf(stderr, "no locale %s\n", argv[i]);
            return 1;
        }
        const std::string text = qz::qzMathUtils::FormatIntegerSeparator(1234567);
        std::printf("%s%s", i == 2 ? " " : "", text.c_str());
    }
    return 0;
}

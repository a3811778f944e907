// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include "paths.h"

namespace bench {

namespace {

class Library {
public:
    Library() { startLibrary(); }
    std::string convert(const std::string& path) const
    {
        return qz::qzStringUtils::convertCharset(path, qz::qzStringUtils::CharSetUtf8,
                                                 qz::qzStringUtils::CharSetLocal);
    }
    static std::string toString(const std::string& text) { return text; }
};

const CharsetRows<Library> kRows("qz");

}  // namespace

}  // namespace bench

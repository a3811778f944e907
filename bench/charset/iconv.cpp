// SPDX-License-Identifier: MIT
#include <string>

#include <iconv.h>

#include "paths.h"

namespace bench {

namespace {

/// The system's own converter, opened once.
class Iconv {
public:
    Iconv() : mDescriptor(::iconv_open((getLocalCharset() + "//TRANSLIT").c_str(), "UTF-8")) {}
    ~Iconv() { ::iconv_close(mDescriptor); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    std::string convert(const std::string& path) const
    {
        std::string text(2 * path.size(), '\0');
        char* in = const_cast<char*>(path.data());  // the interface wants it; nothing is changed
        char* out = text.data();
        std::size_t inLeft = path.size();
        std::size_t outLeft = text.size();
        const std::size_t result = ::iconv(mDescriptor, &in, &inLeft, &out, &outLeft);
        text.resize(result == static_cast<std::size_t>(-1) ? 0 : text.size() - outLeft);
        return text;
    }
    static std::string toString(const std::string& text) { return text; }

private:
    iconv_t mDescriptor;
};

const CharsetRows<Iconv> kRows("iconv");

}  // namespace

}  // namespace bench

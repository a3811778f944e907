// SPDX-License-Identifier: MIT
#include <memory>

#include <glib.h>

#include "paths.h"

namespace bench {

namespace {

struct FreeText {
    void operator()(gchar* text) const { g_free(text); }
};

using Text = std::unique_ptr<gchar, FreeText>;

// File names are UTF-8 to GLib unless an environment variable of its own says otherwise; for
// another set it has the general conversion.
class Glib {
public:
    Text convert(const std::string& path) const
    {
        const auto size = static_cast<gssize>(path.size());
        if (mIsUtf8) {
            return Text(g_filename_from_utf8(path.data(), size, nullptr, nullptr, nullptr));
        }
        return Text(
            g_convert(path.data(), size, mCharset.c_str(), "UTF-8", nullptr, nullptr, nullptr));
    }
    static std::string toString(const Text& text) { return text ? text.get() : "(none)"; }

private:
    const std::string& mCharset = getLocalCharset();
    const bool mIsUtf8 = isLocalUtf8();
};

const CharsetRows<Glib> kRows("GLib");

}  // namespace

}  // namespace bench

// SPDX-License-Identifier: MIT
#include <cstring>
#include <memory>
#include <utility>

#include <glib.h>

#include "rows.h"

namespace bench {

namespace {

struct FreeText {
    void operator()(gchar* text) const { g_free(text); }
};

/// A text of GLib that grows.
class GlibText {
public:
    explicit GlibText(const std::string& text) : GlibText(text.data(), text.size()) {}
    GlibText(const char* text, std::size_t size)
        : mText(g_string_new_len(text, static_cast<gssize>(size)))
    {
    }
    ~GlibText()
    {
        if (mText != nullptr) g_string_free(mText, TRUE);
    }
    GlibText(GlibText&& other) noexcept : mText(std::exchange(other.mText, nullptr)) {}
    GlibText& operator=(GlibText&&) = delete;

    const char* data() const { return mText->str; }
    std::size_t size() const { return mText->len; }
    GString* get() { return mText; }

private:
    GString* mText;
};

struct Glib {
    using Text = GlibText;

    static bool isValid(const std::string& text)
    {
        return g_utf8_validate_len(text.data(), text.size(), nullptr) != FALSE;
    }
    // It takes the text for well formed.
    static std::size_t count(const std::string& text)
    {
        return static_cast<std::size_t>(
            g_utf8_strlen(text.data(), static_cast<gssize>(text.size())));
    }
    static std::size_t find(const std::string& text, const std::string& needle)
    {
        const char* const found =
            g_strstr_len(text.data(), static_cast<gssize>(text.size()), needle.c_str());
        return found == nullptr ? std::string::npos : static_cast<std::size_t>(found - text.data());
    }
    static void replace(Text& text, const std::string& from, const std::string& to)
    {
        g_string_replace(text.get(), from.c_str(), to.c_str(), 0);
    }
    static std::size_t escape(const std::string& text)
    {
        const std::unique_ptr<gchar, FreeText> escaped(
            g_markup_escape_text(text.data(), static_cast<gssize>(text.size())));
        return std::strlen(escaped.get());
    }
};

const char* const kName = "GLib";
const ValidateRows<Glib> kValidate(kName);
const CountRows<Glib> kCount(kName);
const FindRows<Glib> kFind(kName);
const ReplaceRows<Glib> kReplace(kName);
const EscapeRows<Glib> kEscape(kName);

}  // namespace

}  // namespace bench

// SPDX-License-Identifier: MIT
#include "text/PlainCharset.h"

namespace qz {

namespace {

const auto kFailed = static_cast<std::size_t>(-1);

}  // namespace

PlainCharset::PlainCharset(std::string localSet) : mLocalSet(std::move(localSet)) {}

PlainCharset::~PlainCharset()
{
    for (const auto& [names, descriptor] : mDescriptors)
        ::iconv_close(descriptor);
}

std::string PlainCharset::convertCharset(const std::string& text, int from, int to)
{
    if (from == to) return {};
    std::string input = text;
    std::size_t inputSize = text.size() + 1;
    std::string output((text.size() + 1) * 2, '\0');
    std::size_t room = output.size();
    char* in = input.data();
    char* out = output.data();
    const iconv_t descriptor = getDescriptor(getName(to), getName(from));
    if (::iconv(descriptor, &in, &inputSize, &out, &room) == kFailed) return {};
    return output.substr(0, output.size() - room - 1);
}

std::string PlainCharset::convertTo8Bits(const std::wstring& text, int to)
{
    std::wstring input = text;
    std::size_t inputSize = text.size() + 1;
    std::string output((text.size() + 1) * 4, '\0');
    std::size_t room = output.size();
    char* in = reinterpret_cast<char*>(input.data());
    char* out = output.data();
    const iconv_t descriptor = getDescriptor(getName(to), "WCHAR_T");
    if (::iconv(descriptor, &in, &inputSize, &out, &room) == kFailed) return {};
    const std::size_t written = output.size() - room;
    return output.substr(0, written == 0 ? 0 : written - 1);
}

std::wstring PlainCharset::convertToUnicode(const std::string& text, int from)
{
    std::string input = text;
    std::size_t inputSize = text.size() + 1;
    std::wstring output(text.size() + 1, L'\0');
    std::size_t room = text.size() + 1;
    char* in = input.data();
    char* out = reinterpret_cast<char*>(output.data());
    const iconv_t descriptor = getDescriptor("WCHAR_T", getName(from));
    if (::iconv(descriptor, &in, &inputSize, &out, &room) == kFailed) return {};
    return output;
}

iconv_t PlainCharset::getDescriptor(const std::string& to, const std::string& from)
{
    const auto [entry, isNew] = mDescriptors.try_emplace({to, from}, nullptr);
    if (isNew) entry->second = ::iconv_open((to + "//TRANSLIT//IGNORE").c_str(), from.c_str());
    return entry->second;
}

std::string PlainCharset::getName(int set) const
{
    const std::string names[] = {mLocalSet, "UTF-8", "US-ASCII"};
    return names[set];
}

}  // namespace qz

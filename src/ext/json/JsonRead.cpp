// SPDX-License-Identifier: MIT
#include <qz/ext/Json.h>

#include <memory>
#include <string>

#include <qz/qzIoDevice.h>

#include "JsonParser.h"

namespace qz::ext {

namespace {

constexpr std::size_t kBlockBytes = 65536;

// Reads the device to its end, or a block beyond the limit.
JsonError readText(qzIoDevice& device, std::size_t limitBytes, std::string& text)
{
    const auto block = std::make_unique<char[]>(kBlockBytes);
    while (const unsigned long size = device.readBytes(block.get(), kBlockBytes)) {
        // Such as a -1 of a system call that a careless device returns
        if (size > kBlockBytes)
            return {JsonError::Kind::Device, "The device claims more bytes than requested", {}, {}};
        text.append(block.get(), size);
        if (text.size() > limitBytes) return {};
    }
    if (device.hasDeviceError())
        return {JsonError::Kind::Device, device.getDeviceErrorMsg(), {}, {}};
    if (!device.atEnd())
        return {JsonError::Kind::Device, "The device returned no bytes before its end", {}, {}};
    return {};
}

}  // namespace

JsonReadResult readJson(std::string_view text, const JsonReadOptions& options)
{
    JsonReadResult result;
    JsonParser(text, options, result).run();
    return result;
}

JsonReadResult readJson(qzIoDevice& device, const JsonReadOptions& options)
{
    JsonReadResult result;
    std::string text;
    result.error = readText(device, options.maxTextBytes, text);
    if (result.isSuccess()) JsonParser(text, options, result).run();
    return result;
}

}  // namespace qz::ext

// SPDX-License-Identifier: MIT
#include <qz/ext/Json.h>

#include <utility>

#include <qz/qzIoDevice.h>

#include "JsonWriter.h"

namespace qz::ext {

JsonError writeJson(const qzVariant& value, std::string& text, const JsonWriteOptions& options)
{
    std::string written;
    JsonOutput output(written);
    JsonError error = JsonWriter(options, output).write(value);
    if (!error) text = std::move(written);
    return error;
}

JsonError writeJson(const qzVariant& value, qzIoDevice& device, const JsonWriteOptions& options)
{
    JsonOutput output(device);
    JsonError error = JsonWriter(options, output).write(value);
    if (!output.hasFailed()) return error;
    // Before the error of a value, if there is one: after it, nothing more is written.
    return {JsonError::Kind::Device,
            device.hasDeviceError() ? device.getDeviceErrorMsg()
                                    : "The device accepted fewer bytes than it was given",
            /*place=*/{},
            /*path=*/{}};
}

}  // namespace qz::ext

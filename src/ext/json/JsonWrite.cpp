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
    if (error || !output.hasFailed()) return error;
    error.kind = JsonError::Kind::Device;
    error.message = device.hasDeviceError() ? device.getDeviceErrorMsg()
                                            : "The device accepted fewer bytes than it was given";
    return error;
}

}  // namespace qz::ext

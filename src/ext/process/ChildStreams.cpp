// SPDX-License-Identifier: MIT
#include <qz/ext/ChildStreams.h>

#include <utility>

namespace qz::ext {

ChildInput ChildInput::Nothing()
{
    return {};
}

ChildInput ChildInput::Inherited()
{
    return {.kind = Kind::Inherited};
}

ChildInput ChildInput::File(const std::string& path)
{
    return {.kind = Kind::File, .text = path};
}

ChildInput ChildInput::Device(qzIoDevice& device, std::size_t limitBytes)
{
    return {.kind = Kind::Device, .device = &device, .limitBytes = limitBytes};
}

ChildInput ChildInput::Memory(std::string bytes)
{
    return {.kind = Kind::Memory, .text = std::move(bytes)};
}

ChildOutput ChildOutput::Nothing()
{
    return {};
}

ChildOutput ChildOutput::Inherited()
{
    return {.kind = Kind::Inherited};
}

ChildOutput ChildOutput::File(const std::string& path, FileWay way)
{
    return {.kind = Kind::File, .text = path, .way = way};
}

ChildOutput ChildOutput::Device(qzIoDevice& device, std::size_t limitBytes)
{
    return {.kind = Kind::Device, .device = &device, .limitBytes = limitBytes};
}

ChildOutput ChildOutput::Memory(std::size_t limitBytes)
{
    return {.kind = Kind::Memory, .limitBytes = limitBytes};
}

ChildOutput ChildOutput::Lines(LineHandler onLine, std::size_t maxLineBytes)
{
    return {.kind = Kind::Lines, .limitBytes = maxLineBytes, .onLine = std::move(onLine)};
}

ChildOutput ChildOutput::Log(qzLog::EntryType type, const std::string& subType)
{
    return {.kind = Kind::Log, .text = subType, .limitBytes = kMaxLineBytes, .type = type};
}

ChildOutput ChildOutput::SameAsOutput()
{
    return {.kind = Kind::SameAsOutput};
}

}  // namespace qz::ext

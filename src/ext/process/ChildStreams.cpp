#include <qz/ext/ChildStreams.h>

#include <utility>

namespace qz::ext {

ChildInput ChildInput::Nothing()
{
    return {};
}

ChildInput ChildInput::Inherited()
{
    ChildInput input;
    input.kind = Kind::Inherited;
    return input;
}

ChildInput ChildInput::File(const std::string& path)
{
    ChildInput input;
    input.kind = Kind::File;
    input.text = path;
    return input;
}

ChildInput ChildInput::Device(qzIoDevice& device, std::size_t limitBytes)
{
    ChildInput input;
    input.kind = Kind::Device;
    input.device = &device;
    input.limitBytes = limitBytes;
    return input;
}

ChildInput ChildInput::Memory(std::string bytes)
{
    ChildInput input;
    input.kind = Kind::Memory;
    input.text = std::move(bytes);
    return input;
}

ChildOutput ChildOutput::Nothing()
{
    return {};
}

ChildOutput ChildOutput::Inherited()
{
    ChildOutput output;
    output.kind = Kind::Inherited;
    return output;
}

ChildOutput ChildOutput::File(const std::string& path, FileWay way)
{
    ChildOutput output;
    output.kind = Kind::File;
    output.text = path;
    output.way = way;
    return output;
}

ChildOutput ChildOutput::Device(qzIoDevice& device, std::size_t limitBytes)
{
    ChildOutput output;
    output.kind = Kind::Device;
    output.device = &device;
    output.limitBytes = limitBytes;
    return output;
}

ChildOutput ChildOutput::Memory(std::size_t limitBytes)
{
    ChildOutput output;
    output.kind = Kind::Memory;
    output.limitBytes = limitBytes;
    return output;
}

ChildOutput ChildOutput::Lines(LineHandler onLine, std::size_t maxLineBytes)
{
    ChildOutput output;
    output.kind = Kind::Lines;
    output.onLine = std::move(onLine);
    output.limitBytes = maxLineBytes;
    return output;
}

ChildOutput ChildOutput::Log(qzLog::EntryType type, const std::string& subType)
{
    ChildOutput output;
    output.kind = Kind::Log;
    output.text = subType;
    output.type = type;
    output.limitBytes = kMaxLineBytes;
    return output;
}

ChildOutput ChildOutput::SameAsOutput()
{
    ChildOutput output;
    output.kind = Kind::SameAsOutput;
    return output;
}

}  // namespace qz::ext

#pragma once

#include <string>
#include <string_view>

namespace qz::variant {

/// A file open for reading, named in the local character set.
class InputFile {
public:
    explicit InputFile(const std::string& localPath);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    /// All that can be read, up to an error.
    std::string read() const;

private:
    const int mDescriptor;
};

/// A file that was emptied, or made, for writing.
class OutputFile {
public:
    explicit OutputFile(const std::string& localPath);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    /// Hands the text to the system at once. Nothing is written after a failure.
    void write(std::string_view text);

private:
    const int mDescriptor;
    bool mHasFailed = false;
};

}  // namespace qz::variant

#pragma once

#include <string>

namespace tracewell {

/// Takes an output away again that was not finished. Only a regular file is ever removed.
class UnfinishedFile
{
public:
    explicit UnfinishedFile(std::string path) : m_path(std::move(path)) {}
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;
    ~UnfinishedFile();

    /// The file is being written from now on.
    void start() { m_started = true; }
    /// It is complete.
    void finish() { m_started = false; }

private:
    std::string m_path;
    bool m_started = false;
};

/// What an output may be.
enum class OutputKind {
    RegularFile, ///< read while it is written; never the standard output
    Any          ///< also a device or a pipe; "-" is the standard output
};

/// \throws CommandError when both paths lead to one file, or `output` to something that it cannot
/// be. The input "-" is the standard input.
void checkOutput(const std::string& input, const std::string& output, OutputKind kind);

} // namespace tracewell

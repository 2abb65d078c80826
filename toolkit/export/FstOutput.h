// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "export/FstDeclarations.h"
#include "export/RunOutput.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

class OutputFile;

/// An FST file, packed on a thread of its own. Vectors have all their letters, what has no value
/// yet is x, and an event is 1 when it fires. Of the strengths of a port of an extended VCD only
/// the letters are told.
class FstOutput : public RunOutput
{
public:
    /// Keeps references to both.
    /// \throws Failure when the file cannot be made.
    FstOutput(OutputFile& output, const Declarations& declarations);
    ~FstOutput() override;

    void write(ChangeStream& changes) override;
    void check() override;
    std::string finish(long long end, bool isWhole) override;

private:
    void setTime(long long time);
    void store(ChangeStream& changes, std::uint32_t object);
    void storeLetter(const FstHandles::Handle& handle, unsigned int code);
    void storeGroups(const FstHandles::Handle& handle, const unsigned char* groups);
    void storeLetters(std::uint32_t object, std::string_view letters);
    void stateUnknown();
    void close();

    OutputFile& m_output;
    const Declarations& m_declarations;
    void* m_fst;
    FstHandles m_handles;
    /// FST times count powers of ten; so many of them are in one unit here.
    long long m_units = 1;
    long long m_time = -1;
    bool m_hasValues = false;
    /// Bytes of the changes since a block was begun, about.
    std::size_t m_gathered = 0;
    std::string m_text;
    /// Room for the letters of any object.
    std::vector<char> m_letters;
};

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/fst/FstBlock.h"
#include "formats/fst/FstHierarchy.h"
#include "formats/run/RunReader.h"
#include "input/SpooledFile.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// The run that an FST file holds. Of a file whose writer was killed: what is whole of it, with the
/// names from the file beside it, NAME.hier, in which its writer keeps them until the end.
class FstRunReader : public RunReader
{
public:
    /// `path` is where `source` came from. A lenient reading leaves out blocks that are damaged.
    /// `onRead` is called now and then.
    /// \throws Failure
    FstRunReader(const std::string& path, std::unique_ptr<ByteSource> source, std::string name,
                 bool isLenient, std::function<void()> onRead);

    const Declarations& declarations() const override { return m_names.declarations; }
    bool next(RunChange& change) override;
    [[noreturn]] void refuse(const std::string& why) override;
    void refuseValue(const std::string& why) override;
    const std::string& name() const override { return m_name; }
    double progress() const override;
    unsigned long long bytesRead() const override;
    unsigned long long expectedSize() const override;
    std::string shortfall(std::string_view done) const override;
    std::string lenience() const override;
    bool isRepeatable() const override { return m_file->isRepeatable(); }

private:
    struct Block
    {
        FstBlockKind kind;
        /// Of its length, which counts from there.
        unsigned long long at;
        unsigned long long length;
    };

    void listBlocks();
    void unwrap();
    void readHeader();
    void readNames(const std::string& path);
    bool readHierarchy(const Block& block, FstBytes& out) const;
    bool readHierarchyBeside(const std::string& path, FstBytes& out) const;
    bool openNextBlock();
    [[noreturn]] void fail(unsigned long long at, const std::string& why) const;

    std::string m_name;
    std::unique_ptr<SpooledFile> m_file;
    bool m_isLenient;
    std::function<void()> m_onRead;
    std::vector<Block> m_blocks;
    /// Where the file ends within a block, or its writer was still at one.
    std::optional<unsigned long long> m_cutAt;
    bool m_wasKilled = false;
    std::string m_version;
    std::string m_date;
    Timescale m_timescale;
    long long m_endTime = 0;
    FstNames m_names;
    std::optional<FstBlock> m_block;
    /// The next one to look at.
    std::size_t m_next = 0;
    bool m_isInBlock = false;
    bool m_needsStart = true;
    long long m_time = -1;
    unsigned long long m_leftOut = 0;
    unsigned long long m_firstLeftOut = 0;
    unsigned long long m_noValues = 0;
    bool m_hasEnded = false;
};

} // namespace tracewell

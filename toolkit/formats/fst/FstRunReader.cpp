// SPDX-License-Identifier: BSD-3-Clause

#include "formats/fst/FstRunReader.h"

#include "input/InputFile.h"
#include "text/Counted.h"
#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace tracewell {

namespace {

constexpr unsigned long long kHeaderLength = 329;
/// A text of more bytes is what unpacked changes take, about.
constexpr unsigned long long kTextOfByte = 8;

unsigned long long bigEndian(const unsigned char* bytes)
{
    unsigned long long value = 0;
    for (int i = 0; i < 8; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

std::string textIn(const unsigned char* bytes, std::size_t size)
{
    std::string text(reinterpret_cast<const char*>(bytes), size);
    text.resize(std::min(text.find('\0'), text.size()));
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

bool hasChanges(FstBlockKind kind)
{
    return kind == FstBlockKind::Changes || kind == FstBlockKind::ChangesWithAliases ||
           kind == FstBlockKind::ChangesWithAliases2;
}

bool isHierarchy(FstBlockKind kind)
{
    return kind == FstBlockKind::Hierarchy || kind == FstBlockKind::HierarchyLz4 ||
           kind == FstBlockKind::HierarchyLz4Twice;
}

} // namespace

FstRunReader::FstRunReader(const std::string& path, std::unique_ptr<ByteSource> source,
                           std::string name, bool isLenient, std::function<void()> onRead)
    : m_name(std::move(name)),
      m_file(std::make_unique<SpooledFile>(path, std::move(source), onRead)),
      m_isLenient(isLenient), m_onRead(std::move(onRead))
{
    unwrap();
    listBlocks();
    readHeader();
    readNames(path);
    m_block.emplace(*m_file, m_names);
}

void FstRunReader::fail(unsigned long long at, const std::string& why) const
{
    throw Failure(fmt::format("{}: byte {}: {}", m_name, at, why));
}

void FstRunReader::refuse(const std::string& why)
{
    throw Failure(fmt::format("{}: time {}: {}", m_name, std::max(m_time, 0LL), why));
}

void FstRunReader::refuseValue(const std::string& why)
{
    if (!m_isLenient) {
        refuse(why);
    }
    ++m_noValues;
}

/// A file may be packed as a whole, in a block of its own.
void FstRunReader::unwrap()
{
    unsigned char head[17];
    if (!m_file->read(0, head, sizeof head) ||
        head[0] != static_cast<unsigned char>(FstBlockKind::Wrapper)) {
        return;
    }
    const unsigned long long length = bigEndian(head + 1);
    const unsigned long long unpackedSize = bigEndian(head + 9);
    constexpr unsigned long long kLargest = std::numeric_limits<int>::max();
    FstBytes packed;
    FstBytes unpacked;
    const unsigned long long size =
        std::min(length, m_file->size() - 1) - std::min<unsigned long long>(16, length);
    if (length < 16 || size > kLargest || unpackedSize > kLargest) {
        fail(0, "the packed file in it makes no sense; copy the file again");
    }
    packed.resize(static_cast<std::size_t>(size));
    if (!m_file->read(sizeof head, packed.data(), packed.size()) ||
        !unpackGzip(packed.data(), packed.size(), static_cast<std::size_t>(unpackedSize),
                    unpacked)) {
        fail(0, "the packed file in it is damaged; copy the file again");
    }
    m_file = std::make_unique<SpooledFile>(unpacked.data(), unpacked.size());
}

void FstRunReader::listBlocks()
{
    constexpr std::size_t kMostBlocks = 10'000'000;
    unsigned long long at = 0;
    while (at < m_file->size() && m_blocks.size() < kMostBlocks) {
        unsigned char head[9];
        if (!m_file->read(at, head, sizeof head)) {
            m_cutAt = at;
            return;
        }
        const unsigned long long length = bigEndian(head + 1);
        const auto kind = static_cast<FstBlockKind>(head[0]);
        if (kind == FstBlockKind::Skipped && length == 0) {
            // Its writer was still at it.
            m_wasKilled = true;
            m_cutAt = at;
            return;
        }
        if (length > m_file->size() - at - 1) {
            m_cutAt = at;
            return;
        }
        if (length < 8) {
            fail(at, "a block of no length; the file is damaged, copy or dump it again");
        }
        m_blocks.push_back({kind, at + 1, length});
        at += 1 + length;
    }
}

void FstRunReader::readHeader()
{
    unsigned char bytes[kHeaderLength];
    if (m_blocks.empty() || m_blocks[0].kind != FstBlockKind::Header ||
        m_blocks[0].length != kHeaderLength || !m_file->read(1, bytes, sizeof bytes)) {
        fail(0, "the header is cut off or damaged; copy or dump the file again");
    }
    const double e = 2.7182818284590452354;
    if (std::memcmp(bytes + 24, &e, sizeof e) != 0) {
        fail(25, "the file comes from a machine with another order of bytes, or its header is "
                 "damaged; convert it there to a VCD: fst2vcd");
    }
    const unsigned long long end = bigEndian(bytes + 16);
    m_endTime = static_cast<long long>(
        std::min<unsigned long long>(end, std::numeric_limits<long long>::max()));
    constexpr int kFinest = -30;
    constexpr int kCoarsest = 6;
    m_timescale = {1, static_cast<signed char>(bytes[72]), true};
    if (m_timescale.exponent < kFinest || m_timescale.exponent > kCoarsest) {
        fail(73, "the timescale makes no sense; the file is damaged, copy or dump it again");
    }
    m_version = textIn(bytes + 73, 128);
    m_date = textIn(bytes + 201, 119);
}

void FstRunReader::readNames(const std::string& path)
{
    FstBytes bytes;
    const auto found = std::find_if(m_blocks.begin(), m_blocks.end(),
                                    [](const Block& block) { return isHierarchy(block.kind); });
    bool isRead = false;
    if (found != m_blocks.end()) {
        isRead = readHierarchy(*found, bytes);
        if (!isRead) {
            fail(found->at - 1, "the names are damaged; copy or dump the file again");
        }
    } else {
        m_wasKilled = true;
        if (!readHierarchyBeside(path, bytes)) {
            throw Failure(fmt::format("{}: the names come at the end of such a file, and this one "
                                      "has none; let its writer come to its end, or keep {}.hier "
                                      "beside it",
                                      m_name, m_name));
        }
    }
    try {
        m_names = FstHierarchy(m_version, m_date, m_timescale).read(bytes);
    } catch (const Failure& e) {
        throw Failure(fmt::format("{}: {}", m_name, e.what()));
    }
    if (m_names.isCutOff && found != m_blocks.end()) {
        fail(found->at - 1, "the names end within an entry; copy or dump the file again");
    }
    if (m_names.declarations.variables.empty()) {
        throw Failure(fmt::format("{}: no variable is declared; dump the file again", m_name));
    }
}

bool FstRunReader::readHierarchy(const Block& block, FstBytes& out) const
{
    const bool isTwice = block.kind == FstBlockKind::HierarchyLz4Twice;
    const unsigned long long head = isTwice ? 24 : 16;
    unsigned char sizes[24];
    if (block.length < head || !m_file->read(block.at, sizes, static_cast<std::size_t>(head))) {
        return false;
    }
    constexpr unsigned long long kLargest = std::numeric_limits<int>::max();
    const unsigned long long unpackedSize = bigEndian(sizes + 8);
    if (unpackedSize > kLargest || block.length - head > kLargest) {
        return false;
    }
    FstBytes packed(static_cast<std::size_t>(block.length - head));
    if (!m_file->read(block.at + head, packed.data(), packed.size())) {
        return false;
    }
    const auto size = static_cast<std::size_t>(unpackedSize);
    if (block.kind == FstBlockKind::Hierarchy) {
        return unpackGzip(packed.data(), packed.size(), size, out);
    }
    if (!isTwice) {
        return unpackLz4(packed.data(), packed.size(), size, out);
    }
    const unsigned long long onceSize = bigEndian(sizes + 16);
    FstBytes once;
    return onceSize <= kLargest &&
           unpackLz4(packed.data(), packed.size(), static_cast<std::size_t>(onceSize), once) &&
           unpackLz4(once.data(), once.size(), size, out);
}

bool FstRunReader::readHierarchyBeside(const std::string& path, FstBytes& out) const
{
    try {
        const std::string beside = path + ".hier";
        const SpooledFile file(beside, openInput(beside).source, m_onRead);
        constexpr unsigned long long kLargest = std::numeric_limits<int>::max();
        if (file.size() == 0 || file.size() > kLargest) {
            return false;
        }
        out.resize(static_cast<std::size_t>(file.size()));
        return file.read(0, out.data(), out.size());
    } catch (const Failure&) {
        return false;
    }
}

bool FstRunReader::openNextBlock()
{
    while (m_next < m_blocks.size()) {
        const Block& block = m_blocks[m_next++];
        if (!hasChanges(block.kind)) {
            continue;
        }
        m_onRead();
        if (m_block->open(block.kind, block.at, block.length, m_needsStart) &&
            m_block->firstTime() >= m_time) {
            m_isInBlock = true;
            return true;
        }
        if (!m_isLenient) {
            fail(block.at - 1, "a block of changes is damaged; copy or dump the file again, or "
                               "leave the block out with --lenient");
        }
        m_firstLeftOut = m_leftOut == 0 ? block.at - 1 : m_firstLeftOut;
        ++m_leftOut;
        // Of what changed in it the next block knows the end.
        m_needsStart = true;
    }
    return false;
}

bool FstRunReader::next(RunChange& change)
{
    for (;;) {
        if (!m_isInBlock && !openNextBlock()) {
            break;
        }
        if (m_block->next(change)) {
            if (change.kind != RunChange::Kind::Time) {
                return true;
            }
            if (change.time < m_time) {
                fail(m_blocks[m_next - 1].at - 1,
                     "times go back; the file is damaged, copy or dump it again");
            }
            if (change.time > m_time) {
                m_time = change.time;
                return true;
            }
            continue;
        }
        m_isInBlock = false;
        m_needsStart = false;
        if (m_block->isDamaged()) {
            if (!m_isLenient) {
                fail(m_blocks[m_next - 1].at - 1,
                     "a block of changes is damaged; copy or dump the file again, or leave what "
                     "is damaged out with --lenient");
            }
            m_firstLeftOut = m_leftOut == 0 ? m_blocks[m_next - 1].at - 1 : m_firstLeftOut;
            ++m_leftOut;
            m_needsStart = true;
        }
    }
    if (!m_hasEnded && !m_cutAt && m_endTime > m_time) {
        m_hasEnded = true;
        m_time = m_endTime;
        change.kind = RunChange::Kind::Time;
        change.time = m_time;
        return true;
    }
    m_hasEnded = true;
    return false;
}

double FstRunReader::progress() const
{
    return m_file->size() == 0
               ? 0
               : static_cast<double>(bytesRead()) / static_cast<double>(m_file->size());
}

unsigned long long FstRunReader::bytesRead() const
{
    return m_next == 0 ? 0 : m_blocks[m_next - 1].at + m_blocks[m_next - 1].length;
}

unsigned long long FstRunReader::expectedSize() const
{
    return kTextOfByte * m_file->size();
}

std::string FstRunReader::shortfall(std::string_view done) const
{
    std::string line;
    if (m_wasKilled) {
        line = fmt::format("its writer was killed or is still at work; all blocks that are whole "
                           "were {}",
                           done);
    } else if (m_cutAt) {
        line = fmt::format("byte {}: the file ends inside a block; everything before was {}",
                           *m_cutAt, done);
    }
    if (!m_file->flaw().empty()) {
        line = line.empty() ? m_file->flaw() : fmt::format("{}; {}", m_file->flaw(), line);
    }
    return line;
}

std::string FstRunReader::lenience() const
{
    std::string line;
    if (m_leftOut > 0) {
        line =
            fmt::format("{} of changes {} damaged and left out, the first at byte {}",
                        counted(m_leftOut, "block"), m_leftOut == 1 ? "is" : "are", m_firstLeftOut);
    }
    if (m_noValues > 0) {
        line += fmt::format("{}{} no values and left out", line.empty() ? "" : "; ",
                            counted(m_noValues, "change is", "changes are"));
    }
    return line;
}

} // namespace tracewell

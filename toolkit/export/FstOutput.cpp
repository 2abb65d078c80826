// SPDX-License-Identifier: BSD-3-Clause

#include "export/FstOutput.h"

#include "files/OutputFile.h"
#include "files/OwnFile.h"
#include "text/Failure.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <fstapi.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace {

/// Bytes of a block of changes, before it is packed: small enough that packing goes on beside the
/// reading, large enough that what a block has of each variable is worth packing.
constexpr std::size_t kBlock = 8 << 20;
constexpr std::size_t kBlockOfObject = 100;
/// Bytes of a change beside its letters, about.
constexpr std::size_t kBytesAside = 6;

/// The four letters of four bits, the highest first, by their a-bits and b-bits.
struct FourLetters
{
    std::array<std::array<char, 4>, 256> letters;
};

constexpr FourLetters makeFourLetters()
{
    FourLetters table{};
    for (unsigned int i = 0; i < 256; ++i) {
        for (unsigned int bit = 0; bit < 4; ++bit) {
            table.letters[i][3 - bit] = kLetters[(i >> bit & 1) + 2 * (i >> (4 + bit) & 1)];
        }
    }
    return table;
}

constexpr FourLetters kFourLetters = makeFourLetters();

/// A file's descriptor.
class ReadFile
{
public:
    explicit ReadFile(const std::string& path) : m_descriptor(openOwnFile(path, O_RDONLY)) {}
    ReadFile(const ReadFile&) = delete;
    ReadFile& operator=(const ReadFile&) = delete;
    ~ReadFile()
    {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    bool read(off_t at, unsigned char* to, std::size_t size) const
    {
        return m_descriptor >= 0 &&
               ::pread(m_descriptor, to, size, at) == static_cast<ssize_t>(size);
    }
    off_t size() const
    {
        struct stat status = {};
        return m_descriptor >= 0 && ::fstat(m_descriptor, &status) == 0 ? status.st_size : -1;
    }

private:
    int m_descriptor;
};

/// The writer does not look at what becomes of its writes: where the storage took less, the blocks
/// do not follow each other up to the end, or there are fewer than the first of them says.
bool isWholeFst(const std::string& path)
{
    constexpr off_t kHeaderBlocks = 65;
    constexpr unsigned char kHeader = 0;
    constexpr unsigned char kSkipped = 255;
    const ReadFile file(path);
    const off_t end = file.size();
    unsigned long long changeBlocks = 0;
    unsigned long long otherBlocks = 0;
    off_t at = 0;
    const auto numberAt = [&](off_t place, unsigned long long& number) {
        unsigned char bytes[8];
        if (!file.read(place, bytes, sizeof bytes)) {
            return false;
        }
        number = 0;
        for (const unsigned char byte : bytes) {
            number = number << 8 | byte;
        }
        return true;
    };
    while (at < end) {
        unsigned char kind = kSkipped;
        unsigned long long length = 0;
        if (!file.read(at, &kind, 1) || !numberAt(at + 1, length) || length < 8 ||
            length > static_cast<unsigned long long>(end - at - 1)) {
            return false;
        }
        if (kind == kSkipped || (kind == kHeader) != (at == 0)) {
            return false;
        }
        const bool hasChanges = kind == FST_BL_VCDATA || kind == FST_BL_VCDATA_DYN_ALIAS ||
                                kind == FST_BL_VCDATA_DYN_ALIAS2;
        ++(hasChanges ? changeBlocks : otherBlocks);
        at += 1 + static_cast<off_t>(length);
    }
    unsigned long long promised = 0;
    // Header, geometry and hierarchy are always there.
    return numberAt(kHeaderBlocks, promised) && promised == changeBlocks && otherBlocks >= 3;
}

} // namespace

FstOutput::FstOutput(OutputFile& output, const Declarations& declarations)
    : m_output(output), m_declarations(declarations)
{
    constexpr int kCompressed = 1;
    errno = 0;
    m_fst = fstWriterCreate(output.path().c_str(), kCompressed);
    if (m_fst == nullptr) {
        throw Failure(fmt::format("{}: cannot be created: {}; check the place and the one for "
                                  "temporary files",
                                  output.name(), std::strerror(errno)));
    }
    fstWriterSetPackType(m_fst, FST_WR_PT_LZ4);
    fstWriterSetRepackOnClose(m_fst, 0);
    fstWriterSetParallelMode(m_fst, 1);
    fstWriterSetFileType(m_fst, FST_FT_VERILOG);
    if (!declarations.version.empty()) {
        fstWriterSetVersion(m_fst, declarations.version.c_str());
    }
    if (!declarations.date.empty()) {
        fstWriterSetDate(m_fst, declarations.date.c_str());
    }
    int exponent = declarations.timescale.exponent;
    unsigned long long factor = declarations.timescale.factor;
    for (; factor % 10 == 0; factor /= 10) {
        ++exponent;
    }
    fstWriterSetTimescale(m_fst, exponent);
    m_units = static_cast<long long>(factor);
    m_handles = declareInFst(m_fst, declarations);
    unsigned int widest = 32;
    for (const Object& object : declarations.objects) {
        widest = std::max(widest, object.width);
    }
    // Letters are made 32 at a time.
    m_letters.resize(std::size_t{widest} + 64);
}

FstOutput::~FstOutput()
{
    close();
}

void FstOutput::close()
{
    if (m_fst != nullptr) {
        fstWriterClose(m_fst);
        m_fst = nullptr;
    }
}

void FstOutput::write(ChangeStream& changes)
{
    setTime(changes.time());
    for (const std::uint32_t object : changes.changed()) {
        store(changes, object);
    }
    if (m_gathered >= kBlock + kBlockOfObject * m_declarations.objects.size()) {
        // The next time ends the block, and another thread packs it.
        fstWriterFlushContext(m_fst);
        m_gathered = 0;
    }
}

void FstOutput::setTime(long long time)
{
    long long scaled = 0;
    if (__builtin_mul_overflow(time, m_units, &scaled)) {
        throw Failure(fmt::format("{}: a time lies beyond what an FST can tell in powers of ten; "
                                  "write a VCD, or end before it",
                                  m_output.name()));
    }
    if (m_time < 0 && scaled > 0) {
        // What holds at the start is x, and not the first value.
        fstWriterEmitTimeChange(m_fst, 0);
        m_time = 0;
    }
    if (scaled != m_time) {
        fstWriterEmitTimeChange(m_fst, static_cast<std::uint64_t>(scaled));
        m_time = scaled;
    }
}

void FstOutput::store(ChangeStream& changes, std::uint32_t object)
{
    const Object& declared = m_declarations.objects[object];
    const ValueKind& kind = *declared.kind;
    m_gathered += kBytesAside + declared.width;
    m_hasValues = true;
    const std::vector<FstHandles::Handle>& handles = m_handles.ofObject[object];
    if (kind.fires()) {
        for (const FstHandles::Handle& handle : handles) {
            fstWriterEmitValueChange(m_fst, handle.number, "1");
        }
        return;
    }
    if (const unsigned char* const plain = changes.plainValue(object)) {
        for (const FstHandles::Handle& handle : handles) {
            if (kind.isLetter()) {
                storeLetter(handle, *plain);
            } else if (kind.hasBits()) {
                storeGroups(handle, plain);
            } else {
                fstWriterEmitValueChange(m_fst, handle.number, plain);
            }
        }
        return;
    }
    m_text.clear();
    changes.appendValue(m_text, object);
    if (m_text.empty()) {
        return;
    }
    const std::string_view rest = std::string_view(m_text).substr(1);
    if (kind.isText()) {
        for (const FstHandles::Handle& handle : handles) {
            fstWriterEmitVariableLengthValueChange(m_fst, handle.number, rest.data(),
                                                   static_cast<std::uint32_t>(rest.size()));
        }
    } else if (kind.hasBits()) {
        storeLetters(object, m_text[0] == 'p'   ? portLetters(rest)
                             : m_text[0] == 'b' ? std::string(rest)
                                                : m_text);
    } else {
        double number = 0;
        toReal(rest, number);
        for (const FstHandles::Handle& handle : handles) {
            fstWriterEmitValueChange(m_fst, handle.number, &number);
        }
    }
}

void FstOutput::storeLetter(const FstHandles::Handle& handle, unsigned int code)
{
    std::fill_n(m_letters.begin(), handle.width, '0');
    m_letters[handle.width - 1] = letterOf(code);
    fstWriterEmitValueChange(m_fst, handle.number, m_letters.data());
}

/// From the right, 32 letters a group.
void FstOutput::storeGroups(const FstHandles::Handle& handle, const unsigned char* groups)
{
    constexpr unsigned int kGroup = 32;
    const std::size_t count = (handle.width + kGroup - 1) / kGroup;
    char* const end = m_letters.data() + count * kGroup;
    char* to = end;
    for (std::size_t group = 0; group < count; ++group) {
        std::uint32_t words[2];
        std::memcpy(words, groups + group * sizeof words, sizeof words);
        for (unsigned int bit = 0; bit < kGroup; bit += 4) {
            const unsigned int index = (words[0] >> bit & 0xf) | (words[1] >> bit & 0xf) << 4;
            to -= 4;
            std::memcpy(to, kFourLetters.letters[index].data(), 4);
        }
    }
    fstWriterEmitValueChange(m_fst, handle.number, end - handle.width);
}

/// Nine-state letters, and a value that says more than its variable has bits for: its last ones.
void FstOutput::storeLetters(std::uint32_t object, std::string_view letters)
{
    for (const FstHandles::Handle& handle : m_handles.ofObject[object]) {
        std::string text = canonicalLetters(letters, handle.width);
        if (text.size() > handle.width) {
            text.erase(0, text.size() - handle.width);
        }
        fstWriterEmitValueChange(m_fst, handle.number, text.data());
    }
}

/// A block without any change is none to the writer: one value is told, though it says nothing.
void FstOutput::stateUnknown()
{
    for (std::size_t object = 0; object < m_handles.ofObject.size(); ++object) {
        const ValueKind& kind = *m_declarations.objects[object].kind;
        if (m_handles.ofObject[object].empty() || kind.isText() || kind.isNumber()) {
            continue;
        }
        const FstHandles::Handle handle = m_handles.ofObject[object].front();
        std::fill_n(m_letters.begin(), handle.width, kLetters[kLetterX]);
        fstWriterEmitValueChange(m_fst, handle.number, m_letters.data());
        return;
    }
}

void FstOutput::check()
{
    if (fstWriterGetFseekFailed(m_fst) != 0) {
        throw Failure(fmt::format("{}: cannot be written; the output was given up, make room or "
                                  "name another place",
                                  m_output.name()));
    }
}

std::string FstOutput::finish(long long end, bool isWhole)
{
    if (!m_hasValues) {
        setTime(0);
        stateUnknown();
    }
    setTime(std::max(end, 0LL));
    check();
    close();
    if (!isWholeFst(m_output.path())) {
        throw Failure(fmt::format("{}: cannot be written: not all of it could be stored; the "
                                  "output was given up, make room or name another place",
                                  m_output.name()));
    }
    return m_output.finish(isWhole);
}

} // namespace tracewell

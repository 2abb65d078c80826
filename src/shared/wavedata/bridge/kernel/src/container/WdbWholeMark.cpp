// SPDX-License-Identifier: BSD-3-Clause

#include "WdbWholeMark.h"

#include "QsimException.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Tracewell {

namespace {

constexpr long long kWordSize = sizeof(long long);
constexpr long long kSectionSize = 2 * kWordSize - 1;

long long findWord(long long sectionOffset)
{
    return (sectionOffset + kWordSize - 1) / kWordSize * kWordSize;
}

} // namespace

void WdbWholeMark::create(WdbFileManager& file)
{
    // Wherever the word lies, it is kNothing.
    std::array<char, kSectionSize> room;
    room.fill('\xFF');
    const long long offset = file.getFileBlockManager().addBlock(room.data(), room.size());
    m_offset = findWord(offset);
    file.addNewSection(kSectionId, kVersion, offset, kSectionSize);
}

void WdbWholeMark::set(WdbFileManager& file, long long time) const
{
    if (m_offset == 0 || !file.isOpen()) {
        return;
    }
    const long long word = std::max(time, kNothing);
    file.getFileBlockManager().putBlock(m_offset, reinterpret_cast<const char*>(&word),
                                        sizeof word);
}

bool WdbWholeMark::find(const WdbFileManager& file, long long& time)
{
    long long offset = 0;
    try {
        offset = file.getSectionFileOffset(kSectionId, kVersion);
    } catch (const Qsim::OpenException&) {
        return false;
    }
    const WdbIBlockManager& blocks = file.getFileBlockManager();
    if (!blocks.contains(offset, kSectionSize)) {
        return false;
    }
    blocks.getBlock(findWord(offset), reinterpret_cast<char*>(&time), sizeof time);
    return true;
}

} // namespace Tracewell

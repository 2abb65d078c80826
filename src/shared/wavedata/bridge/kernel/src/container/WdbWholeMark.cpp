#include "WdbWholeMark.h"

#include "QsimException.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Tracewell {

namespace {

constexpr long long kWordSize = sizeof(long long);
static_assert(kWordSize == 8 && WdbWholeMark::kNothing == -1);

} // namespace

void WdbWholeMark::create(WdbFileManager& file)
{
    // Wherever it lies, there is an aligned word in it, and nothing else than the word's value.
    std::array<char, 2 * kWordSize - 1> room;
    room.fill('\xFF');
    const long long offset = file.getFileBlockManager().addBlock(room.data(), room.size());
    m_offset = (offset + kWordSize - 1) / kWordSize * kWordSize;
    file.addNewSection(kSectionId, kVersion, m_offset, kWordSize);
}

void WdbWholeMark::set(WdbFileManager& file, long long time) const
{
    if (m_offset == 0 || !file.isOpen())
        return;
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
    if (!blocks.contains(offset, sizeof time))
        return false;
    blocks.getBlock(offset, reinterpret_cast<char*>(&time), sizeof time);
    return true;
}

} // namespace Tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "SharedMemoryRegion.h"

#include "ChannelName.h"
#include "RegionAttachment.h"
#include "SimulatorProcess.h"
#include "platform/SharedRegion.h"

namespace Tracewell {

namespace {

constexpr char kPrefix[] = "Local\\ZSimTransitionMem";

std::string makeName(const std::string& absolutePath, int channel)
{
    return makeRegionName(kPrefix, std::to_string(channel), absolutePath,
                          std::to_string(static_cast<unsigned int>(findSimulatorProcessId())));
}

std::size_t sizeOf(unsigned int nominalSize)
{
    return std::size_t{nominalSize} + SharedMemoryRegion::kExtraBytes;
}

} // namespace

SharedMemoryRegion::SharedMemoryRegion(int mode, unsigned int nominalSize, const std::string& path,
                                       int channel)
    : m_mode(mode), m_nominalSize(nominalSize), m_region(std::make_unique<SharedRegion>())
{
    const std::string absolutePath = makeAbsolute(path);
    m_description = "live channel " + std::to_string(channel) + " of " + absolutePath;
    m_name = makeName(absolutePath, channel);
    attach();
}

bool SharedMemoryRegion::isOffered(unsigned int nominalSize, const std::string& path, int channel)
{
    return SharedRegion::isOffered(makeName(makeAbsolute(path), channel), sizeOf(nominalSize));
}

bool SharedMemoryRegion::isTaken(unsigned int nominalSize, const std::string& path, int channel)
{
    return SharedRegion::hasOpener(makeName(makeAbsolute(path), channel), sizeOf(nominalSize));
}

SharedMemoryRegion::~SharedMemoryRegion() = default;

char* SharedMemoryRegion::base() const
{
    return m_region->data();
}

bool SharedMemoryRegion::isReplaced() const
{
    return m_mode == kOpen && (!base() || m_region->isReplaced());
}

bool SharedMemoryRegion::refresh()
{
    if (!isReplaced()) {
        return false;
    }
    const bool wasMapped = base() != nullptr;
    return attach() || wasMapped;
}

bool SharedMemoryRegion::isPeerPresent() const
{
    return m_region->isPeerPresent();
}

bool SharedMemoryRegion::attach()
{
    if (m_mode != kOpen && m_mode != kCreate) {
        return false;
    }
    return attachRegion(*m_region, m_mode == kCreate ? RegionMode::Create : RegionMode::Open,
                        m_name, sizeOf(m_nominalSize), m_description);
}

} // namespace Tracewell

// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <memory>
#include <string>

namespace Tracewell {

class SharedRegion;

/// Owns the mapping of one live channel's ring. The channel is named by a directory and a number,
/// and by the simulator front end above both processes or, without one, their topmost ancestor;
/// only processes of one user meet. What lies in the memory is the ring's business.
///
/// The creator comes first. When a region cannot be had, a line on the standard output says so,
/// a second one on the standard error stream tells the reason where it is known, and base() is
/// null. A second creator beside a living one is refused, and so is a second opener; a region that
/// a killed creator left behind is replaced by the next creator and not opened by anybody.
class TRACEWELL_API SharedMemoryRegion
{
public:
    static constexpr int kOpen = 0;
    static constexpr int kCreate = 1;
    /// The region is so many bytes larger than its nominal size.
    static constexpr unsigned int kExtraBytes = 8;

    SharedMemoryRegion(int mode, unsigned int nominalSize, const std::string& path, int channel);
    SharedMemoryRegion(const SharedMemoryRegion&) = delete;
    SharedMemoryRegion& operator=(const SharedMemoryRegion&) = delete;
    ~SharedMemoryRegion();

    /// Whether a running process has created such a region, so that it could be opened. Prints
    /// nothing: for those who wait for a simulation to start.
    static bool isOffered(unsigned int nominalSize, const std::string& path, int channel);
    /// Whether one has and another process has opened it, so that it would be refused.
    static bool isTaken(unsigned int nominalSize, const std::string& path, int channel);

    char* base() const;
    /// For an opener: whether the name stands for another region than the mapped one, or none is
    /// mapped.
    bool isReplaced() const;
    /// Maps the region that the name stands for now if isReplaced(). True when base() has changed.
    bool refresh();
    /// Whether a process holds the other side of the mapped region.
    bool isPeerPresent() const;

private:
    bool attach();

    int m_mode;
    unsigned int m_nominalSize;
    std::string m_description;
    std::string m_name;
    std::unique_ptr<SharedRegion> m_region;
};

} // namespace Tracewell

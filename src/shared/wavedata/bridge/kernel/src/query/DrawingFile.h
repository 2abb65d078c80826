// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DescriptorStreamBuffer.h"
#include "WdbFileBlockManager.h"

#include <string>

namespace Tracewell {

/// The temporary file in which the trees of one reader keep their records. It is made for its
/// owner alone, never over a file that is there already, and is removed with this object. No lock
/// of its own but that of the block manager.
class DrawingFile
{
public:
    DrawingFile() : m_blockManager(m_stream) {}
    DrawingFile(const DrawingFile&) = delete;
    DrawingFile& operator=(const DrawingFile&) = delete;
    ~DrawingFile() { remove(); }

    /// Makes an empty file. Under the name that it has already, the file is emptied; under another
    /// one the old file goes.
    /// \throws Qsim::OpenException; then no file is open.
    void create(const std::string& name);

    const std::string& getName() const { return m_name; }
    /// A transfer while no file is open ends the process.
    WdbIBlockManager& getBlockManager() { return m_blockManager; }

private:
    void remove() TRACEWELL_REQUIRES(m_blockManager.getMutex());

    std::string m_name;
    /// The file called m_name is of our making.
    bool m_created TRACEWELL_GUARDED_BY(m_blockManager.getMutex()) = false;
    DescriptorStream m_stream TRACEWELL_GUARDED_BY(m_blockManager.getMutex());
    WdbFileBlockManager m_blockManager;
};

} // namespace Tracewell

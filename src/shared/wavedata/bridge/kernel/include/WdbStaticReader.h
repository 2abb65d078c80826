// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbCommonReader.h"

namespace Tracewell {

struct WdbEventDatabaseHeader;

/// Reads a `.wdb` file and never writes to it. One thread at a time. What only a running simulation
/// could answer does nothing, and there is never more data.
class TRACEWELL_API WdbStaticReader : public WdbCommonReader
{
public:
    WdbStaticReader();
    ~WdbStaticReader() override;

    void setMemFileSize(unsigned long long size) override;
    /// `channel` and `index` have no meaning. Opens one file in its life; after a failure it can be
    /// called again.
    void createReader(const std::string& channel, const std::string& fileName, int index,
                      const std::string& directory) override;
    boost::mutex& getTimeMarkMutex() override { return m_timeMarkMutex; }
    void markTime(boost::unique_lock<boost::mutex>& lock) override;
    bool hasMoreData() override { return false; }
    void restart() override;
    void saveRtti(const std::string& path) override;
    void saveDbg(const std::string& path) override;
    void setProtoSettingsString(const std::string& settings) override;
    void relaunchAfterRestart() override;

private:
    void openSections();
    void loadTracedObjects(const WdbEventDatabaseHeader& header);
    void openStringMap();

    /// Guards nothing here; viewers wait under it.
    boost::mutex m_timeMarkMutex;
};

} // namespace Tracewell

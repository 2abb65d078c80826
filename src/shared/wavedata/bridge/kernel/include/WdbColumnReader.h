// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbColumnField.h"
#include "WdbColumnHistory.h"
#include "WdbColumnReplay.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tracewell {

class ColumnFile;
class WdbFileManager;

/// A run of bytes of a file that its list of segments names.
struct WdbColumnExtent
{
    enum Kind : int {
        Fields = 0,       ///< what was declared
        Catalog = 1,      ///< a part of the list of segments
        Segment = 2,      ///< for good
        ShortSegment = 3, ///< until the next one that is full takes its changes in
        Free = 4,         ///< given up by short segments; the next ones take it
        Digest = 5        ///< what many segments have of each field, so that few are read
    };

    Kind m_kind = Fields;
    /// As the list says: it may lie outside.
    long long m_offset = 0;
    long long m_size = 0;
    /// Its checksums are right, and all of it makes sense.
    bool m_isSound = true;
    // Of a segment.
    long long m_firstTime = 0;
    long long m_lastTime = 0;
    unsigned int m_changes = 0;
};

/// Reads a recording in columns, see WdbColumnWriter, while it is written or later. Sees what the
/// writer had put into the file when the reader was opened, or refreshed. What is damaged is noted
/// in the damage log of getFileManager(), with the time before which nothing is missing, and left
/// out. Keeps some 140 MiB of what was read last at most. One thread.
class TRACEWELL_API WdbColumnReader
{
public:
    WdbColumnReader();
    WdbColumnReader(const WdbColumnReader&) = delete;
    WdbColumnReader& operator=(const WdbColumnReader&) = delete;
    ~WdbColumnReader();

    /// Once.
    /// \throws Qsim::OpenException when it is missing, or is no recording in columns.
    void open(const std::string& path);
    /// Whether the container has columns.
    static bool isColumns(const WdbFileManager& file);
    /// Takes in what has been written since; false when that is nothing.
    bool refresh();

    /// The container: for its other sections.
    WdbFileManager& getFileManager();
    const WdbFileManager& getFileManager() const;
    bool isClosed() const;
    /// Everything up to this time is in the file; below 0 when that is not known of any.
    long long getWholeTime() const;
    /// How far the run had come; below 0 when nothing is in the file.
    long long getLatestTime() const;
    /// Of the last change; below 0 without one.
    long long getLastChangeTime() const;
    unsigned long long getChangeCount() const;

    /// Fields have the ids from 0 on, in the order in which they were declared or came up.
    unsigned int getFieldCount() const;
    /// Its size is 0 for one that is not there, or that damage hides.
    WdbColumnField getField(unsigned int field) const;
    /// Ids of those with a byte in that stretch of addresses, by their addresses.
    std::vector<unsigned int> findFields(long long address, long long size) const;

    /// Of the changes up to `to`. `resolution` in units of simulation time; 0 gives each change.
    std::unique_ptr<WdbColumnHistory> getHistory(unsigned int field, long long from, long long to,
                                                 long long resolution) const;
    /// The first change behind `time`, or the last one before it; false when there is none.
    bool getNextChange(unsigned int field, long long time, long long& out) const;
    bool getPreviousChange(unsigned int field, long long time, long long& out) const;
    /// Of these fields, or of all where there are none.
    std::unique_ptr<WdbColumnReplay> getReplay(const std::vector<unsigned int>& fields = {}) const;

    /// Reads everything, and tells of each run of bytes in turn; for who wants to know whether the
    /// file is sound. What is not is in the damage log too. False when one of the two roots is
    /// damaged, of which a file that is not written to has none.
    bool survey(const std::function<void(const WdbColumnExtent&)>& tell) const;

private:
    void sortRuns();

    std::unique_ptr<ColumnFile> m_file;
    /// Runs of fields, by their addresses.
    std::vector<std::size_t> m_byAddress;
};

} // namespace Tracewell

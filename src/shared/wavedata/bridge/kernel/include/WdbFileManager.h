// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"
#include "WdbAppendingBlockList.h"
#include "WdbFileBlockManager.h"
#include "WdbFileHeader.h"
#include "WdbTableOfContentItem.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace Tracewell {

class DescriptorStream;

/// Owns one `.wdb` container: its stream, its block manager, its header and its table of
/// contents. Everything else in the file belongs to a section. What the block operations and
/// addNewSection wrote is visible to other processes when they return, in the order of the calls.
///
/// The lock is the recursive mutex of the block manager. create, close, the header operations and
/// the two embed operations take it. open and addNewSection take it for each transfer only, as do
/// the lookups, so nobody may add sections during a lookup by this manager.
class TRACEWELL_API WdbFileManager
{
public:
    using TableOfContent = WdbAppendingBlockList<WdbTableOfContentItem, 10>;

    WdbFileManager();
    WdbFileManager(const WdbFileManager&) = delete;
    WdbFileManager& operator=(const WdbFileManager&) = delete;
    ~WdbFileManager();

    /// Makes a new empty container, open for writing; an open one is closed first. The
    /// application name set earlier is kept.
    /// \throws Qsim::OpenException
    void create(const std::string& path);
    /// Opens an existing container read-only. A manager that is open stays with its file.
    /// \throws Qsim::OpenException when it is missing, cannot be read, or is no container, or when
    /// the manager is open.
    void open(const std::string& path);
    /// Safe when nothing is open.
    /// \throws std::ios_base::failure when the system reports that closing failed; the manager is
    /// closed in any case.
    void close();
    bool isOpen() const { return m_open; }

    /// Both do nothing when no file is open.
    /// \throws std::ios_base::failure when the transfer fails, as writing to a file opened for
    /// reading does.
    void readHeader();
    void writeHeader();
    void setApplication(const std::string& application);
    std::string getApplication() const;

    /// Appends to the table of contents; nothing is checked. Nothing happens when not open.
    void addNewSection(const std::string& sectionId, unsigned int version, long long fileOffset,
                       long long size);
    /// Stores `data` as one block and lists it. Size 0 and a closed manager change nothing.
    void embedDataInNewSection(const std::string& sectionId, unsigned int version,
                               const unsigned char* data, long long size);
    /// Stores a whole file as one block and lists it; an empty file gets no section. A file that
    /// cannot be read ends the process.
    void embedFileInNewSection(const std::string& sectionId, unsigned int version,
                               const std::string& path);

    /// The oldest section of that id and version.
    /// \throws Qsim::OpenException when there is none.
    bool getSection(const std::string& sectionId, unsigned int version,
                    WdbTableOfContentItem& out) const;
    long long getSectionFileOffset(const std::string& sectionId, unsigned int version) const;
    /// Answers the file offset, not the size; getSection has the size.
    long long getSectionSize(const std::string& sectionId, unsigned int version) const;
    /// The whole section in a buffer from malloc, which the caller frees; null when there is no
    /// such section, it holds nothing, or it does not lie in the file. `size` may be null; it gets
    /// the buffer's size, and is left alone when there is no such section.
    char* getSectionData(const std::string& sectionId, unsigned int version, long long* size) const;
    /// `size` bytes from the section's start on in a buffer from new[], which the caller deletes;
    /// the section's own size is not looked at. Bytes past the end of the file are zero. Null when
    /// there is no such section, it holds nothing or starts outside the file, or when nothing or
    /// more than the whole file was asked for.
    char* getSectionData(const std::string& sectionId, unsigned int version, long long size) const;

    /// Throws std::ios_base::failure on its bad and fail states. Use by several threads needs the
    /// lock.
    std::basic_iostream<char>& getiostream();
    WdbIBlockManager& getFileBlockManager() { return *m_blockManager; }
    const WdbIBlockManager& getFileBlockManager() const { return *m_blockManager; }
    /// What was found damaged in the file by those who read it, this manager or others, since it
    /// was opened.
    WdbDamageLog& getDamageLog() { return m_damageLog; }
    const WdbDamageLog& getDamageLog() const { return m_damageLog; }
    WdbFileHeader& getHeader() { return m_header; }
    const WdbFileHeader& getHeader() const { return m_header; }
    /// Null while no file is open.
    TableOfContent* getTableOfContent() { return m_tableOfContent.get(); }

private:
    bool findSection(const std::string& sectionId, unsigned int version,
                     WdbTableOfContentItem& out) const;

    std::unique_ptr<DescriptorStream> m_stream;
    WdbDamageLog m_damageLog;
    std::unique_ptr<WdbFileBlockManager> m_blockManager;
    WdbFileHeader m_header;
    std::unique_ptr<TableOfContent> m_tableOfContent;
    bool m_open = false;
};

} // namespace Tracewell

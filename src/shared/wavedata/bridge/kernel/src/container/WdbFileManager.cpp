// SPDX-License-Identifier: BSD-3-Clause

#include "WdbFileManager.h"

#include "DescriptorStreamBuffer.h"
#include "FatalError.h"
#include "QsimException.h"

#include <boost/filesystem/operations.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <new>

namespace Tracewell {

namespace {

using Lock = CheckedLock<boost::recursive_mutex>;

[[noreturn]] void throwOpenException(int line, std::string message)
{
    // The exception reads "%%" as "%", and paths and ids come out as they are.
    for (std::size_t at = message.find('%'); at != std::string::npos;
         at = message.find('%', at + 2)) {
        message.insert(at, 1, '%');
    }
    throw Qsim::OpenException("QSim", __FILE__, "", line, message.c_str());
}

bool isKnownToFileSystem(const std::string& path)
{
    boost::system::error_code error;
    return boost::filesystem::exists(boost::filesystem::status(path, error));
}

/// Throws like any stream operation, but leaves the stream fit for the next one.
template <class Operation> void transfer(std::basic_iostream<char>& stream, Operation operation)
{
    try {
        operation();
    } catch (const std::ios_base::failure&) {
        stream.clear();
        throw;
    }
}

void readRecord(std::basic_iostream<char>& stream, WdbFileHeader& header)
{
    transfer(stream, [&] {
        WdbFileHeader record;
        stream.clear();
        stream.seekg(0, std::ios_base::beg);
        stream.read(reinterpret_cast<char*>(&record), sizeof record);
        header = record;
    });
}

void writeRecord(std::basic_iostream<char>& stream, const WdbFileHeader& header)
{
    transfer(stream, [&] {
        stream.clear();
        stream.seekp(0, std::ios_base::beg);
        stream.write(reinterpret_cast<const char*>(&header), sizeof header);
        stream.flush();
    });
}

} // namespace

WdbFileManager::WdbFileManager()
    : m_stream(std::make_unique<DescriptorStream>()),
      m_blockManager(std::make_unique<WdbFileBlockManager>(*m_stream))
{
    m_blockManager->setDamageLog(&m_damageLog);
}

WdbFileManager::~WdbFileManager()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
}

void WdbFileManager::create(const std::string& path)
{
    const Lock lock(m_blockManager->getMutex());
    try {
        close();
        m_blockManager->mend();
        m_damageLog.clear();
        if (!m_stream->open(path, DescriptorStreamBuffer::Mode::Create)) {
            m_stream->setstate(std::ios_base::failbit);
        }
        m_header.m_creationTime = static_cast<int>(std::time(nullptr));
        m_header.m_tableOfContentOffset = 0;
        writeRecord(*m_stream, m_header);
        // A null device takes everything and keeps nothing.
        readRecord(*m_stream, m_header);
    } catch (const std::ios_base::failure&) {
        m_stream->close();
        m_stream->clear();
        throwOpenException(__LINE__, "Cannot create simulation database file at: " + path +
                                         " Please check that this filepath is writable or specify "
                                         "an alternative location using --wdb");
    }
    m_tableOfContent =
        std::make_unique<TableOfContent>(*m_blockManager, WdbFileHeader::kTableOfContentAnchor, 0u,
                                         0LL, TableOfContent::Access::Writing);
    m_header.m_tableOfContentOffset = m_tableOfContent->getFirstNode();
    m_open = true;
}

void WdbFileManager::open(const std::string& path)
{
    if (!isKnownToFileSystem(path)) {
        throwOpenException(__LINE__, "wdb database file does not exist.");
    }
    // Like any stream, an open one does not open again.
    if (m_open || !m_stream->open(path, DescriptorStreamBuffer::Mode::Read)) {
        throwOpenException(__LINE__, "Cannot open simulation database file.");
    }

    m_blockManager->mend();
    m_damageLog.clear();
    WdbFileHeader header;
    try {
        readRecord(*m_stream, header);
    } catch (const std::ios_base::failure&) {
        m_stream->close();
        throwOpenException(__LINE__, "Cannot open simulation database file.");
    }
    if (!header.isVersionStringMatched()) {
        m_stream->close();
        throwOpenException(
            __LINE__,
            "The file may be corrupt or of an unsupported older format.  As of version 2014.3 "
            "Merido includes a new, enhanced waveform database. Because the new database is "
            "incompatible with the old database, the current version of Merido cannot open WDB "
            "files created in versions prior to 2014.3");
    }
    m_header = header;
    m_tableOfContent =
        std::make_unique<TableOfContent>(*m_blockManager, WdbFileHeader::kTableOfContentAnchor, 0u,
                                         0LL, TableOfContent::Access::Reading);
    m_open = true;
}

void WdbFileManager::close()
{
    const Lock lock(m_blockManager->getMutex());
    // addNewSection left nothing unwritten.
    m_tableOfContent.reset();
    if (!m_open) {
        return;
    }
    m_open = false;
    if (!m_stream->close() && !m_blockManager->isBroken()) {
        transfer(*m_stream, [this] { m_stream->setstate(std::ios_base::failbit); });
    }
}

void WdbFileManager::readHeader()
{
    const Lock lock(m_blockManager->getMutex());
    if (m_open) {
        readRecord(*m_stream, m_header);
    }
}

void WdbFileManager::writeHeader()
{
    const Lock lock(m_blockManager->getMutex());
    if (m_open && !m_blockManager->isBroken()) {
        writeRecord(*m_stream, m_header);
    }
}

void WdbFileManager::setApplication(const std::string& application)
{
    const Lock lock(m_blockManager->getMutex());
    m_header.setApplication(application);
    writeHeader();
}

std::string WdbFileManager::getApplication() const
{
    const Lock lock(m_blockManager->getMutex());
    return m_header.getApplication();
}

void WdbFileManager::addNewSection(const std::string& sectionId, unsigned int version,
                                   long long fileOffset, long long size)
{
    if (!m_open) {
        return;
    }
    WdbTableOfContentItem item;
    item.setSectionID(sectionId);
    item.m_version = version;
    item.m_fileOffset = fileOffset;
    item.m_size = size;

    unsigned int itemSize = 0;
    const long long handle = item.addBlock(*m_blockManager, itemSize);
    m_tableOfContent->addEntry(handle, itemSize);
    m_tableOfContent->flushNode();
}

void WdbFileManager::embedDataInNewSection(const std::string& sectionId, unsigned int version,
                                           const unsigned char* data, long long size)
{
    const Lock lock(m_blockManager->getMutex());
    if (!m_open || size <= 0) {
        return;
    }
    const long long offset = m_blockManager->addBlock(reinterpret_cast<const char*>(data),
                                                      static_cast<unsigned long long>(size));
    addNewSection(sectionId, version, offset, size);
}

void WdbFileManager::embedFileInNewSection(const std::string& sectionId, unsigned int version,
                                           const std::string& path)
{
    if (!m_open) {
        return;
    }
    const auto fail = [this, &path](const char* what, const char* purpose) {
        m_blockManager->breakDown(std::string("WDB FATAL ERROR: Can't ") + what +
                                  " WDB constituent file " + path + purpose +
                                  " for the following reason: ");
    };

    DescriptorFile file;
    if (!file.open(path, DescriptorFile::Mode::Read)) {
        return fail("open", " for reading");
    }
    const long long size = file.size();
    if (size < 0) {
        return fail("seek in", "");
    }
    if (size == 0) {
        return;
    }
    const auto length = static_cast<std::size_t>(size);
    const std::unique_ptr<char[]> content(new (std::nothrow) char[length]);
    if (!content || file.readAt(0, content.get(), length) != length) {
        return fail("read", "");
    }
    embedDataInNewSection(sectionId, version, reinterpret_cast<unsigned char*>(content.get()),
                          size);
}

bool WdbFileManager::getSection(const std::string& sectionId, unsigned int version,
                                WdbTableOfContentItem& out) const
{
    if (!findSection(sectionId, version, out)) {
        throwOpenException(__LINE__, "Cannot find sectionID = '" + sectionId + "' and version = '" +
                                         std::to_string(version) + "' in the wave database");
    }
    return true;
}

long long WdbFileManager::getSectionFileOffset(const std::string& sectionId,
                                               unsigned int version) const
{
    WdbTableOfContentItem item;
    getSection(sectionId, version, item);
    return item.m_fileOffset;
}

long long WdbFileManager::getSectionSize(const std::string& sectionId, unsigned int version) const
{
    return getSectionFileOffset(sectionId, version);
}

char* WdbFileManager::getSectionData(const std::string& sectionId, unsigned int version,
                                     long long* size) const
{
    WdbTableOfContentItem item;
    if (!findSection(sectionId, version, item)) {
        return nullptr;
    }
    const auto length = static_cast<unsigned long long>(std::max(item.m_size, 0LL));
    char* data = nullptr;
    if (length > 0 && m_blockManager->contains(item.m_fileOffset, length)) {
        data = static_cast<char*>(std::malloc(length));
    } else {
        m_blockManager->noteDamage({WdbDamage::Section, item.m_fileOffset, length});
    }
    if (data) {
        m_blockManager->getBlock(item.m_fileOffset, data, length);
    }
    if (size) {
        *size = data ? item.m_size : 0;
    }
    return data;
}

char* WdbFileManager::getSectionData(const std::string& sectionId, unsigned int version,
                                     long long size) const
{
    const Lock lock(m_blockManager->getMutex());
    WdbTableOfContentItem item;
    if (!findSection(sectionId, version, item) || item.m_size <= 0 || size <= 0) {
        return nullptr;
    }
    const long long fileLength = m_stream->getLength();
    if (item.m_fileOffset < 0 || item.m_fileOffset >= fileLength || size > fileLength) {
        return nullptr;
    }
    const long long present = std::min(size, fileLength - item.m_fileOffset);
    char* const data = new char[static_cast<std::size_t>(size)];
    m_blockManager->getBlock(item.m_fileOffset, data, static_cast<unsigned long long>(present));
    std::fill(data + present, data + size, '\0');
    return data;
}

std::basic_iostream<char>& WdbFileManager::getiostream()
{
    return *m_stream;
}

bool WdbFileManager::findSection(const std::string& sectionId, unsigned int version,
                                 WdbTableOfContentItem& out) const
{
    if (!m_tableOfContent) {
        return false;
    }
    for (auto entry = m_tableOfContent->begin(); entry; ++entry) {
        WdbTableOfContentItem item;
        const bool isInFile = m_blockManager->contains(entry.getHandle(), sizeof item);
        if (isInFile) {
            item.loadBlock(entry.getHandle(), entry.getSize(), *m_blockManager);
        }
        if (item.m_sectionId[0] == '\0' || entry.getSize() != sizeof item) {
            m_blockManager->noteDamage(
                {WdbDamage::SectionEntry, entry.getHandle(), entry.getSize()});
        }
        if (!isInFile) {
            continue;
        }
        if (item.isSectionAndVersionMatched(sectionId, version)) {
            out = item;
            return true;
        }
    }
    return false;
}

} // namespace Tracewell

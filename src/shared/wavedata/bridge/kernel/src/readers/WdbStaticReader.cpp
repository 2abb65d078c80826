// SPDX-License-Identifier: BSD-3-Clause

#include "WdbStaticReader.h"

#include "QsimException.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbIEventBlockDatabase.h"
#include "WdbStringMapDatabase.h"

namespace Tracewell {

namespace {

[[noreturn]] void throwOpenException(int line, const char* message)
{
    throw Qsim::OpenException("QSim", __FILE__, "", line, message);
}

/// Where `getSection` finds its section; 0 when the file has none.
long long findSection(long long (*getSection)(WdbFileManager&), WdbFileManager& fileManager)
{
    try {
        return getSection(fileManager);
    } catch (const Qsim::OpenException&) {
        return 0;
    }
}

} // namespace

WdbStaticReader::WdbStaticReader() = default;
WdbStaticReader::~WdbStaticReader() = default;

void WdbStaticReader::setMemFileSize(unsigned long long) {}

void WdbStaticReader::createReader(const std::string&, const std::string& fileName, int,
                                   const std::string& directory)
{
    if (m_fileManager.isOpen()) {
        throwOpenException(__LINE__, "Cannot open simulation database file.");
    }
    createDrawingBTreeTmpFile(std::string(), fileName, 0, directory);
    m_fileManager.open(fileName);
    try {
        openSections();
    } catch (...) {
        setStringMapDatabase(nullptr);
        m_fileManager.close();
        throw;
    }
}

void WdbStaticReader::openSections()
{
    WdbIBlockManager& blocks = m_fileManager.getFileBlockManager();
    const long long offset = findSection(&WdbIEventBlockDatabase::getEventSection, m_fileManager);
    WdbEventDatabaseHeader header;
    if (offset != 0 && blocks.contains(offset, sizeof header)) {
        blocks.getBlock(offset, reinterpret_cast<char*>(&header), sizeof header);
    }

    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(header.m_databaseTypeId, m_fileManager));
    if (!database) {
        throwOpenException(__LINE__, "The wdb file does not contain event database.");
    }
    database->initialize(offset, false);

    loadTracedObjects(database->getEventDatabaseHeader());
    openStringMap();
    setEventDatabase(std::move(database));
}

void WdbStaticReader::loadTracedObjects(const WdbEventDatabaseHeader& header)
{
    m_tracedObjects.clear();
    if (header.m_addressMapFileOffset != 0) {
        m_tracedObjects.loadBlock(header.m_addressMapFileOffset, header.m_addressMapSize,
                                  m_fileManager.getFileBlockManager());
    }
    m_traceListLoaded = m_tracedObjects.size() > 0;
}

void WdbStaticReader::openStringMap()
{
    const long long offset = findSection(&WdbStringMapDatabase::getStringMapSection, m_fileManager);
    if (offset == 0) {
        return;
    }
    auto database = std::make_unique<WdbStringMapDatabase>(m_fileManager);
    database->initialize(offset, false);
    setStringMapDatabase(std::move(database));
}

void WdbStaticReader::markTime(boost::unique_lock<boost::mutex>&) {}

void WdbStaticReader::restart() {}

void WdbStaticReader::saveRtti(const std::string&) {}

void WdbStaticReader::saveDbg(const std::string&) {}

void WdbStaticReader::setProtoSettingsString(const std::string&) {}

void WdbStaticReader::relaunchAfterRestart() {}

} // namespace Tracewell

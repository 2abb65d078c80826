#include "wave/WaveFile.h"

#include "CommandError.h"
#include "names/DeclarationText.h"
#include "text/Terminal.h"
#include "wave/FileKind.h"
#include "wave/NameSection.h"

#include "QsimException.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace tracewell {

namespace {

using Tracewell::WdbEventBlockDatabaseFactory;
using Tracewell::WdbEventReaderFactory;
using Tracewell::WdbFileManager;
using Tracewell::WdbIEventBlockDatabase;

/// A directory that goes with its guard.
class PrivateDirectory
{
public:
    PrivateDirectory() : m_path(makePrivateDirectory()) {}
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;
    ~PrivateDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace

WaveFile::WaveFile(const std::string& path) : m_path(path)
{
    requireWaveDatabase(path);
    openReader();
    readNames();
}

WaveFile::~WaveFile() = default;

void WaveFile::openReader()
{
    // The reader keeps its drawing file open, so the directory can go at once: nothing is left
    // behind however this process ends.
    const PrivateDirectory directory;
    m_reader.reset(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    try {
        m_reader->createReader("", m_path, 0, directory.path());
    } catch (const Qsim::OpenException& e) {
        throw CommandError(
            fmt::format("{}: {} Try `tracewell verify` on it.", m_path, e.getMessage()));
    }
}

WdbIEventBlockDatabase& WaveFile::database()
{
    if (!m_database) {
        m_fileManager = std::make_unique<WdbFileManager>();
        m_fileManager->open(m_path);
        const int type = WdbIEventBlockDatabase::getEventDatabaseTypeId(*m_fileManager);
        m_database.reset(WdbEventBlockDatabaseFactory::getInstance().create(type, *m_fileManager));
        m_database->initialize(WdbIEventBlockDatabase::getEventSection(*m_fileManager), false);
    }
    return *m_database;
}

void WaveFile::readNames()
{
    long long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> data(m_reader->getDbg(&size), &std::free);
    if (!data || size <= 0) {
        m_whyNoNames = "it holds no name table";
        return;
    }
    const std::string_view text(data.get(), static_cast<std::size_t>(size));
    if (!isNameTable(text)) {
        m_whyNoNames = "its name table is in a form of another program";
        return;
    }
    try {
        m_declarations = parseDeclarations(text);
    } catch (const CommandError& e) {
        m_whyNoNames = fmt::format("its name table is damaged ({})", e.what());
        return;
    }
    m_layout = std::make_unique<DataLayout>(m_declarations);
    m_timeText = TimeText(m_declarations.timescale);
}

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "DataBase.h"

#include "DiskLayout.h"
#include "FatalError.h"
#include "OutputFileNames.h"
#include "QsimException.h"
#include "TransitionCapture.h"
#include "TransitionChannel.h"
#include "TransitionLog.h"
#include "TransitionQueries.h"
#include "TransitionStore.h"

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <optional>
#include <ostream>
#include <utility>

namespace Tracewell {

namespace {

using ZSIM::OutputFileNames;

constexpr const char* kWriteLogPath = "zsim.dir/writeTransition.txt";

constexpr const char* kLimitMessage =
    "A limit on the number of transitions that can be stored in the waveform\n"
    "database (.wdb) file has been reached and waveform tracing has been stopped.\n"
    "If you want to view waveforms past this time, try tracing fewer signals\n"
    "or trace specifically for the time range of interest, as opposed to tracing\n"
    "from time 0. You can trace specifically for a time range <start> to <start> + <length>\n"
    "by closing and relaunching the simulation, run <start>,\n"
    "then doing add_wave or log_wave with the desired signals, then run <length>.\n"
    "Please search Zelnix Answers search at https://support.zelnix.example"
    "\nwith keyword 'tracing limit' for more information.\n";

unsigned int traceableSize(unsigned int size)
{
    return size == 0 ? std::numeric_limits<unsigned int>::max() : size;
}

std::string channelPathOf(const std::string& designName)
{
    return OutputFileNames::getKernelExecDirName(OutputFileNames::getSnapshotName(designName));
}

std::string normalize(const std::string& path)
{
    return boost::filesystem::path(path).string();
}

[[noreturn]] void refuse(const std::string& message)
{
    std::string text;
    for (const char c : message) {
        text.append(c == '%' ? 2 : 1, c);
    }
    throw Qsim::OpenException("QSim", "DataBase", "", __LINE__, text.c_str());
}

} // namespace

class DataBase::Imp
{
public:
    Imp(DataBaseMode mode, IConsole* console, const std::string& designName,
        const std::string& fileName, int processId, unsigned int maxTraceableSize,
        const DataBaseLimits& limits);
    ~Imp();

    bool isWriter() const
    {
        return m_mode == DataBaseMode::Writer || m_mode == DataBaseMode::LoggingWriter;
    }
    /// Whether a transition is to be stored here and concerns nobody else.
    bool onlyStores(unsigned int id) const
    {
        return m_mode == DataBaseMode::Writer && id != kTimeMarkId;
    }
    /// Adds a transition in any mode; `save` puts it into the store.
    template <typename Save>
    void add(unsigned int id, long long time, const Value& value, const Save& save);
    /// Adds one of ValueVlog or ValueStdLogic in any mode.
    void addCode(unsigned int id, long long time, ValueType kind, char code);
    void saveTransitionToDisk();
    void restartDatabase();

    const DataBaseMode m_mode;
    TransitionStore m_store;
    TransitionCapture m_capture;
    TransitionQueries m_queries;
    TransitionLog m_log;
    TransitionChannel m_channel;
    /// In place of the debug file.
    std::optional<std::string> m_debugData;
    int getFileError() const
    {
        const int error = m_store.blocks.file().getError();
        return error != 0 ? error : m_debugDataError.load();
    }

private:
    void stopTracing();
    bool giveUp();
    void beginFile();
    void openFinishedFile();
    bool appendDebugData();

    IConsole* const m_console;
    const std::string m_debugFileName;
    std::atomic<int> m_debugDataError{0};
    DataBaseFileHeader m_header;
    bool m_isFinished = false;
    StorageHealth m_health;
};

DataBase::Imp::Imp(DataBaseMode mode, IConsole* console, const std::string& designName,
                   const std::string& fileName, int processId, unsigned int maxTraceableSize,
                   const DataBaseLimits& limits)
    : m_mode(mode), m_store(mode, normalize(fileName), limits, [this] { stopTracing(); }),
      m_capture(m_store, limits), m_queries(m_store),
      m_channel(m_store, m_capture, channelPathOf(designName), processId), m_console(console),
      m_debugFileName(
          normalize(OutputFileNames::getDbgPathName(OutputFileNames::getSnapshotName(designName))))
{
    m_store.maxTraceableSize = traceableSize(maxTraceableSize);
    m_header.words[DataBaseFileHeader::MaxTraceableSize] = m_store.maxTraceableSize;
    if (mode == DataBaseMode::Viewer) {
        openFinishedFile();
    } else if (mode != DataBaseMode::Feeder) {
        beginFile();
    }
    m_store.blocks.setFailureHook([this] { giveUp(); });
    m_channel.start();
}

DataBase::Imp::~Imp()
{
    if (m_mode == DataBaseMode::StoringReader) {
        saveTransitionToDisk();
    }
}

void DataBase::Imp::stopTracing()
{
    m_store.tracingStopped = true;
    if (m_console) {
        m_console->display(kLimitMessage);
    }
}

/// For a file that could not be written. False where the host wants to hear nothing of it;
/// everything goes on then.
bool DataBase::Imp::giveUp()
{
    if (!hasFailureHandler()) {
        return false;
    }
    m_store.tracingStopped = true;
    errno = getFileError();
    m_health.breakDown("WDB FATAL ERROR: failed to write transitions for the following reason: ");
    return true;
}

void DataBase::Imp::beginFile()
{
    FileIO& file = m_store.blocks.file();
    m_store.blocks.openForWriting();
    file.setOffset(0);
    file.writeData(m_header.words.data(), sizeof m_header);
    m_header.words[DataBaseFileHeader::FirstBlock] = DataBaseFileHeader::kBytes;
}

void DataBase::Imp::openFinishedFile()
{
    const std::string& name = m_store.blocks.fileName();
    FileIO& file = m_store.blocks.file();
    if (!file.open(name, FileIO::Read) || !m_store.blocks.openForReading()) {
        refuse("Can not open data base file " + name);
    }
    const long long fileSize = file.getFileSize();
    std::array<std::uint64_t, DataBaseFileHeader::kWords>& words = m_header.words;
    words.fill(0);
    const bool isWhole = file.readData(words.data(), sizeof m_header);
    if (words[0] == 0 && words[1] == 0) {
        refuse("The WDB file is incomplete, possibly because the application that was writing it "
               "failed to shut down properly or is still running.");
    }
    if (!isWhole || words[0] != DataBaseFileHeader::kFirstSignature ||
        words[1] != DataBaseFileHeader::kSecondSignature) {
        refuse("The binary signature in the file is different from what is expected for this "
               "version of ZSim, possibly because the file was created using an earlier version "
               "of ZSim.  ZSim does not support backward compatibility of WDB files across major "
               "releases");
    }
    m_store.maxTraceableSize =
        static_cast<unsigned int>(words[DataBaseFileHeader::MaxTraceableSize]);
    if (!file.setOffset(m_header.offset(DataBaseFileHeader::InitialValues)) ||
        !m_store.initialValues->load(file, fileSize)) {
        refuse("The WDB file " + name + " is damaged: its initial values are not whole.");
    }
    long long latestTime = 0;
    readBTreeFromDisk(file, m_header.offset(DataBaseFileHeader::Tree), fileSize, m_store.tree,
                      latestTime);
    m_store.latestTime = latestTime;
}

template <typename Save>
void DataBase::Imp::add(unsigned int id, long long time, const Value& value, const Save& save)
{
    if (m_mode == DataBaseMode::Feeder) {
        m_channel.writeTransToSharedMem(false, id, time, value);
    } else if (isWriter() && id == kTimeMarkId) {
        m_store.latestTime = time;
    } else if (isWriter()) {
        save();
        if (m_mode == DataBaseMode::LoggingWriter && time >= 0) {
            m_log.enter(id, time, value);
        }
    }
}

void DataBase::Imp::addCode(unsigned int id, long long time, ValueType kind, char code)
{
    Value value;
    value.setBits(kind, static_cast<unsigned char>(code));
    add(id, time, value, [&] {
        if (kind == ValueVlog) {
            m_capture.saveVlogTransInDB(id, time, code);
        } else {
            m_capture.saveVhdlStdLogicTransInDB(id, time, code);
        }
    });
}

void DataBase::Imp::saveTransitionToDisk()
{
    if (m_isFinished || m_mode == DataBaseMode::Viewer || m_mode == DataBaseMode::Feeder) {
        return;
    }
    m_isFinished = true;
    m_channel.stop(TransitionChannel::Rest::Store);
    m_capture.flushBuffers();
    TransitionBlockStore& blocks = m_store.blocks;
    FileIO& file = blocks.file();
    const bool isOpen = blocks.openForWriting();
    for (const auto& [id, root] : m_store.tree.getRoots()) {
        blocks.writeTree(*root);
    }
    file.flush();

    m_header.words[DataBaseFileHeader::Tree] = static_cast<std::uint64_t>(file.getOffset());
    writeBTreesToDisk(file, m_store.tree, m_store.latestTime);
    m_header.words[DataBaseFileHeader::InitialValues] =
        static_cast<std::uint64_t>(file.getOffset());
    m_store.initialValues->save(file);
    m_header.words[DataBaseFileHeader::DebugData] = static_cast<std::uint64_t>(file.getOffset());
    const bool hasDebugData = appendDebugData();
    if (file.getError() != 0 && giveUp()) {
        file.close();
        tellFailureHandler("Tracing to " + blocks.fileName() +
                           " has stopped. The file is not finished, and nothing can read it.");
        return;
    }

    m_header.words[DataBaseFileHeader::FirstSignature] = DataBaseFileHeader::kFirstSignature;
    m_header.words[DataBaseFileHeader::SecondSignature] = DataBaseFileHeader::kSecondSignature;
    m_header.words[DataBaseFileHeader::MaxTraceableSize] = m_store.maxTraceableSize;
    file.setOffset(0);
    file.writeData(m_header.words.data(), sizeof m_header);
    file.flush();
    file.close();
    if (!hasDebugData && isOpen) {
        boost::system::error_code ignored;
        boost::filesystem::remove(blocks.fileName(), ignored);
    }
    if (m_mode == DataBaseMode::LoggingWriter) {
        m_log.write(kWriteLogPath);
    }
    // A block that moved on now would empty the finished file.
    m_store.tracingStopped = true;
}

bool DataBase::Imp::appendDebugData()
{
    FileIO& file = m_store.blocks.file();
    if (m_debugData) {
        constexpr std::size_t kPiece = 1 << 30;
        for (std::size_t i = 0; i < m_debugData->size(); i += kPiece) {
            file.writeData(m_debugData->data() + i,
                           static_cast<unsigned int>(std::min(kPiece, m_debugData->size() - i)));
        }
        return true;
    }
    FileIO debugFile;
    if (!debugFile.open(m_debugFileName, FileIO::Read)) {
        m_debugDataError = debugFile.getError();
        return false;
    }
    std::vector<char> piece(1 << 16);
    for (long long left = debugFile.getFileSize(); left > 0;) {
        const auto size =
            static_cast<unsigned int>(std::min(left, static_cast<long long>(piece.size())));
        if (!debugFile.readData(piece.data(), size)) {
            m_debugDataError = EIO;
            break;
        }
        file.writeData(piece.data(), size);
        left -= size;
    }
    return true;
}

void DataBase::Imp::restartDatabase()
{
    if (m_mode == DataBaseMode::StoringReader) {
        m_channel.stop(TransitionChannel::Rest::Leave);
    }
    m_store.latestTime = 0;
    m_store.tracingStopped = false;
    m_health.mend();
    m_isFinished = false;
    m_debugDataError = 0;
    if (m_mode == DataBaseMode::Feeder) {
        m_channel.clear();
    }
    m_capture.resetBuffers();
    if (m_store.initialValues) {
        m_store.initialValues->clear();
    }
    FileIO& file = m_store.blocks.file();
    if (file.isOpen() && m_mode != DataBaseMode::Viewer) {
        file.close();
        m_header = DataBaseFileHeader();
        m_header.words[DataBaseFileHeader::MaxTraceableSize] = m_store.maxTraceableSize;
        beginFile();
    }
    m_log.clear();
    m_store.blocks.reset();
    m_store.tree.clear();
    if (m_mode == DataBaseMode::StoringReader) {
        m_channel.start();
    }
}

DataBase::DataBase(DataBaseMode mode, IConsole* console, const std::string& designName,
                   const std::string& fileName, int processId, unsigned int maxTraceableSize,
                   const DataBaseLimits& limits)
    : m_imp(std::make_unique<Imp>(mode, console, designName, fileName, processId, maxTraceableSize,
                                  limits))
{}

DataBase::~DataBase() = default;

bool DataBase::addTransitionToDB(unsigned int id, long long time, const Value& value)
{
    if (m_imp->onlyStores(id)) {
        m_imp->m_capture.saveTransInDB(id, time, value);
    } else {
        m_imp->add(id, time, value, [&] { m_imp->m_capture.saveTransInDB(id, time, value); });
    }
    return true;
}

bool DataBase::addVhdlStdLogicTransitionToDB(unsigned int id, long long time, char code)
{
    if (m_imp->onlyStores(id)) {
        m_imp->m_capture.saveVhdlStdLogicTransInDB(id, time, code);
    } else {
        m_imp->addCode(id, time, ValueStdLogic, code);
    }
    return true;
}

bool DataBase::addVlogTransitionToDB(unsigned int id, long long time, char code)
{
    if (m_imp->onlyStores(id)) {
        m_imp->m_capture.saveVlogTransInDB(id, time, code);
    } else {
        m_imp->addCode(id, time, ValueVlog, code);
    }
    return true;
}

bool DataBase::addTimeMarkToDB(long long time)
{
    return m_imp->m_channel.addTimeMarkToDB(time);
}

void DataBase::setDebugData(std::string data)
{
    m_imp->m_debugData = std::move(data);
}

int DataBase::getFileError() const
{
    return m_imp->getFileError();
}

void DataBase::saveTransitionToDisk()
{
    m_imp->saveTransitionToDisk();
}

bool DataBase::restartDatabase()
{
    m_imp->restartDatabase();
    return true;
}

Transition DataBase::getCurrentTransition(unsigned int id, long long time)
{
    return m_imp->m_queries.getCurrentTransition(id, time);
}

Transition DataBase::getCurrentTransitionLocked(unsigned int id, long long time)
{
    return m_imp->m_queries.getCurrentTransitionLocked(id, time);
}

Transition DataBase::getNextTransition(unsigned int id, long long time)
{
    return m_imp->m_queries.getNextTransition(id, time);
}

Transition DataBase::getNextTransitionLocked(unsigned int id, long long time)
{
    return m_imp->m_queries.getNextTransitionLocked(id, time);
}

Transition DataBase::getPrevTransition(unsigned int id, long long time)
{
    return m_imp->m_queries.getPrevTransition(id, time);
}

Transition DataBase::getPrevTransitionLocked(unsigned int id, long long time)
{
    return m_imp->m_queries.getPrevTransitionLocked(id, time);
}

bool DataBase::getTransInfo(unsigned int id, long long& first, long long& last, ValueType& type)
{
    return m_imp->m_queries.getTransInfo(id, first, last, type);
}

void DataBase::getTransitions(unsigned int id, long long from, long long to, long long minDelta,
                              std::vector<Transition>& out)
{
    m_imp->m_queries.getTransitions(id, from, to, minDelta, out);
}

bool DataBase::getHistory(unsigned int id, long long from, long long to, std::size_t most,
                          std::vector<Transition>& out)
{
    return m_imp->m_queries.getHistory(id, from, to, most, out);
}

void DataBase::traverseAllTransition()
{
    m_imp->m_queries.traverseAllTransition();
}

bool DataBase::readOneTransition(unsigned int& id, long long& time, Value& value)
{
    return m_imp->m_channel.readOneTransition(id, time, value);
}

char* DataBase::getEmptySharedMemBlock()
{
    return m_imp->m_channel.getEmptySharedMemBlock();
}

char* DataBase::getNextSharedMemBlock()
{
    return m_imp->m_channel.getNextSharedMemBlock();
}

void DataBase::getTraffic(unsigned long long& stored, unsigned long long& sent) const
{
    m_imp->m_channel.getTraffic(stored, sent);
}

unsigned long long DataBase::getStoredCount() const
{
    return m_imp->m_channel.getStoredCount();
}

unsigned long long DataBase::getRefusedCount() const
{
    return m_imp->m_channel.getRefusedCount();
}

bool DataBase::isOffered(const std::string& designName, int processId)
{
    return TransitionChannel::isOffered(channelPathOf(designName), processId);
}

bool DataBase::isTaken(const std::string& designName, int processId)
{
    return TransitionChannel::isTaken(channelPathOf(designName), processId);
}

void DataBase::writeTransToSharedMem(bool alreadyLocked, unsigned int id, long long time,
                                     const Value& value)
{
    m_imp->m_channel.writeTransToSharedMem(alreadyLocked, id, time, value);
}

void DataBase::markTime(boost::unique_lock<boost::mutex>& lock)
{
    m_imp->m_channel.markTime(lock);
}

void DataBase::holdForMarkTime()
{
    m_imp->m_channel.holdForMarkTime();
}

boost::mutex& DataBase::getTimeMarkMutex()
{
    return m_imp->m_channel.getTimeMarkMutex();
}

bool DataBase::hasMoreData()
{
    return m_imp->m_channel.hasMoreData();
}

void DataBase::setWaitHook(std::function<bool()> hook)
{
    m_imp->m_channel.setWaitHook(std::move(hook));
}

bool DataBase::isChannelOpen() const
{
    return m_imp->m_channel.isChannelOpen();
}

bool DataBase::isPeerPresent() const
{
    return m_imp->m_channel.isPeerPresent();
}

void DataBase::capture(bool on)
{
    m_imp->m_channel.capture(on);
}

const WdbDamageLog& DataBase::getDamageLog() const
{
    return m_imp->m_store.damage;
}

long long DataBase::getLatestTime() const
{
    return m_imp->m_store.latestTime;
}

unsigned int DataBase::getMaxTraceableSize() const
{
    return m_imp->m_store.maxTraceableSize;
}

void DataBase::setMaxTraceableSize(unsigned int size)
{
    m_imp->m_store.maxTraceableSize = traceableSize(size);
}

bool DataBase::isOptimizedValueType(unsigned int id) const
{
    const MutexLock lock(m_imp->m_store.stripe(id));
    return m_imp->m_store.pages.findType(id) - static_cast<unsigned int>(ValueVlog) < 2;
}

void DataBase::dumpDataBase(std::ostream& out)
{
    for (const auto& [id, root] : m_imp->m_store.tree.getRoots()) {
        NodeTree::dumpTreeNode(out, *root);
    }
    out << std::endl;
}

} // namespace Tracewell

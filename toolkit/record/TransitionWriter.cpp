// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/DeclarationText.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"
#include "text/Failure.h"

#include "DataBase.h"
#include "OutputFileNames.h"
#include "WdbWriter.h"

#include <fmt/format.h>

#include <cstring>
#include <limits>

#include <unistd.h>

namespace tracewell {

namespace {

using Tracewell::IWdbWriter;

class TransitionWriter : public RecordingWriter
{
public:
    ~TransitionWriter() override;

    IWdbWriter& writer() override { return m_writer; }
    MakeSink sink() override { return makeObjectSink(m_writer); }
    void open(const std::string& output, const SnapshotDirectory& directory, const DataLayout&,
              unsigned long long) override;
    void check() const override;
    void finish(long long lastTime, SnapshotDirectory& directory,
                const Declarations& declarations) override;

private:
    Tracewell::WdbWriter m_writer;
    std::string m_output;
    bool m_isOurs = false;
};

/// The library's writer always finishes its file. So nothing is left to be finished, and no name.
TransitionWriter::~TransitionWriter()
{
    if (m_isOurs) {
        m_writer.restart();
        ::unlink(m_output.c_str());
    }
    m_writer.close();
}

void TransitionWriter::open(const std::string& output, const SnapshotDirectory& directory,
                            const DataLayout&, unsigned long long)
{
    // A buffer that is closed early takes its object's value at time 0 in once more, in the middle
    // of its history. So none ever is.
    Tracewell::DataBaseLimits limits;
    limits.bufferBytes = std::numeric_limits<long long>::max();
    m_writer.setLimits(limits);
    // The library completes the name.
    m_output = ZSIM::OutputFileNames::getWdbFileName(output, 0);
    m_writer.open(IWdbWriter::kDefaultMode, directory.snapshot(), output, 0);
    check();
    m_isOurs = true;
}

void TransitionWriter::check() const
{
    const int error = m_writer.getFileError();
    if (error != 0) {
        throw Failure(fmt::format(
            "{}: cannot be written: {}; {}", m_output, std::strerror(error),
            m_isOurs ? "the unfinished output was removed; make room there and record again"
                     : "name another place"));
    }
}

void TransitionWriter::finish(long long lastTime, SnapshotDirectory& directory,
                              const Declarations& declarations)
{
    unsigned char nothing = 0;
    m_writer.getTraceVhdlFuncScalar()(lastTime, Tracewell::DataBase::kTimeMarkId, 0, &nothing);
    directory.write(writeDeclarations(declarations));
    m_writer.close();
    directory.remove();
    check();
    m_isOurs = false;
}

} // namespace

std::unique_ptr<RecordingWriter> makeTransitionWriter()
{
    return std::make_unique<TransitionWriter>();
}

} // namespace tracewell

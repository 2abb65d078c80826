#pragma once

#include "recording/MemoryTexts.h"
#include "recording/ReplayedChanges.h"
#include "recording/VcdRun.h"

#include "IWdbWriter.h"

#include <memory>
#include <string>

namespace tracewell {

/// The changes of a VCD text, as a recording made of it would give them: plays the text against a
/// writer that stores nothing and brings each change into the replay. One thread for all streams.
class VcdChanges : public ReplayedChanges
{
public:
    /// "-" is the standard input; for `fractionDigits` see ChangeStream::openRun.
    /// \throws CommandError, here and in each step, for what has no sensible meaning.
    VcdChanges(const std::string& path, int fractionDigits);

    const Declarations& declarations() const override { return m_run->declarations(); }
    const DataLayout& layout() const override { return m_run->layout(); }
    long long latestTime() const override { return m_run->recorder().time(); }
    double progress() const override;
    std::string warning() const override;

protected:
    bool findNext(long long& time) override;
    void applyNext() override;

private:
    /// Takes in texts and the place of the data memory. What the trace functions are given goes to
    /// the stream that plays at the moment.
    class Writer : public Tracewell::IWdbWriter
    {
    public:
        explicit Writer(VcdChanges& stream) : m_stream(stream) {}

        TraceVhdlFunc getTraceVhdlFunc() override { return &trace; }
        TraceVlogFunc getTraceVlogFunc() override { return &traceVector; }
        long long addString(const std::string& text) override { return m_stream.m_texts.add(text); }
        void setBaseDPOffset(long long offset) override { m_stream.m_base = offset; }

        void open(WriterMode, const std::string&, const std::string&, int) override {}
        TraceVhdlFuncScalar getTraceVhdlFuncScalar() override { return nullptr; }
        TraceScObjectFunc getTraceScObjectFunc() override { return nullptr; }
        TraceScVirtualObjectFunc getTraceScVirtualObjectFunc() override { return nullptr; }
        void close() override {}
        void restart() override {}
        void setMaxTraceableSize(unsigned int) override {}
        void markCurrentTime(long long) override {}
        void setApplication(const std::string&) override {}
        void setAddressSize(long long) override {}
        void setBucketDivision(unsigned int) override {}
        void setFilterRepeatedValue(bool) override {}

    private:
        static void trace(long long time, unsigned int id, unsigned int size, unsigned char* old,
                          unsigned char* value);
        static void traceVector(long long time, unsigned int id, unsigned int kind,
                                unsigned char* old, unsigned char* value, unsigned int firstBit,
                                unsigned int endBit);

        VcdChanges& m_stream;
    };

    void take(const unsigned char* place, const unsigned char* value, std::size_t size);
    void forEachTextInUse(const MemoryTexts::Visit& visit) const;

    /// Whom the trace functions give their changes.
    static VcdChanges* s_playing;

    MemoryTexts m_texts;
    Writer m_writer;
    long long m_base = 0;
    std::unique_ptr<VcdRun> m_run;
    bool m_hasEnded = false;
};

} // namespace tracewell

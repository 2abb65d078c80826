// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "recorder/Recorder.h"

#include "names/Declarations.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tracewell {

/// "1ns", "10 ps": a whole number, at most 10^12, and a unit from s to zs.
/// \throws Failure for anything else
Timescale parseTimescale(std::string_view text);

/// Whether a text can stand as the keyword of a scope or a variable: small letters, digits and "_".
bool isDeclaredWord(std::string_view text);

/// How a variable is declared.
struct VariableRequest
{
    /// Outermost first; may be empty.
    std::vector<std::string> scopes;
    /// What they are: module, function, ...; those that are missing are modules. The first variable
    /// in a scope says it.
    std::vector<std::string> scopeKinds;
    std::string name;
    /// The keyword: wire, reg, integer, real, string, event, ...
    std::string kind = "wire";
    unsigned int width = 1;
    /// Numbers of the leftmost and the rightmost bit, at most kFarthestBit from 0; a vector without
    /// is numbered down to 0.
    static constexpr long long kFarthestBit = 1LL << 40;
    bool hasRange = false;
    long long left = 0;
    long long right = 0;
    Direction direction = Direction::None;
    /// The name that the source has for its type; may be empty.
    std::string type;
    bool isSigned = false;
    /// Letters and names of values, which only bits have; may be empty. Letters as setLetters()
    /// takes them.
    std::vector<std::pair<std::string, std::string>> valueNames;
};

/// A recording that a program makes of itself: first its variables, then times and values. On one
/// thread at a time; one at a time in a process. Once it could not begin, each operation throws the
/// reason again.
class ProgramRecording
{
public:
    /// \throws Failure when another one is there.
    ProgramRecording(RecorderOptions options, const Timescale& timescale, std::string version);
    ProgramRecording(const ProgramRecording&) = delete;
    ProgramRecording& operator=(const ProgramRecording&) = delete;
    /// Closes; who wants to know whether it is whole calls close().
    ~ProgramRecording();

    /// Declares a variable and answers its number, from 0 on.
    /// \throws Failure for what cannot be declared, and once the recording has begun
    std::uint32_t add(VariableRequest request);
    /// Another name for a variable, of the same kind and width. \throws as add
    void addAlias(std::uint32_t variable, VariableRequest request);
    /// Makes the file. The first of the operations below does it by itself.
    /// \throws Failure
    void begin();
    bool hasBegun() const { return m_recorder != nullptr; }

    std::uint32_t variables() const { return static_cast<std::uint32_t>(m_kinds.size()); }
    const ValueKind& kindOf(std::uint32_t variable) const { return *m_kinds[variable]; }
    unsigned int widthOf(std::uint32_t variable) const { return m_widths[variable]; }
    /// Its bits where it has any, else 0; of a number that is no variable's too.
    unsigned int bitsOf(std::uint32_t variable) const
    {
        return variable < m_bits.size() ? m_bits[variable] : 0;
    }
    std::string nameOf(std::uint32_t variable) const;

    // The variable is one of the recording's, and the value one of its kind.

    /// \throws Failure when it goes back, or is below 0.
    void setTime(long long time)
    {
        if (time < m_time || m_recorder == nullptr) {
            stepFirst(time);
        }
        m_time = time;
        m_recorder->setTime(time);
    }
    long long time() const { return m_time; }
    /// Of a level or a vector of at most 64 bits: a and b of each bit, a + 2 b being 0, 1, 2 (z) or
    /// 3 (x). Bits above the width do not count.
    void setBits(std::uint32_t variable, std::uint64_t a, std::uint64_t b)
    {
        if (!trySetBits(variable, a, b)) {
            setAnyBits(variable, a, b);
        }
    }
    /// The same in a few instructions, for nearly all changes; also of a number that is no
    /// variable's. False, and nothing done, where setBits() or a complaint must do.
    bool trySetBits(std::uint32_t variable, std::uint64_t a, std::uint64_t b)
    {
        return variable < m_quickCount &&
               m_quickValues->tryStoreBits(variable, m_quickMasks[variable], a, b);
    }
    /// Of a level or a vector of any width: 64 bits a word, the lowest first, of both.
    void setWords(std::uint32_t variable, const std::uint64_t* a, const std::uint64_t* b);
    /// Of the same: letters of nine states, the leftmost first; missing ones repeat the leftmost, 0
    /// in place of 1. False for what are no letters.
    bool setLetters(std::uint32_t variable, std::string_view letters);
    void setReal(std::uint32_t variable, double number)
    {
        if (m_recorder == nullptr) {
            begin();
        }
        m_recorder->values().storeReal(variable, number);
    }
    /// No recording can keep longer texts, nor zeros in them.
    static constexpr std::size_t kLongestText = 32 << 20;
    /// False for such a text, which changes nothing.
    bool setText(std::uint32_t variable, std::string_view text);
    void fire(std::uint32_t variable);

    /// Records that nothing is known from now on, until resume(): values that are set meanwhile are
    /// remembered for that, and firings are lost.
    void pause();
    void resume();

    /// What lies before the time at hand is in the file, and survives the death of the process; of
    /// transitions nothing is before close().
    void sync();
    /// Finishes the file. \throws Failure when it is not whole
    void close();
    /// What went wrong since it was asked last; empty for nothing.
    std::string takeFailure();
    /// What went wrong first.
    std::string firstFailure() const;
    /// A failure ended it, or it could not begin: nothing is recorded any more.
    bool isBroken() const
    {
        return m_recorder != nullptr ? m_recorder->isBroken() : m_couldNotBegin;
    }
    /// Whether takeFailure() has something to tell.
    bool hasFailure() const { return m_hasFailure.load(std::memory_order_relaxed); }

private:
    [[noreturn]] void refuse(const VariableRequest& request, const std::string& why) const;
    void check(VariableRequest& request) const;
    void checkValueNames(VariableRequest& request) const;
    std::string output() const;
    Declarations declare();
    void stepFirst(long long time);
    void setAnyBits(std::uint32_t variable, std::uint64_t a, std::uint64_t b);

    const RecorderOptions m_options;
    const Timescale m_timescale;
    const std::string m_version;
    struct Alias
    {
        std::size_t place;
        std::uint32_t variable;
    };
    /// Variables by their numbers; aliases apart, with the number in front of which they stand.
    std::vector<VariableRequest> m_declared;
    std::vector<std::pair<Alias, VariableRequest>> m_aliases;
    std::vector<const ValueKind*> m_kinds;
    std::vector<unsigned int> m_widths;
    std::vector<unsigned int> m_bits;
    // Of trySetBits(), while the recording is open: how many variables there are, and a mask of the
    // bits of each, 0 for one that has none or more than 32.
    std::uint32_t m_quickCount = 0;
    ValueRecorder* m_quickValues = nullptr;
    std::vector<std::uint32_t> m_quickMasks;
    long long m_time = 0;
    mutable std::mutex m_failureMutex;
    /// Guarded by m_failureMutex: any thread may meet one.
    std::string m_failure;
    std::string m_firstFailure;
    std::atomic<bool> m_hasFailure{false};
    std::unique_ptr<Recorder> m_recorder;
    /// m_firstFailure says why.
    bool m_couldNotBegin = false;
    bool m_isClosed = false;
};

} // namespace tracewell

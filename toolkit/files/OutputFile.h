// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>

#include <sys/stat.h>

namespace tracewell {

/// What an output may be.
enum class OutputKind {
    RegularFile, ///< read while it is written; never the standard output
    WholeFile,   ///< the same, but nobody can read it before it is finished
    Any          ///< also a device or a pipe; "-" is the standard output
};

/// An output that is finished, or leaves what was there as it was.
///
/// Where nothing is, the file is written under its name, so that others see it grow. Where a
/// regular file is, or when it can be read as a whole alone, the new one is written beside it under
/// a name of its own, and takes its place when it is finished, with the mode and, as far as that is
/// permitted, the owner of the one before; one that is short of what was asked for takes no place
/// of another. Symbolic links are followed and stay; another hard link
/// keeps what was there. A device or a pipe is written as it is.
class OutputFile
{
public:
    /// Makes nothing yet. `input` is what the command reads; "-" is the standard input.
    /// \throws Failure when both are one file, or `name` leads to something that cannot be
    /// the output or be replaced.
    OutputFile(const std::string& name, OutputKind kind, const std::string& input = {});
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    /// Discards what was not finished.
    ~OutputFile() { discard(); }

    const std::string& name() const { return m_name; }
    /// Where the output is to be written.
    const std::string& path() const { return m_path; }
    /// Whether there is a file that stays until the new one is finished.
    bool isReplacement() const { return m_isReplacement; }

    /// Makes ready to be written, if that has not been done.
    /// \throws Failure
    void start();
    /// What is written has its name from now on, so that it is found there whatever becomes of the
    /// process; the file before has another one, NAME.before, until finish(). Only a kill
    /// leaves both.
    /// \throws Failure when that cannot be; all is as it was then.
    void show();
    /// The file before has its name again, and what was written stays, unfinished: true, at path().
    /// False where there was none before, or somebody else has changed the names since: what was
    /// written stays where it is then.
    bool giveBack();
    /// What was written is closed, and complete. If it is short of what was asked for (`isWhole` is
    /// false), a file that was there before stays, and the new one beside it gets a name for good,
    /// as run.part.wdb for run.wdb; the answer says so, for the end of a message. Otherwise the
    /// answer is empty.
    /// \throws Failure when it cannot take its place; it is taken away then.
    std::string finish(bool isWhole = true);
    /// Another file, which is complete, becomes the output instead. False when it cannot; both are
    /// as they were then.
    bool take(const std::string& file) const;
    /// What was written stays where it is, unfinished.
    void keep() { m_isOurs = false; }
    /// Takes away what was started and not finished.
    void discard();

    /// A message that may name path(), so that it names name().
    std::string named(std::string message) const;

private:
    void find(OutputKind kind, const std::string& input);
    void requireReplaceable();
    std::string keepBeside();
    /// Gives a file the mode and the owner of the one that was there before.
    void takeOver(const std::string& file) const;
    std::string previous() const { return m_target + ".before"; }
    bool isStillShown() const;
    bool isAside() const { return m_path != m_target; }

    std::string m_name;
    /// The file itself, behind all links.
    std::string m_target;
    std::string m_path;
    bool m_isReplacement = false;
    /// Has its name; of a replacement.
    bool m_isShown = false;
    /// What was shown, and what was there before it.
    struct stat m_shown = {};
    struct stat m_before = {};
    bool m_isOurs = false;
    bool m_isRemovable = true;
};

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ChildProcess.h"
#include "testing/TestFiles.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <iterator>
#include <string>

namespace Tracewell {

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

const std::string kHead = "$timescale 1 ns $end\n$var reg 8 ! a $end\n$var event 1 \" e $end\n"
                          "$enddefinitions $end\n#0\nb1 !\n#5\nb10 !\n";

class Manners : public ::testing::Test
{
protected:
    void SetUp() override
    {
        write("in.vcd", kHead);
        write("bad.vcd", kHead + "#7\nb1 undeclared\n");
        EXPECT_EQ(shell("import in.vcd run.wdb").exitCode(), 0);
    }
    Outcome shell(const std::string& arguments) const
    {
        return runProgram({"/bin/sh", "-c", "exec " E2E_TRACEWELL " " + arguments}, path(""));
    }
    std::string path(const std::string& name) const { return m_directory.path(name); }
    void write(const std::string& name, const std::string& text) const
    {
        writeFile(path(name), text);
    }
    std::string read(const std::string& name) const { return readFile(path(name)); }
    std::size_t fileCount() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(path("")), {}));
    }

    TestDirectory m_directory;
};

TEST_F(Manners, anAnswerThatCannotBeWrittenIsALineAndExitCode1)
{
    for (const char* const command :
         {"--help", "--version", "help import", "import --help", "info run.wdb", "signals run.wdb",
          "values run.wdb a --json", "next run.wdb 1 a", "draw run.wdb", "draw run.wdb -o -",
          "export run.wdb -", "events run.wdb", "verify run.wdb --json"}) {
        for (const char* const stream : {" >/dev/full", " >&-"}) {
            const Outcome outcome = shell(command + std::string(stream));
            EXPECT_EQ(outcome.exitCode(), 1) << command << stream;
            EXPECT_THAT(outcome.err, MatchesRegex("tracewell: standard output: .*\n"))
                << command << stream;
        }
    }
}

TEST_F(Manners, anOutputThatLeadsToAClosedStreamIsALineAndExitCode1)
{
    for (const char* const command : {"draw run.wdb -o ", "export run.wdb "}) {
        for (const char* const output :
             {"/dev/stdout >&-", "/dev/fd/1 >&-", "/proc/self/fd/1 >&-", "/dev/stderr 2>&-"}) {
            const Outcome outcome = shell(command + std::string(output));
            EXPECT_EQ(outcome.exitCode(), 1) << command << output;
            EXPECT_THAT(outcome.err, MatchesRegex("(tracewell: .* is closed; .*\n)?"));
        }
    }
}

TEST_F(Manners, nothingThatIsOpenedTakesThePlaceOfAClosedStream)
{
    EXPECT_EQ(shell("import in.vcd new.wdb <&- >&- 2>&-").exitCode(), 0);
    EXPECT_EQ(read("new.wdb").substr(0, 6), "Zelnix");
    EXPECT_EQ(shell("verify new.wdb").exitCode(), 0);
}

TEST_F(Manners, wrongUsageIsOneLineOfOurOwnWords)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "no command"},
        {"imprt a b", "did you mean `tracewell import`"},
        {"help drw", "did you mean `tracewell draw`"},
        {"import in.vcd --strore events x.wdb", "no option \"--strore\" (did you mean --store?)"},
        {"import in.vcd", "OUT.wdb, which is missing"},
        {"info run.wdb x", "no further argument \"x\""},
        {"info run.wdb --json=yes", "--json takes no value"},
        {"draw run.wdb --width 5", "\"5\" is no whole number from 40 to 20000"},
        {"draw run.wdb --from --to 5", "--from needs a value"},
        {"draw run.wdb --to 5 --to 6", "--to is given twice"},
        {"import in.vcd x.wdb --store 2", "none of events"},
        {"import in.vcd x.wdb --store Events", "did you mean events?"},
        {"import in.vcd x.wdb --sync nan", "no number above 0"},
        {"import in.vcd x.wdb --sync 1e400", "no number above 0"},
        {"import --sync in.vcd x.wdb", "--sync: \"in.vcd\" is no number above 0"},
        {"import --store in.vcd x.wdb", "--store: \"in.vcd\" is none of events"},
        {"draw --from run.wdb", "--from: \"run.wdb\" is no time; write a number"},
        {"values run.wdb a --csv --json", "exclude each other"},
        {"replay in.vcd", "--live, which is missing"},
        {"values run.wdb a --to \"$(printf '\\033[2J')\"", "\xEF\xBF\xBD[2J\" is no time"},
    };
    for (const auto& [arguments, words] : cases) {
        const Outcome outcome = shell(arguments);
        EXPECT_EQ(outcome.exitCode(), 2) << arguments;
        EXPECT_THAT(outcome.err, MatchesRegex("tracewell: [^\n]*--help[^\n]*\n")) << arguments;
        EXPECT_THAT(outcome.err, HasSubstr(words)) << arguments;
    }
    EXPECT_EQ(shell("help import").out, shell("import --help").out);
    EXPECT_EQ(shell("-V").out, shell("version").out);
}

TEST_F(Manners, anInputOrATimeThatCannotBeTakenIsNamedWithTheRemedy)
{
    const std::pair<const char*, const char*> cases[] = {
        {"import . x.wdb", "tracewell: .: this is a directory; name a file in it\n"},
        {"import in.vcd .", "tracewell: .: this is a directory; name a file in it .*"},
        {"export run.wdb new/", "tracewell: new/: cannot be created: .*; make its directory .*"},
        {"draw run.wdb -o ''", "tracewell: --output: the name .* is empty; name a file; .*"},
        {"export run.wdb - >&-", "tracewell: standard output: .* name a file for it\n"},
        {"import - x.wdb <.", "tracewell: standard input: this is a directory; .*"},
        {"import - x.wdb <&-", "tracewell: standard input: the stream is closed; redirect .*"},
        {"import /dev/stdin x.wdb <&-", "tracewell: /dev/stdin: the stream is closed; .*"},
        {"info /dev/stdin <&-", "tracewell: /dev/stdin: the stream is closed; .*"},
        {"values run.wdb a --to 1e30",
         "tracewell: --to: \"1e30\" lies beyond .* give an earlier one\n"},
        {"next run.wdb 1e30 a", "tracewell: TIME: \"1e30\" lies beyond .*"},
        {"diff run.wdb in.vcd --from 1e30", "tracewell: --from: \"1e30\" lies beyond .*"},
    };
    for (const auto& [arguments, line] : cases) {
        const Outcome outcome = shell(arguments);
        EXPECT_NE(outcome.exitCode(), 0) << arguments;
        EXPECT_THAT(outcome.err, MatchesRegex(line)) << arguments;
    }
}

TEST_F(Manners, aFailingCommandLeavesWhatWasThereThroughLinksToo)
{
    write("target", "older");
    fs::create_symlink("target", path("link"));
    fs::create_symlink("nowhere", path("dangling"));
    fs::create_hard_link(path("target"), path("hard"));
    fs::permissions(path("target"), fs::perms(0640));
    const std::size_t count = fileCount();
    for (const char* const store : {"events", "indexed", "columns", "transitions"}) {
        for (const char* const output : {"target", "link", "dangling", "new"}) {
            const std::string importTo = std::string("import --store ") + store;
            EXPECT_EQ(shell(importTo + " bad.vcd " + output).exitCode(), 1);
            EXPECT_EQ(shell("export " + path("bad.vcd") + " " + output).exitCode(), 1);
            EXPECT_EQ(fileCount(), count) << store << output;
        }
        EXPECT_EQ(read("target"), "older") << store;
        EXPECT_TRUE(fs::is_symlink(path("link")) && fs::is_symlink(path("dangling")));
    }
    EXPECT_EQ(shell("import in.vcd link").exitCode(), 0);
    EXPECT_EQ(shell("export run.wdb dangling").exitCode(), 0);
    EXPECT_TRUE(fs::is_symlink(path("link")) && fs::is_symlink(path("dangling")));
    EXPECT_EQ(shell("verify target").exitCode(), 0);
    EXPECT_EQ(fs::status(path("target")).permissions(), fs::perms(0640));
    EXPECT_EQ(read("hard"), "older");
    EXPECT_THAT(read("nowhere"), HasSubstr("$enddefinitions"));
    EXPECT_EQ(fileCount(), count + 1);
}

} // namespace

} // namespace Tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"
#include "testing/Seed.h"

#include "survey/Survey.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <zlib.h>

#include <cstring>
#include <functional>
#include <random>

using namespace tracewell;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

/// A file's bytes, with the places that a test wants to damage.
class Bytes
{
public:
    explicit Bytes(std::string bytes) : m_bytes(std::move(bytes)) {}

    template <class T> T get(std::size_t at) const
    {
        T value;
        std::memcpy(&value, m_bytes.data() + at, sizeof value);
        return value;
    }
    template <class T> void put(std::size_t at, T value)
    {
        std::memcpy(m_bytes.data() + at, &value, sizeof value);
    }
    std::size_t place(std::size_t at) const { return static_cast<std::size_t>(get<long long>(at)); }

    std::string& text() { return m_bytes; }
    std::size_t contentNode() const { return place(48); }
    std::size_t item(std::size_t number) const { return place(contentNode() + 8 + 8 * number); }
    /// Sections in the order of the builder: names, events, strings. In a file of the command line
    /// the mark comes first.
    std::size_t section(std::size_t number) const
    {
        const bool isMarked = m_bytes.compare(item(0), 14, "Tracewell Mark") == 0;
        return place(item(number + (isMarked ? 1 : 0)) + 32);
    }
    std::size_t events() const { return section(1); }
    std::size_t bucketTable() const { return place(events() + 32); }
    std::size_t node(std::size_t bucket = 0) const { return place(bucketTable() + 8 * bucket); }
    std::size_t block(std::size_t slot = 0) const { return place(node() + 8 + 8 * slot); }
    std::size_t sizeAt(std::size_t slot = 0) const { return node() + 808 + 4 * slot; }
    // Of an index by time, in bucket 0.
    std::size_t root() const { return place(node()); }
    std::size_t leaf() const { return place(root()); }
    std::size_t indexRecord() const { return place(leaf()); }
    std::size_t stringNode() const { return place(place(section(2) + 8)); }

    /// Unpacks a block, lets `change` alter its image, and lists the result, stored at the end of
    /// the file, in its place.
    void alterImage(const std::function<void(Bytes&)>& change, std::size_t slot = 0)
    {
        std::string image(10240, '\0');
        uLongf size = image.size();
        uncompress(reinterpret_cast<Bytef*>(image.data()), &size,
                   reinterpret_cast<const Bytef*>(m_bytes.data()) + block(slot),
                   get<unsigned int>(sizeAt(slot)));
        Bytes altered(image);
        change(altered);
        std::string stored(20480, '\0');
        size = stored.size();
        compress2(reinterpret_cast<Bytef*>(stored.data()), &size,
                  reinterpret_cast<const Bytef*>(altered.m_bytes.data()), altered.m_bytes.size(),
                  1);
        put(node() + 8 + 8 * slot, static_cast<long long>(m_bytes.size()));
        put(sizeAt(slot), static_cast<unsigned int>(size));
        m_bytes.append(stored, 0, size);
    }

private:
    std::string m_bytes;
};

class Verify : public Reading
{
protected:
    /// Several blocks in bucket 0, one in others, and some texts.
    void record(bool closed = true)
    {
        RecordingBuilder builder(path(closed ? "run.wdb" : "open.wdb"), kSmallDesign, 32);
        for (int time = 0; time < 2000; ++time) {
            builder.letters(time, "top.dut.data[7:0]", time % 2 ? "00000001" : "10000000");
        }
        builder.letters(7, "top.clk", "1");
        for (int i = 0; i < 200; ++i) {
            builder.text(2000 + i, "top.dut.phase", "a text with the number " + std::to_string(i));
        }
        if (!closed) {
            builder.flush();
            write("run.wdb", read("open.wdb"));
        }
    }

    /// An index of two levels in bucket 0.
    void recordWithIndex()
    {
        std::string text = "$var reg 8 ! v [7:0] $end $enddefinitions $end\n";
        for (int time = 5; time < 45'000; ++time) {
            text += "#" + std::to_string(time) + (time % 2 != 0 ? "\nb1 !\n" : "\nb10 !\n");
        }
        write("run.vcd", text);
        ASSERT_EQ(run({"import", "--store", "indexed", path("run.vcd"), path()}).code, 0);
    }

    Result verify() const { return run({"verify", path()}); }

    void damage(const std::function<void(Bytes&)>& change)
    {
        Bytes bytes(read());
        change(bytes);
        write("run.wdb", bytes.text());
    }
};

struct Damage
{
    const char* name;
    std::function<void(Bytes&)> change;
    /// Parts of the finding.
    std::vector<std::string> told;

    friend std::ostream& operator<<(std::ostream& os, const Damage& damage)
    {
        return os << damage.name;
    }
};

class VerifyDamage : public Verify, public ::testing::WithParamInterface<Damage>
{
protected:
    void expectFound();
};

class VerifyIndexDamage : public VerifyDamage
{};

std::vector<Damage> damages()
{
    const auto shift = [](Bytes& image, std::size_t record, std::size_t field, unsigned int value) {
        image.put(20 + 24 * record + field, value);
    };
    return {
        {"ContentsOutsideTheFile",
         [](Bytes& b) { b.put(48, 1ll << 40); },
         {"table of contents", "does not lie in the file"}},
        {"ContentsRunInACircle",
         [](Bytes& b) { b.put(b.contentNode(), static_cast<long long>(b.contentNode())); },
         {"table of contents", "overlaps something else"}},
        {"ContentsCountTooMany",
         [](Bytes& b) { b.put(b.contentNode() + 128, 11u); },
         {"counts 11 entries", "perhaps sections"}},
        {"SectionOutsideTheFile",
         [](Bytes& b) { b.put(b.item(0) + 40, 1ll << 40); },
         {"Zelnix DBG", "does not lie in the file"}},
        {"NoEventSection",
         [](Bytes& b) { b.put(b.item(1), 'X'); },
         {"WDB.Event", "no such section", "lost: all events"}},
        {"UnknownType", [](Bytes& b) { b.put(b.events() + 8, 1003); }, {"type 1003 is not known"}},
        {"DivisionOfZero", [](Bytes& b) { b.put(b.events() + 16, 0ll); }, {"division of 0"}},
        {"BlockSizeWithoutSense",
         [](Bytes& b) { b.put(b.events() + 64, 0xFFFFFFFFu); },
         {"block size of 4294967295"}},
        {"BucketTableOutsideTheFile",
         [](Bytes& b) { b.put(b.events() + 12, 0xFFFFFFFFu); },
         {"the bucket table"}},
        {"ListNodeOutsideTheFile",
         [](Bytes& b) { b.put(b.bucketTable(), -5ll); },
         {"bucket 0", "a list node of 1216 bytes at -5", "lost: all events of the bucket"}},
        {"TwoBucketsShareAList",
         [](Bytes& b) { b.put(b.bucketTable() + 8, static_cast<long long>(b.node())); },
         {"bucket 1", "overlaps"}},
        {"ListRunsInACircle",
         [](Bytes& b) {
             b.put(b.node(), static_cast<long long>(b.node()));
             b.put(b.node() + 1208, 100u);
         },
         {"bucket 0, node at", "overlaps"}},
        {"NodeForgetsABlock",
         [](Bytes& b) { b.put(b.node() + 1208, b.get<unsigned int>(b.node() + 1208) - 1); },
         {"lists more blocks than it counts"}},
        {"BlockTooLarge",
         [](Bytes& b) { b.put(b.sizeAt(1), 10241u); },
         {"block of 10241 bytes is not between 1 and 10240",
          "from time 424 ns on, up to time 850"}},
        {"BlockListedTwice",
         [](Bytes& b) { b.put(b.node() + 16, static_cast<long long>(b.block(0))); },
         {"bucket 0", "block at", "overlaps"}},
        {"StreamCutOff",
         [](Bytes& b) { b.put(b.sizeAt(0), b.get<unsigned int>(b.sizeAt(0)) - 9); },
         {"block at", "zlib stream is cut off", "events at its end, up to time"}},
        {"StreamDamaged",
         [](Bytes& b) { b.put(b.block(0) + 40, 0x5A5A5A5Au); },
         {"zlib stream is damaged"}},
        {"RecordRunsOut",
         [=](Bytes& b) { b.alterImage([=](Bytes& i) { shift(i, 3, 12, 70000); }); },
         {"record 3, byte 92", "runs past the end", "those behind it"}},
        {"RecordWithoutValue",
         [=](Bytes& b) { b.alterImage([=](Bytes& i) { shift(i, 3, 12, 0); }); },
         {"record 3, byte 92", "has no value"}},
        {"EventOutsideItsBucket",
         [=](Bytes& b) { b.alterImage([=](Bytes& i) { shift(i, 5, 8, 28); }); },
         {"record 5", "covers the addresses 28 to 35", "ends before 32"}},
        {"BytesBehindTheRecords",
         [](Bytes& b) { b.alterImage([](Bytes& i) { i.text().back() = 1; }); },
         {"no zeros follow the last record"}},
        {"WrongStartTime",
         [](Bytes& b) { b.alterImage([](Bytes& i) { i.put(0, 99ll); }); },
         {"says that it starts at 99"}},
        {"ImageTooShort",
         [](Bytes& b) { b.alterImage([](Bytes& i) { i.text().resize(5000); }); },
         {"unpacks to 5000 bytes instead of 10240"}},
        {"NamesWithoutSense",
         [](Bytes& b) { b.text().replace(b.text().find("reg 8"), 5, "reg x"); },
         {"Zelnix DBG", "the name table makes no sense", "lost: all names"}},
        {"TextsLeaveAGap",
         [](Bytes& b) { b.put(b.stringNode() + 816, 900ll); },
         {"WDB.StringMap", "starts with text 900"}},
        {"TextsMiscounted",
         [](Bytes& b) { b.put(b.stringNode() + 2008, 3u); },
         {"its list says 3", "lost: the texts 1 to 3"}},
        {"TextAnchorLost",
         [](Bytes& b) { b.put(b.section(2) + 8, 1ll << 50); },
         {"the anchor of the list", "lost: all texts"}},
        {"CutInTheMiddle",
         [](Bytes& b) { b.text().resize(b.block(3) + 10); },
         {"block at", "does not lie in the file"}}};
}

} // namespace

TEST_F(Verify, soundFileIsSound)
{
    record();
    const Result result = verify();
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.out, AllOf(HasSubstr("3 sections, 2 buckets in use"),
                                  HasSubstr("2201 events, 200 strings\nsound\n")));
    EXPECT_THAT(result.out, AllOf(Not(HasSubstr("damage:")), Not(HasSubstr("notice:"))));
}

/// What is damaged in an index, and everything that it lists is there.
std::vector<Damage> indexDamages()
{
    constexpr std::size_t kLengths = 800;
    constexpr std::size_t kLargestDiff = 1600;
    constexpr std::size_t kKeys = 1608;
    constexpr std::size_t kCount = 27208;
    constexpr std::size_t kLeafFlag = 27212;
    return {
        {"NoRoot", [](Bytes& b) { b.put(b.node(), 0ll); }, {"bucket 0", "the tree has no root"}},
        {"HeaderOutsideTheFile",
         [](Bytes& b) { b.put(b.bucketTable(), 1ll << 40); },
         {"a tree header of 272 bytes", "lost: the bucket"}},
        {"RootOutsideTheFile",
         [](Bytes& b) { b.put(b.node(), 1ll << 40); },
         {"an index node of 27216 bytes", "lost: events of the bucket"}},
        {"MoreEntriesThanRoom",
         [](Bytes& b) { b.put(b.leaf() + kCount, 101u); },
         {"counts 101 entries and has room for 100"}},
        {"NeitherLeafNorInner",
         [](Bytes& b) { b.put(b.root() + kLeafFlag, static_cast<unsigned char>(7)); },
         {"neither a leaf nor an inner node"}},
        {"Circle",
         [](Bytes& b) { b.put(b.root() + 8, static_cast<long long>(b.root())); },
         {"an index node", "overlaps something else"}},
        {"RecordOutsideTheFile",
         [](Bytes& b) { b.put(b.leaf(), -24ll); },
         {"an index record", "lost: its events"}},
        {"BlockOfNoSize",
         [](Bytes& b) { b.put(b.indexRecord() + 8, 0u); },
         {"a stored block of 0 bytes"}},
        {"StartTime",
         [](Bytes& b) { b.put(b.node() + 8, 3ll); },
         {"the block starts at 5 ns, in the index at 3 ns", "search by time may go wrong"}},
        {"LengthOfALeafsEntry",
         [](Bytes& b) { b.put(b.leaf() + kLengths + 8, b.get<long long>(b.leaf() + kLengths)); },
         {"the block starts at", "in the index at"}},
        {"LengthOfAnInnerEntry",
         [](Bytes& b) { b.put(b.root() + kLengths, 1ll); },
         {"units of time, for the node above it 1"}},
        {"KeyOfALeafsEntry",
         [](Bytes& b) { b.put(b.leaf() + kKeys, static_cast<unsigned char>(0xFE)); },
         {"other addresses change in the block"}},
        {"KeyOfAnInnerEntry",
         [](Bytes& b) { b.put(b.root() + kKeys + 9, static_cast<unsigned char>(1)); },
         {"the node above it gives other addresses"}},
        {"LargestDiffOfARecord",
         [](Bytes& b) { b.put(b.indexRecord() + 16, 7ll); },
         {"the largest diff of the block is 1, in the index 7"}},
        {"LargestDiffOfANode",
         [](Bytes& b) { b.put(b.leaf() + kLargestDiff, 9ll); },
         {"gives 9 as its largest diff, its entries 1"}},
        {"Division",
         [](Bytes& b) { b.put(b.events() + 16, 1024ll); },
         {"division of 1024 does not fit an index by time"}},
    };
}

TEST_P(VerifyDamage, isFoundInItsPlace)
{
    record();
    damage(GetParam().change);
    expectFound();
}

TEST_P(VerifyIndexDamage, isFoundInItsPlace)
{
    recordWithIndex();
    damage(GetParam().change);
    expectFound();
}

void VerifyDamage::expectFound()
{
    const Result result = verify();
    EXPECT_EQ(result.code, 1);
    const std::string& all = result.out;
    // One finding tells it all.
    std::string found;
    for (std::size_t at = 0; at < all.size(); at = all.find('\n', at) + 1) {
        const std::string line = all.substr(at, all.find('\n', at) - at);
        const bool fits = line.rfind("damage: ", 0) == 0 &&
                          std::all_of(GetParam().told.begin(), GetParam().told.end(),
                                      [&](const std::string& part) {
                                          return line.find(part) != std::string::npos;
                                      });
        found = fits ? line : found;
    }
    EXPECT_NE(found, "") << all;
    EXPECT_THAT(all, HasSubstr("\ndamaged in "));

    const nlohmann::json json = nlohmann::json::parse(run({"verify", path(), "--json"}).out);
    EXPECT_EQ(json["sound"], false);
    EXPECT_EQ(json["damages"], surveyFile(path(), nullptr).findings.damages());
    EXPECT_EQ(run({"info", path()}).code, 1);
}

INSTANTIATE_TEST_SUITE_P(Each, VerifyDamage, ::testing::ValuesIn(damages()),
                         [](const auto& each) { return std::string(each.param.name); });
INSTANTIATE_TEST_SUITE_P(Each, VerifyIndexDamage, ::testing::ValuesIn(indexDamages()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(Verify, everythingButTheDamagedBlockIsRead)
{
    record();
    const unsigned long long events = surveyFile(path(), nullptr).events;
    damage([](Bytes& b) { b.put(b.block(1), 0); });
    const Survey survey = surveyFile(path(), nullptr);
    EXPECT_EQ(survey.findings.damages(), 1u);
    // Blocks of 10,240 bytes and records of 24.
    EXPECT_EQ(survey.events, events - 425);
}

TEST_F(Verify, fileOfAKilledWriterIsSoundAndSaysHowFarItGoes)
{
    record(false);
    const Result result = verify();
    EXPECT_EQ(result.code, 0) << result.out;
    EXPECT_THAT(result.out, AllOf(HasSubstr("never closed this file"),
                                  HasSubstr("whole up to time 6 ns, just before bucket 1 ends"),
                                  HasSubstr("up to time 2.199 us"), HasSubstr("\nsound\n")));
    const nlohmann::json json = nlohmann::json::parse(run({"verify", path(), "--json"}).out);
    EXPECT_EQ(json["closed"], false);
    EXPECT_EQ(json["wholeUpTo"], 6);
    EXPECT_EQ(json["latestTime"], 6);
    EXPECT_EQ(json["latestEvent"], 2199);
    EXPECT_THAT(output("info"), HasSubstr("closed        no"));

    // Stored behind everything, and listed nowhere.
    damage([](Bytes& b) { b.text() += std::string(100, 'x'); });
    EXPECT_THAT(verify().out, HasSubstr("100 bytes belong to nothing; blocks that were stored"));
}

TEST_F(Verify, recordingWithoutASignOfItsEndIsNoSilentAnswer)
{
    for (const bool hasEvent : {false, true}) {
        RecordingBuilder builder(path(), kSmallDesign);
        if (hasEvent) {
            builder.bytes(0, 0, "12345678");
        }
        builder.flush();
        for (const std::string command : {"values", "export", "events", "signals", "diff"}) {
            std::vector<std::string> arguments = {command, path()};
            if (command != "events" && command != "signals") {
                arguments.push_back(command == "values" ? "*"
                                    : command == "diff" ? path()
                                                        : path("out.vcd"));
            }
            const Result result = run(arguments);
            const int lacking = command == "diff" ? 2 : command == "signals" ? 0 : 1;
            EXPECT_EQ(result.code, hasEvent ? 0 : lacking) << command;
            EXPECT_THAT(result.error, HasSubstr("cannot be told whether its writer closed it"));
        }
    }
}

TEST_F(Verify, timesThatGoBackAreNoDamage)
{
    RecordingBuilder builder(path(), kSmallDesign);
    for (const int time : {5, 9, 3, 4, 1}) {
        builder.letters(time, "top.clk", "1");
    }
    builder.close();
    const Result result = verify();
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.out, HasSubstr("record 2, byte 54: time goes back here (2 times"));
}

TEST_F(Verify, randomDamageOfAnIndexBreaksNoCommand)
{
    recordWithIndex();
    EXPECT_EQ(verify().code, 0) << verify().out;
    const std::string sound = read();
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(Tracewell::seeded(seed));
        write("run.wdb", Tracewell::damaged(sound, random));
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"verify", path()},
              {"find", path(), "20000", "@0:8"},
              {"values", path(), "@0:2", "--from", "44990"},
              {"diff", path(), path("run.vcd")}}) {
            const Result result = run(command);
            ASSERT_TRUE(result.code <= 2 && (!result.out.empty() || !result.error.empty() ||
                                             (result.code == 0 && command[0] == "diff")));
        }
    }
}

TEST_F(Verify, randomDamageNeverBreaksIt)
{
    record();
    const std::string sound = read();
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(Tracewell::seeded(seed));
        write("run.wdb", Tracewell::damaged(sound, random));
        const Result result = verify();
        ASSERT_TRUE(result.code == 0 || result.code == 1);
        ASSERT_TRUE(!result.out.empty() || !result.error.empty());
    }
}

TEST_F(Verify, filesOfOtherKindsSayWhatTheyAre)
{
    write("run.vcd", "$date today $end\n");
    write("run.fst", std::string("\0\0\0\0\0\0\0\x01\x49", 9) + std::string(400, 'x'));
    write("run.gz", "\x1f\x8b\x08 and so on");
    write("empty", "");
    write("short", "Zel");
    write("other", std::string(100, 'x'));
    write("newer", "Zelnix WAVE DATABASE 07" + std::string(100, '\0'));
    const std::pair<const char*, const char*> cases[] = {{"run.vcd", "tracewell import"},
                                                         {"run.fst", "FST"},
                                                         {"run.gz", "gunzip"},
                                                         {"empty", "the file is empty"},
                                                         {"short", "only 3 bytes"},
                                                         {"other", "no wave database"},
                                                         {"newer", "another format version"},
                                                         {"missing", "no such file"},
                                                         {".", "directory"}};
    for (const auto& [name, told] : cases) {
        const bool isRun = std::string(name).rfind("run.", 0) == 0;
        for (const char* command : {"info", "signals", "draw", "events", "verify"}) {
            // Those that read a run as it is say what is wrong in it.
            const bool readsRuns =
                std::string(command) != "events" && std::string(command) != "verify";
            if (isRun && readsRuns) {
                continue;
            }
            const Result result = run({command, path(name)});
            EXPECT_EQ(result.code, 1);
            EXPECT_EQ(result.out, "");
            EXPECT_THAT(result.error, AllOf(HasSubstr(path(name)), HasSubstr(told)));
            EXPECT_EQ(result.error.find('\n'), std::string::npos);
        }
    }
}

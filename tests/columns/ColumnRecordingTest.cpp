// SPDX-License-Identifier: BSD-3-Clause

#include "testing/ForkedProcess.h"
#include "testing/Seed.h"
#include "testing/TestFiles.h"

#include "QsimException.h"
#include "WdbColumnReader.h"
#include "WdbColumnWriter.h"
#include "WdbFileManager.h"
#include "WdbStringMapDatabase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <vector>

namespace Tracewell {
namespace {

constexpr long long kEver = std::numeric_limits<long long>::max();

struct Answer
{
    long long time;
    bool isDense;
    unsigned long long value;

    bool operator==(const Answer& other) const
    {
        return time == other.time && isDense == other.isDense && (isDense || value == other.value);
    }
    friend std::ostream& operator<<(std::ostream& out, const Answer& answer)
    {
        out << answer.time << ':';
        return answer.isDense ? out << "dense" : out << answer.value;
    }
};

using Changes = std::vector<std::pair<long long, unsigned long long>>;

/// What a history is, said in the plainest way.
std::vector<Answer> expectedHistory(const Changes& changes, long long from, long long to,
                                    long long resolution)
{
    std::vector<std::pair<long long, unsigned long long>> seen;
    for (const auto& change : changes) {
        if (change.first <= from) {
            seen = {change};
        } else if (change.first <= to) {
            seen.push_back(change);
        }
    }
    std::vector<Answer> answers;
    bool isInStretch = false;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const bool goesOn = resolution > 0 && seen[i].first >= from && i + 1 < seen.size() &&
                            seen[i + 1].first - seen[i].first <= resolution;
        if (goesOn && !isInStretch) {
            answers.push_back({seen[i].first, true, 0});
        } else if (!goesOn) {
            answers.push_back({seen[i].first, false, seen[i].second});
        }
        isInStretch = goesOn;
    }
    return answers;
}

std::vector<Answer> readHistory(const WdbColumnReader& reader, unsigned int field, long long from,
                                long long to, long long resolution)
{
    std::vector<Answer> answers;
    const auto history = reader.getHistory(field, from, to, resolution);
    while (history->next()) {
        answers.push_back(
            {history->getTime(), history->isDense(), history->isDense() ? 0 : history->getValue()});
    }
    return answers;
}

/// Fields of a memory with the changes that they had.
class Model
{
public:
    void trace(long long time, long long address, unsigned long long value)
    {
        Field& field = m_fields.at(address);
        if (!field.isCounter) {
            while (!field.changes.empty() && field.changes.back().first == time) {
                field.changes.pop_back();
            }
            if (!field.changes.empty() && field.changes.back().second == value) {
                return;
            }
        }
        field.changes.emplace_back(time, value);
    }
    void declare(long long address, bool isCounter) { m_fields[address] = {isCounter, {}}; }
    Changes changes(long long address) const
    {
        const auto found = m_fields.find(address);
        return found == m_fields.end() ? Changes() : found->second.changes;
    }

    /// How a reader differs, up to a time; empty when it does not.
    std::string compare(const WdbColumnReader& reader, std::mt19937& random, long long end) const
    {
        std::map<long long, std::map<long long, unsigned long long>> steps;
        for (const auto& [address, field] : m_fields) {
            Changes changes = field.changes;
            while (!changes.empty() && changes.back().first > end) {
                changes.pop_back();
            }
            for (const auto& [time, value] : changes) {
                steps[time][address] = value;
            }
            const std::vector<unsigned int> ids = reader.findFields(address, 1);
            if (ids.empty() && changes.empty()) {
                continue;
            }
            if (ids.size() != 1) {
                return "no field at " + std::to_string(address);
            }
            const long long last = changes.empty() ? 1 : changes.back().first;
            for (int i = 0; i < 6; ++i) {
                const auto from =
                    static_cast<long long>(random() % static_cast<unsigned long long>(last + 2)) -
                    1;
                const long long to =
                    i < 4 ? end : std::min(end, from + static_cast<long long>(random() % 5000));
                const long long resolution =
                    i % 4 == 0 ? 0 : static_cast<long long>(random() % (i % 2 ? 20 : 20000));
                const auto expected = expectedHistory(changes, from, to, resolution);
                const auto found = readHistory(reader, ids[0], from, to, resolution);
                if (found != expected) {
                    return told(address, from, to, resolution, found, expected);
                }
                long long next = end;
                long long before = -1;
                const bool hasNext = reader.getNextChange(ids[0], from, next) && next <= end;
                const bool hasBefore = reader.getPreviousChange(ids[0], from, before);
                const auto at = std::upper_bound(changes.begin(), changes.end(), from, isBefore);
                const auto behind =
                    std::lower_bound(changes.begin(), changes.end(), from, isBehind);
                if (hasNext != (at != changes.end()) || (hasNext && next != at->first) ||
                    hasBefore != (behind != changes.begin()) ||
                    (hasBefore && before != (behind - 1)->first)) {
                    return "a neighbour of " + std::to_string(from) + " at " +
                           std::to_string(address) + ": " + std::to_string(next) + ", " +
                           std::to_string(before);
                }
            }
        }
        const auto replay = reader.getReplay();
        // What a segment begins with may be the value that there was already.
        std::map<long long, unsigned long long> present;
        auto step = steps.begin();
        while (replay->next() && replay->getTime() <= end) {
            std::map<long long, unsigned long long> found;
            for (const WdbColumnReplay::Change& change : replay->getChanges()) {
                const WdbColumnField field = reader.getField(change.field);
                const auto known = present.find(field.address);
                if (known == present.end() || known->second != change.value || field.isCounter) {
                    found[field.address] = change.value;
                }
                if (const auto earlier = found.find(field.address); earlier != found.end()) {
                    earlier->second = change.value;
                }
            }
            for (auto i = found.begin(); i != found.end();) {
                const auto known = present.find(i->first);
                const bool isBack = known != present.end() && known->second == i->second &&
                                    !m_fields.at(i->first).isCounter;
                present[i->first] = i->second;
                i = isBack ? found.erase(i) : std::next(i);
            }
            if (found.empty()) {
                continue;
            }
            if (step == steps.end() || step->first != replay->getTime() || step->second != found) {
                return "a replay at " + std::to_string(replay->getTime());
            }
            ++step;
        }
        return step == steps.end() ? "" : "no replay of " + std::to_string(step->first);
    }

private:
    struct Field
    {
        bool isCounter = false;
        Changes changes;
    };

    static bool isBefore(long long time, const std::pair<long long, unsigned long long>& change)
    {
        return time < change.first;
    }
    static bool isBehind(const std::pair<long long, unsigned long long>& change, long long time)
    {
        return change.first < time;
    }
    static std::string told(long long address, long long from, long long to, long long resolution,
                            const std::vector<Answer>& found, const std::vector<Answer>& expected)
    {
        const auto differing =
            std::mismatch(found.begin(), found.end(), expected.begin(), expected.end());
        std::ostringstream out;
        out << "at " << address << " from " << from << " to " << to << " by " << resolution << ": ";
        differing.first == found.end() ? out << "end" : out << *differing.first;
        out << " instead of ";
        differing.second == expected.end() ? out << "end" : out << *differing.second;
        return out.str();
    }

    std::map<long long, Field> m_fields;
};

/// Traces a design with clocks, counters, buses, events and a vector of several groups, whatever
/// the seed makes of it.
class Design
{
public:
    Design(WdbColumnWriter& writer, unsigned int seed) : m_writer(writer), m_random(seed)
    {
        std::vector<WdbColumnField> declared;
        for (long long i = 0; i < 40; ++i) {
            declared.push_back({8 * i, i % 4 == 3 ? 4u : 8u, false});
            m_model.declare(8 * i, false);
        }
        declared.push_back({kVector, 24, false});
        for (long long i = 0; i < 3; ++i) {
            m_model.declare(kVector + 8 * i, false);
        }
        declared.push_back({kEvent, 2, true});
        m_model.declare(kEvent, true);
        for (long long i = 0; i < 40; ++i) {
            declared.push_back({kBits + i, 1, false});
            m_model.declare(kBits + i, false);
        }
        for (long long i = 0; i < 10; ++i) {
            m_model.declare(kOther + 8 * i, false);
        }
        writer.setFields(declared);
        writer.setBaseDPOffset(0);
    }

    /// Several changes at a time, several of one field among them.
    void run(unsigned int changes, unsigned int stepOneIn)
    {
        for (unsigned int i = 0; i < changes; ++i) {
            if (m_random() % stepOneIn == 0) {
                m_time += 1 + static_cast<long long>(m_random() % 7 == 0 ? m_random() % 3000 : 9);
            }
            change();
        }
    }
    const Model& model() const { return m_model; }
    long long time() const { return m_time; }
    std::mt19937& random() { return m_random; }
    unsigned int random(unsigned int end) { return static_cast<unsigned int>(m_random() % end); }

private:
    static constexpr long long kVector = 1000;
    static constexpr long long kEvent = 1100;
    static constexpr long long kBits = 1200;
    static constexpr long long kOther = 100000;

    void change()
    {
        const auto kind = static_cast<unsigned int>(m_random() % 100);
        if (kind < 30) {
            // A clock.
            m_clock ^= 1;
            trace(0, m_clock, 8);
        } else if (kind < 50) {
            trace(8, ++m_count & 0xFFFFFF, 8);
        } else if (kind < 75) {
            const unsigned int place = 2 + random(38);
            trace(8LL * place, place % 4 == 3 ? m_random() : m_random() % (place + 1),
                  place % 4 == 3 ? 4 : 8);
        } else if (kind < 80) {
            for (long long i = 0; i < 3; ++i) {
                const std::uint64_t value = std::uint64_t{m_random()} << (i * 16);
                m_model.trace(m_time, kVector + 8 * i, value);
                std::memcpy(m_bytes.data() + 8 * i, &value, 8);
            }
            m_writer.getTraceScVirtualObjectFunc()(m_time, kVector, m_bytes.data(), 0, 24);
        } else if (kind < 85) {
            m_fired = static_cast<std::uint16_t>((m_fired + 1) & 0xFF);
            trace(kEvent, m_fired, 2);
        } else if (kind < 95) {
            trace(kBits + random(40), m_random() % 3, 1);
        } else {
            trace(kOther + 8LL * random(10), m_random() % 100000, 8);
        }
    }
    void trace(long long address, std::uint64_t value, unsigned int size)
    {
        m_model.trace(m_time, address, value);
        std::memcpy(m_bytes.data(), &value, 8);
        m_writer.getTraceScVirtualObjectFunc()(m_time, static_cast<unsigned long long>(address),
                                               m_bytes.data(), 0, size);
    }

    WdbColumnWriter& m_writer;
    std::mt19937 m_random;
    Model m_model;
    std::array<unsigned char, 64> m_bytes{};
    long long m_time = 0;
    unsigned int m_clock = 0;
    unsigned int m_count = 0;
    std::uint16_t m_fired = 0;
};

class ColumnRecording : public ::testing::Test
{
protected:
    TestDirectory m_directory;
    const std::string m_fileName = m_directory.path("run.wdb");
};

/// Over several segments, with one that is cut in the midst of a time.
TEST_F(ColumnRecording, answersAreThoseOfTheModelAtAllResolutions)
{
    WdbColumnWriter writer;
    Design design(writer, seeded(1));
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    design.run(900000, 3);
    design.run(1000000, 2000000);
    design.run(700000, 2);
    writer.close();

    WdbColumnReader reader;
    reader.open(m_fileName);
    EXPECT_TRUE(reader.isClosed());
    EXPECT_EQ(reader.getLatestTime(), design.time());
    EXPECT_EQ(design.model().compare(reader, design.random(), kEver), "");
    EXPECT_EQ(reader.getFileManager().getDamageLog().getCount(), 0u);
}

/// What a segment has last of a time is overwritten by what the next one has first of it.
TEST_F(ColumnRecording, aTimeAcrossTheBorderOfSegmentsHasItsLastValue)
{
    WdbColumnWriter writer;
    constexpr long long kFields = 16;
    constexpr long long kFiller = 64;
    constexpr unsigned int kChanges = 3000000;
    std::vector<WdbColumnField> fields = {{kFiller, 4, false}};
    Model model;
    for (long long i = 0; i < kFields; ++i) {
        fields.push_back({i, 1, false});
        model.declare(i, false);
    }
    writer.setFields(fields);
    writer.setBaseDPOffset(0);
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    const auto trace = writer.getTraceScVirtualObjectFunc();
    std::mt19937 random(seeded(2));
    long long time = 0;
    for (unsigned int i = 0; i < kChanges; ++i) {
        time += random() % 100000 == 0 ? 1 + static_cast<long long>(random() % 3) : 0;
        trace(time, kFiller, reinterpret_cast<unsigned char*>(&i), 0, 4);
        if (random() % 300 == 0) {
            const long long field = static_cast<long long>(random() % kFields);
            unsigned char value = static_cast<unsigned char>(random() % 3);
            model.trace(time, field, value);
            trace(time, static_cast<unsigned long long>(field), &value, 0, 1);
        }
    }
    writer.close();

    WdbColumnReader reader;
    reader.open(m_fileName);
    for (long long field = 0; field < kFields; ++field) {
        const unsigned int id = reader.findFields(field, 1).front();
        for (long long from = 0; from <= time; ++from) {
            for (const long long resolution : {0, 2, 1000}) {
                ASSERT_EQ(readHistory(reader, id, from, time, resolution),
                          expectedHistory(model.changes(field), from, time, resolution))
                    << field << " from " << from << " by " << resolution;
            }
        }
    }
}

/// Over more segments than a digest is of, and some more.
TEST_F(ColumnRecording, aLongRunAnswersFromItsDigestsAsFromItsSegments)
{
    constexpr long long kSteps = 34000000;
    const std::vector<long long> rare = {5, 20000001, 20000005, kSteps - 3};
    WdbColumnWriter writer;
    writer.setFields({{0, 1, false}, {8, 4, false}, {16, 1, false}});
    writer.setBaseDPOffset(0);
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    const auto trace = writer.getTraceScVirtualObjectFunc();
    std::size_t next = 0;
    for (std::uint32_t i = 0; i < kSteps; ++i) {
        unsigned char clock = i & 1;
        trace(10LL * i, 0, &clock, 0, 1);
        if (i % 2 == 0) {
            trace(10LL * i, 8, reinterpret_cast<unsigned char*>(&i), 0, 4);
        }
        if (next < rare.size() && i == rare[next]) {
            auto value = static_cast<unsigned char>(++next);
            trace(10LL * i, 16, &value, 0, 1);
        }
    }
    writer.close();

    const auto compare = [&] {
        WdbColumnReader reader;
        reader.open(m_fileName);
        const auto idOf = [&](long long address) { return reader.findFields(address, 1).at(0); };
        const long long end = 10 * (kSteps - 1);
        // One run, but for what lies at its ends.
        EXPECT_EQ(readHistory(reader, idOf(0), 0, kEver, 10),
                  (std::vector<Answer>{{0, true, 0}, {end, false, 1}}));
        EXPECT_EQ(readHistory(reader, idOf(8), 1234567, kEver, 25),
                  (std::vector<Answer>{{1234560, false, 123456},
                                       {1234580, true, 0},
                                       {end - 10, false, kSteps - 2}}));
        EXPECT_THAT(readHistory(reader, idOf(8), 0, 1000, 19), ::testing::SizeIs(51));
        std::vector<Answer> changes;
        for (std::size_t i = 0; i < rare.size(); ++i) {
            const long long time = 10 * rare[i];
            changes.push_back({time, false, i + 1});
            long long found = 0;
            EXPECT_TRUE(reader.getNextChange(idOf(16), time - 1, found));
            EXPECT_EQ(found, time);
            EXPECT_TRUE(reader.getPreviousChange(idOf(16), time + 1, found));
            EXPECT_EQ(found, time);
        }
        EXPECT_EQ(readHistory(reader, idOf(16), 0, kEver, 0), changes);
        EXPECT_EQ(readHistory(reader, idOf(16), end, end, 0),
                  (std::vector<Answer>{changes.back()}));
        EXPECT_EQ(
            readHistory(reader, idOf(16), 0, kEver, 100),
            (std::vector<Answer>{changes[0], {10 * rare[1], true, 0}, changes[2], changes[3]}));
        EXPECT_EQ(reader.getFileManager().getDamageLog().getCount(), 0u);
        std::size_t digests = 0;
        std::size_t damaged = 0;
        EXPECT_TRUE(reader.survey([&](const WdbColumnExtent& extent) {
            digests += extent.m_kind == WdbColumnExtent::Digest ? 1 : 0;
            damaged += extent.m_isSound ? 0 : 1;
        }));
        return std::make_pair(digests, damaged);
    };
    EXPECT_EQ(compare(), std::make_pair(std::size_t{2}, std::size_t{0}));
    // The first one; the second one is met before it.
    std::string bytes = readFile(m_fileName);
    bytes[bytes.find("COLDIGS1") + 20] ^= 1;
    writeFile(m_fileName, bytes);
    EXPECT_EQ(compare(), std::make_pair(std::size_t{2}, std::size_t{1}));
}

/// A reader beside the writer sees what a sync brought, whole, however the syncs lie.
TEST_F(ColumnRecording, aReaderBesideTheWriterFollowsItsSyncs)
{
    WdbColumnWriter writer;
    Design design(writer, seeded(2));
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    WdbColumnReader reader;
    reader.open(m_fileName);
    EXPECT_LT(reader.getWholeTime(), 0);
    EXPECT_LT(reader.getLatestTime(), 0);
    for (int i = 0; i < 16; ++i) {
        design.run(i % 5 == 0 ? 30000 : 1 + design.random(2000), 3);
        const long long before = design.time() - 1;
        writer.sync();
        ASSERT_TRUE(reader.refresh());
        ASSERT_EQ(reader.getWholeTime(), before);
        ASSERT_EQ(design.model().compare(reader, design.random(), before), "") << i;
    }
    const auto size = std::filesystem::file_size(m_fileName);
    writer.close();
    // Room that short segments leave is taken again: what the log comes to is there twice at most,
    // and a half once more.
    EXPECT_LT(std::filesystem::file_size(m_fileName), 2 * size);
    const std::string again = m_directory.path("again.wdb");
    WdbColumnWriter other;
    Design once(other, seeded(2));
    other.open(IWdbWriter::kDefaultMode, "", again, 0);
    while (once.time() < design.time()) {
        once.run(1000, 3);
    }
    other.close();
    EXPECT_LT(std::filesystem::file_size(m_fileName), 3 * std::filesystem::file_size(again));
    WdbColumnReader whole;
    whole.open(m_fileName);
    EXPECT_EQ(design.model().compare(whole, design.random(), kEver), "");
    EXPECT_EQ(whole.getFileManager().getDamageLog().getCount(), 0u);
}

/// A part of a field leaves the rest of it as it was.
TEST_F(ColumnRecording, bytesWithoutADeclarationAndPartsOfFieldsAreKept)
{
    WdbColumnWriter writer;
    writer.setFields({{16, 8, false}});
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    const auto trace = writer.getTraceScVirtualObjectFunc();
    std::array<unsigned char, 24> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i + 1);
    }
    trace(1, 16, bytes.data(), 2, 1);
    trace(2, 3, bytes.data(), 0, 2);
    trace(3, 0, bytes.data(), 0, 24);
    ::testing::internal::CaptureStderr();
    trace(4, 1ull << 32, bytes.data(), 0, 1);
    trace(4, (1ull << 32) - 2, bytes.data(), 0, 4);
    EXPECT_THAT(::testing::internal::GetCapturedStderr(),
                ::testing::HasSubstr("address 4294967296 is left out"));
    writer.close();

    WdbColumnReader reader;
    reader.open(m_fileName);
    const auto historyAt = [&](long long address) {
        const auto fields = reader.findFields(address, 1);
        return fields.size() == 1 ? readHistory(reader, fields[0], 0, kEver, 0)
                                  : std::vector<Answer>();
    };
    EXPECT_EQ(historyAt(16),
              (std::vector<Answer>{{1, false, 0x010000}, {3, false, 0x1817161514131211}}));
    EXPECT_EQ(historyAt(4), (std::vector<Answer>{{2, false, 0x0201}, {3, false, 0x0504}}));
    EXPECT_EQ(historyAt(0), (std::vector<Answer>{{3, false, 0x030201}}));
    EXPECT_EQ(historyAt(7), (std::vector<Answer>{{3, false, 0x080706}}));
    EXPECT_THAT(reader.findFields(0, 24), ::testing::SizeIs(5));
}

/// Nobody syncs; the first log is in the file when the second one is full.
TEST_F(ColumnRecording, aTextIsInTheFileBeforeTheChangeThatNamesIt)
{
    WdbColumnWriter writer;
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    const auto trace = writer.getTraceScVirtualObjectFunc();
    long long id = writer.addString("idle");
    trace(0, 0, reinterpret_cast<unsigned char*>(&id), 0, 8);
    for (long long time = 1; time < 1600000; ++time) {
        trace(time, 8, reinterpret_cast<unsigned char*>(&time), 0, 8);
    }
    WdbColumnReader reader;
    reader.open(m_fileName);
    EXPECT_GT(reader.getWholeTime(), 0);
    EXPECT_EQ(readHistory(reader, 0, 0, kEver, 0), (std::vector<Answer>{{0, false, 1}}));
    WdbStringMapDatabase texts(reader.getFileManager());
    texts.initialize(WdbStringMapDatabase::getStringMapSection(reader.getFileManager()), false);
    std::string text;
    EXPECT_TRUE(texts.getString(1, text));
    EXPECT_EQ(text, "idle");
}

/// Before the time that the log of damage tells, nothing is missing and nothing is false.
TEST_F(ColumnRecording, damageIsToldWithATimeBeforeWhichAllIsRight)
{
    WdbColumnWriter writer;
    Design design(writer, seeded(3));
    writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
    design.run(1700000, 3);
    writer.close();
    const std::string sound = readFile(m_fileName);
    std::mt19937 random(seeded(4));
    for (int i = 0; i < 8; ++i) {
        std::string damaged = sound;
        if (i == 0) {
            damaged.resize(random() % sound.size());
        } else {
            for (unsigned int k = 0; k < 1 + random() % 3; ++k) {
                // Lists and roots lie at the ends.
                const std::size_t near = random() % 8000;
                const std::size_t at = i % 3 == 0   ? near
                                       : i % 3 == 1 ? sound.size() - 1 - near
                                                    : random() % sound.size();
                damaged[at] = static_cast<char>(damaged[at] ^ (1 << random() % 8));
            }
        }
        writeFile(m_fileName, damaged);
        WdbColumnReader reader;
        try {
            reader.open(m_fileName);
        } catch (const Qsim::OpenException&) {
            continue;
        }
        const auto replay = reader.getReplay();
        while (replay->next()) {
        }
        for (unsigned int field = 0; field < reader.getFieldCount(); ++field) {
            readHistory(reader, field, 0, kEver, 0);
        }
        // Without the last root it looks as if it had not been closed.
        long long end = reader.getWholeTime();
        for (const WdbDamage& place : reader.getFileManager().getDamageLog().getPlaces()) {
            end = std::min(end, place.m_hasTime ? place.m_time - 1 : -1);
        }
        if (end >= 0) {
            EXPECT_EQ(design.model().compare(reader, random, end), "") << i << ' ' << end;
        }
    }
}

/// Nothing older than a sync is lost, and nothing is there in part, whenever the process dies.
TEST_F(ColumnRecording, aKilledWriterLeavesWhatItSynced)
{
    std::mt19937 random(seeded(5));
    for (int i = 0; i < 8; ++i) {
        const auto seed = static_cast<unsigned int>(random());
        std::filesystem::remove(m_fileName);
        int ends[2];
        ASSERT_EQ(::pipe(ends), 0);
        {
            ForkedProcess process([&] {
                WdbColumnWriter writer;
                Design design(writer, seed);
                writer.open(IWdbWriter::kDefaultMode, "", m_fileName, 0);
                for (;;) {
                    design.run(1 + design.random(60000), 3);
                    writer.sync();
                    const long long whole = design.time() - 1;
                    static_cast<void>(!::write(ends[1], &whole, sizeof whole));
                }
                return true;
            });
            ::usleep(static_cast<useconds_t>(2000 + random() % 60000));
        }
        ::close(ends[1]);
        long long synced = -1;
        for (long long whole = 0; ::read(ends[0], &whole, sizeof whole) == sizeof whole;) {
            synced = whole;
        }
        ::close(ends[0]);
        WdbColumnReader reader;
        try {
            reader.open(m_fileName);
        } catch (const Qsim::OpenException&) {
            EXPECT_EQ(synced, -1);
            continue;
        }
        EXPECT_FALSE(reader.isClosed());
        EXPECT_GE(reader.getWholeTime(), synced);
        WdbColumnWriter other;
        Design design(other, seed);
        other.open(IWdbWriter::kDefaultMode, "", m_directory.path("again.wdb"), 0);
        while (design.time() <= reader.getWholeTime()) {
            design.run(1 + design.random(60000), 3);
        }
        EXPECT_EQ(design.model().compare(reader, random, reader.getWholeTime()), "");
        EXPECT_EQ(reader.getFileManager().getDamageLog().getCount(), 0u);
    }
}

} // namespace
} // namespace Tracewell

#include "survey/TransitionSurvey.h"

#include "survey/SurveyContext.h"

#include "Value.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace tracewell {

namespace {

constexpr long long kHeaderBytes = 144;
constexpr std::size_t kHeaderWords = 18;
constexpr std::uint64_t kFirstSignature = 0x3CF4D203EB154205;
constexpr std::uint64_t kSecondSignature = 0xABE23F64A2B2F1B7;
enum HeaderWord : std::size_t { FirstBlock = 3, InitialValues = 4, Tree = 5, DebugData = 7 };

constexpr long long kTreeHeaderBytes = 12;
constexpr std::size_t kDirectoryWords = 5;
constexpr std::size_t kRecordWords = 11;
constexpr long long kRecordBytes = 4 * kRecordWords;
constexpr unsigned int kMostLevels = 3;
constexpr unsigned int kMostTransitions = 2048;
constexpr unsigned int kMostPeriod = 49;
constexpr std::uint32_t kIdsOfPage = 1u << 20;
constexpr std::size_t kPages = 2048;

long long joinHalves(const std::uint32_t* words)
{
    return static_cast<long long>(std::uint64_t{words[0]} << 32 | words[1]);
}

/// A record of a tree.
struct Node
{
    explicit Node(const std::uint32_t* words)
        : firstTime(joinHalves(words)), lastTime(joinHalves(words + 2)),
          largestGap(joinHalves(words + 4)), count(words[6]), offset(joinHalves(words + 7)),
          children(words[9]), flags(words[10])
    {}

    unsigned int kind() const { return flags & 0xf; }
    bool isWide() const { return (flags >> 4 & 1) != 0; }
    bool isAlternating() const { return (flags >> 5 & 1) != 0; }
    unsigned int period() const { return flags >> 8 & 0xff; }
    long long wordBytes() const { return isWide() ? 8 : 4; }

    long long blockBytes() const
    {
        if (period() != 0) {
            return period() == 1 ? 0 : 4LL * period();
        }
        return wordBytes() * (static_cast<long long>(count) + valueWords());
    }

    long long firstTime;
    long long lastTime;
    long long largestGap;
    std::uint32_t count;
    long long offset;
    std::uint32_t children;
    std::uint32_t flags;

private:
    long long valueWords() const
    {
        using namespace Tracewell;
        const long long n = count;
        const int wide = isWide() ? 1 : 0;
        switch (kind()) {
        case ValueByte:
        case ValueInt32:
            return n;
        case ValueInt64:
        case ValueDouble:
            return isWide() ? n : 0;
        case ValueBit:
            return (n >> (5 + wide)) + 1;
        case ValueVlog:
            return (n >> (4 + wide)) + 1;
        case ValueStdLogic:
            return (n >> (3 + wide)) + 1;
        default:
            return 0;
        }
    }
};

class TransitionSurvey
{
public:
    explicit TransitionSurvey(const SurveyContext& context)
        : m_context(context), m_facts(context.survey.transitions.emplace())
    {}

    void run();

private:
    bool readHeader();
    void readTrees();
    void readTree(const std::uint32_t* entry, const Place& place);
    void readLeaf(const Place& treePlace, long long record, const Node& leaf, long long& lastTime);
    void readBlock(const Place& place, const Node& leaf);
    void readInitialValues();
    void readPage(const Place& place, long long offset, long long size);

    Place placeOf(const char* section) const
    {
        Place place;
        place.section = section;
        return place;
    }
    long long word(HeaderWord which) const { return static_cast<long long>(m_header[which]); }

    const SurveyContext& m_context;
    Survey::Transitions& m_facts;
    std::array<std::uint64_t, kHeaderWords> m_header{};
    std::vector<unsigned char> m_block;
};

void TransitionSurvey::run()
{
    if (!readHeader()) {
        return;
    }
    readTrees();
    readInitialValues();
    const long long names = word(DebugData);
    const Place place = placeOf("debug data");
    if (names < kHeaderBytes || names > m_context.file.size()) {
        m_context.damage(place, fmt::format("it begins at {}, outside the file", names),
                         "all names; objects can still be asked for by number");
        return;
    }
    const long long size = m_context.file.size() - names;
    if (m_context.claim(place, "the section", names, size, "names")) {
        m_context.survey.sections.push_back({"Zelnix DBG", 1, names, size});
    }
}

bool TransitionSurvey::readHeader()
{
    const Place place = placeOf("header");
    if (!m_context.file.read(0, m_header.data(), sizeof m_header)) {
        m_context.damage(place, "the file is shorter than its header", "everything");
        return false;
    }
    m_context.extents.claim(0, kHeaderBytes);
    m_facts.isFinished = m_header[0] == kFirstSignature && m_header[1] == kSecondSignature;
    m_context.survey.ending =
        m_facts.isFinished ? Survey::Ending::Closed : Survey::Ending::NeverClosed;
    if (!m_facts.isFinished) {
        m_context.damage(place, "the writer never finished this file",
                         "everything; such a file has its trees written last");
        return false;
    }
    if (word(FirstBlock) != kHeaderBytes) {
        m_context.notice(place,
                         fmt::format("the first block is said to be at {}", word(FirstBlock)));
    }
    return true;
}

void TransitionSurvey::readTrees()
{
    Place place = placeOf("trees");
    const long long start = word(Tree);
    std::uint32_t count = 0;
    const std::string all = "all histories";
    if (start < kHeaderBytes ||
        !m_context.claim(place, "the start of the section", start, kTreeHeaderBytes, all)) {
        if (start < kHeaderBytes) {
            m_context.damage(place, fmt::format("the section begins at {}", start), all);
        }
        return;
    }
    m_context.file.readRecord(start, m_facts.latestTime);
    m_context.file.readRecord(start + 8, count);
    const long long directoryBytes = 4LL * kDirectoryWords * count;
    place.node = start + kTreeHeaderBytes;
    if (!m_context.claim(place, "the directory", place.node, directoryBytes, all)) {
        return;
    }
    m_facts.objects = count;
    std::vector<std::uint32_t> directory(kDirectoryWords * count);
    m_context.file.read(place.node, directory.data(),
                        static_cast<unsigned long long>(directoryBytes));
    std::vector<std::uint32_t> ids;
    for (std::size_t i = 0; i < directory.size(); i += kDirectoryWords) {
        readTree(&directory[i], place);
        ids.push_back(directory[i]);
        m_context.showProgress();
    }
    std::sort(ids.begin(), ids.end());
    const auto twice = std::adjacent_find(ids.begin(), ids.end());
    if (twice != ids.end()) {
        m_context.damage(place, fmt::format("object {} has two trees", *twice), "one of them");
    }
    m_context.survey.sections.push_back({"trees", 1, start,
                                         place.node + directoryBytes - start +
                                             kRecordBytes * static_cast<long long>(m_facts.nodes)});
}

/// The records of one object, the children of each node behind those of the nodes before it.
void TransitionSurvey::readTree(const std::uint32_t* entry, const Place& place)
{
    Place tree = place;
    tree.section = fmt::format("tree of object {}", entry[0]);
    tree.node = joinHalves(entry + 2);
    const std::string lost = fmt::format("the history of object {}", entry[0]);
    const long long bytes = kRecordBytes * static_cast<long long>(entry[1]);
    if (entry[1] == 0) {
        m_context.damage(tree, "it has no records", lost);
        return;
    }
    if (!m_context.claim(tree, "its records", tree.node, bytes, lost)) {
        return;
    }
    std::vector<std::uint32_t> words(kRecordWords * entry[1]);
    m_context.file.read(tree.node, words.data(), static_cast<unsigned long long>(bytes));
    m_facts.nodes += entry[1];

    std::size_t nextChild = 1;
    std::size_t levelEnd = 1;
    unsigned int level = 1;
    long long lastTime = std::numeric_limits<long long>::min();
    for (std::size_t i = 0; i < entry[1]; ++i) {
        if (i == levelEnd) {
            levelEnd = nextChild;
            ++level;
        }
        const Node node(&words[i * kRecordWords]);
        tree.record = static_cast<long long>(i);
        if (i >= nextChild || node.children > entry[1] - nextChild || level > kMostLevels) {
            m_context.damage(tree, "the records make no tree", lost);
            return;
        }
        if (node.firstTime > node.lastTime) {
            m_context.damage(tree,
                             fmt::format("it begins at {} and ends at {}",
                                         m_context.timeText(node.firstTime),
                                         m_context.timeText(node.lastTime)),
                             lost);
        }
        if (node.children == 0) {
            readLeaf(tree, static_cast<long long>(i), node, lastTime);
        }
        nextChild += node.children;
    }
    if (nextChild != entry[1]) {
        tree.record = -1;
        m_context.notice(tree,
                         fmt::format("{} of its records belong to nobody", entry[1] - nextChild));
    }
    if (lastTime > m_facts.latestTime) {
        m_context.notice(tree, fmt::format("it goes on to {}, behind the file's latest time",
                                           m_context.timeText(lastTime)));
    }
}

void TransitionSurvey::readLeaf(const Place& treePlace, long long record, const Node& leaf,
                                long long& lastTime)
{
    Place place = treePlace;
    place.record = record;
    const std::string lost =
        fmt::format("transitions from {} to {}", m_context.timeText(leaf.firstTime),
                    m_context.timeText(leaf.lastTime));
    if (leaf.count == 0 || leaf.count > kMostTransitions || leaf.period() > kMostPeriod ||
        leaf.flags >> 16 != 0) {
        m_context.damage(place,
                         fmt::format("a block of {} transitions with flags {:#x} cannot be",
                                     leaf.count, leaf.flags),
                         lost);
        return;
    }
    // A buffer that was emptied early begins with the value at time 0 once more.
    if (leaf.firstTime <= lastTime && leaf.firstTime != 0) {
        m_context.damage(place,
                         fmt::format("it begins at {}, and the block before it ends at {}",
                                     m_context.timeText(leaf.firstTime),
                                     m_context.timeText(lastTime)),
                         "the order of time");
    }
    lastTime = std::max(lastTime, leaf.lastTime);
    m_facts.transitions += leaf.count;
    ++m_facts.blocks;
    m_facts.periodicBlocks += leaf.period() != 0 ? 1u : 0u;
    m_facts.wideBlocks += leaf.isWide() ? 1u : 0u;
    place.block = leaf.offset;
    place.blockSize = leaf.blockBytes();
    if (place.blockSize == 0 ||
        m_context.claim(place, "a block", leaf.offset, place.blockSize, lost)) {
        readBlock(place, leaf);
    }
}

/// The gaps must lead from the first time to the last one.
void TransitionSurvey::readBlock(const Place& place, const Node& leaf)
{
    m_block.resize(static_cast<std::size_t>(place.blockSize));
    m_context.file.read(leaf.offset, m_block.data(), m_block.size());
    const auto gapAt = [&](std::uint32_t index) -> std::uint64_t {
        if (leaf.period() == 1) {
            return static_cast<std::uint64_t>(leaf.largestGap);
        }
        const std::size_t slot = leaf.period() != 0 ? index % leaf.period() : index;
        if (leaf.isWide() && leaf.period() == 0) {
            std::uint64_t gap = 0;
            std::memcpy(&gap, &m_block[8 * slot], sizeof gap);
            return gap;
        }
        std::uint32_t gap = 0;
        std::memcpy(&gap, &m_block[4 * slot], sizeof gap);
        return gap;
    };
    std::uint64_t sum = 0;
    std::uint64_t largest = 0;
    for (std::uint32_t i = 0; i + 1 < leaf.count; ++i) {
        const std::uint64_t gap = gapAt(i);
        if (gap == 0 || gap > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) {
            Place at = place;
            at.byte = i;
            m_context.damage(at, fmt::format("gap {} is {}", i, gap), "the times behind it");
            return;
        }
        sum += gap;
        largest = std::max(largest, gap);
    }
    const auto span =
        static_cast<std::uint64_t>(leaf.lastTime) - static_cast<std::uint64_t>(leaf.firstTime);
    if (sum != span) {
        m_context.damage(
            place, fmt::format("its gaps lead {} units on, and its record says {}", sum, span),
            "times in it");
    } else if (largest > static_cast<std::uint64_t>(std::max(leaf.largestGap, 0LL))) {
        m_context.damage(place,
                         fmt::format("it has a gap of {}, and its record says at most {}", largest,
                                     leaf.largestGap),
                         "details in drawings");
    }
}

void TransitionSurvey::readInitialValues()
{
    const Place place = placeOf("initial values");
    const long long start = word(InitialValues);
    std::uint32_t maxId = 0;
    const std::string lost = "values at time 0";
    if (start < kHeaderBytes || !m_context.claim(place, "the largest id", start, 4, lost)) {
        if (start < kHeaderBytes) {
            m_context.damage(place, fmt::format("the section begins at {}", start), lost);
        }
        return;
    }
    m_context.file.readRecord(start, maxId);
    long long end = start + 4;
    if (maxId != 0 && maxId < kIdsOfPage) {
        readPage(place, end, static_cast<long long>(maxId) + 1);
        end += static_cast<long long>(maxId) + 1;
    } else if (maxId != 0) {
        std::array<unsigned char, kPages> isThere{};
        if (!m_context.claim(place, "the list of pages", end, kPages, lost)) {
            return;
        }
        m_context.file.read(end, isThere.data(), isThere.size());
        end += kPages;
        for (const unsigned char page : isThere) {
            if (page != 0) {
                readPage(place, end, kIdsOfPage);
                end += kIdsOfPage;
            }
        }
    }
    m_context.survey.sections.push_back({"initial values", 1, start, end - start});
}

void TransitionSurvey::readPage(const Place& place, long long offset, long long size)
{
    if (!m_context.claim(place, "a page", offset, size, "values at time 0")) {
        return;
    }
    std::vector<unsigned char> page(static_cast<std::size_t>(size));
    m_context.file.read(offset, page.data(), page.size());
    unsigned long long odd = 0;
    for (const unsigned char value : page) {
        const unsigned int kind = value >> 4;
        m_facts.initialValues += value != 0 ? 1u : 0u;
        odd += value != 0 && kind != 1 && kind != 2 && kind != 4 ? 1u : 0u;
    }
    if (odd != 0) {
        m_context.damage(place, fmt::format("{} values are of no kind", odd),
                         "these values at time 0");
    }
}

} // namespace

void surveyTransitions(const SurveyContext& context)
{
    TransitionSurvey(context).run();
}

} // namespace tracewell

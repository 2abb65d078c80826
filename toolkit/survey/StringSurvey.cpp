// SPDX-License-Identifier: BSD-3-Clause

#include "survey/BlockImage.h"
#include "survey/SurveyContext.h"
#include "text/Counted.h"

#include "WdbAppendingStringBlockList.h"
#include "WdbStringMapDatabase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

using Tracewell::WdbStringMapDatabaseHeader;
using StringNode = Tracewell::WdbStringBlockListNode<100>;

constexpr const char* kStringSection = "WDB.StringMap";
constexpr std::size_t kImageHeaderSize = 12;

class StringSurvey
{
public:
    explicit StringSurvey(const SurveyContext& context)
        : m_context(context), m_image(WdbStringMapDatabaseHeader::getDefaultBlockSize())
    {}

    void walkList(long long firstNode);

private:
    void readNode(const Place& place, const StringNode& node);
    void readBlock(Place place, const StringNode::Entry& entry);
    void checkImage(const Place& place, const StringNode::Entry& entry);

    const SurveyContext& m_context;
    BlockImage m_image;
    std::vector<unsigned char> m_stored;
    /// Of the texts so far; any number once a list is damaged.
    unsigned long long m_lastId = 0;
};

unsigned long long lastIdOf(const StringNode::Entry& entry)
{
    return static_cast<unsigned long long>(entry.m_startId) + entry.m_count - 1;
}

std::string idRange(const StringNode::Entry& entry)
{
    return fmt::format("the texts {} to {}", entry.m_startId, lastIdOf(entry));
}

void StringSurvey::walkList(long long firstNode)
{
    Place place;
    place.section = kStringSection;
    for (long long offset = firstNode; offset != 0;) {
        place.node = offset;
        StringNode node;
        if (!m_context.claim(place, "a list node", offset, sizeof node,
                             fmt::format("the texts behind number {}", m_lastId))) {
            return;
        }
        m_context.file.readRecord(offset, node);
        readNode(place, node);
        m_context.showProgress();
        offset = node.m_next;
    }
}

void StringSurvey::readNode(const Place& place, const StringNode& node)
{
    if (node.m_count > StringNode::kSlots) {
        m_context.damage(place,
                         fmt::format("the node counts {} blocks and has room for {}", node.m_count,
                                     StringNode::kSlots),
                         "perhaps texts");
    } else if (node.m_count < StringNode::kSlots &&
               (node.m_next != 0 || node.m_handles[node.m_count] != 0)) {
        m_context.damage(place, "the node counts only " + counted(node.m_count, "block"),
                         "the texts beyond its count");
    }
    for (unsigned int i = 0; i < std::min(node.m_count, StringNode::kSlots); ++i) {
        readBlock(place, node.getEntry(i));
    }
}

void StringSurvey::readBlock(Place place, const StringNode::Entry& entry)
{
    place.block = entry.m_handle;
    place.blockSize = entry.m_size;
    if (static_cast<unsigned long long>(entry.m_startId) != m_lastId + 1) {
        m_context.damage(place,
                         fmt::format("the block starts with text {}, the one before ends at {}",
                                     entry.m_startId, m_lastId),
                         "texts between them, or one of two with the same number");
    }
    m_lastId = lastIdOf(entry);
    if (entry.m_size == 0 || entry.m_size > m_image.blockSize()) {
        m_context.damage(place,
                         fmt::format("a stored block of {} bytes is not between 1 and {}",
                                     entry.m_size, m_image.blockSize()),
                         idRange(entry));
        return;
    }
    if (!m_context.claim(place, "a block", entry.m_handle, entry.m_size, idRange(entry))) {
        return;
    }
    m_stored.resize(entry.m_size);
    m_context.file.read(entry.m_handle, m_stored.data(), entry.m_size);
    ++m_context.survey.stringBlocks;
    if (m_image.unpack(m_stored) == BlockImage::State::Whole) {
        checkImage(place, entry);
    } else {
        m_context.damage(place,
                         fmt::format("the zlib stream is damaged or cut off; {} of {} bytes came "
                                     "out",
                                     m_image.unpacked(), m_image.blockSize()),
                         idRange(entry));
    }
}

void StringSurvey::checkImage(const Place& place, const StringNode::Entry& entry)
{
    long long startId = 0;
    unsigned int count = 0;
    std::memcpy(&startId, m_image.data(), sizeof startId);
    std::memcpy(&count, m_image.data() + sizeof startId, sizeof count);
    if (startId != entry.m_startId || count != entry.m_count) {
        m_context.damage(place,
                         fmt::format("the block holds {} texts from {} on, its list says {} from "
                                     "{} on",
                                     count, startId, entry.m_count, entry.m_startId),
                         idRange(entry));
        return;
    }
    const unsigned char* at = m_image.data() + kImageHeaderSize;
    const unsigned char* const end = m_image.data() + m_image.blockSize();
    unsigned int found = 0;
    for (; found < count; ++found) {
        at = std::find(at, end, static_cast<unsigned char>(0));
        if (at == end) {
            break;
        }
        ++at;
    }
    m_context.survey.strings += found;
    if (found < count) {
        m_context.damage(place, fmt::format("only {} of {} texts end in the block", found, count),
                         "the texts behind them");
    } else if (std::any_of(at, end, [](unsigned char byte) { return byte != 0; })) {
        m_context.damage(place, "bytes that are no zeros follow the last text", "perhaps texts");
    }
}

} // namespace

void surveyStrings(const SurveyContext& context)
{
    Survey& survey = context.survey;
    const auto section =
        std::find_if(survey.sections.begin(), survey.sections.end(), [](const auto& candidate) {
            return candidate.id == kStringSection && candidate.version == 1;
        });
    if (section == survey.sections.end()) {
        return;
    }
    survey.hasStringMap = true;
    Place place;
    place.section = kStringSection;
    WdbStringMapDatabaseHeader header{};
    long long firstNode = 0;
    if (!context.claim(place, "the header", section->offset, sizeof header, "all texts")) {
        return;
    }
    context.file.readRecord(section->offset, header);
    if (!context.claim(place, "the anchor of the list", header.m_stringBlockFileOffset,
                       sizeof firstNode, "all texts")) {
        return;
    }
    context.file.readRecord(header.m_stringBlockFileOffset, firstNode);
    if (header.m_stringBlockSize != WdbStringMapDatabaseHeader::getDefaultBlockSize()) {
        context.damage(place,
                       fmt::format("a block size of {} instead of {}", header.m_stringBlockSize,
                                   WdbStringMapDatabaseHeader::getDefaultBlockSize()),
                       "perhaps all texts");
        return;
    }
    StringSurvey(context).walkList(firstNode);
}

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "window/SegmentPlayer.h"

#include "playback/EventMerge.h"
#include "playback/TextLookup.h"

#include "WdbEventBlockDatabaseFactory.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

namespace tracewell {

namespace {

using Tracewell::WdbIEventBlockDatabase;

constexpr long long kReferenceBytes = sizeof(TextReference);
constexpr long long kEventBytes = 2;

} // namespace

SegmentPlayer::SegmentPlayer(const Declarations& declarations, const DataLayout& layout,
                             Tracewell::IWdbWriter& writer, const MakeSink& makeSink,
                             long long from)
    : m_values(declarations, layout, writer, makeSink), m_declared(declarations.objects),
      m_addresses(layout), m_places(layout, declarations.objects.size()), m_from(from)
{
    m_values.rememberTexts();
    m_values.setMuted(true);
}

void SegmentPlayer::play(const std::string& path)
{
    Tracewell::WdbFileManager file;
    file.open(path);
    const std::unique_ptr<WdbIEventBlockDatabase> database(
        Tracewell::WdbEventBlockDatabaseFactory::getInstance().create(
            WdbIEventBlockDatabase::getEventDatabaseTypeId(file), file));
    database->initialize(WdbIEventBlockDatabase::getEventSection(file), false);
    TextLookup texts(path);
    EventMerge events(*database, path);
    while (const Tracewell::WdbEvent* event = events.next()) {
        if (!m_hasBegun && event->getTime() > m_from) {
            begin(texts);
        }
        if (m_hasBegun && event->getTime() != m_values.time()) {
            noteRefusal();
            m_values.setTime(event->getTime());
        }
        take(*event, texts);
    }
    if (!m_hasBegun) {
        begin(texts);
    }
    noteRefusal();
}

/// Everything up to m_from has been taken in, and nothing behind it.
void SegmentPlayer::begin(TextLookup& texts)
{
    m_hasBegun = true;
    m_values.setMuted(false);
    m_values.setTime(m_from);
    m_values.restate();
    for (const auto& [object, reference] : m_textsAtStart) {
        tell(object, reference, texts);
        noteRefusal();
    }
    m_textsAtStart = {};
    for (const auto& [object, code] : m_firingsAtStart) {
        m_values.fire(object, code);
        noteRefusal();
    }
    m_firingsAtStart = {};
}

void SegmentPlayer::take(const Tracewell::WdbEvent& event, TextLookup& texts)
{
    const long long address = event.getStartAddress();
    const long long end = address + event.getValuelength();
    const unsigned char* const value = event.getValue();
    if (address < 0 || end > m_addresses.totalSize() || m_places.size() == 0) {
        return;
    }
    if (address >= m_addresses.overrideStart()) {
        const long long distance = address - m_addresses.overrideStart();
        if (distance % kReferenceBytes == 0 && end - address == kReferenceBytes) {
            takeText(static_cast<std::uint32_t>(distance / kReferenceBytes), true, value, texts);
        }
        return;
    }
    const PlaceIndex::Place& place = m_places[m_places.find(address)];
    const long long offset = address - place.address;
    const Object& object = m_declared[place.object];
    // A record is of one object's value.
    if (offset < 0 || end > place.address + DataLayout::sizeOf(object)) {
        return;
    }
    if (object.kind->fires()) {
        if (end - address == kEventBytes) {
            takeFiring(place.object, value[1], event.getTime());
        }
    } else if (object.kind->isText()) {
        if (end - address == kReferenceBytes) {
            takeText(place.object, false, value, texts);
        }
    } else {
        takePlain(place.object, offset, value, end - address);
    }
}

/// The other bytes stay; what is the same already is no change.
void SegmentPlayer::takePlain(std::uint32_t object, long long offset, const unsigned char* bytes,
                              long long count)
{
    const auto size = static_cast<std::size_t>(count);
    const unsigned char* const present = m_values.plainOf(object);
    if (m_values.hasValue(object) && std::memcmp(present + offset, bytes, size) == 0) {
        return;
    }
    m_whole.assign(present, present + DataLayout::sizeOf(m_declared[object]));
    std::memcpy(m_whole.data() + offset, bytes, size);
    m_values.storePlain(object, m_whole.data());
}

void SegmentPlayer::takeFiring(std::uint32_t object, std::uint8_t code, long long time)
{
    if (m_hasBegun) {
        m_values.fire(object, code);
    } else if (time == m_from) {
        m_firingsAtStart.emplace_back(object, code);
    }
}

void SegmentPlayer::takeText(std::uint32_t object, bool isOverride, const unsigned char* bytes,
                             TextLookup& texts)
{
    TextReference reference;
    std::memcpy(&reference, bytes, sizeof reference);
    // A string has a text of its own alone, anything else one beside its value alone.
    if (isOverride == m_declared[object].kind->isText()) {
        return;
    }
    if (m_hasBegun) {
        tell(object, reference, texts);
    } else {
        m_textsAtStart[object] = reference;
    }
}

void SegmentPlayer::tell(std::uint32_t object, const TextReference& reference, TextLookup& texts)
{
    if (reference.kind == 0) {
        m_values.forgetText(object);
        return;
    }
    const std::optional<std::string> text = texts.find(reference);
    if (!text) {
        return;
    }
    const auto form = static_cast<ChangeForm>(reference.kind);
    if (m_declared[object].kind->isText()) {
        m_values.store(object, ChangeForm::Text, *text);
    } else {
        m_values.storeText(object, form, *text);
    }
}

void SegmentPlayer::noteRefusal()
{
    std::string refusal = m_values.takeRefusal();
    if (!refusal.empty() &&
        std::find(m_refusals.begin(), m_refusals.end(), refusal) == m_refusals.end()) {
        m_refusals.push_back(std::move(refusal));
    }
}

} // namespace tracewell

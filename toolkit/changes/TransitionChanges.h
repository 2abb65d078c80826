// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "changes/GatheredChanges.h"
#include "changes/ReplayedChanges.h"
#include "playback/TextSource.h"
#include "wave/TransitionStream.h"
#include "wave/TransitionWaveFile.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// The changes of a recording in a transition database, brought into the order of time a stretch
/// after the other. A stretch is as long as a bounded number of changes allows.
class TransitionChanges : public ReplayedChanges
{
public:
    /// \throws Failure
    explicit TransitionChanges(const std::string& path);

    const Declarations& declarations() const override { return m_file.declarations(); }
    const DataLayout& layout() const override { return m_file.layout(); }
    long long latestTime() const override { return m_file.latestTime(); }
    long long end() const override { return m_file.end(); }
    std::vector<std::string> shortfalls() const override { return m_file.shortfalls(); }

protected:
    void choose(const std::vector<std::uint32_t>& objects) override;
    bool findNext(long long& time) override;
    void applyNext() override;

private:
    /// A transition object that has transitions.
    struct Source
    {
        std::uint32_t id;
        long long first;
        long long last;
    };
    /// Where the values of a source go. Apart from the sources, since each is looked at when and as
    /// often as the other is not.
    struct Target
    {
        /// Of the scalar or the real, or of the group with the bit.
        long long address;
        std::uint32_t object;
        std::uint32_t bit;
        const ValueKind* kind;
        bool isNineState;
        /// A bit of an object that has nine-state ones.
        bool hasLetters;
    };
    using Change = GatheredChanges::Change;

    void findSources(std::uint32_t object);
    bool addSource(std::uint32_t id, std::uint32_t object, std::uint32_t bit, bool isNineState);
    void chooseSpan();
    void gather();
    bool collect(long long to);
    std::uint32_t keepWide(const Tracewell::Value& value);
    void apply(const Target& target, const Change& change);
    void applyGroup(const Target& first, long long time);
    void applyFourState(const Target& target, std::uint8_t code);
    void applyNineState(const Target& target, std::uint8_t code);
    void applyEvent(std::uint32_t object, std::uint32_t bits);
    void showLetters();

    /// Stands for the texts, of which the store has none.
    class NoTexts : public TextSource
    {
    public:
        std::optional<std::string> find(const TextReference&) override { return std::nullopt; }
    };
    /// Codes of all bits of an object that has nine-state ones, kNoNineState where it has none.
    struct Letters
    {
        std::vector<std::uint8_t> fourState;
        std::vector<std::uint8_t> nineState;
    };

    TransitionWaveFile m_file;
    NoTexts m_texts;
    /// It is clear which sources take part.
    bool m_isChosen = false;
    std::vector<Source> m_sources;
    std::vector<Target> m_targets;
    GatheredChanges m_changes;
    /// What the changes of reals give the place of.
    std::vector<unsigned long long> m_wide;
    /// Where the next stretch begins, and the time that it covers.
    long long m_from = 0;
    bool m_isAtEnd = false;
    long long m_span = 1;
    long long m_lastTime = -1;
    std::unordered_map<std::uint32_t, Letters> m_letters;
    /// Objects of these that changed at this time.
    std::vector<std::uint32_t> m_spelled;
    std::unordered_map<std::uint32_t, std::uint32_t> m_counts;
    std::vector<Tracewell::Transition> m_answers;
};

} // namespace tracewell

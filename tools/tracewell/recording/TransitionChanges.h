#pragma once

#include "recording/ReplayedChanges.h"
#include "recording/TextSource.h"
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
    /// \throws CommandError
    explicit TransitionChanges(const std::string& path);

    const Declarations& declarations() const override { return m_file.declarations(); }
    const DataLayout& layout() const override { return m_file.layout(); }
    long long latestTime() const override { return m_file.latestTime(); }

protected:
    void choose(const std::vector<std::uint32_t>& objects) override;
    bool findNext(long long& time) override;
    void applyNext() override;

private:
    /// A transition object that has transitions.
    struct Source
    {
        std::uint32_t id;
        std::uint32_t object;
        std::uint32_t bit;
        bool isNineState;
        long long first;
        long long last;
    };
    struct Change
    {
        long long time;
        std::uint32_t source;
        unsigned long long bits;
    };

    void findSources();
    void gather();
    bool collect(long long to);
    void apply(const Change& change);
    void applyBit(const Source& source, std::uint8_t code);
    void applyNineState(const Source& source, std::uint8_t code);
    void applyEvent(std::uint32_t object, std::uint32_t bits);
    void showLetters();

    /// The store has none.
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
    std::vector<Source> m_sources;
    std::vector<Change> m_changes;
    std::size_t m_at = 0;
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

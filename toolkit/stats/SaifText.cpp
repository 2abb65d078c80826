// SPDX-License-Identifier: BSD-3-Clause

#include "stats/SaifText.h"

#include "wave/SignalSlice.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_set>

namespace tracewell {

namespace {

constexpr int kFemtosecond = -15;

/// The unit of a SAIF file, and what a recording's time is in it: times `factor`, by `divisor`.
struct SaifUnit
{
    explicit SaifUnit(const Timescale& timescale)
    {
        int exponent = timescale.exponent;
        factor = timescale.factor;
        for (; exponent < 0 && factor % 10 == 0; ++exponent) {
            factor /= 10;
        }
        for (; exponent > 0; --exponent) {
            factor *= 10;
        }
        for (; exponent < kFemtosecond; ++exponent) {
            divisor *= 10;
        }
        constexpr const char* kUnits[] = {"s", "ms", "us", "ns", "ps", "fs"};
        const int below = -exponent;
        const int unit = (below + 2) / 3;
        const int tens = 3 * unit - below;
        text = fmt::format("{} {}", tens == 0 ? 1 : tens == 1 ? 10 : 100, kUnits[unit]);
    }

    unsigned long long of(unsigned long long time) const
    {
        return static_cast<unsigned long long>(static_cast<unsigned __int128>(time) * factor /
                                               divisor);
    }

    unsigned long long factor = 1;
    unsigned long long divisor = 1;
    std::string text;
};

/// A name with a backslash in front of what is no letter, digit or "_".
std::string escaped(std::string_view name)
{
    if (!name.empty() && name[0] == '\\') {
        name.remove_prefix(1);
    }
    std::string text;
    for (const char c : name) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') || c == '_' ||
                             static_cast<unsigned char>(c) >= 0x80;
        if (!isPlain) {
            text += '\\';
        }
        text += c;
    }
    return text;
}

class SaifWriter
{
public:
    SaifWriter(const Declarations& declarations, const std::vector<SaifSignal>& signals,
               const SaifUnit& unit, const std::function<void(std::string_view)>& write)
        : m_declarations(declarations), m_unit(unit), m_write(write),
          m_children(declarations.scopes.size() + 1), m_signals(declarations.scopes.size() + 1),
          m_isUsed(declarations.scopes.size() + 1, 0)
    {
        for (std::size_t i = 0; i < declarations.scopes.size(); ++i) {
            m_children[placeOf(declarations.scopes[i].parent)].push_back(i);
        }
        for (const SaifSignal& signal : signals) {
            std::size_t scope = declarations.variables[signal.variable].scope;
            m_signals[placeOf(scope)].push_back(signal);
            for (; scope != kNoScope && m_isUsed[scope] == 0;
                 scope = declarations.scopes[scope].parent) {
                m_isUsed[scope] = 1;
            }
        }
    }

    void write()
    {
        // Nets outside of any scope have no instance; they get one.
        if (!m_signals.back().empty()) {
            open("top");
            writeNets(m_signals.back());
            close();
        }
        writeScopes();
    }

private:
    /// Behind all scopes: what is in none.
    std::size_t placeOf(std::size_t scope) const
    {
        return scope == kNoScope ? m_declarations.scopes.size() : scope;
    }

    /// Without calls in calls: a table may nest as deep as it likes.
    void writeScopes()
    {
        struct Place
        {
            std::size_t scope;
            std::size_t child;
        };
        std::vector<Place> places{{m_declarations.scopes.size(), 0}};
        while (!places.empty()) {
            Place& place = places.back();
            const std::vector<std::size_t>& children = m_children[place.scope];
            if (place.child == children.size()) {
                if (places.size() > 1) {
                    close();
                }
                places.pop_back();
                continue;
            }
            const std::size_t scope = children[place.child++];
            if (m_isUsed[scope] != 0) {
                open(m_declarations.scopes[scope].name);
                writeNets(m_signals[scope]);
                places.push_back({scope, 0});
            }
        }
    }

    void line(const std::string& text)
    {
        m_write(std::string(2 * std::min<std::size_t>(m_depth, 40), ' ') + text + "\n");
    }
    void open(std::string_view name)
    {
        line(fmt::format("(INSTANCE {}", name.empty() ? "unnamed" : escaped(name)));
        ++m_depth;
    }
    void close()
    {
        --m_depth;
        line(")");
    }

    void writeNets(const std::vector<SaifSignal>& signals)
    {
        std::unordered_set<std::string> names;
        for (const bool isPort : {true, false}) {
            bool isOpen = false;
            for (const SaifSignal& signal : signals) {
                const Variable& variable = m_declarations.variables[signal.variable];
                if ((variable.direction != Direction::None) != isPort ||
                    !names.insert(variable.name + variable.range.str()).second) {
                    continue;
                }
                if (!isOpen) {
                    line(isPort ? "(PORT" : "(NET");
                    ++m_depth;
                    isOpen = true;
                }
                writeBits(variable, *signal.activity);
            }
            if (isOpen) {
                close();
            }
        }
    }

    void writeBits(const Variable& variable, const SignalActivity& activity)
    {
        const auto width = static_cast<unsigned int>(
            std::min<std::size_t>(std::max(variable.width, 1u), activity.bits.size()));
        const BitRange range = numbersOf(variable, width);
        const bool hasNumber = width > 1 || !variable.range.empty();
        for (unsigned int i = 0; i < width; ++i) {
            const long long number = range.left >= range.right ? range.left - i : range.left + i;
            const BitActivity& bit = activity.bits[width - 1 - i];
            const auto time = [&](std::size_t state) { return m_unit.of(bit.states.times[state]); };
            line(fmt::format("({}{} (T0 {}) (T1 {}) (TX {}) (TZ {}) (TC {}) (IG 0))",
                             escaped(variable.name),
                             hasNumber ? fmt::format("\\[{}\\]", number) : std::string(), time(0),
                             time(1), time(3), time(2), bit.toggles));
        }
    }

    const Declarations& m_declarations;
    const SaifUnit& m_unit;
    const std::function<void(std::string_view)>& m_write;
    std::vector<std::vector<std::size_t>> m_children;
    std::vector<std::vector<SaifSignal>> m_signals;
    std::vector<char> m_isUsed;
    std::size_t m_depth = 1;
};

} // namespace

void writeSaif(const Declarations& declarations, const std::vector<SaifSignal>& signals,
               const SaifHead& head, const std::function<void(std::string_view)>& write)
{
    const SaifUnit unit(declarations.timescale);
    const std::size_t design = declarations.scopes.empty() ? 0 : 1;
    write(fmt::format("(SAIFILE\n"
                      "  (SAIFVERSION \"2.0\")\n"
                      "  (DIRECTION \"backward\")\n"
                      "  (DESIGN \"{}\")\n"
                      "  (VENDOR \"Tracewell\")\n"
                      "  (PROGRAM_NAME \"tracewell\")\n"
                      "  (VERSION \"{}\")\n"
                      "  (DIVIDER /)\n"
                      "  (TIMESCALE {})\n"
                      "  (DURATION {})\n",
                      design == 0 ? std::string() : escaped(declarations.scopes[0].name),
                      head.version, unit.text, unit.of(head.duration)));
    SaifWriter(declarations, signals, unit, write).write();
    write(")\n");
}

} // namespace tracewell

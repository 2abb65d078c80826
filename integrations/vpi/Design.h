// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DeclarationsBuilder.h"

#include <vpi_user.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tracewell::vpi {

/// A variable of the design whose value is recorded.
struct Probe
{
    vpiHandle handle = nullptr;
    std::uint32_t object = 0;
    const ValueKind* kind = &kScalar;
    unsigned int width = 1;
    /// A parameter: its value never changes.
    bool isConstant = false;
    /// It changed in the time step at hand.
    bool isDirty = false;
    /// Bits that come with the change, in place of a question for each: groups of a vector, the
    /// code of a scalar. Null where they do not.
    s_vpi_vecval* pending = nullptr;
    vpiHandle callback = nullptr;
};

/// What is recorded of the design: a name table, and a probe for each object of it.
class Design
{
public:
    /// `complain` is told, once for each kind, what cannot be recorded.
    Design(bool keepsTexts, std::function<void(const std::string&)> complain);

    /// Adds all that `levels` levels of a scope declare, see ScopeChoice.
    void addScope(vpiHandle scope, unsigned int levels);
    /// Adds all top scopes, each so many levels deep; 0 takes all levels.
    void addTops(unsigned int levels);
    /// Adds one variable, word of a memory, or all of these, below its scopes. False for what is
    /// none, as a part of a vector.
    bool addVariable(vpiHandle variable);

    bool isEmpty() const { return m_probes.empty(); }
    /// Probes do not move.
    std::deque<Probe>& probes() { return m_probes; }
    /// The table; once, after all was added.
    Declarations finish() { return m_builder.finish(); }

private:
    /// What tells variables apart. Names do not: joined by dots, two of them can read alike. Icarus
    /// Verilog has one handle for a variable, however it is asked; for a word of a memory it has
    /// several, in one scope. GHDL makes a handle for each question, and its full names are unique.
    using Identity = std::pair<vpiHandle, std::string>;

    void addContents(vpiHandle scope, unsigned int levels);
    void addItems(vpiHandle scope);
    void add(vpiHandle item, vpiHandle scope);
    Identity identify(vpiHandle item, int type, vpiHandle scope) const;
    bool declaresSomething(vpiHandle scope) const;
    /// Opens the scopes around an item that are not open, and answers how many these were.
    std::size_t openScopesAround(vpiHandle item);
    void openScope(vpiHandle scope);
    void closeScopes(std::size_t count);
    void skip(int type, const std::string& name);

    bool m_keepsTexts;
    std::function<void(const std::string&)> m_complain;
    DeclarationsBuilder m_builder;
    std::deque<Probe> m_probes;
    /// The items that have been added, so that none is added twice.
    std::set<Identity> m_known;
    /// Nets that the simulator says are one, by its number of it.
    std::map<int, std::uint32_t> m_nets;
    std::map<int, unsigned int> m_skipped;
    bool m_isIcarus;
    bool m_isGhdl;
    int m_version = 0;
};

bool isScope(vpiHandle item);
/// By full name. Several of them can have names that read alike: a scope `a.b`, and a `b` in `a`.
/// Escaped names may have the backslash in front.
std::vector<vpiHandle> findScopes(const std::string& name);
/// Ten to this power of a second is the unit of simulation time.
int timePrecision();
/// "Icarus Verilog", "GHDL", ...
std::string simulatorName();
constexpr const char* kGhdl = "GHDL";
constexpr const char* kIcarus = "Icarus Verilog";

} // namespace tracewell::vpi

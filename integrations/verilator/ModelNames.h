// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ModelRecorder.h"

#include "names/Declarations.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tracewell {

/// The names of a model. It declares them in any order of scopes; the table has each scope once.
class ModelNames
{
public:
    static constexpr std::uint32_t kNoObject = static_cast<std::uint32_t>(-1);

    explicit ModelNames(const std::string& resolution) : m_resolution(resolution), m_scopes(1) {}

    /// Takes a signal over as ModelRecorder::declare() is given it.
    void declare(std::uint32_t code, std::string_view path, ModelRecorder::Kind kind,
                 const int* arrayIndex, const ModelRecorder::Range& range);
    /// The table, and the object of each code.
    std::pair<Declarations, std::vector<std::uint32_t>> makeTable() const;

private:
    struct Signal
    {
        std::uint32_t code;
        ModelRecorder::Kind kind;
        std::string name;
        std::string range;
        unsigned int width;
    };
    struct ScopeNames
    {
        std::string kind;
        std::string name;
        std::vector<std::size_t> inner;
        std::map<std::string, std::size_t, std::less<>> innerByName;
        std::vector<Signal> signals;
        /// What was declared already. An element of an array can have the name of another variable.
        std::set<std::pair<std::string, std::uint32_t>> known;
    };
    class TableMaker;

    std::size_t findScope(std::size_t outer, std::string_view name);

    std::string m_resolution;
    /// The first one has no name and holds the others.
    std::vector<ScopeNames> m_scopes;
};

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/fst/FstUnpack.h"
#include "names/Declarations.h"
#include "names/DeclarationsBuilder.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tracewell {

constexpr std::uint32_t kNoFstObject = 0xffffffffU;

/// What the hierarchy of an FST file declares.
struct FstNames
{
    Declarations declarations;
    /// By handle, counted from 0: its object, or kNoFstObject.
    std::vector<std::uint32_t> objects;
    /// By handle: the bits of its values, 0 for texts; reals have kRealLength.
    std::vector<std::uint32_t> lengths;
    /// By handle: its values are states and strengths.
    std::vector<char> isPort;
    /// The bytes ended within an entry, as those of a killed writer may.
    bool isCutOff = false;

    static constexpr std::uint32_t kRealLength = 0xffffffffU;
};

/// Reads the entries of a hierarchy: scopes, variables and attributes one after the other.
class FstHierarchy
{
public:
    FstHierarchy(std::string version, std::string date, const Timescale& timescale);

    /// \throws Failure for what makes no sense; the text goes behind the file's name.
    FstNames read(const FstBytes& bytes);

private:
    struct Attributes;

    bool readText(std::string_view& text);
    bool readEntry();
    bool readScope();
    bool readVariable(unsigned int kind);
    bool readAttribute();
    void takeAttribute(unsigned int type, std::string_view name, unsigned long long argument);
    void addEnumeration(std::string_view text, unsigned long long number);

    DeclarationsBuilder m_builder;
    FstNames m_names;
    const unsigned char* m_at = nullptr;
    const unsigned char* m_end = nullptr;
    std::size_t m_depth = 0;
    std::size_t m_variables = 0;
    /// By the number that references name: an enumeration of the builder.
    std::unordered_map<unsigned long long, std::size_t> m_enumerations;
};

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/ghw/GhwTypes.h"
#include "names/Declarations.h"
#include "names/DeclarationsBuilder.h"

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace tracewell {

/// How the scalars of a GHW file make up the objects of our declarations.
struct GhwSignals
{
    /// How an object's value is made of scalars.
    enum class Form : std::uint8_t {
        Logic,  ///< a letter of nine states each
        Bit,    ///< 0 or 1 each
        Number, ///< the bits of one integer, or of a literal's number
        Real,
        Text ///< a character each
    };

    struct Object
    {
        Form form = Form::Number;
        /// Bits of a number.
        std::uint8_t width = 0;
        /// In `scalars`, the leftmost first.
        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    Declarations declarations;
    std::vector<Object> objects;
    std::vector<std::uint32_t> scalars;
    /// By scalar, from 1 on: its type, null for one that no signal has.
    std::vector<const GhwType*> types;
};

/// Reads the hierarchy of a GHW file, and declares its signals as users of VHDL know them: records
/// are scopes, the elements of an array of others than bits have their index behind the name.
class GhwHierarchy
{
public:
    GhwHierarchy(GhwInput& input, GhwTypes& types);

    /// Behind the tag of the section.
    /// \throws Failure, GhwInput::CutOff
    GhwSignals read();

private:
    void readScope(unsigned int kind);
    void readSignal(unsigned int kind);
    std::uint32_t readScalar(const GhwType& type);
    void readScalars(const GhwType& type, std::vector<std::uint32_t>& out);
    void declare(const std::string& name, const GhwType& type, const std::uint32_t*& scalars);
    void declareArray(const std::string& name, const GhwType& type, const std::uint32_t*& scalars);
    void declareScalar(const std::string& name, const GhwType& type, std::uint32_t scalar);
    void declareVector(const std::string& name, const GhwType& type, const std::uint32_t* scalars);
    void addObject(const std::string& keyword, const std::string& name, const std::string& range,
                   unsigned int width, const GhwType& type, const GhwSignals::Object& object,
                   const std::uint32_t* scalars);
    std::size_t enumerationOf(const GhwType& type, unsigned int width);

    GhwInput& m_input;
    GhwTypes& m_types;
    DeclarationsBuilder m_builder;
    GhwSignals m_signals;
    std::uint64_t m_scalarCount = 0;
    std::size_t m_depth = 0;
    Direction m_direction = Direction::None;
    /// By the form and the scalars: objects that there are.
    std::unordered_map<std::string, std::uint32_t> m_known;
    std::map<std::vector<std::string>, std::size_t> m_enumerations;
};

} // namespace tracewell

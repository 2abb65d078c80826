// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace tracewell {

/// Unpacks the members of one packed format: the stretches that follow each other in a file, each
/// whole in itself. Takes memory of a bounded size, whatever the bytes say.
class Unpacker
{
public:
    enum class Step {
        More,      ///< wants more input, or more room
        MemberEnd, ///< the member is whole and its check sum is right
        Damaged    ///< the input makes no sense; why() tells
    };

    Unpacker() = default;
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;
    virtual ~Unpacker() = default;

    /// Takes from the front of `in` and puts behind `to`, as far as both go.
    virtual Step unpack(std::string_view& in, char*& to, const char* end) = 0;
    /// Makes ready for the next member.
    virtual void beginMember() = 0;
    virtual std::string why() const = 0;
};

/// A packed format that is read.
struct Packing
{
    /// As it is called in messages.
    const char* name;
    /// What unpacks it for other programs.
    const char* tool;
    std::string_view start;
    std::unique_ptr<Unpacker> (*makeUnpacker)();

    /// Whether a member starts with these bytes; of few bytes, whether it may.
    bool isStart(std::string_view bytes) const;
};

/// So many bytes tell whether a member starts.
constexpr std::size_t kPackingBytes = 6;

/// The format that starts so, or null.
const Packing* findPacking(std::string_view head);

} // namespace tracewell

#pragma once

#include "formats/vcd/VcdReader.h"
#include "record/ValueRecorder.h"

#include <string>
#include <string_view>

namespace tracewell {

/// Plays the kernel of a simulation that runs through the changes of a VCD.
class SignalRecorder : public ValueRecorder
{
public:
    using ValueRecorder::ValueRecorder;

    /// Takes one step. An empty answer is success; otherwise it says what is wrong with the value,
    /// or that the store cannot keep it: refusal() says that too then.
    std::string apply(const VcdChange& change);
    using ValueRecorder::refusal;

private:
    void setLetter(std::uint32_t object, std::uint8_t code);
    std::string setLetters(std::uint32_t object, std::string_view letters);
    std::string setReal(std::uint32_t object, std::string_view text);
    void setText(std::uint32_t object, std::string_view text);
    std::string setPort(std::uint32_t object, std::string_view text);
};

} // namespace tracewell

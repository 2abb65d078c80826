// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "formats/run/RunReader.h"
#include "formats/vcd/VcdInput.h"
#include "formats/vcd/VcdReader.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tracewell {

/// The run that a VCD tells.
class VcdRunReader : public RunReader
{
public:
    /// Times have `fractionDigits` decimals more than the timescale says; for `isLenient` see
    /// VcdReader. `onRead` is called before every read and several times a second while a pipe is
    /// silent.
    /// \throws Failure
    VcdRunReader(std::unique_ptr<ByteSource> source, std::string name, int fractionDigits,
                 bool isLenient, std::function<void()> onRead);

    const Declarations& declarations() const override { return m_declarations; }
    bool next(RunChange& change) override { return m_reader->next(change); }
    [[noreturn]] void refuse(const std::string& why) override { m_input.fail(why); }
    void refuseValue(const std::string& why) override { m_reader->refuseValue(why); }
    const std::string& name() const override { return m_input.name(); }
    double progress() const override { return m_input.progress(); }
    unsigned long long bytesRead() const override { return m_input.bytesRead(); }
    unsigned long long expectedSize() const override { return m_input.expectedSize(); }
    std::string shortfall(std::string_view done) const override;
    std::string lenience() const override { return m_reader->oddities().describe(); }
    int neededFractionDigits() const override { return m_reader->neededFractionDigits(); }
    bool isRepeatable() const override { return m_input.isRepeatable(); }

private:
    VcdInput m_input;
    /// The input ended before the declarations did.
    bool m_isTableCutOff = false;
    Declarations m_declarations;
    std::unique_ptr<VcdReader> m_reader;
};

} // namespace tracewell

#pragma once

#include "names/DataLayout.h"
#include "names/Declarations.h"
#include "text/TimeText.h"

#include <memory>
#include <string>
#include <string_view>

namespace tracewell {

/// The name table that belongs to a recording, finished or still on its way.
class SignalNames
{
public:
    /// Without names, as long as read() has brought none. `path` is the recording's, for messages.
    explicit SignalNames(std::string path) : m_path(std::move(path)) {}

    /// Takes over what a kernel left as its debug file; empty for none. Afterwards either the names
    /// are there or the reason why not.
    void read(std::string_view text);

    const std::string& path() const { return m_path; }
    /// False when the recording has no name table in the form of a VCD's declarations: it comes
    /// from another program, and only addresses are known.
    bool hasNames() const { return m_layout != nullptr; }
    /// Why not.
    const std::string& whyNoNames() const { return m_whyNoNames; }
    /// Empty without names.
    const Declarations& declarations() const { return m_declarations; }
    /// Only with names.
    const DataLayout& layout() const { return *m_layout; }
    const TimeText& timeText() const { return m_timeText; }

private:
    std::string m_path;
    std::string m_whyNoNames = "it holds no name table";
    Declarations m_declarations;
    std::unique_ptr<DataLayout> m_layout;
    TimeText m_timeText;
};

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "names/DataLayout.h"
#include "names/Declarations.h"
#include "names/TimeText.h"
#include "names/TransitionLayout.h"

#include <memory>
#include <string>
#include <string_view>

namespace tracewell {

/// The name table that belongs to a recording, finished or still on its way.
class SignalNames
{
public:
    /// What the recording goes by.
    enum class Places {
        Bytes,  ///< addresses in a data memory: an event database
        Objects ///< numbers of objects: a transition database
    };

    /// Without names, as long as read() has brought none. `path` is the recording's, for messages.
    explicit SignalNames(std::string path, Places places = Places::Bytes)
        : m_path(std::move(path)), m_places(places)
    {}

    /// Takes over what a kernel left as its debug file; empty for none. Afterwards either the names
    /// are there or the reason why not.
    void read(std::string_view text);
    /// The same with a table that has been read already.
    void take(const Declarations& declarations);

    const std::string& path() const { return m_path; }
    Places places() const { return m_places; }
    /// How to ask for what has no name, for messages.
    const char* howToAskByPlace() const
    {
        return m_places == Places::Bytes ? "bytes by their address: @ADDRESS or @ADDRESS:BYTES"
                                         : "objects by their number: @ID or @ID:COUNT";
    }
    /// Says where the names are to be seen, for messages, where no command lists them: those of a
    /// VCD, and of a recording that is yet to be.
    void listIn(const std::string& place) { m_listing = "all names are in " + place; }
    std::string howToList() const
    {
        return !m_listing.empty() ? m_listing : "list them with `tracewell signals " + m_path + "`";
    }
    /// False when the recording has no name table in the form of a VCD's declarations: it comes
    /// from another program, and only addresses are known.
    bool hasNames() const { return m_layout != nullptr; }
    /// Why there are no names; empty when there are.
    const std::string& whyNoNames() const { return m_whyNoNames; }
    /// \throws Failure that says why not.
    void requireNames() const;
    /// The table of names; empty when there are none.
    const Declarations& declarations() const { return m_declarations; }
    /// Where values lie; only when there are names.
    const DataLayout& layout() const { return *m_layout; }
    /// Only with names, for Places::Objects.
    const TransitionLayout& transitionLayout() const { return *m_transitionLayout; }
    const TimeText& timeText() const { return m_timeText; }

private:
    void placeValues();

    std::string m_path;
    Places m_places;
    std::string m_listing;
    std::string m_whyNoNames = "it holds no name table";
    Declarations m_declarations;
    std::unique_ptr<DataLayout> m_layout;
    std::unique_ptr<TransitionLayout> m_transitionLayout;
    TimeText m_timeText;
};

} // namespace tracewell

#pragma once

#include <CLI/App.hpp>

#include <map>
#include <string>

namespace tracewell {

/// What a recording is kept in: a database of events by address, one with an index by time, or one
/// of transitions by object.
enum class Store { Events, Transitions, Indexed };

constexpr const char* kStoreOption = "--store";

/// `choices` are the stores that the command knows: {"events", Store::Events}, ...
inline void addStoreOption(CLI::App& command, Store& store,
                           const std::map<std::string, Store>& choices)
{
    std::string names;
    for (const auto& [name, choice] : choices) {
        names += (names.empty() ? "" : "|") + name;
    }
    command.add_option(kStoreOption, store, "What to keep the recording in; events if not given")
        ->type_name(names)
        ->transform(CLI::CheckedTransformer(choices).description(""))
        ->option_text(names);
}

/// What makes another command use the same store, with a blank in front; empty for the usual one.
inline std::string storeText(Store store)
{
    return store == Store::Events    ? ""
           : store == Store::Indexed ? " --store indexed"
                                     : " --store transitions";
}

/// Refuses an option that makes no sense for the store chosen: wrong usage.
inline void requireNotGiven(const CLI::App& command, const std::string& option, Store store)
{
    if (command.get_option(option)->count() == 0) {
        return;
    }
    throw CLI::ValidationError(option, "has no meaning for" + storeText(store) + "; leave it out");
}

} // namespace tracewell

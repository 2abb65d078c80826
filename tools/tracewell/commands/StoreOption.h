// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "commands/OptionValues.h"

#include "record/Store.h"

#include <CLI/App.hpp>

#include <string>

namespace tracewell {

constexpr const char* kStoreOption = "--store";

/// `choices` are the stores that the command knows: {"events", Store::Events}, ...
inline void addStoreOption(CLI::App& command, Store& store, const Choices<Store>& choices)
{
    addChoice(command, kStoreOption, store, choices,
              "What to keep the recording in; events if not given");
}

/// What makes another command use the same store, with a blank in front; empty for the usual one.
inline std::string storeText(Store store)
{
    return store == Store::Events ? "" : std::string(" --store ") + nameOf(store);
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

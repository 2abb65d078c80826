// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <optional>
#include <string_view>

namespace tracewell {

/// What a recording is kept in: a database of events by address, one with an index by time, one of
/// transitions by object, or columns.
enum class Store { Events, Transitions, Indexed, Columns };

/// What users call it.
constexpr const char* nameOf(Store store)
{
    switch (store) {
    case Store::Events:
        return "events";
    case Store::Transitions:
        return "transitions";
    case Store::Indexed:
        return "indexed";
    case Store::Columns:
        break;
    }
    return "columns";
}

/// Of those that a recorder of a running simulation offers.
inline std::optional<Store> findRecorderStore(std::string_view name)
{
    for (const Store store : {Store::Events, Store::Columns, Store::Transitions}) {
        if (name == nameOf(store)) {
            return store;
        }
    }
    return std::nullopt;
}

} // namespace tracewell

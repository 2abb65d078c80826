// SPDX-License-Identifier: BSD-3-Clause

#include "changes/SlicedChanges.h"

#include <algorithm>
#include <utility>

namespace tracewell {

namespace {

constexpr std::uint32_t kNotChosen = 0xffffffffU;

} // namespace

SlicedChanges::SlicedChanges(std::unique_ptr<ChangeStream> source,
                             const std::vector<std::size_t>& variables, long long from,
                             long long to)
    : m_source(std::move(source)), m_from(from), m_to(to)
{
    declare(variables);
    ChangeSelection selection;
    selection.from = from;
    if (m_objects.size() < m_source->declarations().objects.size()) {
        selection.objects = m_objects;
    }
    m_source->select(selection);
}

/// Objects stay in their order, so that the changes of a step do.
void SlicedChanges::declare(const std::vector<std::size_t>& variables)
{
    const Declarations& all = m_source->declarations();
    std::vector<char> isChosen(all.variables.size(), 0);
    std::vector<char> isNeeded(all.objects.size(), 0);
    for (const std::size_t variable : variables) {
        isChosen[variable] = 1;
        isNeeded[all.variables[variable].object] = 1;
    }
    m_ownObjects.assign(all.objects.size(), kNotChosen);
    for (std::uint32_t object = 0; object < all.objects.size(); ++object) {
        if (isNeeded[object] != 0) {
            m_ownObjects[object] = static_cast<std::uint32_t>(m_objects.size());
            m_objects.push_back(object);
            m_declarations.objects.push_back(all.objects[object]);
        }
    }
    m_declarations.date = all.date;
    m_declarations.version = all.version;
    m_declarations.timescale = all.timescale;
    m_declarations.comments = all.comments;
    m_declarations.sections = all.sections;
    m_declarations.enumerations = all.enumerations;
    m_declarations.scopes = all.scopes;

    using Item = Declarations::Item;
    // Attributes belong to the variable behind them. A table of names is one that others refer to.
    std::vector<Item> pending;
    // Where each open scope stands in the items, to be taken back when nothing was in it.
    std::vector<std::size_t> opened;
    std::vector<Item>& items = m_declarations.items;
    for (const Item& item : all.items) {
        switch (item.kind) {
        case Item::Kind::OpenScope:
            opened.push_back(items.size());
            items.push_back(item);
            break;
        case Item::Kind::CloseScope:
            if (!opened.empty() && items.size() == opened.back() + 1) {
                items.pop_back();
            } else {
                items.push_back(item);
            }
            if (!opened.empty()) {
                opened.pop_back();
            }
            break;
        case Item::Kind::Comment:
            items.push_back(item);
            break;
        case Item::Kind::Section:
            if (all.sections[item.index].isForNext) {
                pending.push_back(item);
            } else {
                items.push_back(item);
            }
            break;
        case Item::Kind::Variable:
            if (isChosen[item.index] != 0) {
                items.insert(items.end(), pending.begin(), pending.end());
                items.push_back({Item::Kind::Variable, m_declarations.variables.size()});
                m_declarations.variables.push_back(all.variables[item.index]);
                Variable& variable = m_declarations.variables.back();
                variable.object = m_ownObjects[variable.object];
            }
            pending.clear();
            break;
        }
    }
}

void SlicedChanges::select(const ChangeSelection& selection)
{
    ChangeSelection inSource;
    inSource.from = std::max(m_from, selection.from);
    inSource.objects = m_objects;
    if (selection.objects) {
        inSource.objects->clear();
        for (const std::uint32_t object : *selection.objects) {
            inSource.objects->push_back(m_objects[object]);
        }
    }
    m_source->select(inSource);
}

bool SlicedChanges::peek(long long& time)
{
    return m_source->peek(time) && time <= m_to;
}

bool SlicedChanges::advance()
{
    m_source->advance();
    m_changed.clear();
    for (const std::uint32_t object : m_source->changed()) {
        if (m_ownObjects[object] != kNotChosen) {
            m_changed.push_back(m_ownObjects[object]);
        }
    }
    return !m_changed.empty();
}

void SlicedChanges::appendChange(std::string& out, std::uint32_t object)
{
    m_source->appendChange(out, m_objects[object]);
}

long long SlicedChanges::latestTime() const
{
    return std::min(m_to, m_source->latestTime());
}

} // namespace tracewell

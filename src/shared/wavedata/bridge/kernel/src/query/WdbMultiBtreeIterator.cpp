// SPDX-License-Identifier: BSD-3-Clause

#include "WdbMultiBtreeIterator.h"

#include "WdbMultiBtreeIteratorImpl.h"

namespace Tracewell {

WdbMultiBtreeIterator::WdbMultiBtreeIterator(WdbIEventReader& reader,
                                             const std::vector<ListenerRange>& ranges,
                                             long long /*ignored*/, long long firstTime,
                                             long long limit, long long limit2)
    : m_imp(std::make_shared<WdbMultiBtreeIteratorImpl>(*this, reader, firstTime, limit, limit2))
{
    m_imp->addTrees(ranges);
}

WdbMultiBtreeIterator::~WdbMultiBtreeIterator()
{
    m_imp->stopEmitting();
}

WdbMultiBtreeIterator::operator bool() const
{
    return m_imp->hasChanges();
}

WdbMultiBtreeIterator& WdbMultiBtreeIterator::operator++()
{
    m_imp->advance();
    return *this;
}

long long WdbMultiBtreeIterator::getCurrentTime() const
{
    return m_imp->getCurrentTime();
}

void WdbMultiBtreeIterator::emitEvents(IEventTarget& target)
{
    // The target may delete this object.
    const std::shared_ptr<WdbMultiBtreeIteratorImpl> imp = m_imp;
    imp->emitEvents(target);
}

void WdbMultiBtreeIterator::registerListener(IEventTarget*,
                                             const std::vector<ListenerRange>& ranges)
{
    m_imp->addTrees(ranges);
}

void WdbMultiBtreeIterator::unregisterListener(IEventTarget*,
                                               const std::vector<ListenerRange>& ranges)
{
    m_imp->removeTrees(ranges);
}

} // namespace Tracewell

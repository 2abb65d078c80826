// SPDX-License-Identifier: BSD-3-Clause

#include "WdbScalarTreeCursor.h"

namespace Tracewell {

WdbScalarTreeCursor::WdbScalarTreeCursor(const WdbIBlockManager& records,
                                         std::shared_ptr<const WdbScalarTreeNode> root,
                                         long long target, long long resolution)
    : m_records(&records), m_root(std::move(root)), m_target(target), m_resolution(resolution)
{}

void WdbScalarTreeCursor::position()
{
    if (m_positioned) {
        return;
    }
    m_positioned = true;
    m_path.push(*m_root);
    if (m_target >= m_root->getTotal()) {
        for (;;) {
            WdbScalarNodePath::Level& level = m_path.top();
            const unsigned int count = level.node->getCount();
            level.position = count == 0 ? 0 : count - 1;
            if (level.node->isBottom) {
                return;
            }
            m_path.pushChild();
        }
    }
    long long target = m_target;
    while (!isDense()) {
        WdbScalarNodePath::Level& level = m_path.top();
        const std::vector<long long>& lengths = level.node->lengths;
        level.position = static_cast<unsigned int>(
            std::upper_bound(lengths.begin(), lengths.end(), target) - lengths.begin());
        if (level.node->isBottom || level.position == level.node->getCount()) {
            return;
        }
        target = saturatingSubtract(target, level.node->getLengthBefore(level.position));
        m_path.pushChild();
    }
}

void WdbScalarTreeCursor::advance()
{
    while (!m_path.isEmpty()) {
        WdbScalarNodePath::Level& level = m_path.top();
        if (!isDense() && level.position < level.node->getCount() &&
            ++level.position < level.node->getCount()) {
            break;
        }
        m_path.pop();
    }
    while (!m_path.isEmpty() && !isDense() && !m_path.top().node->isBottom) {
        m_path.pushChild();
    }
}

bool WdbScalarTreeCursor::isAtEnd() const
{
    return m_path.isEmpty() || m_path.top().position == m_path.top().node->getCount();
}

const WdbScalarTreeRecordImage& WdbScalarTreeCursor::readRecord()
{
    if (!m_buffer) {
        m_buffer.reset(new WdbScalarTreeRecordImage);
    }
    m_records->getBlock(getRecord().block, reinterpret_cast<char*>(m_buffer.get()),
                        sizeof(WdbScalarTreeRecordImage));
    m_buffer->numberOfValues =
        std::clamp(m_buffer->numberOfValues, 1U, WdbScalarTreeRecord::kCapacity);
    return *m_buffer;
}

} // namespace Tracewell

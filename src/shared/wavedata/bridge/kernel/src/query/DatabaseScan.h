// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <vector>

namespace QSIM {
class IGuiStatus;
}

namespace Tracewell {

class WdbIEventBlockDatabase;
class WdbScalarBTree;

/// Fills the trees from the events of the database, on the calling thread. `status` may be null.
void scanDatabase(const WdbIEventBlockDatabase& database, const std::vector<WdbScalarBTree*>& trees,
                  QSIM::IGuiStatus* status);

/// The same on a pool of threads: one task for each bucket, or several, which unpack its blocks
/// beside each other, while there are more processors than buckets. An exception of a task comes
/// out after all threads are joined.
void scanDatabaseOnPool(const WdbIEventBlockDatabase& database,
                        const std::vector<WdbScalarBTree*>& trees, QSIM::IGuiStatus* status);

} // namespace Tracewell

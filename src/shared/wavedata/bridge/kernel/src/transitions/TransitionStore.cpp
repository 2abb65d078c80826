// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionStore.h"

#include <utility>

namespace Tracewell {

TransitionStore::TransitionStore(DataBaseMode databaseMode, const std::string& fileName,
                                 const DataBaseLimits& limits, std::function<void()> onLimit)
    : mode(databaseMode),
      initialValues(databaseMode == DataBaseMode::Feeder ? nullptr
                                                         : std::make_unique<InitialValueTable>()),
      tree(std::move(onLimit), damage), blocks(databaseMode, fileName, limits, tree, damage)
{}

} // namespace Tracewell

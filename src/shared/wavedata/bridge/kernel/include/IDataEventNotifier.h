#pragma once

namespace Tracewell {

/// A viewer's wish to be told of new data; kept by WdbAddressBTreeManager for its owner.
class IDataEventNotifier
{
public:
    virtual ~IDataEventNotifier() = default;
};

} // namespace Tracewell

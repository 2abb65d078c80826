// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "live/LiveChannel.h"
#include "record/Store.h"
#include "wave/SignalNames.h"
#include "wave/SignalValues.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tracewell {

/// The viewer's side of a live channel, of one of the two kinds: records in a file, and answers
/// meanwhile. Its end closes the file.
class LiveViewer
{
public:
    LiveViewer() = default;
    LiveViewer(const LiveViewer&) = delete;
    LiveViewer& operator=(const LiveViewer&) = delete;
    virtual ~LiveViewer() = default;

    /// Whether a running kernel has made the channel.
    virtual bool isOffered() const = 0;
    /// Whether another viewer is on it.
    virtual bool isTaken() const = 0;
    /// Empties the file, connects and begins to store. `names` are those of `nameText`, both as the
    /// kernel left them. False when the kernel has gone meanwhile. `mayBeginAnew` says whether
    /// beginAnew() can be called later.
    /// \throws Failure
    virtual bool open(const SignalNames& names, const std::string& nameText, bool mayBeginAnew) = 0;
    /// The same for a kernel that came in the place of one that has gone.
    virtual void beginAnew(const SignalNames& names, const std::string& nameText) = 0;

    virtual bool isKernelPresent() const = 0;
    /// Whether all that was sent is stored; of a kernel that has gone, for good.
    virtual bool isDrained() const = 0;
    virtual long long latestTime() const = 0;
    virtual unsigned long long changeCount() const = 0;
    /// What came that could not be stored; a line has told of the first.
    virtual unsigned long long refusedCount() const { return 0; }
    /// Counts of the channel's own.
    virtual void getTraffic(unsigned long long& stored, unsigned long long& sent) const = 0;
    /// \throws Failure when what was stored could not be written.
    virtual void check() const {}
    /// Makes what was stored so far readable by others, where the file can be read before its end.
    virtual void sync() {}
    /// Completes the file as far as that is possible before the end; answers go on.
    /// \throws Failure
    virtual void finish() {}
    /// Behind finish(): lets go of the file. Nothing but check() is to be called afterwards.
    /// \throws Failure when the last of it could not be written.
    virtual void close() {}

    /// For questions about some signals. The object outlives it.
    virtual std::unique_ptr<SignalValues> values(const SignalNames& names,
                                                 std::vector<Signal> signals) = 0;
    /// Calls `ask` while nothing changes what it asks for more than it can bear; all that was
    /// stored is to be seen.
    virtual void whileSteady(const std::function<void()>& ask) = 0;
};

/// `channel` outlives the viewer.
std::unique_ptr<LiveViewer> makeLiveViewer(Store store, const LiveChannel& channel,
                                           const std::string& output);

} // namespace tracewell

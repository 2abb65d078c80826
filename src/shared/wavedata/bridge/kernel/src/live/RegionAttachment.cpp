// SPDX-License-Identifier: BSD-3-Clause

#include "RegionAttachment.h"

#include "ChannelRefusal.h"

#include <cerrno>
#include <iostream>

namespace Tracewell {

namespace {

using Outcome = SharedRegion::Outcome;

const char* describeStep(Outcome outcome, RegionMode mode)
{
    if (outcome == Outcome::NotMapped) {
        return "Could not map view of file";
    }
    return mode == RegionMode::Create ? "Could not create file mapping object"
                                      : "Could not open file mapping object";
}

/// Empty where the number in the first line says all there is.
std::string describeReason(Outcome outcome, int error, std::size_t size)
{
    switch (outcome) {
    case Outcome::HasCreator:
        return "a running simulation feeds it already; end that one or choose another channel "
               "number";
    case Outcome::HasOpener:
        return "a running viewer follows it already; close that one or choose another channel "
               "number";
    case Outcome::CreatorGone:
        return "the simulation that made it has ended; start the simulation first";
    case Outcome::OtherOwner:
        return "it belongs to another user";
    case Outcome::OtherKind:
        return "what stands at its name is a link, a directory or the like and no shared memory; "
               "remove it";
    case Outcome::TooSmall:
        return "it is smaller than the " + std::to_string(size) +
               " bytes that it must have; another program made it";
    case Outcome::PartnerReplaced:
        return "simulations open and close it too fast to be followed; try again";
    case Outcome::Failed:
    case Outcome::NotMapped:
        break;
    case Outcome::Done:
        return std::string();
    }
    return error == ENOSPC || error == ENOMEM || error == EFBIG
               ? "there is no room for its " + std::to_string(size) + " bytes of shared memory"
               : std::string();
}

} // namespace

bool attachRegion(SharedRegion& region, RegionMode mode, const std::string& name, std::size_t size,
                  const std::string& description)
{
    const Outcome outcome =
        mode == RegionMode::Create ? region.create(name, size) : region.open(name, size);
    if (outcome != Outcome::Done) {
        tellFailure(outcome, mode, size, description);
    }
    return outcome == Outcome::Done;
}

void tellFailure(Outcome outcome, RegionMode mode, std::size_t size, const std::string& description)
{
    const int error = errno;
    const std::string step =
        std::string(describeStep(outcome, mode)) + " (" + std::to_string(error) + ")";
    std::string reason = describeReason(outcome, error, size);
    if (!reason.empty()) {
        reason = description + ": " + reason;
    }
    if (ChannelRefusal::keep(reason.empty() ? step : reason)) {
        return;
    }
    std::cout << step + ".\n" << std::flush;
    if (!reason.empty()) {
        std::cerr << "tracewell: " + reason + ".\n" << std::flush;
    }
}

} // namespace Tracewell

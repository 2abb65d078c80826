// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Design.h"
#include "Options.h"

#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracewell::vpi {

/// One recording inside of a simulator: what is chosen, the probes on it, and when they are read.
/// On the simulation's thread.
///
/// A change only marks its probe. At the end of the time step, when all values are settled, those
/// that were marked are read and recorded: the values that a VCD of the simulator has.
class Session
{
public:
    explicit Session(Options options);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    // Tasks of the design. Choosing ends with the time step of the first choice.

    void chooseFile(const std::string& path);
    void chooseScope(vpiHandle scope, unsigned int levels);
    /// `place`: of the call, for a complaint.
    void chooseVariable(vpiHandle variable, const std::string& place);
    void chooseAll(unsigned int levels);
    void off();
    void on();
    void flush();
    /// At the end of the time step.
    void trigger();

    /// The simulation begins: does what the arguments ask for.
    void start();
    /// Finishes the recording at the present time.
    void end();
    /// Finishes the recording at the last time at which something changed; asks the simulator
    /// nothing.
    void close();
    /// Asked by a signal handler: closes at the end of the time step, and lets the signal act then.
    void requestEnd(int signal) { m_pendingSignal = signal; }

private:
    static PLI_INT32 changed(p_cb_data data);
    static PLI_INT32 stepEnded(p_cb_data data);
    static PLI_INT32 startTimeCame(p_cb_data data);
    static PLI_INT32 stopTimeCame(p_cb_data data);

    void begin();
    std::optional<long long> timeOf(const TimeOption& option) const;
    void explainNothing();
    void choose();
    bool canChoose();
    void requestStepEnd();
    void endStep(long long time);
    void openRecorder();
    void takeWindow();
    void watch(Probe& probe);
    void storeVector(const Probe& probe, s_vpi_vecval* groups);
    void capture(Probe& probe);
    void captureAll();
    void callAt(long long time, PLI_INT32 (*routine)(p_cb_data));
    void say(const std::string& line) const;

    Options m_options;
    std::unique_ptr<Design> m_design;
    std::unique_ptr<Recorder> m_recorder;
    /// What the probes that get bits with a change keep of them.
    std::vector<s_vpi_vecval> m_pending;
    /// Marked in the time step at hand.
    std::vector<Probe*> m_dirty;
    bool m_isChoosing = false;
    bool m_isStepEndRequested = false;
    bool m_isOver = false;
    /// A choice that comes late has not been complained of.
    bool m_saysLate = true;
    /// Something that was chosen is no variable, and a line said so.
    bool m_hasLeftOut = false;
    /// Times from which on and up to which something is recorded.
    long long m_start = 0;
    long long m_stop = std::numeric_limits<long long>::max();
    bool m_wantsStop = false;
    bool m_wantsOn = false;
    bool m_wantsTrigger = false;
    bool m_isOff = false;
    /// It gives letters of nine states.
    bool m_isGhdl;
    volatile int m_pendingSignal = 0;
};

/// For tasks and signal handlers; null before the simulation begins.
Session* theSession();
void setTheSession(std::unique_ptr<Session> session);

} // namespace tracewell::vpi

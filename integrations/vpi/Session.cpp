// SPDX-License-Identifier: BSD-3-Clause

#include "Session.h"

#include "text/Failure.h"
#include "text/Message.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <csignal>
#include <cstring>
#include <limits>
#include <utility>

namespace tracewell::vpi {

namespace {

std::unique_ptr<Session> s_session;

long long toTime(const s_vpi_time& time)
{
    return static_cast<long long>(static_cast<unsigned long long>(time.high) << 32 | time.low);
}

long long now()
{
    s_vpi_time time{};
    time.type = vpiSimTime;
    vpi_get_time(nullptr, &time);
    return toTime(time);
}

constexpr std::uint8_t kFired = 1;

// Some simulators keep the pointer to these, and write to where it points at each call.
s_vpi_time s_noTime{vpiSuppressTime, 0, 0, 0};
s_vpi_value s_noValue{vpiSuppressVal, {}};
s_vpi_value s_scalarValue{vpiScalarVal, {}};
s_vpi_value s_vectorValue{vpiVectorVal, {}};
s_vpi_time s_stepTime{vpiSimTime, 0, 0, 0};
s_vpi_time s_delay{vpiSimTime, 0, 0, 0};

/// Whether bits come with each change. In Icarus Verilog that costs a third less than to ask for
/// them. What is wide is asked for, once a time step.
bool getsBits(const Probe& probe)
{
    constexpr unsigned int kWide = 128;
    if (simulatorName() != kIcarus || probe.isConstant || probe.width > kWide) {
        return false;
    }
    switch (vpi_get(vpiType, probe.handle)) {
    case vpiNet:
    case vpiReg:
    case vpiIntegerVar:
        return true;
    default:
        return false;
    }
}

} // namespace

Session* theSession()
{
    return s_session.get();
}

void setTheSession(std::unique_ptr<Session> session)
{
    s_session = std::move(session);
}

Session::Session(Options options)
    : m_options(std::move(options)), m_isGhdl(simulatorName() == kGhdl)
{}

Session::~Session()
{
    close();
}

void Session::say(const std::string& line) const
{
    tell(line);
}

void Session::chooseFile(const std::string& path)
{
    // What the user asks for when starting goes first.
    if (m_options.isAsked) {
        return;
    }
    if (m_recorder) {
        say(fmt::format("$tracewell_file(\"{}\") comes too late; recording into {}", path,
                        m_options.recorder.output));
        return;
    }
    m_options.recorder.output = path;
}

void Session::choose()
{
    if (!m_design) {
        m_design = std::make_unique<Design>(m_options.recorder.output.empty() ||
                                                m_options.recorder.store != Store::Transitions,
                                            [this](const std::string& line) { say(line); });
        if (m_isGhdl) {
            say("GHDL does not offer the values of real numbers, times, records, strings and "
                "arrays of arrays, nor signals of packages; they are not recorded");
        }
    }
    m_isChoosing = true;
    requestStepEnd();
}

bool Session::canChoose()
{
    if (m_recorder || m_isOver) {
        if (std::exchange(m_saysLate, false)) {
            say("$tracewell_vars comes too late; what was chosen in the first time step is "
                "recorded");
        }
        return false;
    }
    choose();
    return true;
}

void Session::chooseScope(vpiHandle scope, unsigned int levels)
{
    if (canChoose()) {
        m_design->addScope(scope, levels);
    }
}

void Session::chooseVariable(vpiHandle variable, const std::string& place)
{
    if (canChoose() && !m_design->addVariable(variable)) {
        m_hasLeftOut = true;
        say(place + ": an argument is no scope and no whole variable; it is left out");
    }
}

void Session::chooseAll(unsigned int levels)
{
    if (canChoose()) {
        m_design->addTops(levels);
    }
}

/// None without the option, and with a line for a time beyond all. Its unit is known once the
/// simulator runs.
std::optional<long long> Session::timeOf(const TimeOption& option) const
{
    if (!option.isGiven()) {
        return std::nullopt;
    }
    try {
        return option.in(TimeText({1, timePrecision(), true}));
    } catch (const Failure& e) {
        say(e.what());
        return std::nullopt;
    }
}

void Session::start()
{
    m_stop = timeOf(m_options.stop).value_or(m_stop);
    m_start = timeOf(m_options.start).value_or(m_start);
    if (m_stop < m_start) {
        say(fmt::format("nothing is recorded: {} comes before {}", m_options.stop.argument(),
                        m_options.start.argument()));
        m_isOver = true;
        m_saysLate = false;
        return;
    }
    if (m_start > 0) {
        callAt(m_start, &startTimeCame);
    }
    if (m_stop < std::numeric_limits<long long>::max()) {
        callAt(m_stop, &stopTimeCame);
    }
    if (!m_options.isAsked) {
        if (m_isGhdl) {
            say("nothing is recorded; set TRACEWELL=run.wdb, or TRACEWELL_LIVE=0 for a viewer "
                "beside the simulation");
        }
        return;
    }
    begin();
}

void Session::begin()
{
    if (m_options.scopes.empty()) {
        chooseAll(0);
        return;
    }
    for (const ScopeChoice& choice : m_options.scopes) {
        const std::vector<vpiHandle> scopes = findScopes(choice.name);
        for (const vpiHandle scope : scopes) {
            choose();
            m_design->addScope(scope, choice.levels);
        }
        if (scopes.empty()) {
            say(fmt::format("there is no scope {}; the names are those of instances, from the top "
                            "module on, as in top.dut",
                            choice.name));
        }
    }
}

void Session::requestStepEnd()
{
    if (m_isStepEndRequested) {
        return;
    }
    m_isStepEndRequested = true;
    s_stepTime = {vpiSimTime, 0, 0, 0};
    s_cb_data callback{};
    // GHDL 2 sets its clock back after a read-only one.
    callback.reason = m_isGhdl ? cbReadWriteSynch : cbReadOnlySynch;
    callback.cb_rtn = &stepEnded;
    callback.time = &s_stepTime;
    callback.user_data = reinterpret_cast<PLI_BYTE8*>(this);
    vpi_register_cb(&callback);
}

void Session::callAt(long long time, PLI_INT32 (*routine)(p_cb_data))
{
    const auto delay = static_cast<unsigned long long>(time - now());
    s_delay.type = vpiSimTime;
    s_delay.high = static_cast<PLI_UINT32>(delay >> 32);
    s_delay.low = static_cast<PLI_UINT32>(delay);
    s_cb_data callback{};
    callback.reason = cbAfterDelay;
    callback.cb_rtn = routine;
    callback.time = &s_delay;
    callback.user_data = reinterpret_cast<PLI_BYTE8*>(this);
    vpi_register_cb(&callback);
}

PLI_INT32 Session::changed(p_cb_data data)
{
    Session& session = *s_session;
    auto& probe = *reinterpret_cast<Probe*>(data->user_data);
    if (probe.pending) {
        if (probe.kind->isLetter()) {
            probe.pending->aval = data->value->value.scalar;
        } else {
            std::memcpy(probe.pending, data->value->value.vector, groupBytes(probe.width));
        }
    }
    if (!probe.isDirty) {
        probe.isDirty = true;
        // As many as there are probes were made room for.
        session.m_dirty.push_back(&probe);
        session.requestStepEnd();
    }
    return 0;
}

PLI_INT32 Session::stepEnded(p_cb_data data)
{
    auto& session = *reinterpret_cast<Session*>(data->user_data);
    session.m_isStepEndRequested = false;
    // GHDL leaves the delay there that was asked for.
    session.endStep(data->time && !session.m_isGhdl ? toTime(*data->time) : now());
    return 0;
}

PLI_INT32 Session::startTimeCame(p_cb_data data)
{
    reinterpret_cast<Session*>(data->user_data)->requestStepEnd();
    return 0;
}

PLI_INT32 Session::stopTimeCame(p_cb_data data)
{
    auto& session = *reinterpret_cast<Session*>(data->user_data);
    session.m_wantsStop = true;
    session.requestStepEnd();
    return 0;
}

void Session::endStep(long long time)
{
    if (m_isChoosing) {
        if (time >= m_start) {
            m_isChoosing = false;
            openRecorder();
        }
        if (m_recorder) {
            m_recorder->setTime(time);
            m_isOff ? m_recorder->off() : captureAll();
        }
    } else if (m_recorder && !m_isOff) {
        m_recorder->setTime(time);
        for (Probe* const probe : m_dirty) {
            if (!probe->pending) {
                capture(*probe);
            } else if (probe->kind->isLetter()) {
                m_recorder->values().storeScalar(
                    probe->object, static_cast<std::uint8_t>(probe->pending->aval & 3));
            } else {
                storeVector(*probe, probe->pending);
            }
        }
    }
    for (Probe* const probe : m_dirty) {
        probe->isDirty = false;
    }
    m_dirty.clear();
    if (m_wantsOn && m_recorder) {
        m_wantsOn = false;
        m_isOff = false;
        m_recorder->setTime(time);
        captureAll();
        m_recorder->on();
    }
    if (m_wantsTrigger && m_recorder) {
        m_wantsTrigger = false;
        m_recorder->setTime(time);
        m_recorder->trigger();
        if (!m_recorder->isOpen()) {
            close();
        }
    }
    if (m_wantsStop && m_recorder) {
        end();
    }
    if (m_pendingSignal != 0) {
        const int signal = m_pendingSignal;
        close();
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

void Session::takeWindow()
{
    const std::optional<long long> time = timeOf(m_options.last);
    if (time && *time == 0) {
        say(fmt::format("{} is less than the precision of the simulation, so all is recorded; "
                        "give a longer time",
                        m_options.last.argument()));
    }
    m_options.recorder.window = time.value_or(0);
}

void Session::openRecorder()
{
    takeWindow();
    if (m_design->isEmpty()) {
        if (!m_hasLeftOut) {
            say("there is nothing to record");
        }
        m_isOver = true;
        m_saysLate = false;
        return;
    }
    m_recorder = std::make_unique<Recorder>(m_design->finish(), m_options.recorder,
                                            [this](const std::string& line) { say(line); });
    if (!m_recorder->open()) {
        m_recorder.reset();
        m_isOver = true;
        m_saysLate = false;
        return;
    }
    m_dirty.reserve(m_design->probes().size());
    std::size_t words = 0;
    for (const Probe& probe : m_design->probes()) {
        words += getsBits(probe) ? groupBytes(probe.width) / sizeof(s_vpi_vecval) : 0;
    }
    m_pending.resize(words);
    s_vpi_vecval* place = m_pending.data();
    for (Probe& probe : m_design->probes()) {
        if (getsBits(probe)) {
            probe.pending = place;
            place += groupBytes(probe.width) / sizeof(s_vpi_vecval);
        }
        if (!probe.isConstant) {
            watch(probe);
        }
    }
}

void Session::watch(Probe& probe)
{
    s_cb_data callback{};
    callback.reason = cbValueChange;
    callback.cb_rtn = &changed;
    callback.time = &s_noTime;
    callback.value = !probe.pending           ? &s_noValue
                     : probe.kind->isLetter() ? &s_scalarValue
                                              : &s_vectorValue;
    callback.obj = probe.handle;
    callback.user_data = reinterpret_cast<PLI_BYTE8*>(&probe);
    probe.callback = vpi_register_cb(&callback);
}

void Session::captureAll()
{
    for (Probe& probe : m_design->probes()) {
        if (!probe.kind->fires()) {
            capture(probe);
        }
    }
}

void Session::storeVector(const Probe& probe, s_vpi_vecval* groups)
{
    // The simulator's pairs of words are our groups.
    static_assert(sizeof(s_vpi_vecval) == 8);
    if (const unsigned int rest = probe.width % 32; rest != 0) {
        s_vpi_vecval& last = groups[probe.width / 32];
        const auto mask = static_cast<PLI_INT32>((1u << rest) - 1);
        last.aval &= mask;
        last.bval &= mask;
    }
    m_recorder->values().storeGroups(probe.object, reinterpret_cast<const unsigned char*>(groups));
}

void Session::capture(Probe& probe)
{
    ValueRecorder& values = m_recorder->values();
    s_vpi_value value{};
    if (probe.kind->fires()) {
        values.fire(probe.object, kFired);
        return;
    }
    if (probe.kind->isText()) {
        value.format = vpiStringVal;
        vpi_get_value(probe.handle, &value);
        values.store(probe.object, ChangeForm::Text, value.value.str ? value.value.str : "");
        return;
    }
    if (!probe.kind->hasBits()) {
        value.format = vpiRealVal;
        vpi_get_value(probe.handle, &value);
        values.storeReal(probe.object, value.value.real);
        return;
    }
    if (!m_isGhdl && probe.kind->isLetter()) {
        value.format = vpiScalarVal;
        vpi_get_value(probe.handle, &value);
        // 0, 1, z and x have our codes; h, l and - are left.
        values.storeScalar(probe.object, static_cast<std::uint8_t>(value.value.scalar & 3));
        return;
    }
    if (!m_isGhdl) {
        value.format = vpiVectorVal;
        vpi_get_value(probe.handle, &value);
        storeVector(probe, value.value.vector);
        return;
    }
    value.format = vpiBinStrVal;
    value.value.str = nullptr;
    vpi_get_value(probe.handle, &value);
    if (!value.value.str || !values.store(probe.object, ChangeForm::Letters, value.value.str)) {
        say(fmt::format("{} cannot be recorded: the simulator gives no bits for it",
                        vpi_get_str(vpiFullName, probe.handle)));
        probe.isConstant = true;
        vpi_remove_cb(probe.callback);
    }
}

void Session::off()
{
    m_wantsOn = false;
    if (std::exchange(m_isOff, true) || !m_recorder) {
        return;
    }
    m_recorder->setTime(now());
    m_recorder->off();
}

void Session::on()
{
    if (!m_recorder) {
        m_isOff = false;
    } else if (m_isOff) {
        m_wantsOn = true;
        requestStepEnd();
    }
}

void Session::flush()
{
    if (m_recorder) {
        m_recorder->flush();
    }
}

void Session::trigger()
{
    if (m_recorder || m_isChoosing) {
        m_wantsTrigger = true;
        requestStepEnd();
    }
}

void Session::end()
{
    // GHDL can be at the end of all time by then.
    if (const long long time = now(); m_recorder && time != std::numeric_limits<long long>::max()) {
        m_recorder->setTime(time);
    }
    close();
}

/// At the end, for a user who asked for something and got no recording.
void Session::explainNothing()
{
    if (m_isChoosing && m_start > 0) {
        say(fmt::format("nothing is recorded: the simulation ended before {}",
                        m_options.start.argument()));
    } else if (!m_design && !m_options.isAsked && !m_isGhdl && !m_options.companion.empty()) {
        say(fmt::format("nothing is recorded: {} needs +tracewell=run.wdb or +tracewell-live too",
                        m_options.companion));
    }
}

void Session::close()
{
    if (!std::exchange(m_isOver, true)) {
        explainNothing();
    }
    if (!m_recorder) {
        return;
    }
    for (Probe& probe : m_design->probes()) {
        if (probe.callback && !probe.isConstant) {
            vpi_remove_cb(probe.callback);
            probe.callback = nullptr;
        }
    }
    m_dirty.clear();
    m_recorder->close();
    m_recorder.reset();
}

} // namespace tracewell::vpi

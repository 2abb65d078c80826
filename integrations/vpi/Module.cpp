// SPDX-License-Identifier: BSD-3-Clause

// What the simulator loads: registers the system tasks and the begin and end of the simulation.

#include "Session.h"

#include "text/Message.h"

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

namespace tracewell::vpi {

namespace {

std::vector<std::string> commandLine()
{
    s_vpi_vlog_info info{};
    std::vector<std::string> arguments;
    if (vpi_get_vlog_info(&info)) {
        for (int i = 0; i < info.argc && info.argv && info.argv[i]; ++i) {
            arguments.emplace_back(info.argv[i]);
        }
    }
    return arguments;
}

Session& session()
{
    if (!theSession()) {
        setTheSession(std::make_unique<Session>(readOptions(
            commandLine(), [](const char* name) -> const char* { return std::getenv(name); },
            tell)));
    }
    return *theSession();
}

void endSession()
{
    if (theSession()) {
        theSession()->close();
    }
}

void endOnSignal(int signal)
{
    if (theSession()) {
        theSession()->requestEnd(signal);
    }
    // The next one acts at once.
    std::signal(signal, SIG_DFL);
}

/// Where the simulator does not care itself. Its own handlers end the simulation in order.
void watchSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present
        {};
        if (::sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
            std::signal(signal, &endOnSignal);
        }
    }
}

PLI_INT32 simulationBegins(p_cb_data)
{
    session().start();
    watchSignals();
    return 0;
}

PLI_INT32 simulationEnds(p_cb_data)
{
    if (theSession()) {
        theSession()->end();
    }
    return 0;
}

/// The arguments of the task call at hand.
std::vector<vpiHandle> taskArguments()
{
    std::vector<vpiHandle> arguments;
    const vpiHandle call = vpi_handle(vpiSysTfCall, nullptr);
    if (const vpiHandle iterator = vpi_iterate(vpiArgument, call)) {
        while (const vpiHandle argument = vpi_scan(iterator)) {
            arguments.push_back(argument);
        }
    }
    return arguments;
}

/// Where the task call at hand stands, and which it is.
std::string place()
{
    const vpiHandle call = vpi_handle(vpiSysTfCall, nullptr);
    const char* const file = vpi_get_str(vpiFile, call);
    std::string text = file ? file : "";
    text += ":" + std::to_string(vpi_get(vpiLineNo, call)) + ": ";
    return text + vpi_get_str(vpiName, call);
}

bool isConstant(vpiHandle item)
{
    const int type = vpi_get(vpiType, item);
    return type == vpiConstant || type == vpiParameter;
}

bool isText(vpiHandle item)
{
    return isConstant(item) && vpi_get(vpiConstType, item) == vpiStringConst;
}

PLI_INT32 fileTask(PLI_BYTE8*)
{
    const std::vector<vpiHandle> arguments = taskArguments();
    s_vpi_value value{};
    value.format = vpiStringVal;
    if (!arguments.empty() && (isText(arguments[0]) || !isConstant(arguments[0]))) {
        vpi_get_value(arguments[0], &value);
    }
    if (!value.value.str || *value.value.str == 0) {
        tell(place() + " names no file; write $tracewell_file(\"run.wdb\")");
    } else {
        session().chooseFile(value.value.str);
    }
    return 0;
}

/// What stands in front of scopes and variables.
bool isNumber(vpiHandle item)
{
    const int type = vpi_get(vpiType, item);
    return !isScope(item) && !isText(item) && type != vpiMemory && type != vpiNamedEvent;
}

/// As $dumpvars has them: the number of levels, then scopes and variables; everything without any.
PLI_INT32 variablesTask(PLI_BYTE8*)
{
    std::vector<vpiHandle> arguments = taskArguments();
    unsigned int levels = 0;
    if (!arguments.empty() && isNumber(arguments[0])) {
        s_vpi_value value{};
        value.format = vpiIntVal;
        vpi_get_value(arguments[0], &value);
        levels = value.value.integer > 0 ? static_cast<unsigned int>(value.value.integer) : 0;
        arguments.erase(arguments.begin());
    }
    if (arguments.empty()) {
        session().chooseAll(levels);
    }
    for (const vpiHandle argument : arguments) {
        if (isScope(argument)) {
            session().chooseScope(argument, levels);
        } else {
            session().chooseVariable(argument, place());
        }
    }
    return 0;
}

PLI_INT32 offTask(PLI_BYTE8*)
{
    session().off();
    return 0;
}

PLI_INT32 onTask(PLI_BYTE8*)
{
    session().on();
    return 0;
}

PLI_INT32 flushTask(PLI_BYTE8*)
{
    session().flush();
    return 0;
}

PLI_INT32 triggerTask(PLI_BYTE8*)
{
    session().trigger();
    return 0;
}

void registerTask(const char* name, PLI_INT32 (*routine)(PLI_BYTE8*))
{
    s_vpi_systf_data task{};
    task.type = vpiSysTask;
    task.tfname = const_cast<PLI_BYTE8*>(name);
    task.calltf = routine;
    vpi_register_systf(&task);
}

void registerCallback(int reason, PLI_INT32 (*routine)(p_cb_data))
{
    s_cb_data callback{};
    callback.reason = reason;
    callback.cb_rtn = routine;
    vpi_register_cb(&callback);
}

void registerAll()
{
    registerTask("$tracewell_file", &fileTask);
    registerTask("$tracewell_vars", &variablesTask);
    registerTask("$tracewell_off", &offTask);
    registerTask("$tracewell_on", &onTask);
    registerTask("$tracewell_flush", &flushTask);
    registerTask("$tracewell_trigger", &triggerTask);
    registerCallback(cbStartOfSimulation, &simulationBegins);
    registerCallback(cbEndOfSimulation, &simulationEnds);
    // A simulator that ends by exit() tells nobody.
    std::atexit(&endSession);
}

} // namespace

} // namespace tracewell::vpi

extern "C" {

__attribute__((visibility("default"))) void (*vlog_startup_routines[])() = {
    &tracewell::vpi::registerAll, nullptr};
}

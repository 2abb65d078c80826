#include "files/TimeReport.h"

#include "WdbRuntime.h"

#include <CLI/App.hpp>

#include <iostream>

namespace tracewell {

namespace {

bool s_isWanted = false;

WdbRuntime& meter()
{
    static WdbRuntime runtime(true);
    return runtime;
}

} // namespace

void TimeReport::addTo(CLI::App& app)
{
    meter();
    for (CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
        command->add_flag("--time", s_isWanted,
                          "Tell at the end what it took: seconds in the program (u), in the "
                          "system (s) and on the wall (w)");
    }
}

void TimeReport::write()
{
    if (s_isWanted) {
        s_isWanted = false;
        std::cerr << "tracewell: ";
        meter().report(std::cerr);
        std::cerr << std::endl;
    }
}

void TimeReport::leaveToChild()
{
    s_isWanted = false;
}

} // namespace tracewell

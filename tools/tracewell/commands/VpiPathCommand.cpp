// SPDX-License-Identifier: BSD-3-Clause

#include "commands/Commands.h"
#include "files/Output.h"
#include "text/Failure.h"

#include <CLI/App.hpp>

#include <filesystem>
#include <string>

#include <sys/auxv.h>

namespace tracewell {

namespace {

namespace fs = std::filesystem;

/// Of the installed program, and of the program in a build tree, from the program's own directory.
constexpr const char* kPlaces[] = {"../" TRACEWELL_LIBDIR "/tracewell", "../../integrations/vpi"};

/// Where /proc is not mounted, as in a bare chroot, what the system was told to run says it.
fs::path ownDirectory()
{
    std::error_code error;
    fs::path own = fs::read_symlink("/proc/self/exe", error);
    if (error) {
        const auto* const told = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
        if (told != nullptr) {
            own = fs::canonical(told, error);
        }
    }
    if (error || own.empty()) {
        throw Failure("vpi-path: where this program lies cannot be found out");
    }
    return own.parent_path();
}

void printDirectory()
{
    const fs::path own = ownDirectory();
    for (const char* const place : kPlaces) {
        const fs::path directory = (own / place).lexically_normal();
        std::error_code error;
        if (fs::exists(directory / "tracewell.vpi", error)) {
            Output out;
            out << directory.string() << "\n";
            out.finish();
            return;
        }
    }
    throw Failure((own / kPlaces[0]).lexically_normal().string() +
                  ": there is no tracewell.vpi, nor in the build tree; install the package "
                  "tracewell-plugins, or build where Debian's iverilog package is installed");
}

} // namespace

void addVpiPathCommand(CLI::App& app)
{
    CLI::App* command = app.add_subcommand(
        "vpi-path", "Tell where the plug-in for simulators with a VPI, tracewell.vpi, lies");
    command->footer("Examples:\n"
                    "  vvp -M $(tracewell vpi-path) -m tracewell design +tracewell=run.wdb\n"
                    "  ghdl -r top --vpi=$(tracewell vpi-path)/tracewell.vpi +tracewell=run.wdb");
    command->callback(&printDirectory);
}

} // namespace tracewell

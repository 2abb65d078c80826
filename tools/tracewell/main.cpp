#include "CommandError.h"
#include "Commands.h"
#include "files/TimeReport.h"

#include "QsimException.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

int run(CLI::App& app, int argc, char** argv)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError& e) {
        return e.get_exit_code();
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : kUsage;
    } catch (const tracewell::CommandError& e) {
        std::cerr << "tracewell: " << e.what() << '\n';
        return e.exitCode();
    } catch (const Qsim::Exception& e) {
        std::cerr << "tracewell: " << e.what() << '\n';
        return kFailed;
    } catch (const std::exception& e) {
        std::cerr << "tracewell: " << e.what() << '\n';
        return kFailed;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Records, inspects and draws waveform databases (.wdb).", "tracewell"};
    app.set_version_flag("--version", std::string("tracewell ") + TRACEWELL_VERSION);
    app.require_subcommand(1);
    app.footer("Example:\n"
               "  tracewell import run.vcd run.wdb && tracewell draw run.wdb -o run.svg\n"
               "See `tracewell COMMAND --help` for each command.");

    tracewell::addImportCommand(app);
    tracewell::addInfoCommand(app);
    tracewell::addSignalsCommand(app);
    tracewell::addValuesCommand(app);
    tracewell::addNextPreviousCommands(app);
    tracewell::addFindCommand(app);
    tracewell::addDrawCommand(app);
    tracewell::addExportCommand(app);
    tracewell::addDiffCommand(app);
    tracewell::addEventsCommand(app);
    tracewell::addVerifyCommand(app);
    tracewell::addReplayCommand(app);
    tracewell::addFollowCommand(app);
    tracewell::addVpiPathCommand(app);

    tracewell::TimeReport::addTo(app);

    const int code = run(app, argc, argv);
    tracewell::TimeReport::write();
    return code;
}

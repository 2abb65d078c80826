#include "ImportExportFixture.h"

#include "Commands.h"
#include "text/Failure.h"

#include "QsimException.h"

#include <CLI/CLI.hpp>

#include <algorithm>

ImportExport::Result ImportExport::runAlone(std::vector<std::string> arguments)
{
    CLI::App app;
    tracewell::addCommands(app);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::RuntimeError& e) {
        return {e.get_exit_code(), {}};
    } catch (const CLI::ParseError& e) {
        return {2, e.what()};
    } catch (const tracewell::Failure& e) {
        return {e.exitCode(), e.what()};
    } catch (const Qsim::Exception& e) {
        return {1, e.what()};
    }
    return {};
}

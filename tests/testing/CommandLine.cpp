// SPDX-License-Identifier: BSD-3-Clause

#include "testing/CommandLine.h"

#include "commands/Commands.h"
#include "text/Failure.h"

#include "QsimException.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <sstream>

namespace Tracewell {

CommandResult runCommand(std::vector<std::string> arguments, ErrorStream errors)
{
    CLI::App app;
    tracewell::addCommands(app);
    std::reverse(arguments.begin(), arguments.end());
    std::ostringstream out;
    std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
    if (errors == ErrorStream::Captured) {
        ::testing::internal::CaptureStderr();
    }
    CommandResult result;
    try {
        app.parse(arguments);
    } catch (const CLI::RuntimeError& e) {
        result.code = e.get_exit_code();
    } catch (const CLI::ParseError& e) {
        result = {2, {}, e.what()};
    } catch (const tracewell::Failure& e) {
        result = {e.exitCode(), {}, e.what()};
    } catch (const Qsim::Exception& e) {
        result = {1, {}, e.what()};
    }
    std::cout.rdbuf(before);
    result.out = out.str();
    if (errors == ErrorStream::Captured) {
        result.error += ::testing::internal::GetCapturedStderr();
    }
    return result;
}

} // namespace Tracewell

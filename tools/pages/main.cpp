// SPDX-License-Identifier: BSD-3-Clause

// tracewell_pages OUT
//
// Writes man pages below a directory, where an installation has them.

#include "Pages.h"

#include "commands/Commands.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

void write(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: tracewell_pages OUT\n";
        return 2;
    }
    try {
        CLI::App app;
        tracewell::describeApp(app);
        const tracewell::PageProgram program = tracewell::describeProgram(app);
        const std::filesystem::path out(argv[1]);
        write(out / "man/man1/tracewell.1", tracewell::manPage(program, nullptr));
        for (const tracewell::PageCommand& command : program.commands) {
            write(out / ("man/man1/tracewell-" + command.name + ".1"),
                  tracewell::manPage(program, &command));
        }
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "tracewell_pages: " << e.what() << "\n";
        return 1;
    }
}

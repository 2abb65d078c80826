#pragma once

#include "text/ValueText.h"

#include <CLI/App.hpp>

#include <map>
#include <string>

namespace tracewell {

inline void addRadixOption(CLI::App& command, Radix& radix)
{
    static const std::map<std::string, Radix> kNames = {{"auto", Radix::Automatic},
                                                        {"bin", Radix::Binary},
                                                        {"oct", Radix::Octal},
                                                        {"dec", Radix::Decimal},
                                                        {"hex", Radix::Hexadecimal}};
    command
        .add_option("--radix", radix,
                    "bin, oct, dec or hex; auto is dec for integer, int, time and parameter, and "
                    "hex for other vectors")
        ->type_name("RADIX")
        ->transform(CLI::CheckedTransformer(kNames).description(""))
        ->option_text("RADIX");
}

} // namespace tracewell

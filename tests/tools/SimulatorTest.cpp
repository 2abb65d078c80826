// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include <cstdlib>
#include <string>

namespace {

/// Runs real simulators on designs of ours and takes their output through import and export.
class Simulators : public ImportExport
{
protected:
    static bool has(const std::string& program)
    {
        return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
    }

    void simulate(const std::string& commands, const std::string& vcd) const
    {
        const std::string script =
            "cd '" + path("") + "' && mkdir work && cd work && D='" TEST_DESIGNS "' && (" +
            commands + ") >log 2>&1 && cp " + vcd + " ../in.vcd && rm -r ../work";
        ASSERT_EQ(std::system(script.c_str()), 0);
    }

    void expectRoundTrips() const
    {
        for (const char* const store : {"events", "transitions"}) {
            std::filesystem::remove(path("out.wdb"));
            expectRoundTrip({"--store", store});
        }
    }

    void expectSignalsWithHistory(std::size_t variables, std::size_t changes) const
    {
        const PlainVcd vcd = readPlainVcd(path("out.vcd"));
        std::size_t seen = 0;
        for (const PlainVcd::Variable& variable : vcd.variables) {
            seen += variable.history.size();
        }
        EXPECT_GE(vcd.variables.size(), variables);
        EXPECT_GE(seen, changes);
    }
};

TEST_F(Simulators, icarusOutputComesBack)
{
    if (!has("iverilog")) {
        GTEST_SKIP() << "iverilog is not installed";
    }
    simulate("iverilog -g2012 -o design $D/mixed_signals.sv && vvp -n design", "mixed_signals.vcd");
    expectRoundTrips();
    expectSignalsWithHistory(25, 600);
}

TEST_F(Simulators, ghdlOutputComesBack)
{
    if (!has("ghdl")) {
        GTEST_SKIP() << "ghdl is not installed";
    }
    simulate("ghdl -a --std=08 $D/nine_states.vhd && ghdl -e --std=08 nine_states && "
             "ghdl -r --std=08 nine_states --vcd=nine_states.vcd",
             "nine_states.vcd");
    expectRoundTrips();
    expectSignalsWithHistory(10, 400);
}

TEST_F(Simulators, verilatorOutputComesBack)
{
    if (!has("verilator")) {
        GTEST_SKIP() << "verilator is not installed";
    }
    simulate("verilator --binary --timing --trace -Wno-fatal --Mdir obj $D/two_states.sv "
             "-MAKEFLAGS 'OPT_FAST=-O0 OPT_GLOBAL=-O0' && ./obj/Vtwo_states",
             "two_states.vcd");
    expectRoundTrips();
    expectSignalsWithHistory(12, 500);
}

} // namespace

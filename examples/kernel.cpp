// SPDX-License-Identifier: BSD-3-Clause

// A toy simulation kernel: a clock and a 32-bit counter, recorded while they run.
//
//   kernel FILE.wdb [END-TIME]
//
// Prints "saved T" each time that everything up to time T is safe in the file.

#include <tracewell/OutputFileNames.h>
#include <tracewell/QsimException.h>
#include <tracewell/WdbStandAloneWriter.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

// The data memory. An object's address in the recording is its place in here: count has 8, clk 0
// follows at 8. A group of 32 bits is an a-word and a b-word; a + 2 b of a bit is 0, 1, 2 (z) or
// 3 (x).
struct Group
{
    std::uint32_t a;
    std::uint32_t b;
};
struct
{
    Group count = {~0u, ~0u};
    unsigned char clk = 0;
} memory;

template <class T> unsigned char* bytesOf(T& object)
{
    return reinterpret_cast<unsigned char*>(&object);
}

// Names lie in the file that the compiler of a design leaves for its simulation; the writer takes
// it into the recording.
void writeNames(const std::string& path)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << "$timescale 1 ns $end\n"
                           "$scope module toy $end\n"
                           "$var reg 32 ! count [31:0] $end\n"
                           "$var reg 1 \" clk $end\n"
                           "$upscope $end\n"
                           "$enddefinitions $end\n";
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc < 2) {
        std::cerr << "usage: kernel FILE.wdb [END-TIME]\n";
        return 2;
    }
    const long long end = argc > 2 ? std::atoll(argv[2]) : 1000;
    writeNames(ZSIM::OutputFileNames::getDbgPathName("toy"));

    Tracewell::IWdbWriter& writer = *qtracewell_getStandAloneWdbWriter();
    writer.setApplication("toy kernel");
    writer.setAddressSize(sizeof memory);
    writer.setBaseDPOffset(reinterpret_cast<long long>(&memory));
    writer.open(Tracewell::IWdbWriter::kDefaultMode, "toy", argv[1], 0);
    const auto traceBytes = writer.getTraceVhdlFunc();
    const auto traceVector = writer.getTraceVlogFunc();

    for (long long time = 0; time < end; time += 5) {
        unsigned char clk = !memory.clk;
        traceBytes(time, 0, sizeof clk, bytesOf(memory.clk), bytesOf(clk));
        memory.clk = clk;
        if (clk) {
            Group next = {memory.count.a + 1, 0};
            traceVector(time, 0, 5, bytesOf(memory.count), bytesOf(next), 0, 32);
            memory.count = next;
        }
        writer.markCurrentTime(time);
        if (time % 100000 == 0) {
            static_cast<Tracewell::WdbStandAloneWriter&>(writer).flush();
            std::cout << "saved " << time << std::endl;
        }
    }
    writer.close();
} catch (const Qsim::Exception& e) {
    std::cerr << "kernel: " << e.what() << '\n';
    return 1;
}

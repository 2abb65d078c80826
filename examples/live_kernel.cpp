// A toy kernel with a viewer beside it: sends a byte that counts, live_viewer shows it.
//
//   live_kernel [END-TIME]

#include "WdbLiveWriter.h"

#include <cstdlib>

int main(int argc, char** argv)
{
    const long long end = argc > 1 ? std::atoll(argv[1]) : 1000;
    unsigned char memory[8] = {};
    Tracewell::IWdbWriter& writer = *qtracewell_getWdbWriter();
    writer.setBaseDPOffset(reinterpret_cast<long long>(memory));
    writer.open(Tracewell::IWdbWriter::kLiveMode, "toy", "", 0);
    const auto trace = writer.getTraceVhdlFunc();

    // A mark comes through when the viewer is there, and all changes with it.
    for (long long time = 0; time < end; time += 5) {
        unsigned char next = static_cast<unsigned char>(memory[0] + 1);
        trace(time, 0, 1, memory, &next);
        memory[0] = next;
        writer.markCurrentTime(time);
    }
    while (!static_cast<Tracewell::WdbLiveWriter&>(writer).isViewerPresent())
        ;
    writer.close();
}

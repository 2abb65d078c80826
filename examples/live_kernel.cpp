// SPDX-License-Identifier: BSD-3-Clause

// A toy kernel that is watched while it runs: a byte that counts. live_viewer follows it.
//
//   live_kernel [END-TIME]

#include <tracewell/WdbLiveWriter.h>

#include <chrono>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv)
{
    const long long end = argc > 1 ? std::atoll(argv[1]) : 1000;
    unsigned char counter = 0;
    Tracewell::WdbLiveWriter writer;
    writer.setBaseDPOffset(reinterpret_cast<long long>(&counter));
    writer.open(Tracewell::IWdbWriter::kLiveMode, "toy", "", 0);
    while (writer.isOpen() && !writer.isViewerPresent()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // A viewer that dies must not stop the run: what it has no room for any more is given up.
    writer.setWaitHook([&] { return writer.isViewerPresent(); });

    const auto trace = writer.getTraceVhdlFunc();
    for (long long time = 0; time < end; time += 5) {
        auto next = static_cast<unsigned char>(counter + 1);
        trace(time, 0, 1, &counter, &next);
        counter = next;
        writer.markCurrentTime(time);
    }
    writer.close();
}

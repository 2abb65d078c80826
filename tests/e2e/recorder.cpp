// A kernel that records until it is killed: recorder FILE PROGRESS-FILE SEED WITH-FLUSHES

#include "RecordedRun.h"

#include "WdbStandAloneWriter.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdlib>

using namespace Tracewell;

int main(int argc, char** argv)
{
    if (argc != 5)
        return 2;
    const int file = ::open(argv[2], O_RDWR);
    void* const shared =
        ::mmap(nullptr, sizeof(RunProgress), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (shared == MAP_FAILED)
        return 2;
    RunProgress& progress = *static_cast<RunProgress*>(shared);

    auto& writer = static_cast<WdbStandAloneWriter&>(*qtracewell_getStandAloneWdbWriter());
    writer.setAddressSize(RecordedRun::kAddressSize);
    writer.setBucketDivision(RecordedRun::kDivision);
    writer.open(IWdbWriter::kDefaultMode, "", argv[1], 0);
    const auto trace = writer.getTraceScVirtualObjectFunc();

    RecordedRun run(static_cast<unsigned int>(std::atoi(argv[3])), std::atoi(argv[4]) != 0);
    long long texts = 0;
    for (;;) {
        RecordedRun::Step step = run.next();
        if (!step.text.empty())
            texts = writer.addString(step.text);
        trace(step.time, 0, step.value.data(), static_cast<unsigned int>(step.address),
              static_cast<unsigned int>(step.value.size()));
        progress.tracedEvents = step.time;
        if (step.flush) {
            writer.flush();
            progress.savedTexts = texts;
            progress.savedEvents = step.time;
        }
    }
}

// SPDX-License-Identifier: BSD-3-Clause

// A toy viewer: prints what the bytes at some addresses of the data memory were, and when.
//
//   viewer FILE.wdb ADDRESS...

#include <tracewell/QsimException.h>
#include <tracewell/WdbAddressBTreeManager.h>
#include <tracewell/WdbEventReaderFactory.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace Tracewell;

int main(int argc, char** argv)
try {
    if (argc < 3) {
        std::fprintf(stderr, "usage: viewer FILE.wdb ADDRESS...\n");
        return 2;
    }
    const std::unique_ptr<WdbIEventReader> reader(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    reader->createReader("", argv[1], 0, "");

    // One tree an address, in the order of asking; those in toScan have no history yet.
    WdbAddressBTreeManager& manager = reader->getBTreeManager();
    std::vector<WdbScalarBTree*> trees;
    std::vector<WdbScalarBTree*> toScan;
    for (int i = 2; i < argc; ++i) {
        manager.getOrCreateByteBTrees(std::atoll(argv[i]), 1, trees, toScan);
    }
    manager.scanWdbDatabaseMultiThread(toScan, nullptr);

    // Resolution 0: every change. A viewer passes the time that one of its pixels shows.
    std::vector<WdbTimeByteValues> answers;
    reader->getValueEvents(0, reader->getLatestTime(), 0, trees, answers);
    for (const WdbTimeByteValues& answer : answers) {
        std::printf("%lld", answer.getTime());
        for (unsigned int column = 0; column < trees.size(); ++column) {
            const WdbByteValue& value = answer.getValueAt(column);
            if (value.isBlank()) {
                std::printf(" --");
            } else if (value.isDenseDraw()) {
                std::printf(" ~~");
            } else {
                std::printf(" %02x", static_cast<unsigned int>(value.getValue()));
            }
        }
        std::printf("\n");
    }
} catch (const Qsim::Exception& e) {
    std::fprintf(stderr, "viewer: %s\n", e.what());
    return 1;
}

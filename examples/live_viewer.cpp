// SPDX-License-Identifier: BSD-3-Clause

// A toy viewer: records what live_kernel sends, and says what it sees meanwhile.
//
//   live_viewer FILE.wdb

#include <tracewell/QsimException.h>
#include <tracewell/WdbLiveReader.h>

#include <chrono>
#include <iostream>
#include <thread>

using namespace Tracewell;

int main(int argc, char** argv)
try {
    const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(10)); };
    while (!WdbLiveReader::isOffered("toy", 0)) {
        pause();
    }
    WdbLiveReader reader;
    reader.setMemFileSize(1);
    reader.setSnapshot("toy");
    reader.createReader(argc > 1 ? argv[1] : "live.wdb", "toy", 0, "");

    std::vector<WdbScalarBTree*> trees;
    reader.openByteTrees(0, 1, trees);
    WdbTimeByteValues value(1);
    for (bool isOver = false; !isOver; pause()) {
        isOver = !reader.isKernelPresent() && reader.isDrained();
        if (!reader.hasMoreData()) {
            continue;
        }
        reader.getValueEvent(reader.getLatestTime(), trees, value);
        std::cout << value.getTime() << " " << +value.getValueAt(0).getValue() << std::endl;
    }
} catch (const Qsim::Exception& e) {
    std::cerr << "live_viewer: " << e.what() << '\n';
    return 1;
}

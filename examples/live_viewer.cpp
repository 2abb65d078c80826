// A toy viewer: follows live_kernel into a file and says what it sees.
//
//   live_viewer FILE.wdb

#include "QsimException.h"
#include "WdbLiveReader.h"

#include <chrono>
#include <iostream>
#include <thread>

int main(int argc, char** argv)
try {
    while (!Tracewell::WdbLiveReader::isOffered("toy", 0))
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    Tracewell::WdbLiveReader reader;
    reader.setMemFileSize(8);
    reader.setSnapshot("toy");
    reader.createReader(argc > 1 ? argv[1] : "live.wdb", "toy", 0, "");

    std::vector<Tracewell::WdbScalarBTree*> trees;
    reader.openByteTrees(0, 1, trees);
    Tracewell::WdbTimeByteValues value(1);
    for (bool more = true; more;) {
        more = reader.isKernelPresent() || !reader.isDrained();
        boost::unique_lock<boost::mutex> lock(reader.getTimeMarkMutex());
        reader.markTime(lock);
        reader.getValueEvent(reader.getLatestTime(), trees, value);
        std::cout << value.getTime() << ": " << +value.getValueAt(0).getValue() << std::endl;
    }
} catch (const Qsim::Exception& e) {
    std::cerr << "live_viewer: " << e.what() << '\n';
    return 1;
}

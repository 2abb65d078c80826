// SPDX-License-Identifier: BSD-3-Clause

// Writes one value and reads it back, with nothing but what the package gives.

#include <tracewell/WdbAddressBTreeManager.h>
#include <tracewell/WdbEventReaderFactory.h>
#include <tracewell/WdbStandAloneWriter.h>

#include <iostream>
#include <memory>

int main()
{
    unsigned char memory = 0;
    unsigned char value = 42;
    Tracewell::IWdbWriter& writer = *qtracewell_getStandAloneWdbWriter();
    writer.setAddressSize(1);
    writer.setBaseDPOffset(reinterpret_cast<long long>(&memory));
    writer.open(Tracewell::IWdbWriter::kDefaultMode, "", "consumer.wdb", 0);
    writer.getTraceVhdlFunc()(7, 0, 1, &memory, &value);
    writer.close();

    using Tracewell::WdbEventReaderFactory;
    const std::unique_ptr<Tracewell::WdbIEventReader> reader(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    reader->createReader("", "consumer.wdb", 0, "");
    std::vector<Tracewell::WdbScalarBTree*> trees;
    std::vector<Tracewell::WdbScalarBTree*> toScan;
    reader->getBTreeManager().getOrCreateByteBTrees(0, 1, trees, toScan);
    reader->getBTreeManager().scanWdbDatabase(toScan, nullptr);
    Tracewell::WdbTimeByteValues values(1);
    reader->getValueEvent(7, trees, values);
    std::cout << static_cast<int>(values.getValueAt(0).getValue()) << '\n';
}

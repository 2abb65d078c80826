// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include "formats/vcd/DeclarationText.h"
#include "names/DataLayout.h"
#include "names/DeclarationsBuilder.h"

#include "WdbEventBlock.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"
#include "WdbIEventBlockDatabase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

const std::string kTable = "$timescale 10 ns $end\n"
                           "$scope module top $end\n"
                           "$var wire 1 a bit $end\n"
                           "$var event 1 b tick $end\n"
                           "$var reg 40 c vector [39:0] $end\n"
                           "$var real 64 d level $end\n"
                           "$scope module sub $end\n"
                           "$var wire 1 a alias $end\n"
                           "$var string 1 e text $end\n"
                           "$upscope $end\n"
                           "$var wire 1 f other $end\n"
                           "$upscope $end\n"
                           "$enddefinitions $end\n";

TEST(DataLayout, placesVectorsRealsAndTextsThenEventsThenScalarsThenOverrides)
{
    const tracewell::Declarations table = tracewell::parseDeclarations(kTable);
    ASSERT_EQ(table.objects.size(), 6u);
    EXPECT_EQ(table.fullName(4), "top.sub.alias");
    EXPECT_EQ(table.variables[4].object, 0u);
    const tracewell::DataLayout layout(table);
    std::vector<long long> places;
    for (std::size_t i = 0; i < table.objects.size(); ++i) {
        places.push_back(layout.addressOf(i));
    }
    // bit, tick, vector, level, text, other
    EXPECT_EQ(places, (std::vector<long long>{34, 32, 0, 16, 24, 35}));
    EXPECT_EQ(layout.overrideOf(1), 4096 + 8);
    EXPECT_EQ(layout.totalSize(), 4096 + 6 * 8);
}

TEST(DataLayout, ofATableThatIsBuiltIsThatOfTheOneThatIsRead)
{
    tracewell::DeclarationsBuilder builder("test", {});
    const auto add = [&](const char* kind, unsigned int width) {
        return builder.addVariable(kind, kind, "", width, tracewell::declaredKind(kind, width));
    };
    const std::uint32_t bit = add("wire", 1);
    const std::uint32_t bus = add("reg", 8);
    const std::uint32_t real = add("real", 64);
    builder.addAlias("wire", "wide", "", 33, bit);
    builder.addAlias("wire", "wider", "", 4000, bus);
    builder.addAlias("wire", "narrow", "", 2, bus);
    builder.addAlias("string", "text", "", 1, bus);
    builder.addAlias("wire", "bits", "", 100, real);
    const tracewell::Declarations built = builder.finish();
    const tracewell::Declarations read =
        tracewell::parseDeclarations(tracewell::writeDeclarations(built));
    ASSERT_EQ(read.objects.size(), built.objects.size());
    const tracewell::DataLayout layout(built);
    const tracewell::DataLayout again(read);
    for (std::size_t i = 0; i < built.objects.size(); ++i) {
        EXPECT_EQ(layout.addressOf(i), again.addressOf(i)) << i;
        EXPECT_EQ(built.objects[i].width, read.objects[i].width) << i;
    }
    EXPECT_EQ(layout.totalSize(), again.totalSize());
}

TEST_F(ImportExport, recordingHoldsTheNameTableAndEveryValueWhereTheRuleSays)
{
    write("in.vcd", kTable + "#0\nza\n1b\n1b\nb1x00000000000000000000000000000010000001 c\n"
                             "r-2.5 d\nshello e\nhf\n#3\nbu c\nb1 d\n0b\n#4\n");
    const Result result = import();
    ASSERT_EQ(result.code, 0) << result.error;

    const std::unique_ptr<Tracewell::WdbIEventReader> reader(
        Tracewell::WdbEventReaderFactory::getInstance().create(
            Tracewell::WdbEventReaderFactory::StaticReader));
    reader->createReader("", path("out.wdb"), 0, "");
    long long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> names(reader->getDbg(&size), &std::free);
    EXPECT_EQ(std::string(names.get(), static_cast<std::size_t>(size)), kTable);
    EXPECT_EQ(reader->getLatestTime(), 4);
    EXPECT_EQ(reader->getStringMapValue(1), "hello");
    EXPECT_EQ(reader->getStringMapValue(2), std::string(40, 'u'));
    EXPECT_EQ(reader->getStringMapValue(3), "1");

    Tracewell::WdbFileManager manager;
    manager.open(path("out.wdb"));
    EXPECT_EQ(manager.getApplication(), "tracewell");
    const std::unique_ptr<Tracewell::WdbIEventBlockDatabase> database(
        Tracewell::WdbEventBlockDatabaseFactory::getInstance().create(1001, manager));
    database->initialize(Tracewell::WdbIEventBlockDatabase::getEventSection(manager), false);
    std::vector<std::string> events;
    for (const auto& blocks : database->getAllEventBlockDatabaseIterator()) {
        Tracewell::WdbEventBlock block(10240, 0);
        for (; !blocks->isEof(); ++*blocks) {
            blocks->getEventBlock(block);
            for (auto i = block.getIterator(); i; ++i) {
                std::string text = fmt::format("{} @{}", (*i).getTime(), (*i).getStartAddress());
                for (unsigned int k = 0; k < (*i).getValuelength(); ++k) {
                    text += fmt::format(" {:02x}", static_cast<unsigned>((*i).getValue()[k]));
                }
                events.push_back(text);
            }
        }
    }
    std::sort(events.begin(), events.end());
    EXPECT_EQ(events, (std::vector<std::string>{
                          "0 @0 81 00 00 00 00 00 00 00 c0 00 00 00 40 00 00 00",
                          "0 @16 00 00 00 00 00 00 04 c0",
                          "0 @24 01 00 00 00 01 00 73 00",
                          "0 @32 01 01",
                          "0 @32 02 01",
                          "0 @34 02",
                          "0 @35 07",
                          "3 @0 ff ff ff ff ff ff ff ff ff 00 00 00 ff 00 00 00",
                          "3 @32 03 00",
                          "3 @4112 02 00 00 00 01 00 62 00",
                          "3 @4120 03 00 00 00 01 00 62 00",
                      }));
}

} // namespace

// SPDX-License-Identifier: BSD-3-Clause

#include "testing/TestFiles.h"

#include "OutputFileNames.h"

#include <vector>

namespace Tracewell {
namespace {

using Names = ZSIM::OutputFileNames;

TEST(OutputFileNames, pathsLeadToTheSimulatorsFiles)
{
    const std::string s = "work.top";
    std::string paths;
    for (const std::string& path :
         {Names::getAdjunctDirPathName(), Names::getKernelExecDirName(s, "/root"),
          Names::getSettingsPathName(s, "r"), Names::getKernelDLLPathName(s, "r"),
          Names::getCCPObjPathName(s, "a"), Names::getCCPMemFilePathName(s),
          Names::getCCPRelocateFilePathName(s), Names::getCCPRelocateHeaderFilePathName(s)}) {
        paths += path + " ";
    }
    EXPECT_EQ(paths, "zsim.dir/adjunct /root/zsim.dir/work.top "
                     "r/zsim.dir/work.top/zsimSettings.ini r/zsim.dir/work.top/zsimk.dll "
                     "zsim.dir/zsim.ccp/work.top/obj/a.nt64.obj "
                     "zsim.dir/zsim.ccp/work.top/zsimccp.mem "
                     "zsim.dir/zsim.ccp/work.top/zsimccp.reloc "
                     "zsim.dir/zsim.ccp/work.top/ccpreloc.h ");

    std::string files;
    for (const std::string& path :
         {Names::getCodegenDirName(s), Names::getBreakpointManagerPathName(s),
          Names::getCRVSolverDumpFilePathName(s), Names::getDbgPathName(s),
          Names::getDesignRolodexFilePathName(s), Names::getKernelLogPathName(s),
          Names::getMemFilePathName(s), Names::getProtoSettingsPathName(s),
          Names::getRTTIPathName(s), Names::getRelocateFilePathName(s),
          Names::getSVCovConsInfoFilePathName(s), Names::getSVCovInfoFilePathName(s),
          Names::getSVTypeFilePathName(s), Names::getSimCrashLogPathName(s),
          Names::getKernelExecPathName(s, false), Names::getKernelExecPathName(s, true),
          Names::getSimRelaunchFilePathName(s), Names::getTypeFilePathName(s)}) {
        EXPECT_EQ(path.rfind("zsim.dir/work.top/", 0), 0u) << path;
        files += path.substr(18) + " ";
    }
    EXPECT_EQ(files, "obj TempBreakPointFile.txt zsim.crvsdump zsim.dbg zsim.rlx zsimkernel.log "
                     "zsim.mem settings.protoinst zsim.rtti zsim.reloc zsim.covconsinfo "
                     "zsim.covinfo zsim.svtype zsimcrash.log zsimk.exe azsim.exe "
                     "Compile_Options.txt zsim.type ");
}

TEST(OutputFileNames, snapshotAndDatabaseNamesAreComputed)
{
    EXPECT_EQ(Names::getSnapshotName("zsim.dir/work.top/zsimk"), "work.top");
    EXPECT_EQ(Names::getSnapshotName("work.top/zsimk"), "work.top");
    EXPECT_EQ(Names::getSnapshotName("zsim.dir\\work.top\\zsimk"), "work.top");
    EXPECT_EQ(Names::getSnapshotName("a/b\\c\\d/e"), "c");
    EXPECT_EQ(Names::getSnapshotName("top"), "top");
    EXPECT_EQ(Names::getSnapshotName(std::vector<std::string>()), "");
    EXPECT_EQ(Names::getSnapshotName(std::vector<std::string>{"top", "lib.glbl", "x"}),
              "work.top#lib.glbl#work.x");
    EXPECT_EQ(Names::getWdbFileName("", 0), "zsim.wdb");
    EXPECT_EQ(Names::getWdbFileName("a", 0), "a.wdb");
    EXPECT_EQ(Names::getWdbFileName("a.wdb", 2), "a2.wdb");
    EXPECT_EQ(Names::getWdbFileName("d.x/a.wdb.bak", 2), "d.x/a.wdb.bak2.wdb");
}

/// Each case in a process of its own, since a location stays for the life of the process.
TEST(OutputFileNamesDeathTest, dumpDirectoryFollowsALocationThatExists)
{
    const TestDirectory directory;
    const std::string missing = directory.path("missing");
    const std::string plain = directory.path("out");
    const std::string named = directory.path("zsim.dir");
    std::filesystem::create_directory(plain);
    std::filesystem::create_directory(named);
    const auto expectAfter = [](std::vector<const char*> locations, const std::string& expected) {
        const auto setAndCompare = [&] {
            const std::string before = Names::getDumpDirName();
            for (const char* location : locations) {
                Names::setZSimDirLocation(location);
            }
            std::exit(before == "zsim.dir" && Names::getDumpDirName() == expected ? 0 : 1);
        };
        EXPECT_EXIT(setAndCompare(), ::testing::ExitedWithCode(0), "") << expected;
    };
    expectAfter({missing.c_str(), "", nullptr}, "zsim.dir");
    expectAfter({named.c_str()}, named);
    expectAfter({named.c_str(), plain.c_str(), missing.c_str(), ""}, plain + "/zsim.dir");
}

} // namespace
} // namespace Tracewell

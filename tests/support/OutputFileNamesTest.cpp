#include "TestFiles.h"

#include "OutputFileNames.h"

#include <utility>
#include <vector>

namespace Tracewell {
namespace {

using Names = ZSIM::OutputFileNames;

TEST(OutputFileNames, everyNameIsTheSimulators)
{
    const std::string s = "work.top";
    const std::vector<std::pair<std::string, std::string>> names = {
        {Names::getAdjunctDirectoryName(), "adjunct"},
        {Names::getBreakpointManagerFileName(), "TempBreakPointFile.txt"},
        {Names::getCCPMemFileName(), "zsimccp.mem"},
        {Names::getCCPRelocateFileName(), "zsimccp.reloc"},
        {Names::getCCPRelocateHeaderFileName(), "ccpreloc.h"},
        {Names::getElabLogFileName(), "zelab.log"},
        {Names::getHDLLibraryMappingFileName(), "zsim.ini"},
        {Names::getIncludeFileReleaseDir(), "data/zsim/include"},
        {Names::getKernelLogFileName(), "zsimkernel.log"},
        {Names::getObjfileExtension(), "obj"},
        {Names::getPlatform(), "nt64"},
        {Names::getProtoInstExtension(), ".protoinst"},
        {Names::getSimExecName(), "zsimk.exe"},
        {Names::getSimLogFileName(), "zsimapp.log"},
        {Names::getSimStandaloneExecName(), "azsim.exe"},
        {Names::getWaveformConfigFileName(), "zsim.wcfg"},
        {Names::getWdbFileName(), "zsim.wdb"},
        {Names::getZsiHeaderFileName(), "zsi.h"},

        {Names::getDumpDirName(), "zsim.dir"},
        {Names::getAdjunctDirPathName(), "zsim.dir/adjunct"},
        {Names::getKernelExecDirName(s, ""), "zsim.dir/work.top"},
        {Names::getKernelExecDirName(s, "/root"), "/root/zsim.dir/work.top"},
        {Names::getCodegenDirName(s), "zsim.dir/work.top/obj"},
        {Names::getCCPDirName(s), "zsim.ccp"},
        {Names::getKernelExecCCPDirName(s), "zsim.dir/zsim.ccp/work.top"},
        {Names::getCCPCodegenDirName(s), "zsim.dir/zsim.ccp/work.top/obj"},
        {Names::getCCPObjPathName(s, "a"), "zsim.dir/zsim.ccp/work.top/obj/a.nt64.obj"},
        {Names::getCCPMemFilePathName(s), "zsim.dir/zsim.ccp/work.top/zsimccp.mem"},
        {Names::getCCPRelocateFilePathName(s), "zsim.dir/zsim.ccp/work.top/zsimccp.reloc"},
        {Names::getCCPRelocateHeaderFilePathName(s), "zsim.dir/zsim.ccp/work.top/ccpreloc.h"},

        {Names::getBreakpointManagerPathName(s), "zsim.dir/work.top/TempBreakPointFile.txt"},
        {Names::getCRVSolverDumpFilePathName(s), "zsim.dir/work.top/zsim.crvsdump"},
        {Names::getDbgPathName(s), "zsim.dir/work.top/zsim.dbg"},
        {Names::getDesignRolodexFilePathName(s), "zsim.dir/work.top/zsim.rlx"},
        {Names::getKernelLogPathName(s), "zsim.dir/work.top/zsimkernel.log"},
        {Names::getMemFilePathName(s), "zsim.dir/work.top/zsim.mem"},
        {Names::getProtoSettingsPathName(s), "zsim.dir/work.top/settings.protoinst"},
        {Names::getRTTIPathName(s), "zsim.dir/work.top/zsim.rtti"},
        {Names::getRelocateFilePathName(s), "zsim.dir/work.top/zsim.reloc"},
        {Names::getSVCovConsInfoFilePathName(s), "zsim.dir/work.top/zsim.covconsinfo"},
        {Names::getSVCovInfoFilePathName(s), "zsim.dir/work.top/zsim.covinfo"},
        {Names::getSVTypeFilePathName(s), "zsim.dir/work.top/zsim.svtype"},
        {Names::getSettingsPathName(s, "r"), "r/zsim.dir/work.top/zsimSettings.ini"},
        {Names::getSimCrashLogPathName(s), "zsim.dir/work.top/zsimcrash.log"},
        {Names::getKernelDLLPathName(s, "r"), "r/zsim.dir/work.top/zsimk.dll"},
        {Names::getKernelExecPathName(s, false), "zsim.dir/work.top/zsimk.exe"},
        {Names::getKernelExecPathName(s, true), "zsim.dir/work.top/azsim.exe"},
        {Names::getSimRelaunchFilePathName(s), "zsim.dir/work.top/Compile_Options.txt"},
        {Names::getTypeFilePathName(s), "zsim.dir/work.top/zsim.type"},
    };
    for (const auto& [actual, expected] : names)
        EXPECT_EQ(actual, expected);
}

TEST(OutputFileNames, snapshotAndDatabaseNamesAreComputed)
{
    const auto ofPath = [](const std::string& path) { return Names::getSnapshotName(path); };
    EXPECT_EQ(ofPath("zsim.dir/work.top/zsimk"), "work.top");
    EXPECT_EQ(ofPath("work.top/zsimk"), "work.top");
    EXPECT_EQ(ofPath("zsim.dir\\work.top\\zsimk"), "work.top");
    EXPECT_EQ(ofPath("a/b\\c\\d/e"), "c");
    EXPECT_EQ(ofPath("top"), "top");
    EXPECT_EQ(ofPath("/top"), "");

    const auto ofUnits = [](const std::vector<std::string>& u) {
        return Names::getSnapshotName(u);
    };
    EXPECT_EQ(ofUnits({}), "");
    EXPECT_EQ(ofUnits({"top"}), "work.top");
    EXPECT_EQ(ofUnits({"top", "lib.glbl", "x"}), "work.top#lib.glbl#work.x");

    EXPECT_EQ(Names::getWdbFileName("", 0), "zsim.wdb");
    EXPECT_EQ(Names::getWdbFileName("", 7), "zsim7.wdb");
    EXPECT_EQ(Names::getWdbFileName("a", 0), "a.wdb");
    EXPECT_EQ(Names::getWdbFileName("a.wdb", 2), "a2.wdb");
    EXPECT_EQ(Names::getWdbFileName("d.x/a.wdb.bak", 2), "d.x/a.wdb.bak2.wdb");
}

/// Each case in a process of its own, since a location stays for the life of the process.
TEST(OutputFileNamesDeathTest, dumpDirectoryFollowsALocationThatExists)
{
    const TestDirectory directory;
    const std::string plain = directory.path("out");
    const std::string named = directory.path("zsim.dir");
    std::filesystem::create_directory(plain);
    std::filesystem::create_directory(named);
    const auto after = [](std::vector<const char*> locations, const std::string& expected) {
        const char* const first = Names::getDumpDirName();
        for (const char* location : locations)
            Names::setZSimDirLocation(location);
        const bool right = Names::getDumpDirName() == expected &&
                           std::string(first) == "zsim.dir" &&
                           Names::getDbgPathName("s") == expected + "/s/zsim.dbg";
        std::exit(right ? 0 : 1);
    };
    const auto success = ::testing::ExitedWithCode(0);
    const std::string missing = directory.path("missing");
    EXPECT_EXIT(after({missing.c_str(), "", nullptr}, "zsim.dir"), success, "");
    EXPECT_EXIT(after({plain.c_str(), missing.c_str(), ""}, plain + "/zsim.dir"), success, "");
    EXPECT_EXIT(after({plain.c_str(), named.c_str()}, named), success, "");
}

} // namespace
} // namespace Tracewell

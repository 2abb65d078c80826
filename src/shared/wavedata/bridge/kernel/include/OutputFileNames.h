// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <string>
#include <vector>

namespace ZSIM {

/// The names of the simulator's files and directories, and nothing else: no operation but
/// setZSimDirLocation looks at the file system, and none makes a file. Every file of a compiled
/// design lies in a directory for each snapshot under the dump directory. All operations may be
/// called by any thread.
class TRACEWELL_API OutputFileNames
{
public:
    /// Says where the dump directory is. A null or empty location, or one that the file system
    /// does not know, changes nothing.
    static void setZSimDirLocation(const char* location);

    // Directories.

    /// "zsim.dir" in the location that was set, or the location itself if it names "zsim.dir".
    /// The text stays valid for the life of the process.
    static const char* getDumpDirName();
    static const char* getAdjunctDirectoryName() { return "adjunct"; }
    static std::string getAdjunctDirPathName();
    /// Where the files of a snapshot lie; `root` (may be empty) is put in front.
    static std::string getKernelExecDirName(const std::string& snapshot,
                                            const std::string& root = std::string());
    static std::string getCodegenDirName(const std::string& snapshot);
    /// The same for all snapshots and roots.
    static std::string getCCPDirName(const std::string& snapshot = std::string(),
                                     const std::string& root = std::string());
    static std::string getKernelExecCCPDirName(const std::string& snapshot);
    static std::string getCCPCodegenDirName(const std::string& snapshot);
    static std::string getCCPObjPathName(const std::string& snapshot, const std::string& name);
    static const char* getIncludeFileReleaseDir() { return "data/zsim/include"; }

    // Computed names.

    /// The name of the directory that holds the last component of a path; a text without a
    /// separator is its own answer.
    static std::string getSnapshotName(const std::string& path);
    /// The units of a design joined by "#"; a unit without a library is in "work".
    static std::string getSnapshotName(const std::vector<std::string>& names);
    static const char* getWdbFileName() { return "zsim.wdb"; }
    /// `name`, or the standard name for an empty one, with its suffix; `number` (0 for none)
    /// stands in front of the suffix, so that each run of a series gets a file of its own.
    static std::string getWdbFileName(const std::string& name, unsigned int number);

    // Parts of names.

    static const char* getObjfileExtension() { return "obj"; }
    static const char* getPlatform() { return "nt64"; }
    static const char* getProtoInstExtension() { return ".protoinst"; }

    // Files without a fixed directory.

    static const char* getElabLogFileName() { return "zelab.log"; }
    static const char* getHDLLibraryMappingFileName() { return "zsim.ini"; }
    static const char* getSimLogFileName() { return "zsimapp.log"; }
    static const char* getWaveformConfigFileName() { return "zsim.wcfg"; }
    static const char* getZsiHeaderFileName() { return "zsi.h"; }

    // Files of a snapshot: the name, and the path for a snapshot's name.

    static const char* getBreakpointManagerFileName() { return "TempBreakPointFile.txt"; }
    static std::string getBreakpointManagerPathName(const std::string& snapshot);
    static const char* getCRVSolverDumpFileName() { return "zsim.crvsdump"; }
    static std::string getCRVSolverDumpFilePathName(const std::string& snapshot);
    static const char* getDbgFileName() { return "zsim.dbg"; }
    static std::string getDbgPathName(const std::string& snapshot);
    static std::string getDesignRolodexFilePathName(const std::string& snapshot);
    static const char* getKernelLogFileName() { return "zsimkernel.log"; }
    static std::string getKernelLogPathName(const std::string& snapshot);
    static const char* getMemFileName() { return "zsim.mem"; }
    static std::string getMemFilePathName(const std::string& snapshot);
    static const char* getProtoSettingsFileName() { return "settings.protoinst"; }
    static std::string getProtoSettingsPathName(const std::string& snapshot);
    static const char* getRTTIFileName() { return "zsim.rtti"; }
    static std::string getRTTIPathName(const std::string& snapshot);
    static const char* getRelocateFileName() { return "zsim.reloc"; }
    static std::string getRelocateFilePathName(const std::string& snapshot);
    static const char* getSVCovConsInfoFileName() { return "zsim.covconsinfo"; }
    static std::string getSVCovConsInfoFilePathName(const std::string& snapshot);
    static const char* getSVCovInfoFileName() { return "zsim.covinfo"; }
    static std::string getSVCovInfoFilePathName(const std::string& snapshot);
    static const char* getSVTypeFileName() { return "zsim.svtype"; }
    static std::string getSVTypeFilePathName(const std::string& snapshot);
    static const char* getSettingsFileName() { return "zsimSettings.ini"; }
    static std::string getSettingsPathName(const std::string& snapshot,
                                           const std::string& root = std::string());
    static const char* getSimCrashLogFileName() { return "zsimcrash.log"; }
    static std::string getSimCrashLogPathName(const std::string& snapshot);
    static const char* getSimDLLName() { return "zsimk.dll"; }
    static std::string getKernelDLLPathName(const std::string& snapshot,
                                            const std::string& root = std::string());
    static const char* getSimExecName() { return "zsimk.exe"; }
    static const char* getSimStandaloneExecName() { return "azsim.exe"; }
    static std::string getKernelExecPathName(const std::string& snapshot, bool standalone);
    static const char* getSimRelaunchFileName() { return "Compile_Options.txt"; }
    static std::string getSimRelaunchFilePathName(const std::string& snapshot);
    static const char* getTypeFileName() { return "zsim.type"; }
    static std::string getTypeFilePathName(const std::string& snapshot);

    // Files of a snapshot in its CCP directory.

    static const char* getCCPMemFileName() { return "zsimccp.mem"; }
    static std::string getCCPMemFilePathName(const std::string& snapshot);
    static const char* getCCPRelocateFileName() { return "zsimccp.reloc"; }
    static std::string getCCPRelocateFilePathName(const std::string& snapshot);
    static const char* getCCPRelocateHeaderFileName() { return "ccpreloc.h"; }
    static std::string getCCPRelocateHeaderFilePathName(const std::string& snapshot);
};

} // namespace ZSIM

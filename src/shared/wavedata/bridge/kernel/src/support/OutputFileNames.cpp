// SPDX-License-Identifier: BSD-3-Clause

#include "OutputFileNames.h"

#include "ThreadSafety.h"

#include <boost/filesystem/operations.hpp>

#include <set>

namespace ZSIM {

namespace {

constexpr char kDumpDirectory[] = "zsim.dir";
constexpr char kCCPDirectory[] = "zsim.ccp";
constexpr char kObjectDirectory[] = "obj";
constexpr char kRolodexFile[] = "zsim.rlx";
constexpr char kWdbSuffix[] = ".wdb";

struct DumpDirectory
{
    std::string getName() const TRACEWELL_REQUIRES(m_mutex)
    {
        if (m_location.empty()) {
            return kDumpDirectory;
        }
        if (m_location.find(kDumpDirectory) != std::string::npos) {
            return m_location;
        }
        return m_location + "/" + kDumpDirectory;
    }

    Tracewell::Mutex m_mutex;
    std::string m_location TRACEWELL_GUARDED_BY(m_mutex);
    /// The texts that getDumpDirName gave out; they are never taken back.
    std::set<std::string> m_namesGiven TRACEWELL_GUARDED_BY(m_mutex);
};

/// Never destroyed: the static writers may ask for names at the end of the process.
DumpDirectory& getDumpDirectory()
{
    static DumpDirectory* const directory = new DumpDirectory;
    return *directory;
}

std::string getDumpDirectoryName()
{
    DumpDirectory& directory = getDumpDirectory();
    const Tracewell::MutexLock lock(directory.m_mutex);
    return directory.getName();
}

std::string join(const std::string& directory, const std::string& name)
{
    return directory + "/" + name;
}

std::string inSnapshot(const std::string& snapshot, const char* name)
{
    return join(OutputFileNames::getKernelExecDirName(snapshot), name);
}

std::string inCCP(const std::string& snapshot, const char* name)
{
    return join(OutputFileNames::getKernelExecCCPDirName(snapshot), name);
}

/// What stands between the last two separators.
std::string getParentName(const std::string& path, char separator)
{
    const std::string::size_type end = path.rfind(separator);
    if (end == std::string::npos) {
        return path;
    }
    const std::string parent = path.substr(0, end);
    const std::string::size_type begin = parent.rfind(separator);
    return begin == std::string::npos ? parent : parent.substr(begin + 1);
}

} // namespace

void OutputFileNames::setZSimDirLocation(const char* location)
{
    boost::system::error_code error;
    if (!location || *location == '\0' ||
        !boost::filesystem::exists(boost::filesystem::status(location, error))) {
        return;
    }
    DumpDirectory& directory = getDumpDirectory();
    const Tracewell::MutexLock lock(directory.m_mutex);
    directory.m_location = location;
}

const char* OutputFileNames::getDumpDirName()
{
    DumpDirectory& directory = getDumpDirectory();
    const Tracewell::MutexLock lock(directory.m_mutex);
    return directory.m_namesGiven.insert(directory.getName()).first->c_str();
}

std::string OutputFileNames::getAdjunctDirPathName()
{
    return join(getDumpDirectoryName(), getAdjunctDirectoryName());
}

std::string OutputFileNames::getKernelExecDirName(const std::string& snapshot,
                                                  const std::string& root)
{
    const std::string directory = join(getDumpDirectoryName(), snapshot);
    return root.empty() ? directory : join(root, directory);
}

std::string OutputFileNames::getCodegenDirName(const std::string& snapshot)
{
    return inSnapshot(snapshot, kObjectDirectory);
}

std::string OutputFileNames::getCCPDirName(const std::string& /*snapshot*/,
                                           const std::string& /*root*/)
{
    return kCCPDirectory;
}

std::string OutputFileNames::getKernelExecCCPDirName(const std::string& snapshot)
{
    return join(join(getDumpDirectoryName(), getCCPDirName()), snapshot);
}

std::string OutputFileNames::getCCPCodegenDirName(const std::string& snapshot)
{
    return inCCP(snapshot, kObjectDirectory);
}

std::string OutputFileNames::getCCPObjPathName(const std::string& snapshot, const std::string& name)
{
    return join(getCCPCodegenDirName(snapshot), name) + "." + getPlatform() + "." +
           getObjfileExtension();
}

std::string OutputFileNames::getSnapshotName(const std::string& path)
{
    return getParentName(getParentName(path, '/'), '\\');
}

std::string OutputFileNames::getSnapshotName(const std::vector<std::string>& names)
{
    std::string snapshot;
    for (const std::string& name : names) {
        if (!snapshot.empty()) {
            snapshot += "#";
        }
        if (name.find('.') == std::string::npos) {
            snapshot += "work.";
        }
        snapshot += name;
    }
    return snapshot;
}

std::string OutputFileNames::getWdbFileName(const std::string& name, unsigned int number)
{
    std::string file = name.empty() ? getWdbFileName() : name;
    const std::string suffix = kWdbSuffix;
    if (file.size() < suffix.size() ||
        file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0) {
        file += suffix;
    }
    if (number != 0) {
        file.insert(file.rfind('.'), std::to_string(number));
    }
    return file;
}

std::string OutputFileNames::getBreakpointManagerPathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getBreakpointManagerFileName());
}

std::string OutputFileNames::getCRVSolverDumpFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getCRVSolverDumpFileName());
}

std::string OutputFileNames::getDbgPathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getDbgFileName());
}

std::string OutputFileNames::getDesignRolodexFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, kRolodexFile);
}

std::string OutputFileNames::getKernelLogPathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getKernelLogFileName());
}

std::string OutputFileNames::getMemFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getMemFileName());
}

std::string OutputFileNames::getProtoSettingsPathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getProtoSettingsFileName());
}

std::string OutputFileNames::getRTTIPathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getRTTIFileName());
}

std::string OutputFileNames::getRelocateFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getRelocateFileName());
}

std::string OutputFileNames::getSVCovConsInfoFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getSVCovConsInfoFileName());
}

std::string OutputFileNames::getSVCovInfoFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getSVCovInfoFileName());
}

std::string OutputFileNames::getSVTypeFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getSVTypeFileName());
}

std::string OutputFileNames::getSettingsPathName(const std::string& snapshot,
                                                 const std::string& root)
{
    return join(getKernelExecDirName(snapshot, root), getSettingsFileName());
}

std::string OutputFileNames::getSimCrashLogPathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getSimCrashLogFileName());
}

std::string OutputFileNames::getKernelDLLPathName(const std::string& snapshot,
                                                  const std::string& root)
{
    return join(getKernelExecDirName(snapshot, root), getSimDLLName());
}

std::string OutputFileNames::getKernelExecPathName(const std::string& snapshot, bool standalone)
{
    return inSnapshot(snapshot, standalone ? getSimStandaloneExecName() : getSimExecName());
}

std::string OutputFileNames::getSimRelaunchFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getSimRelaunchFileName());
}

std::string OutputFileNames::getTypeFilePathName(const std::string& snapshot)
{
    return inSnapshot(snapshot, getTypeFileName());
}

std::string OutputFileNames::getCCPMemFilePathName(const std::string& snapshot)
{
    return inCCP(snapshot, getCCPMemFileName());
}

std::string OutputFileNames::getCCPRelocateFilePathName(const std::string& snapshot)
{
    return inCCP(snapshot, getCCPRelocateFileName());
}

std::string OutputFileNames::getCCPRelocateHeaderFilePathName(const std::string& snapshot)
{
    return inCCP(snapshot, getCCPRelocateHeaderFileName());
}

} // namespace ZSIM

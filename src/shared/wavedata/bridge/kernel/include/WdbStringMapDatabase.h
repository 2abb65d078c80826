#pragma once

#include "TracewellExport.h"
#include "WdbAppendingStringBlockList.h"
#include "WdbStringBlock.h"

#include <memory>
#include <string>

namespace Tracewell {

class WdbFileManager;

/// The 16-byte record to which the "WDB.StringMap" section points.
struct TRACEWELL_API WdbStringMapDatabaseHeader
{
    static unsigned int getDefaultBlockSize() { return 1024; }
    void dump() const;

    int m_databaseTypeId;
    unsigned int m_stringBlockSize;
    long long m_stringBlockFileOffset;
};

static_assert(sizeof(WdbStringMapDatabaseHeader) == 16);

/// Gives texts numbers, from 1 on in the order of adding, and finds them again.
class TRACEWELL_API WdbStringMapDatabase
{
public:
    explicit WdbStringMapDatabase(WdbFileManager& fileManager);
    virtual ~WdbStringMapDatabase();

    static long long createStringMapSection(int typeId, WdbFileManager& fileManager,
                                            bool addToTable);
    /// \throws Qsim::OpenException when the file has no such section.
    static long long getStringMapSection(WdbFileManager& fileManager);

    void initialize(long long sectionOffset, bool forWriting);
    /// The new text's id; -1, and no id is used up, for a text over 1,010 characters or with a NUL.
    long long addString(const std::string& text);
    bool getString(unsigned int id, std::string& text) const;
};

} // namespace Tracewell

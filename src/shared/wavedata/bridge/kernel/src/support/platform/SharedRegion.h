// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <string>

namespace Tracewell {

/// Named memory that two processes of one user share: one creates it, one opens it. Only its owner
/// can open it, its space is reserved when it is made, and its size never changes.
///
/// Each side holds a lock that ends with the process, however it ends. So a second creator and a
/// second opener are refused, and a region whose creator was killed is told from one in use: the
/// next creator puts a new region in its place, and an opener takes it for absent. Whoever still
/// has the old one mapped keeps it. The creator takes the name away when it closes.
///
/// One thread at a time.
class SharedRegion
{
public:
    /// What came of create and open. All but Done leave nothing mapped and the cause in errno.
    enum class Outcome {
        Done,
        /// The region could not be made or opened.
        Failed,
        NotMapped,
        HasCreator,
        HasOpener,
        /// Its creator has ended without taking it away.
        CreatorGone,
        OtherOwner,
        /// What stands at the name is a link, a directory or the like.
        OtherKind,
        TooSmall,
        /// The partner's name no longer stands for what is mapped.
        PartnerReplaced,
    };

    SharedRegion() = default;
    SharedRegion(const SharedRegion&) = delete;
    SharedRegion& operator=(const SharedRegion&) = delete;
    ~SharedRegion() { close(); }

    /// The system's spelling of a name: the whole of `tag` at the end, and as much of `text` in
    /// front of it as there is room for.
    static std::string spellName(const std::string& text, const std::string& tag);
    /// The user whose regions this process makes and can open.
    static unsigned int getOwnerId();
    /// Whether a living creator offers such a region of at least `size` bytes. Takes nothing.
    static bool isOffered(const std::string& name, std::size_t size);
    /// Whether one does and another process has it open. Takes nothing either.
    static bool hasOpener(const std::string& name, std::size_t size);

    /// `name` comes from spellName. All bytes are 0. Closes an open region first.
    Outcome create(const std::string& name, std::size_t size);
    /// Maps the first `size` bytes of a region that has at least that many. Closes an open region
    /// first. Where a creator makes `partner` before this one and takes it away behind it,
    /// `partner` must be open: then both come from one creator, who sees nothing of us before that
    /// is sure.
    Outcome open(const std::string& name, std::size_t size, const SharedRegion* partner = nullptr);
    void close();

    /// At a page border; null while nothing is mapped.
    char* data() const { return m_data; }
    /// Whether the name now stands for another region than the mapped one.
    bool isReplaced() const;
    /// Whether the other side, opener or creator, has the mapped region now.
    bool isPeerPresent() const;

private:
    Outcome makeFile();
    Outcome find(std::size_t size);
    Outcome map(std::size_t size);
    void closeDescriptor();
    Outcome fail(Outcome outcome, int error);
    Outcome failOpen();
    Outcome failLock(Outcome inUse);
    Outcome tryAgain();

    std::string m_name;
    int m_descriptor = -1;
    char* m_data = nullptr;
    std::size_t m_size = 0;
    bool m_isCreator = false;
};

} // namespace Tracewell

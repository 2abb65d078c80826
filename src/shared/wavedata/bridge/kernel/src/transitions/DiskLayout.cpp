// SPDX-License-Identifier: BSD-3-Clause

#include "DiskLayout.h"

#include "QsimException.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace Tracewell {

namespace {

constexpr int kElemWords = 11;
constexpr int kDirectoryWords = 5;
constexpr long long kElemBytes = kElemWords * 4;
constexpr long long kDirectoryBytes = kDirectoryWords * 4;
/// Latest time and number of roots.
constexpr long long kTreeHeaderBytes = 12;
constexpr int kMaxLevels = 3;

using Words = std::vector<std::uint32_t>;

void putHalves(Words& words, long long value)
{
    const auto bits = static_cast<std::uint64_t>(value);
    words.push_back(static_cast<std::uint32_t>(bits >> 32));
    words.push_back(static_cast<std::uint32_t>(bits));
}

long long joinHalves(const std::uint32_t* words)
{
    return static_cast<long long>(std::uint64_t{words[0]} << 32 | words[1]);
}

void putElem(Words& words, const BTreeElem& elem)
{
    putHalves(words, elem.firstTime);
    putHalves(words, elem.lastTime);
    putHalves(words, elem.largestDiff);
    words.push_back(static_cast<std::uint32_t>(elem.count));
    putHalves(words, elem.fileOffset);
    words.push_back(elem.isLeaf() ? 0 : static_cast<std::uint32_t>(elem.children->size()));
    words.push_back(elem.flags);
}

void putDescendants(Words& words, const BTreeElem& elem)
{
    if (elem.isLeaf()) {
        return;
    }
    for (const BTreeElem* const child : *elem.children) {
        putElem(words, *child);
    }
    for (const BTreeElem* const child : *elem.children) {
        putDescendants(words, *child);
    }
}

bool writeWords(FileIO& file, const Words& words)
{
    constexpr std::size_t kPiece = 1 << 20;
    for (std::size_t i = 0; i < words.size(); i += kPiece) {
        const std::size_t count = std::min(kPiece, words.size() - i);
        if (!file.writeData(&words[i], static_cast<unsigned int>(count * 4))) {
            return false;
        }
    }
    return true;
}

bool readWords(FileIO& file, Words& words)
{
    constexpr std::size_t kPiece = 1 << 20;
    for (std::size_t i = 0; i < words.size(); i += kPiece) {
        const std::size_t count = std::min(kPiece, words.size() - i);
        if (!file.readData(&words[i], static_cast<unsigned int>(count * 4))) {
            return false;
        }
    }
    return true;
}

/// Reads records of trees, which are few each and mostly follow each other, many at a time.
class RecordWindow
{
public:
    RecordWindow(FileIO& file, long long fileSize) : m_file(file), m_fileSize(fileSize) {}

    /// Fills `words` from `place` on, all of it inside the file.
    bool read(long long place, Words& words)
    {
        const auto bytes =
            static_cast<long long>(words.size()) * static_cast<long long>(sizeof words[0]);
        if (bytes > kBytes) {
            return m_file.setOffset(place) && readWords(m_file, words);
        }
        if (place < m_start || place + bytes > m_end) {
            m_start = place;
            m_end = place + std::min(kBytes, m_fileSize - place);
            if (!m_file.setOffset(place) ||
                !m_file.readData(m_window, static_cast<unsigned int>(m_end - m_start))) {
                m_end = m_start;
                return false;
            }
        }
        std::memcpy(words.data(), m_window + (place - m_start), static_cast<std::size_t>(bytes));
        return true;
    }

private:
    static constexpr long long kBytes = 8192;

    FileIO& m_file;
    const long long m_fileSize;
    long long m_start = 0;
    long long m_end = 0;
    char m_window[kBytes];
};

[[noreturn]] void refuse(const char* what)
{
    const std::string text = std::string("The WDB file is damaged: ") + what + ".";
    throw Qsim::OpenException("QSim", "DataBase", "", __LINE__, text.c_str());
}

bool isSoundLeaf(const BTreeElem& leaf, long long fileSize)
{
    if (leaf.count < 1 || leaf.count > kMaxBlockCount || leaf.flags >> 16 != 0 ||
        blockPeriod(leaf.flags) > kMaxPeriod) {
        return false;
    }
    const auto bytes = static_cast<long long>(blockBytes(leaf.flags, leaf.count));
    return bytes == 0 ||
           (leaf.fileOffset >= DataBaseFileHeader::kBytes && leaf.fileOffset <= fileSize - bytes);
}

/// Whether a leaf tells its values, or has a kind that tells none.
bool hasKnownValues(const BTreeElem& leaf)
{
    const ValueType type = blockType(leaf.flags);
    if (blockPeriod(leaf.flags) != 0) {
        return (leaf.flags & kAlternatingFlag) != 0;
    }
    switch (type) {
    case ValueInt64:
    case ValueDouble:
        return (leaf.flags & (kWideFlag | kAlternatingFlag)) != 0;
    case ValueNone:
    case ValueDense:
        return (leaf.flags & kAlternatingFlag) != 0;
    default:
        return type <= ValueStdLogic && type != 9;
    }
}

/// Whether what the nodes of a tree say of each other and of themselves fits together. Blocks that
/// begin with the value at time 0 once more are of a writer short of memory.
bool isConsistent(const BTreeElem* elems, std::size_t count)
{
    const BTreeElem* before = nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        const BTreeElem& elem = elems[i];
        if (elem.lastTime < elem.firstTime) {
            return false;
        }
        if (elem.isLeaf()) {
            if (!hasKnownValues(elem) || blockType(elem.flags) != blockType(elems->flags) ||
                elem.firstTime < 0 ||
                (before && elem.firstTime < before->lastTime && elem.firstTime != 0)) {
                return false;
            }
            before = &elem;
            continue;
        }
        long long largest = 0;
        for (const BTreeElem* const child : *elem.children) {
            largest = std::max(largest, child->largestDiff);
        }
        if (elem.firstTime != elem.children->front()->firstTime ||
            elem.lastTime != elem.children->back()->lastTime || elem.largestDiff < largest) {
            return false;
        }
    }
    return true;
}

/// The tree of records in the order of writeBTreesToDisk, which for three levels is breadth
/// first: the children of a record follow those of the records before it.
BTreeElem* readTree(const Words& words, long long fileSize, NodeTree& tree, long long& latestTime)
{
    const std::size_t count = words.size() / kElemWords;
    BTreeElem* const elems = count == 1 ? tree.createBTreeElem() : tree.createBTreeElems(count);
    std::size_t nextChild = 1;
    std::size_t levelEnd = 1;
    int level = 1;
    for (std::size_t i = 0; i < count; ++i) {
        if (i == levelEnd) {
            levelEnd = nextChild;
            ++level;
        }
        const std::uint32_t* const record = &words[i * kElemWords];
        BTreeElem& elem = elems[i];
        elem.firstTime = joinHalves(record);
        elem.lastTime = joinHalves(record + 2);
        elem.largestDiff = joinHalves(record + 4);
        elem.count = static_cast<std::int32_t>(record[6]);
        elem.fileOffset = joinHalves(record + 7);
        elem.flags = record[10];
        latestTime = std::max(latestTime, elem.lastTime);
        const std::size_t children = record[9];
        if (i >= nextChild) {
            refuse("a node of a tree has no parent");
        }
        if (children > count - nextChild) {
            refuse("a node of a tree has children that are not there");
        }
        if (children == 0) {
            if (!isSoundLeaf(elem, fileSize)) {
                refuse("a block of transitions is not inside it");
            }
            continue;
        }
        if (level == kMaxLevels) {
            refuse("a tree is too deep");
        }
        elem.children = std::make_unique<std::vector<BTreeElem*>>(children);
        for (BTreeElem*& child : *elem.children) {
            child = &elems[nextChild++];
        }
    }
    return elems;
}

} // namespace

void writeBTreesToDisk(FileIO& file, const NodeTree& tree, long long latestTime)
{
    const auto roots = tree.getRoots();
    const long long start = file.getOffset();
    const long long recordsStart =
        start + kTreeHeaderBytes + kDirectoryBytes * static_cast<long long>(roots.size());
    file.writeInt64(latestTime);
    file.writeUInt32(static_cast<unsigned int>(roots.size()));
    Words directory;
    Words records;
    for (const auto& [id, root] : roots) {
        const std::size_t before = records.size();
        putElem(records, *root);
        putDescendants(records, *root);
        directory.push_back(id);
        directory.push_back(static_cast<std::uint32_t>((records.size() - before) / kElemWords));
        putHalves(directory, recordsStart + static_cast<long long>(before) * 4);
        directory.push_back(blockType(root->flags));
    }
    writeWords(file, directory);
    writeWords(file, records);
}

void readBTreeFromDisk(FileIO& file, long long offset, long long fileSize, NodeTree& tree,
                       long long& latestTime)
{
    std::uint32_t rootCount = 0;
    if (offset < DataBaseFileHeader::kBytes || offset > fileSize - kTreeHeaderBytes ||
        !file.setOffset(offset) || !file.readData(&latestTime, sizeof latestTime) ||
        !file.readUInt32(rootCount)) {
        refuse("it has no tree section");
    }
    if (rootCount > (fileSize - offset - kTreeHeaderBytes) / kDirectoryBytes) {
        refuse("its directory of trees is not whole");
    }
    Words directory(std::size_t{rootCount} * kDirectoryWords);
    if (!readWords(file, directory)) {
        refuse("its directory of trees is not whole");
    }

    // Records of different trees are different bytes, which bounds what all of them take.
    long long recordsLeft = fileSize / kElemBytes;
    RecordWindow window(file, fileSize);
    Words records;
    for (std::size_t i = 0; i < directory.size(); i += kDirectoryWords) {
        const std::uint32_t id = directory[i];
        const long long count = directory[i + 1];
        const long long place = joinHalves(&directory[i + 2]);
        recordsLeft -= count;
        if (count == 0 || recordsLeft < 0 || place < DataBaseFileHeader::kBytes ||
            place > fileSize - count * kElemBytes) {
            refuse("the records of a tree are not inside it");
        }
        if (tree.findRoot(id)) {
            refuse("an object has two trees");
        }
        records.resize(static_cast<std::size_t>(count) * kElemWords);
        if (!window.read(place, records)) {
            refuse("the records of a tree are not inside it");
        }
        BTreeElem* const root = readTree(records, fileSize, tree, latestTime);
        tree.setRoot(id, root);
        if (!isConsistent(root, static_cast<std::size_t>(count))) {
            tree.setDamaged(id, {WdbDamage::TransitionTree, place,
                                 static_cast<unsigned long long>(count * kElemBytes), id});
        }
    }
}

} // namespace Tracewell

#include "FileMutator.h"

#include <zlib.h>

#include <cstdint>
#include <cstring>

namespace Tracewell {

namespace {

std::uint64_t getWord(const std::string& file, std::size_t at, std::size_t size = 8)
{
    std::uint64_t word = 0;
    std::memcpy(&word, file.data() + at, size);
    return word;
}

void putWord(std::string& file, std::size_t at, std::uint64_t word, std::size_t size = 8)
{
    if (at + size <= file.size())
        std::memcpy(file.data() + at, &word, size);
}

template <class T> const T& choose(const std::vector<T>& from, std::mt19937& random)
{
    return from[random() % from.size()];
}

/// A number that a careless reader stumbles over.
std::uint64_t oddNumber(std::uint64_t original, std::size_t fileSize, std::mt19937& random)
{
    const std::uint64_t numbers[] = {0,
                                     1,
                                     original + 1,
                                     original - 1,
                                     original + random() % 2000,
                                     original - random() % 2000,
                                     original ^ (1ull << random() % 64),
                                     fileSize,
                                     fileSize - 1,
                                     random() % fileSize,
                                     0x7FFFFFFF,
                                     0x80000000,
                                     0xFFFFFFFF,
                                     0x7FFFFFFFFFFFFFFF,
                                     0x8000000000000000,
                                     0xFFFFFFFFFFFFFFFF,
                                     std::uint64_t{random()} << 32 | random()};
    return numbers[random() % std::size(numbers)];
}

} // namespace

FileMutator::FileMutator(std::string sound) : m_sound(std::move(sound))
{
    surveyTableOfContents();
}

void FileMutator::surveyTableOfContents()
{
    addWords(48, 64);
    for (const std::size_t item : surveyList(48, 10, 8, 0)) {
        addWords(item + 24, item + 48);
        const std::string id = m_sound.c_str() + item;
        const std::size_t section = getWord(m_sound, item + 32);
        if (id == "WDB.Event")
            surveyEvents(section);
        else if (id == "WDB.StringMap")
            surveyStrings(section);
        else if (id == "Zelnix DBG") {
            m_textAt = section;
            m_textSize = getWord(m_sound, item + 40);
        }
    }
}

void FileMutator::surveyEvents(std::size_t header)
{
    addWords(header, header + 72);
    const std::size_t table = getWord(m_sound, header + 32);
    const std::size_t buckets = getWord(m_sound, header + 12, 4);
    for (std::size_t bucket = 0; bucket < buckets; ++bucket) {
        const std::size_t anchor = table + 8 * bucket;
        if (getWord(m_sound, anchor) != 0) {
            addWords(anchor, anchor + 8);
            surveyList(anchor, 100, 8, getWord(m_sound, header + 64, 4));
        }
    }
}

void FileMutator::surveyStrings(std::size_t header)
{
    addWords(header, header + 16);
    const std::size_t anchor = getWord(m_sound, header + 8);
    addWords(anchor, anchor + 8);
    surveyList(anchor, 100, 16, getWord(m_sound, header + 4, 4));
}

/// Answers the handles of the list's items. `entrySize` is 8 for handles alone, 16 with first ids.
std::vector<std::size_t> FileMutator::surveyList(std::size_t anchor, std::size_t slots,
                                                 std::size_t entrySize, std::size_t imageSize)
{
    const std::size_t sizesAt = 8 + entrySize * slots;
    const std::size_t countAt = sizesAt + entrySize / 2 * slots;
    std::vector<std::size_t> items;
    for (std::size_t node = getWord(m_sound, anchor); node != 0; node = getWord(m_sound, node)) {
        const std::size_t count = getWord(m_sound, node + countAt, 4);
        addWords(node, node + 8);
        addWords(node + countAt, node + countAt + 4);
        for (std::size_t i = 0; i < count; ++i) {
            const Block block{node + 8 + 8 * i, node + sizesAt + 4 * i, imageSize};
            items.push_back(getWord(m_sound, block.handleAt));
            m_words.push_back(block.handleAt);
            m_words.push_back(block.sizeAt);
            if (imageSize > 0)
                m_blocks.push_back(block);
        }
    }
    return items;
}

void FileMutator::addWords(std::size_t from, std::size_t to)
{
    for (; from < to; from += 4)
        m_words.push_back(from);
}

std::string FileMutator::mutate(std::mt19937& random) const
{
    std::string file = m_sound;
    for (auto times = 1 + random() % 3; times > 0; --times) {
        switch (random() % 10) {
        case 0:
            file[random() % file.size()] = static_cast<char>(random());
            break;
        case 1:
            file.resize(1 + random() % file.size());
            break;
        case 2: {
            const std::size_t size = random() % 3000;
            const std::size_t from = random() % file.size();
            file.replace(random() % file.size(), size, file.substr(from, size));
            break;
        }
        case 3:
        case 4:
            damageText(file, random);
            break;
        case 5:
        case 6:
        case 7:
            damageImage(file, random);
            break;
        default:
            damageWord(file, random);
        }
    }
    return file;
}

void FileMutator::damageWord(std::string& file, std::mt19937& random) const
{
    const std::size_t at = choose(m_words, random);
    const std::size_t size = random() % 2 == 0 ? 4 : 8;
    const std::uint64_t original = getWord(m_sound, at, size);
    const bool fromElsewhere = random() % 3 == 0;
    putWord(file, at,
            fromElsewhere ? getWord(m_sound, choose(m_words, random))
                          : oddNumber(original, file.size(), random),
            size);
}

/// The damaged image is compressed anew, so no checksum gives it away.
void FileMutator::damageImage(std::string& file, std::mt19937& random) const
{
    if (m_blocks.empty())
        return;
    const Block& block = choose(m_blocks, random);
    const auto* const stored =
        reinterpret_cast<const Bytef*>(m_sound.data() + getWord(m_sound, block.handleAt));
    std::string image(block.imageSize, '\0');
    uLongf size = image.size();
    uncompress(reinterpret_cast<Bytef*>(image.data()), &size, stored,
               getWord(m_sound, block.sizeAt, 4));
    for (auto times = 1 + random() % 4; times > 0; --times) {
        const std::size_t at = random() % 2 == 0 ? random() % 40 : random() % (image.size() - 8);
        const std::size_t width = std::size_t{1} << random() % 4;
        putWord(image, at, oddNumber(getWord(image, at), image.size(), random), width);
    }
    std::string stream(compressBound(image.size()), '\0');
    size = stream.size();
    compress2(reinterpret_cast<Bytef*>(stream.data()), &size,
              reinterpret_cast<const Bytef*>(image.data()), image.size(), 1);
    putWord(file, block.handleAt, file.size());
    putWord(file, block.sizeAt, size, 4);
    file.append(stream, 0, size);
}

void FileMutator::damageText(std::string& file, std::mt19937& random) const
{
    static const char* const kPieces[] = {"2147483647", "4294967296", "0",     "-1",  "$end",
                                          "$upscope",   "$scope",     "$var ", "[7:", "\n"};
    if (m_textSize == 0)
        return;
    const std::string piece = kPieces[random() % std::size(kPieces)];
    const std::size_t at = m_textAt + random() % m_textSize;
    for (std::size_t i = 0; i < piece.size() && at + i < m_textAt + m_textSize; ++i) {
        if (at + i < file.size())
            file[at + i] = piece[i];
    }
}

} // namespace Tracewell

#pragma once

#include <random>
#include <string>
#include <vector>

namespace Tracewell {

/// Damages a sound file in ways that get past its outer checks: it knows where the handles, sizes
/// and counts lie, and it can alter what is inside a compressed block.
class FileMutator
{
public:
    /// Finds its way by the format alone.
    explicit FileMutator(std::string sound);

    std::string mutate(std::mt19937& random) const;

private:
    /// Where a list node keeps a block's handle and size, and the size of the block's image.
    struct Block
    {
        std::size_t handleAt;
        std::size_t sizeAt;
        std::size_t imageSize;
    };

    void surveyTableOfContents();
    void surveyEvents(std::size_t header);
    void surveyStrings(std::size_t header);
    std::vector<std::size_t> surveyList(std::size_t anchor, std::size_t slots,
                                        std::size_t entrySize, std::size_t imageSize);
    void addWords(std::size_t from, std::size_t to);

    void damageWord(std::string& file, std::mt19937& random) const;
    void damageImage(std::string& file, std::mt19937& random) const;
    void damageText(std::string& file, std::mt19937& random) const;

    std::string m_sound;
    /// Places of integers that steer a reader.
    std::vector<std::size_t> m_words;
    std::vector<Block> m_blocks;
    /// The name table.
    std::size_t m_textAt = 0;
    std::size_t m_textSize = 0;
};

} // namespace Tracewell

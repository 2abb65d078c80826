// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "testing/EventTestData.h"

namespace Tracewell {

template <class List> const auto& choose(const List& from, std::mt19937& random)
{
    return from[random() % std::size(from)];
}

/// Damages a sound file in ways that get past its outer checks: it alters whole numbers outside
/// the compressed blocks, and what is inside of them. It knows a file by its looks alone.
class FileMutator
{
public:
    explicit FileMutator(std::string sound) : m_sound(std::move(sound))
    {
        for (std::size_t at = 64; at < m_sound.size(); ++at) {
            if (m_sound.compare(at, 2, "\x78\x01") == 0 && addStream(at)) {
                at += m_streams.back().size - 1;
            } else if (m_sound[at] != 0 && m_sound[at - 1] == 0) {
                m_numbers.push_back(at);
            }
        }
        const std::size_t text = m_sound.find("$timescale");
        for (std::size_t at = text; at < m_sound.find("$enddefinitions"); ++at) {
            m_text.push_back(at);
        }
    }

    std::size_t countStreams() const { return m_streams.size(); }

    std::string mutate(std::mt19937& random) const
    {
        std::string file = m_sound;
        for (unsigned int times = 1 + below(random, 3); times > 0; --times) {
            const unsigned int kind = below(random, 10);
            const std::size_t at = random() % file.size();
            if (kind == 0) {
                file[at] = static_cast<char>(random());
            } else if (kind == 1) {
                file.resize(1 + at);
            } else if (kind == 2) {
                file.replace(at, below(random, 3000),
                             file.substr(random() % file.size(), below(random, 3000)));
            } else if (kind < 5 && !m_text.empty()) {
                overwrite(file, choose(m_text, random), choose(kPieces, random));
            } else if (kind < 8 && !m_streams.empty()) {
                damageImage(file, random);
            } else {
                damageNumber(file, choose(m_numbers, random), random);
            }
        }
        return file;
    }

    /// Damages what is checked when it is read, in ways of disks: a cut, a flipped bit, zeros, or
    /// bytes that belong elsewhere, behind the first stored block and outside the names.
    std::string spoil(std::mt19937& random) const
    {
        std::string file = m_sound;
        const std::size_t first = m_sound.find("\x78\x01", 64);
        const std::size_t size = 1 + random() % 300;
        std::size_t at = 0;
        do {
            at = first + random() % (file.size() - size - first);
        } while (!m_text.empty() && at + size > m_text.front() && at < m_text.back() + 20);
        switch (random() % 4) {
        case 0:
            file.resize(first + random() % (file.size() - first));
            break;
        case 1:
            file[at] = static_cast<char>(file[at] ^ 1 << random() % 8);
            break;
        case 2:
            file.replace(at, size, size, '\0');
            break;
        default:
            file.replace(at, size, m_sound, first + random() % (file.size() - size - first), size);
            break;
        }
        return file;
    }

private:
    struct Stream
    {
        std::size_t size;
        std::string image;
        /// Where a list keeps the place and the size of the block.
        std::size_t handleAt;
        std::size_t sizeAt;
    };

    static void overwrite(std::string& file, std::size_t at, const std::string& bytes)
    {
        if (at + bytes.size() <= file.size()) {
            file.replace(at, bytes.size(), bytes);
        }
    }

    bool addStream(std::size_t at)
    {
        std::string image(10240, '\0');
        uLongf imageSize = image.size();
        uLong size = m_sound.size() - at;
        if (uncompress2(reinterpret_cast<Bytef*>(image.data()), &imageSize, bytesOf(m_sound) + at,
                        &size) != Z_OK) {
            return false;
        }
        image.resize(imageSize);
        // The column of the sizes lies behind that of the handles.
        const std::size_t handleAt = m_sound.find(words(at));
        const std::size_t sizeAt = m_sound.find(halfWords(size), handleAt + 400);
        if (handleAt < m_sound.size() && sizeAt < m_sound.size()) {
            m_streams.push_back({size, image, handleAt, sizeAt});
        }
        return handleAt < m_sound.size() && sizeAt < m_sound.size();
    }

    /// Puts a number that a careless reader stumbles over.
    void damageNumber(std::string& bytes, std::size_t at, std::mt19937& random) const
    {
        unsigned long long original = 0;
        for (std::size_t i = 8; i-- > 0;) {
            original = original << 8 |
                       static_cast<unsigned char>(at + i < bytes.size() ? bytes[at + i] : 0);
        }
        const unsigned long long numbers[] = {0,
                                              1,
                                              original + 1,
                                              original - 1,
                                              original + random() % 2000,
                                              original - random() % 2000,
                                              original ^ 1ull << random() % 64,
                                              bytes.size(),
                                              bytes.size() - 1,
                                              random() % bytes.size(),
                                              0x7fffffff,
                                              0x80000000,
                                              0xffffffff,
                                              ~0ull >> 1,
                                              1ull << 63,
                                              ~0ull,
                                              std::uint64_t{random()} << 32 | random()};
        overwrite(bytes, at, littleEndian(choose(numbers, random), 1 << random() % 4));
    }

    /// The damaged image is compressed anew, so no checksum gives it away.
    void damageImage(std::string& file, std::mt19937& random) const
    {
        const Stream& stream = choose(m_streams, random);
        std::string image = stream.image;
        for (unsigned int times = 1 + below(random, 4); times > 0; --times) {
            damageNumber(image, random() % (random() % 2 == 0 ? 40 : image.size()), random);
        }
        std::string packed(compressBound(image.size()), '\0');
        uLongf size = packed.size();
        compress2(reinterpret_cast<Bytef*>(packed.data()), &size, bytesOf(image), image.size(), 1);
        overwrite(file, stream.handleAt, words(file.size()));
        overwrite(file, stream.sizeAt, halfWords(size));
        file.append(packed, 0, size);
    }

    inline static const std::string kPieces[] = {"2147483647", "4294967296", "0",     "-1",  "$end",
                                                 "$upscope",   "$scope",     "$var ", "[7:", "\n"};

    std::string m_sound;
    /// Where a number other than 0 seems to begin, outside the streams.
    std::vector<std::size_t> m_numbers;
    std::vector<std::size_t> m_text;
    std::vector<Stream> m_streams;
};

} // namespace Tracewell

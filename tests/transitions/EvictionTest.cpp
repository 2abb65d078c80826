// SPDX-License-Identifier: BSD-3-Clause

#include "DataBaseFixture.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

namespace Tracewell {
namespace {

/// A writer with room for two buffers of a size.
class Eviction : public DataBaseFixture
{
protected:
    /// The times, gap, count and offset of each node of each tree, once the file is finished.
    std::string nodes() const
    {
        m_dataBase->saveTransitionToDisk();
        std::stringstream text;
        m_dataBase->dumpDataBase(text);
        std::string numbers;
        for (std::string line; std::getline(text, line) && !line.empty();) {
            for (const char* label : {"Start Time: ", "End Time: ", "Largest Time Difference: ",
                                      "Number Of Element: ", "Block Offset: "}) {
                const std::size_t size = std::strlen(label);
                EXPECT_EQ(line.substr(0, size), label);
                numbers += line.substr(std::min(size, line.size())) + " ";
                if (*label != 'B') {
                    std::getline(text, line);
                }
            }
            numbers += "| ";
        }
        return numbers;
    }

    const std::unique_ptr<DataBase> m_dataBase = open(DataBaseMode::Writer, {0, 0, 0, 2});
};

TEST_F(Eviction, nextBufferBeginsAgainWithTheInitialValue)
{
    for (const long long time : {0, 5, 7}) {
        for (const unsigned int id : {1U, 2U, 3U}) {
            m_dataBase->addVlogTransitionToDB(id, time, 1);
        }
    }
    EXPECT_EQ(nodes(), "0 7 7 2 -1 | 0 5 5 2 144 | 0 7 7 2 180 | "
                       "0 7 7 2 -1 | 0 5 5 2 156 | 0 7 7 2 192 | "
                       "0 7 7 2 -1 | 0 5 5 2 168 | 0 7 7 2 204 | ");
}

TEST_F(Eviction, onlyLongGenericBuffersAreSearchedForPatterns)
{
    // The third object of a road evicts the first; the others are stored at the end.
    for (unsigned int id = 1; id <= 3; ++id) {
        for (int i = 1; i <= 128; ++i) {
            m_dataBase->addTransitionToDB(id, i * 2 + i % 2,
                                          valueOf(ValueBit, static_cast<unsigned int>(i % 2)));
            m_dataBase->addVlogTransitionToDB(3 + id, i, static_cast<char>(i % 2));
        }
    }
    // Of period 2, which leaves the last transition over.
    EXPECT_EQ(nodes(), "3 256 3 2 -1 | 3 255 3 127 692 | 256 256 1 1 700 | "
                       "3 256 3 128 708 | 3 256 3 128 1240 | "
                       "1 128 1 128 144 | 1 128 1 128 1772 | 1 128 1 128 2320 | ");
}

TEST_F(Eviction, byAnObjectOfAnotherPageLosesNothing)
{
    const unsigned int ids[] = {1, 2, 65539};
    for (const long long time : {5, 6, 7}) {
        for (const unsigned int id : ids) {
            m_dataBase->addVlogTransitionToDB(id, time, static_cast<char>(time - 4));
        }
    }
    for (const unsigned int id : ids) {
        for (const long long time : {5, 6, 7}) {
            const Transition found = m_dataBase->getCurrentTransition(id, time);
            EXPECT_EQ(std::pair(found.time, found.value.getByte() + 4LL), std::pair(time, time));
        }
    }
}

} // namespace
} // namespace Tracewell

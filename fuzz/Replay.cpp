// SPDX-License-Identifier: BSD-3-Clause

// The main program of a harness that is no fuzzer: tries the files and directories that it is
// given, each file also in mutations that are the same every time, and the empty input.

#include "Harness.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

/// A harness may have one.
extern "C" __attribute__((weak)) std::size_t
LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned int seed);

namespace fs = std::filesystem;

namespace {

constexpr unsigned int kMutations = 24;

/// What is being tried: it stays when the harness ends the process.
fs::path g_tried;

/// A copy of just the size, so that a sanitizer sees a step outside.
void tryInput(const std::string& bytes)
{
    std::ofstream(g_tried, std::ios::binary) << bytes;
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

void mutateBlindly(std::string& bytes, std::mt19937& random)
{
    constexpr unsigned char kStumblingBlocks[] = {0, 1, 0x7f, 0x80, 0xff, '\n', ' ', '$', '9'};
    const std::size_t at = random() % bytes.size();
    const std::size_t length = std::min<std::size_t>(1 + random() % 16, bytes.size() - at);
    switch (random() % 5) {
    case 0:
        bytes[at] = static_cast<char>(bytes[at] ^ 1 << random() % 8);
        break;
    case 1:
        bytes[at] = static_cast<char>(kStumblingBlocks[random() % std::size(kStumblingBlocks)]);
        break;
    case 2:
        bytes.erase(at, length);
        break;
    case 3:
        bytes.insert(random() % bytes.size(), bytes.substr(at, length));
        break;
    default:
        bytes.resize(at + 1);
        break;
    }
}

void mutate(std::string& bytes, std::mt19937& random)
{
    if (!LLVMFuzzerCustomMutator) {
        mutateBlindly(bytes, random);
        return;
    }
    std::vector<std::uint8_t> room(bytes.begin(), bytes.end());
    room.resize(2 * bytes.size());
    room.resize(LLVMFuzzerCustomMutator(room.data(), bytes.size(), room.size(),
                                        static_cast<unsigned int>(random())));
    bytes.assign(room.begin(), room.end());
}

void replay(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string sound{std::istreambuf_iterator<char>(stream), {}};
    FUZZ_REQUIRE(!stream.bad() && stream.is_open());
    tryInput(sound);
    std::mt19937 random(static_cast<unsigned int>(sound.size()));
    for (unsigned int i = 0; i < kMutations; ++i) {
        std::string bytes = sound;
        for (unsigned int times = 1 + static_cast<unsigned int>(random() % 3);
             times > 0 && !bytes.empty(); --times) {
            mutate(bytes, random);
        }
        tryInput(bytes);
    }
}

} // namespace

std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room)
{
    static std::mt19937 random;
    std::string bytes(data, data + size);
    mutateBlindly(bytes, random);
    return bytes.copy(reinterpret_cast<char*>(data), room);
}

int main(int count, char** arguments)
{
    std::vector<fs::path> files;
    for (int i = 1; i < count; ++i) {
        if (fs::is_directory(arguments[i])) {
            files.insert(files.end(), fs::directory_iterator(arguments[i]), {});
        } else {
            files.emplace_back(arguments[i]);
        }
    }
    std::sort(files.begin(), files.end());
    FUZZ_REQUIRE(!files.empty());
    g_tried = std::string(arguments[0]) + ".input";
    tryInput("");
    for (const fs::path& file : files) {
        replay(file);
    }
    fs::remove(g_tried);
    return 0;
}

// SPDX-License-Identifier: BSD-3-Clause

// A recording in whatever store it is: by signal, by time, and byte by byte.

#include "Harness.h"
#include "MemoryFile.h"

#include "changes/ChangeStream.h"
#include "survey/Survey.h"
#include "text/Failure.h"
#include "wave/SignalSelection.h"
#include "wave/ValueText.h"
#include "wave/WaveFile.h"

#include "QsimException.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace tracewell;

namespace {

void readBySignal(const std::string& path)
{
    const auto file = WaveFile::open(path, Reach::Beyond);
    const auto values =
        file->values(file->hasNames() ? allSignals(*file) : selectSignals(*file, {"@0:16"}));
    const ValueText text([&](long long id) { return values->lookUp(id); });
    const long long latest = file->latestTime();
    for (std::size_t i = 0; i < values->signals().size(); ++i) {
        for (const TimeWindow& window :
             {TimeWindow{0, latest, 0}, TimeWindow{latest / 4, latest, latest / 64}}) {
            const auto cursor = values->cursor(i, window);
            while (cursor->next()) {
                text.format(values->signals()[i], cursor->state());
            }
        }
        values->nextChange(i, latest / 2);
        values->previousChange(i, latest / 2);
    }
    file->shortfalls();
}

void readByTime(const std::string& path)
{
    const auto run = ChangeStream::open(path);
    std::string text;
    for (long long last = -1; run->next(); last = run->time()) {
        FUZZ_REQUIRE(run->time() > last);
        text.clear();
        for (const std::uint32_t object : run->changed()) {
            run->appendChange(text, object);
        }
    }
    run->shortfalls();
}

template <class Number>
void replaceNumber(std::uint8_t* data, std::size_t size, Number from, Number to)
{
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&from);
    std::uint8_t* const place = std::search(data, data + size, bytes, bytes + sizeof from);
    if (place != data + size) {
        std::memcpy(place, &to, sizeof to);
    }
}

template <class Reading> void attempt(const Reading& reading)
{
    try {
        reading();
    } catch (const Failure&) {
    } catch (const Qsim::Exception&) {
    }
}

} // namespace

/// Most of a recording lies in zlib streams, which a blind change merely breaks. So every other
/// time what one of them holds is changed and packed again, behind all else, and the list of the
/// blocks is told.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t room, unsigned int seed)
{
    constexpr std::uint8_t kStart[] = {0x78, 0x01};
    std::mt19937 random(seed);
    std::uint8_t* const from = data + (size == 0 ? 0 : random() % size);
    std::uint8_t* const stream = std::search(from, data + size, kStart, kStart + sizeof kStart);
    std::vector<std::uint8_t> image(10240);
    uLongf imageSize = image.size();
    auto streamSize = static_cast<uLong>(data + size - stream);
    if (random() % 2 == 0 || streamSize == 0 ||
        uncompress2(image.data(), &imageSize, stream, &streamSize) != Z_OK) {
        return LLVMFuzzerMutate(data, size, room);
    }
    LLVMFuzzerMutate(image.data(), imageSize, imageSize);
    std::vector<std::uint8_t> packed(compressBound(imageSize));
    uLongf packedSize = packed.size();
    compress2(packed.data(), &packedSize, image.data(), imageSize, 1);
    if (size + packedSize > room) {
        return size;
    }
    replaceNumber<std::int64_t>(data, size, stream - data, static_cast<std::int64_t>(size));
    replaceNumber(data, size, static_cast<std::uint32_t>(streamSize),
                  static_cast<std::uint32_t>(packedSize));
    std::memcpy(data + size, packed.data(), packedSize);
    return size + packedSize;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const MemoryFile file(data, size);
    attempt([&] { surveyFile(file.path(), [](double) {}); });
    attempt([&] { readBySignal(file.path()); });
    attempt([&] { readByTime(file.path()); });
    return 0;
}

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

#include <string>

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

template <class Reading> void attempt(const Reading& reading)
{
    try {
        reading();
    } catch (const Failure&) {
    } catch (const Qsim::Exception&) {
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const MemoryFile file(data, size);
    attempt([&] { surveyFile(file.path(), [](double) {}); });
    attempt([&] { readBySignal(file.path()); });
    attempt([&] { readByTime(file.path()); });
    return 0;
}

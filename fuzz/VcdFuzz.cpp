// SPDX-License-Identifier: BSD-3-Clause

// A VCD, strictly and leniently: its words in whatever pieces they come, and the run that it tells.

#include "Harness.h"
#include "MemoryFile.h"

#include "changes/ChangeStream.h"
#include "formats/vcd/VcdDeclarations.h"
#include "formats/vcd/VcdReader.h"
#include "text/Failure.h"

#include <algorithm>
#include <string>

using namespace tracewell;

namespace {

/// The text, given in pieces.
class Pieces : public ByteSource
{
public:
    Pieces(std::string_view text, std::size_t piece) : m_text(text), m_piece(piece) {}

    std::size_t read(char* to, std::size_t room, const std::function<void()>&) override
    {
        const std::size_t part = m_text.copy(to, std::min(room, m_piece), m_at);
        m_at += part;
        return part;
    }
    unsigned long long size() const override { return m_text.size(); }
    unsigned long long position() const override { return m_at; }
    bool isRepeatable() const override { return false; }

private:
    std::string_view m_text;
    std::size_t m_piece;
    std::size_t m_at = 0;
};

/// All that is read, in words.
std::string read(std::string_view text, std::size_t piece, bool isLenient)
{
    std::string told;
    try {
        VcdInput input(std::make_unique<Pieces>(text, piece), "run.vcd");
        bool isCutOff = false;
        const Declarations names = readDeclarations(input, &isCutOff);
        told = std::to_string(names.variables.size()) + (isCutOff ? "-" : "");
        VcdReader reader(input, names.objects, 2, isLenient);
        for (RunChange change; reader.next(change);) {
            told += '\n' + std::to_string(static_cast<int>(change.kind)) + ' ';
            told +=
                std::to_string(change.kind == RunChange::Kind::Time ? change.time : change.object);
            told += change.kind == RunChange::Kind::Letter || change.kind == RunChange::Kind::Time
                        ? std::string_view()
                        : change.text;
        }
        told += '\n' + reader.oddities().describe() + (reader.isCutOff() ? "-" : "");
    } catch (const Failure& e) {
        told += e.what();
    }
    return told;
}

void play(const std::string& path, int fractionDigits, bool isLenient)
{
    const auto run = ChangeStream::openRun(path, fractionDigits, isLenient);
    std::string text;
    for (long long last = -1; run->next(); last = run->time()) {
        FUZZ_REQUIRE(run->time() > last);
        text.clear();
        for (const std::uint32_t object : run->changed()) {
            run->appendChange(text, object);
            run->appendValue(text, object);
        }
    }
    run->shortfalls();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const MemoryFile file(data, size);
    for (const bool isLenient : {false, true}) {
        const std::string whole = read(text, size + 1, isLenient);
        const std::string pieces = read(text, 1, isLenient);
        // How soon a NUL byte is met, which ends the reading, is another matter.
        FUZZ_REQUIRE(whole == pieces || text.find('\0') != std::string_view::npos);
        try {
            play(file.path(), 0, isLenient);
        } catch (const FinerTimesNeeded& e) {
            try {
                play(file.path(), e.fractionDigits, isLenient);
            } catch (const Failure&) {
            }
        } catch (const Failure&) {
        }
    }
    return 0;
}

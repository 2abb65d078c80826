// SPDX-License-Identifier: BSD-3-Clause

#include "changes/RecordingPacker.h"

#include "files/Interrupt.h"
#include "files/OutputFile.h"
#include "files/ProgressBar.h"
#include "formats/vcd/DeclarationText.h"
#include "record/SnapshotDirectory.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "values/Letters.h"

#include "StorageFailure.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace tracewell {

namespace {

std::unique_ptr<RecordingWriter> makeWriter(Store store)
{
    if (store == Store::Transitions) {
        // check() tells of a file that could not be written.
        Tracewell::setStorageFailureHandler([](const std::string&) {});
    }
    return makeRecordingWriter(store);
}

} // namespace

RecordingPacker::RecordingPacker(std::string input, Reach reach, Store store)
    : m_input(std::move(input)), m_changes(ChangeStream::open(m_input, reach)),
      m_declarations(m_changes->declarations()), m_layout(m_declarations),
      m_writer(makeWriter(store)),
      m_values(m_declarations, m_layout, m_writer->writer(), m_writer->sink())
{}

void RecordingPacker::run(OutputFile& output, SnapshotDirectory& directory,
                          const InterruptGuard& interrupt)
{
    constexpr int kStepsOfCheck = 1000;
    std::error_code ignored;
    const std::uintmax_t size = std::filesystem::file_size(m_input, ignored);
    directory.write(writeDeclarations(m_declarations));
    m_writer->open(output.path(), directory, m_layout, ignored ? 0 : size);
    directory.remove();
    {
        ProgressBar bar("packing");
        for (int steps = 0; m_changes->next(); ++steps) {
            m_values.setTime(m_changes->time());
            for (const std::uint32_t object : m_changes->changed()) {
                store(object);
            }
            if (!m_values.refusal().empty()) {
                throw Failure(m_input + ": " + m_values.takeRefusal());
            }
            if (steps % kStepsOfCheck == 0) {
                interrupt.check();
                m_writer->check();
                bar.update(m_changes->progress());
            }
        }
    }
    const long long end = std::max(m_values.time(), m_changes->latestTime());
    m_values.setTime(end);
    m_writer->finish(end, directory, m_declarations);
    m_writer->check();
    const std::vector<std::string> shortfalls = m_changes->shortfalls();
    const std::string ending = output.finish(shortfalls.empty());
    for (const std::string& notice : m_changes->notices()) {
        tell(m_input + ": " + notice);
    }
    if (!shortfalls.empty()) {
        throw DoneInPart(fmt::format("{}: {}{}", m_input, shortfalls.front(), ending));
    }
}

void RecordingPacker::store(std::uint32_t object)
{
    const ValueKind& kind = *m_declarations.objects[object].kind;
    if (const unsigned char* const plain = m_changes->plainValue(object)) {
        // A text that stood beside it ends with this.
        m_values.storeExact(object, plain);
        return;
    }
    m_text.clear();
    m_changes->appendValue(m_text, object);
    if (m_text.empty()) {
        // What never reached the file looks the same in both.
        kind.isText() ? static_cast<void>(m_values.store(object, ChangeForm::Text, "?"))
                      : m_values.forgetText(object);
        return;
    }
    const std::string_view rest = std::string_view(m_text).substr(1);
    const char* const letter = std::find(std::begin(kLetters), std::end(kLetters), m_text[0]);
    const auto code = static_cast<std::uint8_t>(letter - std::begin(kLetters));
    if (kind.fires()) {
        for (unsigned long long i = 0; i < m_changes->firings(object); ++i) {
            rest.empty() ? m_values.fire(object, code)
                         : static_cast<void>(
                               m_values.store(object, static_cast<ChangeForm>(m_text[0]), rest));
        }
    } else if (rest.empty() && letter != std::end(kLetters)) {
        m_values.storeLetter(object, code);
    } else {
        m_values.store(object, static_cast<ChangeForm>(m_text[0]), rest);
    }
}

} // namespace tracewell

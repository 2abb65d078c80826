// SPDX-License-Identifier: BSD-3-Clause

#include "export/RecordingOutput.h"

#include "files/OutputFile.h"
#include "formats/vcd/DeclarationText.h"
#include "record/SnapshotDirectory.h"
#include "text/Failure.h"
#include "values/Letters.h"

#include "StorageFailure.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>

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

RecordingOutput::RecordingOutput(OutputFile& output, SnapshotDirectory& directory, Store store,
                                 const Declarations& declarations, unsigned long long inputSize)
    : m_output(output), m_directory(directory), m_declarations(declarations),
      m_layout(declarations), m_writer(makeWriter(store)),
      m_values(declarations, m_layout, m_writer->writer(), m_writer->sink())
{
    directory.write(writeDeclarations(declarations));
    m_writer->open(output.path(), directory, m_layout, inputSize);
    directory.remove();
}

void RecordingOutput::write(ChangeStream& changes)
{
    m_values.setTime(changes.time());
    for (const std::uint32_t object : changes.changed()) {
        store(changes, object);
    }
    if (!m_values.refusal().empty()) {
        throw Failure(fmt::format("{}: {}", m_output.name(), m_values.takeRefusal()));
    }
}

void RecordingOutput::check()
{
    m_writer->check();
}

std::string RecordingOutput::finish(long long end, bool isWhole)
{
    end = std::max(m_values.time(), end);
    m_values.setTime(end);
    m_writer->finish(end, m_directory, m_declarations);
    m_writer->check();
    return m_output.finish(isWhole);
}

void RecordingOutput::store(ChangeStream& changes, std::uint32_t object)
{
    const ValueKind& kind = *m_declarations.objects[object].kind;
    if (const unsigned char* const plain = changes.plainValue(object)) {
        // A text that stood beside it ends with this.
        m_values.storeExact(object, plain);
        return;
    }
    m_text.clear();
    changes.appendValue(m_text, object);
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
        for (unsigned long long i = 0; i < changes.firings(object); ++i) {
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

// SPDX-License-Identifier: BSD-3-Clause

#include "ReadingFixture.h"

#include "formats/vcd/DeclarationText.h"

#include <algorithm>
#include <cstdint>

using namespace tracewell;

const char* const kSmallDesign = "$timescale 1 ns $end\n"
                                 "$scope module top $end\n"
                                 "$var wire 1 ! clk $end\n"
                                 "$var event 1 % tick $end\n"
                                 "$scope module dut $end\n"
                                 "$var reg 8 \" data [7:0] $end\n"
                                 "$var wire 1 ! clk $end\n"
                                 "$var real 64 # level $end\n"
                                 "$var string 1 $ phase $end\n"
                                 "$var integer 32 & n [31:0] $end\n"
                                 "$var wire 1 ' never $end\n"
                                 "$var wire 1 ( same $end\n"
                                 "$var wire 1 ) same $end\n"
                                 "$upscope $end\n$upscope $end\n$enddefinitions $end\n";

RecordingBuilder::RecordingBuilder(const std::string& path, const std::string& declarations,
                                   unsigned int division)
{
    m_fileManager.create(path);
    m_fileManager.setApplication("builder");
    long long size = 8192;
    if (!declarations.empty()) {
        m_fileManager.embedDataInNewSection(
            "Zelnix DBG", 1, reinterpret_cast<const unsigned char*>(declarations.data()),
            static_cast<long long>(declarations.size()));
        m_declarations = parseDeclarations(declarations);
        m_layout = std::make_unique<DataLayout>(m_declarations);
        size = m_layout->totalSize();
        for (std::size_t i = 0; i < m_declarations.variables.size(); ++i) {
            m_objects.emplace(m_declarations.fullName(i), m_declarations.variables[i].object);
        }
    }
    m_database = Tracewell::createDatabase(m_fileManager, 1001,
                                           static_cast<unsigned long long>(size), division);
    m_strings = std::make_unique<Tracewell::WdbStringMapDatabase>(m_fileManager);
    m_strings->initialize(
        Tracewell::WdbStringMapDatabase::createStringMapSection(101, m_fileManager, true), true);
}

void RecordingBuilder::bytes(long long time, long long address, const std::string& bytes)
{
    add(*m_database, {time, address, bytes});
}

void RecordingBuilder::letters(long long time, const std::string& name, const std::string& letters)
{
    const std::size_t object = m_objects.at(name);
    const auto codeOf = [](char letter) {
        return static_cast<unsigned int>(
            std::find(std::begin(kLetters), std::end(kLetters), letter) - std::begin(kLetters));
    };
    std::string value;
    if (m_declarations.objects[object].kind->isLetter()) {
        value = static_cast<char>(codeOf(letters.at(0)));
    } else {
        std::vector<std::uint32_t> words(
            static_cast<std::size_t>(DataLayout::sizeOf(m_declarations.objects[object])) / 4);
        for (std::size_t i = 0; i < letters.size(); ++i) {
            const std::size_t bit = letters.size() - 1 - i;
            const unsigned int code = codeOf(letters[i]);
            words[bit / 32 * 2] |= (code & 1) << bit % 32;
            words[bit / 32 * 2 + 1] |= (code >> 1) << bit % 32;
        }
        value.assign(reinterpret_cast<const char*>(words.data()), words.size() * 4);
    }
    bytes(time, m_layout->addressOf(object), value);
}

void RecordingBuilder::real(long long time, const std::string& name, double value)
{
    bytes(time, m_layout->addressOf(m_objects.at(name)),
          {reinterpret_cast<const char*>(&value), sizeof value});
}

TextReference RecordingBuilder::store(char kind, const std::string& text)
{
    TextReference reference;
    reference.kind = static_cast<std::uint8_t>(kind);
    for (std::size_t at = 0; at == 0 || at < text.size(); at += 1010) {
        const long long id = m_strings->addString(text.substr(at, 1010));
        reference.firstId =
            reference.pieces == 0 ? static_cast<unsigned int>(id) : reference.firstId;
        ++reference.pieces;
    }
    return reference;
}

void RecordingBuilder::text(long long time, const std::string& name, const std::string& text)
{
    const TextReference reference = store('s', text);
    bytes(time, m_layout->addressOf(m_objects.at(name)),
          {reinterpret_cast<const char*>(&reference), sizeof reference});
}

void RecordingBuilder::override(long long time, const std::string& name, char kind,
                                const std::string& text)
{
    const TextReference reference = kind == 0 ? TextReference() : store(kind, text);
    bytes(time, m_layout->overrideOf(m_objects.at(name)),
          {reinterpret_cast<const char*>(&reference), sizeof reference});
}

void RecordingBuilder::fire(long long time, const std::string& name)
{
    const std::size_t object = m_objects.at(name);
    const std::string value{static_cast<char>(++m_firings[object]), 1};
    bytes(time, m_layout->addressOf(object), value);
}

void RecordingBuilder::flush()
{
    m_database->flush();
    m_strings->flush();
}

void RecordingBuilder::close()
{
    m_database.reset();
    m_strings.reset();
    m_fileManager.close();
}

std::string Reading::output(const std::string& command, std::vector<std::string> arguments) const
{
    arguments.insert(arguments.begin(), {command, path()});
    const Result result = run(arguments);
    EXPECT_EQ(result.code, 0) << result.error;
    return result.out;
}

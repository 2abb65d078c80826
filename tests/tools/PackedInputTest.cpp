// SPDX-License-Identifier: BSD-3-Clause

#include "ImportExportFixture.h"

#include "formats/vcd/VcdInput.h"
#include "input/InputFile.h"
#include "text/Failure.h"

#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

#include <string>

namespace {

std::string gzip(const std::string& text)
{
    std::string out(text.size() + 100, '\0');
    z_stream stream{};
    ::deflateInit2(&stream, 9, Z_DEFLATED, 16 + MAX_WBITS, 9, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    ::deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    ::deflateEnd(&stream);
    return out;
}

/// With a check sum and with a stretch of another kind before it.
std::string zstd(const std::string& text)
{
    std::string out(text.size() + 100, '\0');
    ZSTD_CCtx* const context = ::ZSTD_createCCtx();
    ::ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
    out.resize(::ZSTD_compress2(context, out.data(), out.size(), text.data(), text.size()));
    ::ZSTD_freeCCtx(context);
    return std::string("\x50\x2a\x4d\x18\3\0\0\0abc", 11) + out;
}

std::string xz(const std::string& text)
{
    std::string out(text.size() + 200, '\0');
    std::size_t size = 0;
    ::lzma_easy_buffer_encode(6, LZMA_CHECK_CRC32, nullptr,
                              reinterpret_cast<const std::uint8_t*>(text.data()), text.size(),
                              reinterpret_cast<std::uint8_t*>(out.data()), &size, out.size());
    out.resize(size);
    return out;
}

struct Packer
{
    const char* name;
    std::string (*pack)(const std::string& text);

    friend std::ostream& operator<<(std::ostream& os, const Packer& packer)
    {
        return os << packer.name;
    }
};

class PackedInputs : public ImportExport, public ::testing::WithParamInterface<Packer>
{
protected:
    const std::string m_text =
        "$timescale 1 ns $end\n$var wire 1 ! a $end\n$var reg 8 ab b $end\n"
        "$var reg 8 a c $end\n$enddefinitions $end\n#0\n1!\nb101 ab\n#5\n0!\n"
        "b1 a\n#1234\n1!\nb11 ab\n#5678\n0!\n";
    const std::size_t m_split = m_text.find("234");
    const std::string m_whole = exportedChanges(m_text);

    /// What was recorded; empty when the import left no file.
    std::string changes()
    {
        if (run({"export", path("out.wdb"), path("out.vcd")}).code != 0) {
            return {};
        }
        const std::string text = read("out.vcd");
        return text.substr(text.find("$enddefinitions $end\n") + 21);
    }
    struct Words
    {
        /// With a blank behind each.
        std::string text;
        bool isAll = false;
    };
    Words words() const
    {
        Words words;
        try {
            tracewell::VcdInput input(tracewell::openInput(path("in.vcd")).source, "in.vcd");
            for (std::string_view word = input.word(); !word.empty(); word = input.word()) {
                (words.text += word) += ' ';
            }
            words.isAll = input.flaw().empty();
        } catch (const tracewell::Failure&) {
        }
        return words;
    }
    std::string packed() const { return firstMember() + GetParam().pack(m_text.substr(m_split)); }
    std::string firstMember() const { return GetParam().pack(m_text.substr(0, m_split)); }
};

TEST_P(PackedInputs, areReadMemberByMemberAndOtherBytesBehindThemAreTold)
{
    EXPECT_EQ(exportedChanges(packed()), m_whole);
    EXPECT_EQ(exportedChanges(packed() + std::string(512, '\0')), m_whole);
    write("in.vcd", packed() + "#9");
    const Result result = import();
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.error.find("byte " + std::to_string(packed().size()) + ": other bytes"),
              std::string::npos)
        << result.error;
    EXPECT_EQ(changes(), m_whole);
}

TEST_P(PackedInputs, giveNoWordThatNeverWasWhenTheyAreCutOrDamaged)
{
    const std::string good = packed();
    write("in.vcd", m_text);
    const Words whole = words();
    ASSERT_TRUE(whole.isAll);
    std::size_t borders = 0;
    for (std::size_t size = 8; size < good.size(); ++size) {
        write("in.vcd", good.substr(0, size));
        const Words cut = words();
        if (cut.isAll) { // Between members nobody can tell.
            ++borders;
            continue;
        }
        EXPECT_EQ(cut.text, whole.text.substr(0, cut.text.size())) << size;
        EXPECT_TRUE(cut.text.empty() || cut.text.back() == ' ');
    }
    EXPECT_EQ(borders, GetParam().pack == zstd ? 3 : 1);
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string bad = good;
        bad[at] = static_cast<char>(bad[at] ^ 0x10);
        write("in.vcd", bad);
        const Words damaged = words();
        EXPECT_TRUE(!damaged.isAll || damaged.text == whole.text) << at;
    }
    write("in.vcd", good.substr(0, good.size() - 5));
    const Result result = import();
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.error.find(": byte "), std::string::npos) << result.error;
    EXPECT_EQ(changes(), m_whole.substr(0, changes().size()));
}

INSTANTIATE_TEST_SUITE_P(Vcd, PackedInputs,
                         ::testing::Values(Packer{"gzip", gzip}, Packer{"zstd", zstd},
                                           Packer{"xz", xz}),
                         [](const auto& packer) { return packer.param.name; });

TEST_F(ImportExport, whatIsNoVcdIsNamedInTheSameWordsByAllCommands)
{
    write("a.vcd", "$var wire 1 ! a $end $enddefinitions $end #1 1! ");
    run({"import", path("a.vcd"), path("a.wdb")});
    const std::string database = read("a.wdb");
    for (const auto& [content, words] :
         {std::pair(std::string("\xff\xfe$\0v\0", 6), "a text in UTF-16"),
          {gzip(database), "a wave database packed by gzip; unpack it first: gunzip"},
          {xz(gzip("")), "a gzip file packed by xz; unpack it first: unxz"},
          {std::string("BZh9"), "a bzip2 file"}}) {
        write("in.vcd", content);
        const std::string line = import().error;
        EXPECT_EQ(line.substr(0, line.find(words)), path("in.vcd") + ": this is ") << line;
        EXPECT_EQ(run({"verify", path("in.vcd")}).error, line);
        EXPECT_EQ(run({"diff", path("in.vcd"), path("a.wdb")}).error, line);
    }
    EXPECT_NE(run({"import", path("a.wdb"), path("b.wdb")}).error.find("a wave database already"),
              std::string::npos);
}

} // namespace

// SPDX-License-Identifier: BSD-3-Clause

#include "input/Unpacker.h"

#include <fmt/format.h>

#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <limits>
#include <new>

namespace tracewell {

namespace {

using namespace std::string_view_literals;

/// What an xz file may take to unpack; the strongest setting of its tool takes 65 MB.
constexpr std::uint64_t kMostXzMemory = std::uint64_t{256} << 20;

class GzipUnpacker : public Unpacker
{
public:
    GzipUnpacker()
    {
        constexpr int kGzipWindow = 16 + MAX_WBITS;
        if (::inflateInit2(&m_stream, kGzipWindow) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~GzipUnpacker() override { ::inflateEnd(&m_stream); }

    Step unpack(std::string_view& in, char*& to, const char* end) override
    {
        constexpr std::size_t kMost = std::numeric_limits<uInt>::max();
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
        m_stream.avail_in = static_cast<uInt>(std::min(in.size(), kMost));
        m_stream.next_out = reinterpret_cast<Bytef*>(to);
        m_stream.avail_out = static_cast<uInt>(std::min(static_cast<std::size_t>(end - to), kMost));
        const int result = ::inflate(&m_stream, Z_NO_FLUSH);
        in.remove_prefix(
            static_cast<std::size_t>(reinterpret_cast<const char*>(m_stream.next_in) - in.data()));
        to = reinterpret_cast<char*>(m_stream.next_out);
        if (result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        return result == Z_STREAM_END                    ? Step::MemberEnd
               : result == Z_OK || result == Z_BUF_ERROR ? Step::More
                                                         : Step::Damaged;
    }
    void beginMember() override { ::inflateReset(&m_stream); }
    std::string why() const override
    {
        return m_stream.msg != nullptr ? m_stream.msg : "no gzip data";
    }

private:
    z_stream m_stream{};
};

class ZstdUnpacker : public Unpacker
{
public:
    ZstdUnpacker() : m_context(::ZSTD_createDCtx())
    {
        if (m_context == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~ZstdUnpacker() override { ::ZSTD_freeDCtx(m_context); }

    Step unpack(std::string_view& in, char*& to, const char* end) override
    {
        ZSTD_inBuffer input{in.data(), in.size(), 0};
        ZSTD_outBuffer output{to, static_cast<std::size_t>(end - to), 0};
        m_result = ::ZSTD_decompressStream(m_context, &output, &input);
        in.remove_prefix(input.pos);
        to += output.pos;
        return ::ZSTD_isError(m_result) != 0 ? Step::Damaged
               : m_result == 0               ? Step::MemberEnd
                                             : Step::More;
    }
    void beginMember() override { ::ZSTD_DCtx_reset(m_context, ZSTD_reset_session_only); }
    std::string why() const override { return ::ZSTD_getErrorName(m_result); }

private:
    ZSTD_DCtx* m_context;
    std::size_t m_result = 0;
};

class XzUnpacker : public Unpacker
{
public:
    XzUnpacker() { beginMember(); }
    ~XzUnpacker() override { ::lzma_end(&m_stream); }

    Step unpack(std::string_view& in, char*& to, const char* end) override
    {
        m_stream.next_in = reinterpret_cast<const std::uint8_t*>(in.data());
        m_stream.avail_in = in.size();
        m_stream.next_out = reinterpret_cast<std::uint8_t*>(to);
        m_stream.avail_out = static_cast<std::size_t>(end - to);
        m_result = ::lzma_code(&m_stream, LZMA_RUN);
        in.remove_prefix(in.size() - m_stream.avail_in);
        to = reinterpret_cast<char*>(m_stream.next_out);
        if (m_result == LZMA_MEM_ERROR) {
            throw std::bad_alloc();
        }
        return m_result == LZMA_STREAM_END                         ? Step::MemberEnd
               : m_result == LZMA_OK || m_result == LZMA_BUF_ERROR ? Step::More
                                                                   : Step::Damaged;
    }
    void beginMember() override
    {
        if (::lzma_stream_decoder(&m_stream, kMostXzMemory, 0) != LZMA_OK) {
            throw std::bad_alloc();
        }
    }
    std::string why() const override
    {
        switch (m_result) {
        case LZMA_MEMLIMIT_ERROR:
            return fmt::format("unpacking takes more than {} MB", kMostXzMemory >> 20);
        case LZMA_OPTIONS_ERROR:
            return "a way of packing that is not known here";
        default:
            return "the bytes do not fit together";
        }
    }

private:
    lzma_stream m_stream = LZMA_STREAM_INIT;
    lzma_ret m_result = LZMA_OK;
};

template <class Kind> std::unique_ptr<Unpacker> make()
{
    return std::make_unique<Kind>();
}

constexpr Packing kPackings[] = {
    {"gzip", "gunzip", "\x1f\x8b"sv, make<GzipUnpacker>},
    {"zstd", "unzstd", "\x28\xb5\x2f\xfd"sv, make<ZstdUnpacker>},
    {"xz", "unxz", "\xfd\x37\x7a\x58\x5a\x00"sv, make<XzUnpacker>},
};

bool startAlike(std::string_view a, std::string_view b)
{
    const std::size_t size = std::min(a.size(), b.size());
    return a.substr(0, size) == b.substr(0, size);
}

/// A stretch in a zstd file that holds something else; its unpacker goes over it.
bool isSkippableFrame(std::string_view bytes)
{
    return (static_cast<unsigned char>(bytes[0]) & 0xf0U) == 0x50 &&
           startAlike(bytes.substr(1), "\x2a\x4d\x18"sv);
}

} // namespace

bool Packing::isStart(std::string_view bytes) const
{
    return !bytes.empty() && (startAlike(bytes, start) ||
                              (makeUnpacker == &make<ZstdUnpacker> && isSkippableFrame(bytes)));
}

const Packing* findPacking(std::string_view head)
{
    const auto* const found =
        std::find_if(std::begin(kPackings), std::end(kPackings), [&](const Packing& packing) {
            return head.size() >= packing.start.size() && packing.isStart(head);
        });
    return found != std::end(kPackings) ? found : nullptr;
}

} // namespace tracewell

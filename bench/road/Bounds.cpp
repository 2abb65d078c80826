// SPDX-License-Identifier: BSD-3-Clause

#include "Writers.h"

#include <zlib.h>

#include <cstring>
#include <stdexcept>

namespace tracewell::bench {

namespace {

constexpr std::size_t kBlockSize = 10240;
constexpr std::size_t kBlockHeaderSize = 20;
constexpr long long kDivision = 2048;

struct Block
{
    std::vector<unsigned char> image = std::vector<unsigned char>(kBlockSize);
    std::size_t used = kBlockHeaderSize;
};

/// Appends every change to its bucket's block and calls full(image) when one is full.
template <class Full> WriteResult fillBlocks(const Workload& workload, Full&& full)
{
    std::vector<Block> blocks(
        static_cast<std::size_t>((workload.addressSize() + kDivision - 1) / kDivision));
    std::vector<long long> addresses(workload.signalCount());
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        addresses[signal] = workload.addressOf(signal);
    }

    const Stopwatch watch;
    long long now = 0;
    workload.play([&](long long time) { now = time; },
                  [&](std::uint32_t signal, std::uint32_t value) {
                      const long long address = addresses[signal];
                      const std::uint32_t length = workload.isVector(signal) ? 8 : 1;
                      Block& block = blocks[static_cast<std::size_t>(address / kDivision)];
                      if (block.used + 20 + length >= kBlockSize) {
                          full(block.image);
                          std::memset(block.image.data(), 0, kBlockSize);
                          block.used = kBlockHeaderSize;
                      }
                      unsigned char* out = block.image.data() + block.used;
                      const auto delta = static_cast<std::uint32_t>(address % kDivision);
                      const std::uint64_t bytes = value;
                      std::memcpy(out, &now, 8);
                      std::memcpy(out + 8, &delta, 4);
                      std::memcpy(out + 12, &length, 4);
                      if (length == 8) {
                          std::memcpy(out + 16, &bytes, 8);
                      } else {
                          out[16] = static_cast<unsigned char>(value);
                      }
                      block.used += 16 + length;
                  });
    for (const Block& block : blocks) {
        if (block.used > kBlockHeaderSize) {
            full(block.image);
        }
    }
    return WriteResult(watch);
}

} // namespace

WriteResult appendRecords(const Workload& workload)
{
    double bytes = 0;
    WriteResult result = fillBlocks(workload, [&](const std::vector<unsigned char>& image) {
        bytes += static_cast<double>(image.size());
    });
    result.bytes = bytes;
    return result;
}

WriteResult compressFresh(const Workload& workload)
{
    double bytes = 0;
    std::vector<unsigned char> out(compressBound(kBlockSize));
    WriteResult result = fillBlocks(workload, [&](const std::vector<unsigned char>& image) {
        uLongf size = out.size();
        if (compress2(out.data(), &size, image.data(), image.size(), 1) != Z_OK) {
            throw std::runtime_error("compress2 failed");
        }
        bytes += static_cast<double>(size);
    });
    result.bytes = bytes;
    return result;
}

WriteResult compressReused(const Workload& workload)
{
    double bytes = 0;
    std::vector<unsigned char> out(compressBound(kBlockSize));
    z_stream stream{};
    if (deflateInit(&stream, 1) != Z_OK) {
        throw std::runtime_error("deflateInit failed");
    }
    WriteResult result = fillBlocks(workload, [&](const std::vector<unsigned char>& image) {
        deflateReset(&stream);
        stream.next_in = const_cast<unsigned char*>(image.data());
        stream.avail_in = static_cast<uInt>(image.size());
        stream.next_out = out.data();
        stream.avail_out = static_cast<uInt>(out.size());
        if (deflate(&stream, Z_FINISH) != Z_STREAM_END) {
            throw std::runtime_error("deflate failed");
        }
        bytes += static_cast<double>(stream.total_out);
    });
    deflateEnd(&stream);
    result.bytes = bytes;
    return result;
}

} // namespace tracewell::bench

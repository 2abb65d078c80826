// SPDX-License-Identifier: BSD-3-Clause

// What bench/grow measures with: runs of any size as a VCD, and many recordings open in one
// process.

#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
#include "WdbColumnReader.h"
#include "WdbFileManager.h"
#include "WdbStaticReader.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Tracewell;

constexpr std::uint64_t kSeed = 20240229;
constexpr std::uint64_t kChangesPerStep = 150;
constexpr std::uint64_t kSignalsPerScope = 1000;
constexpr unsigned int kWidth = 32;
constexpr long long kPixels = 1000;

/// Text for the standard output, in large pieces.
class Output
{
public:
    Output() { m_text.reserve(kPiece + 4096); }
    std::string& text()
    {
        if (m_text.size() >= kPiece) {
            flush();
        }
        return m_text;
    }
    void flush()
    {
        if (std::fwrite(m_text.data(), 1, m_text.size(), stdout) != m_text.size()) {
            throw std::runtime_error("the standard output takes no more");
        }
        m_text.clear();
    }

private:
    static constexpr std::size_t kPiece = 1 << 20;
    std::string m_text;
};

std::string codeOf(std::uint64_t signal)
{
    std::string code;
    do {
        code += static_cast<char>('!' + signal % 94);
        signal /= 94;
    } while (signal != 0);
    return code;
}

/// Every other signal is a scalar that toggles, the others are numbers: a quarter of all counts, as
/// addresses do, and a quarter is random. Which ones change is random too.
void writeVcd(std::uint64_t signals, std::uint64_t changes)
{
    Output out;
    out.text() += "$timescale 1 ns $end\n$scope module top $end\n";
    std::vector<std::string> codes;
    for (std::uint64_t signal = 0; signal < signals; ++signal) {
        if (signal % kSignalsPerScope == 0) {
            out.text() += (signal == 0 ? "" : "$upscope $end\n") +
                          ("$scope module m" + std::to_string(signal / kSignalsPerScope)) +
                          " $end\n";
        }
        codes.push_back(codeOf(signal));
        out.text() += "$var wire " + std::to_string(signal % 2 == 0 ? 1 : kWidth) + " " +
                      codes.back() + " s" + std::to_string(signal) +
                      (signal % 2 == 0 ? "" : " [31:0]") + " $end\n";
    }
    out.text() += "$upscope $end\n$upscope $end\n$enddefinitions $end\n";

    std::mt19937_64 random(kSeed);
    std::vector<std::uint32_t> values(signals, 0);
    for (std::uint64_t done = 0, time = 0; done < changes; ++time) {
        out.text() += '#' + std::to_string(10 * time) + '\n';
        for (std::uint64_t i = 0; i < kChangesPerStep && done < changes; ++i, ++done) {
            const std::uint64_t number = random();
            const std::uint64_t signal = number % signals;
            std::uint32_t& value = values[signal];
            std::string& text = out.text();
            if (signal % 2 == 0) {
                value ^= 1;
                text += static_cast<char>('0' + value);
            } else {
                value = signal % 4 == 1 ? value + 4 : static_cast<std::uint32_t>(number >> 32);
                char digits[kWidth + 1];
                char* digit = digits + kWidth;
                *digit = ' ';
                std::uint32_t rest = value;
                do {
                    *--digit = static_cast<char>('0' + (rest & 1));
                    rest >>= 1;
                } while (rest != 0);
                text += 'b';
                text.append(digit, digits + kWidth + 1);
            }
            text += codes[signal];
            text += '\n';
        }
    }
    out.flush();
}

/// A recording as a viewer holds it.
class Recording
{
public:
    virtual ~Recording() = default;
    /// Answers for so many signals from all over it; how many entries they have.
    virtual std::size_t draw(unsigned int signals) = 0;
};

class Columns : public Recording
{
public:
    explicit Columns(const std::string& path) { m_reader.open(path); }
    std::size_t draw(unsigned int signals) override
    {
        std::size_t entries = 0;
        const unsigned int fields = m_reader.getFieldCount();
        const long long end = m_reader.getLatestTime();
        for (unsigned int i = 0; i < signals && i < fields; ++i) {
            const auto field =
                static_cast<unsigned int>(std::uint64_t{fields} * (2 * i + 1) / (2 * signals));
            const auto history = m_reader.getHistory(field, 0, end, end / kPixels);
            while (history->next()) {
                ++entries;
            }
        }
        return entries;
    }

private:
    WdbColumnReader m_reader;
};

class Events : public Recording
{
public:
    explicit Events(const std::string& path) { m_reader.createReader("", path, 0, ""); }
    std::size_t draw(unsigned int signals) override
    {
        // The numbers come first, in 8 bytes each.
        constexpr long long kBytes = 8;
        WdbAddressBTreeManager& manager = m_reader.getBTreeManager();
        std::vector<std::vector<WdbScalarBTree*>> trees(signals);
        std::vector<WdbScalarBTree*> toScan;
        for (unsigned int i = 0; i < signals; ++i) {
            manager.getOrCreateByteBTrees(kBytes * i * kStride, kBytes, trees[i], toScan);
        }
        manager.scanWdbDatabaseMultiThread(toScan, nullptr);
        std::size_t entries = 0;
        const long long end = m_reader.getLatestTime();
        std::vector<WdbTimeByteValues> answers;
        for (auto& each : trees) {
            answers.clear();
            m_reader.getValueEvents(0, end, end / kPixels, each, answers);
            entries += answers.size();
        }
        return entries;
    }

private:
    static constexpr long long kStride = 37;
    WdbStaticReader m_reader;
};

std::unique_ptr<Recording> open(const std::string& path)
{
    bool isColumns = false;
    {
        WdbFileManager file;
        file.open(path);
        isColumns = WdbColumnReader::isColumns(file);
    }
    if (isColumns) {
        return std::make_unique<Columns>(path);
    }
    return std::make_unique<Events>(path);
}

double peakMib()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

/// Runs a program and tells in a file what it took. A process begins with the peak of who made it,
/// and this one is small.
int runProgram(const char* report, char** command)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execv(command[0], command);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        throw std::runtime_error("cannot make a process");
    }
    const double wall = std::chrono::duration<double>(Clock::now() - begin).count();
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(report, "w"),
                                                                  std::fclose);
    if (!file) {
        throw std::runtime_error(std::string(report) + " cannot be written");
    }
    std::fprintf(file.get(), "wall=%g\nprocessor=%g\npeak=%g\n", wall,
                 seconds(usage.ru_utime) + seconds(usage.ru_stime),
                 static_cast<double>(usage.ru_maxrss) / 1024);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Holds all at once.
void openAll(unsigned int signals, char** paths)
{
    using Clock = std::chrono::steady_clock;
    const auto since = [](Clock::time_point begin) {
        return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    };
    const Clock::time_point begin = Clock::now();
    std::vector<std::unique_ptr<Recording>> recordings;
    for (; *paths; ++paths) {
        recordings.push_back(open(*paths));
    }
    const double opened = since(begin);
    const double openPeak = peakMib();
    std::size_t entries = 0;
    for (const auto& recording : recordings) {
        entries += recording->draw(signals);
    }
    const double drawn = since(begin);
    const auto descriptors =
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    std::printf("open=%g\nopenPeak=%g\nfirst=%g\npeak=%g\ndescriptors=%lld\nentries=%zu\n", opened,
                openPeak, drawn, peakMib(), static_cast<long long>(descriptors), entries);
}

} // namespace

int main(int argc, char** argv)
try {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "vcd" && argc == 4) {
        writeVcd(std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10));
    } else if (command == "open" && argc >= 4) {
        openAll(static_cast<unsigned int>(std::atoi(argv[2])), argv + 3);
    } else if (command == "run" && argc >= 4) {
        return runProgram(argv[2], argv + 3);
    } else {
        std::fprintf(stderr, "usage: scale vcd SIGNALS CHANGES\n"
                             "       scale run REPORT PROGRAM ARGUMENT...\n"
                             "       scale open SIGNALS FILE...\n");
        return 2;
    }
    return 0;
} catch (const Qsim::Exception& e) {
    std::fprintf(stderr, "scale: %s\n", e.what());
    return 1;
} catch (const std::exception& e) {
    std::fprintf(stderr, "scale: %s\n", e.what());
    return 1;
}

// SPDX-License-Identifier: BSD-3-Clause

// Questions to an FST file by its own library, for bench/scoreboard: no installed tool takes them.
//
//   fst_question FILE history NAME         how many changes the signal has: the last value of each
//                                          time, without repeats and without unknown ones before
//                                          all
//   fst_question FILE value NAME TIME      its value at a time
//
// NAME is a full name, joined by dots, with its range or without: big.blk[20].r[7:0].

#include <fstapi.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

/// A variable's own name as it is asked for: an FST sets the range apart by a space.
std::string withoutSpaces(std::string name)
{
    name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
    return name;
}

/// Without the range of a vector at its end, if there is one: the index of a bit is part of a name.
std::string withoutRange(const std::string& name)
{
    const std::size_t bracket = name.rfind('[');
    const bool isRange = bracket != std::string::npos && name.back() == ']' &&
                         name.find(':', bracket) != std::string::npos;
    return isRange ? name.substr(0, bracket) : name;
}

/// The handle of a variable, or 0.
fstHandle find(void* fst, const std::string& wanted)
{
    // Where the names of each open scope begin in their sum.
    std::vector<std::size_t> begins;
    std::string scope;
    while (const fstHier* entry = fstReaderIterateHier(fst)) {
        if (entry->htyp == FST_HT_SCOPE) {
            begins.push_back(scope.size());
            scope.append(entry->u.scope.name).append(".");
        } else if (entry->htyp == FST_HT_UPSCOPE && !begins.empty()) {
            scope.resize(begins.back());
            begins.pop_back();
        } else if (entry->htyp == FST_HT_VAR && wanted.compare(0, scope.size(), scope) == 0) {
            const std::string own = withoutSpaces(entry->u.var.name);
            const std::string rest = wanted.substr(scope.size());
            if (own == rest || withoutRange(own) == rest) {
                return entry->u.var.handle;
            }
        }
    }
    return 0;
}

/// Counts changes by the last value of each time.
class Counter
{
public:
    void take(std::uint64_t time, const char* value, std::size_t length)
    {
        if (time != m_time) {
            settle();
            m_time = time;
        }
        m_value.assign(value, length);
    }

    unsigned long long sum()
    {
        settle();
        return m_sum;
    }

private:
    void settle()
    {
        const bool isUnknown = m_value.find_first_not_of('x') == std::string::npos;
        if (m_value != m_before && (m_sum != 0 || !isUnknown)) {
            ++m_sum;
        }
        m_before = m_value;
    }

    std::uint64_t m_time = 0;
    std::string m_value;
    std::string m_before;
    unsigned long long m_sum = 0;
};

void count(void* counter, std::uint64_t time, fstHandle, const unsigned char* value)
{
    const char* const text = reinterpret_cast<const char*>(value);
    static_cast<Counter*>(counter)->take(time, text, std::strlen(text));
}

void countOfAnyLength(void* counter, std::uint64_t time, fstHandle, const unsigned char* value,
                      std::uint32_t length)
{
    static_cast<Counter*>(counter)->take(time, reinterpret_cast<const char*>(value), length);
}

} // namespace

int main(int argc, char** argv)
{
    const bool isHistory = argc == 4 && std::strcmp(argv[2], "history") == 0;
    const bool isValue = argc == 5 && std::strcmp(argv[2], "value") == 0;
    if (!isHistory && !isValue) {
        std::fprintf(stderr, "usage: fst_question FILE history NAME\n"
                             "       fst_question FILE value NAME TIME\n");
        return 2;
    }
    const std::unique_ptr<void, decltype(&fstReaderClose)> fst(fstReaderOpen(argv[1]),
                                                               fstReaderClose);
    if (!fst) {
        std::fprintf(stderr, "fst_question: %s: is no FST file that can be read\n", argv[1]);
        return 1;
    }
    const fstHandle handle = find(fst.get(), argv[3]);
    if (handle == 0) {
        std::fprintf(stderr, "fst_question: %s: has no variable %s\n", argv[1], argv[3]);
        return 1;
    }
    if (isHistory) {
        Counter changes;
        fstReaderClrFacProcessMaskAll(fst.get());
        fstReaderSetFacProcessMask(fst.get(), handle);
        fstReaderIterBlocks2(fst.get(), count, countOfAnyLength, &changes, nullptr);
        std::printf("%llu\n", changes.sum());
        return 0;
    }
    std::vector<char> text(1 << 16);
    const char* const value = fstReaderGetValueFromHandleAtTime(
        fst.get(), std::strtoull(argv[4], nullptr, 10), handle, text.data());
    std::printf("%s\n", value ? value : "none");
    return 0;
}

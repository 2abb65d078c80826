// SPDX-License-Identifier: BSD-3-Clause

// Questions to an FST file by its own library, for bench/scoreboard: no installed tool takes them.
//
//   fst_question FILE history NAME         how many changes the signal has
//   fst_question FILE value NAME TIME      its value at a time
//
// NAME is a full name, joined by dots, without a range.

#include <fstapi.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

/// The handle of a variable, or 0.
fstHandle find(void* fst, const std::string& wanted)
{
    std::vector<std::string> scopes;
    while (const fstHier* entry = fstReaderIterateHier(fst)) {
        if (entry->htyp == FST_HT_SCOPE) {
            scopes.emplace_back(entry->u.scope.name);
        } else if (entry->htyp == FST_HT_UPSCOPE && !scopes.empty()) {
            scopes.pop_back();
        } else if (entry->htyp == FST_HT_VAR) {
            std::string name;
            for (const std::string& scope : scopes) {
                name += scope + ".";
            }
            name += entry->u.var.name;
            if (name.substr(0, name.find_first_of(" [")) == wanted) {
                return entry->u.var.handle;
            }
        }
    }
    return 0;
}

void count(void* data, std::uint64_t, fstHandle, const unsigned char*)
{
    ++*static_cast<unsigned long long*>(data);
}

void countOfAnyLength(void* data, std::uint64_t time, fstHandle handle, const unsigned char* value,
                      std::uint32_t)
{
    count(data, time, handle, value);
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
        unsigned long long changes = 0;
        fstReaderClrFacProcessMaskAll(fst.get());
        fstReaderSetFacProcessMask(fst.get(), handle);
        fstReaderIterBlocks2(fst.get(), count, countOfAnyLength, &changes, nullptr);
        std::printf("%llu\n", changes);
        return 0;
    }
    std::vector<char> text(1 << 16);
    const char* const value = fstReaderGetValueFromHandleAtTime(
        fst.get(), std::strtoull(argv[4], nullptr, 10), handle, text.data());
    std::printf("%s\n", value ? value : "none");
    return 0;
}

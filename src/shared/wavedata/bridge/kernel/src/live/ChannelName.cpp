// SPDX-License-Identifier: BSD-3-Clause

#include "ChannelName.h"

#include "platform/SharedRegion.h"

#include <boost/filesystem/operations.hpp>

#include <cstdio>
#include <locale>

namespace Tracewell {

namespace {

std::string foldPath(std::string path)
{
    const auto& letters = std::use_facet<std::ctype<char>>(std::locale::classic());
    for (char& c : path) {
        c = c == '/' || c == '\\' ? '_' : letters.tolower(c);
    }
    return path;
}

/// 64-bit FNV-1a as 16 hexadecimal digits.
std::string hash(const std::string& text)
{
    unsigned long long value = 0xcbf29ce484222325ull;
    for (const char c : text) {
        value = (value ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
    }
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", value);
    return digits;
}

} // namespace

std::string makeAbsolute(const std::string& path)
{
    boost::system::error_code error;
    const boost::filesystem::path absolute = boost::filesystem::system_complete(path, error);
    return error ? path : absolute.string();
}

std::string makeRegionName(const std::string& prefix, const std::string& key,
                           const std::string& absolutePath, const std::string& suffix)
{
    std::string inputs;
    for (const std::string& input :
         {prefix, key, absolutePath, suffix, std::to_string(SharedRegion::getOwnerId())}) {
        inputs += std::to_string(input.size()) + ":" + input;
    }
    return SharedRegion::spellName(prefix + key + foldPath(absolutePath) + suffix, hash(inputs));
}

} // namespace Tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "recorder/ProgramRecording.h"

#include "files/WatchedProcess.h"
#include "formats/vcd/VcdDeclarations.h"
#include "names/DeclarationsBuilder.h"
#include "text/Failure.h"
#include "text/Message.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <map>
#include <set>

namespace tracewell {

namespace {

std::atomic<bool> s_isThere{false};

bool isVector(const ValueKind& kind, unsigned int width)
{
    return kind.hasBits() && width > 1;
}

} // namespace

Timescale parseTimescale(std::string_view text)
{
    constexpr std::pair<std::string_view, int> kUnits[] = {{"s", 0},    {"ms", -3},  {"us", -6},
                                                           {"ns", -9},  {"ps", -12}, {"fs", -15},
                                                           {"as", -18}, {"zs", -21}};
    Timescale timescale;
    timescale.stated = true;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), timescale.factor);
    std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
    for (const auto& [name, exponent] : kUnits) {
        if (error == std::errc() && timescale.factor > 0 &&
            timescale.factor <= kMaxTimescaleFactor && unit == name) {
            timescale.exponent = exponent;
            return timescale;
        }
    }
    throw Failure(fmt::format("{} is no timescale; write a number from 1 to {} and a unit, as in "
                              "1ns or 10 ps",
                              inQuotes(text), kMaxTimescaleFactor));
}

bool isDeclaredWord(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    });
}

ProgramRecording::ProgramRecording(RecorderOptions options, const Timescale& timescale,
                                   std::string version)
    : m_options(std::move(options)), m_timescale(timescale), m_version(std::move(version))
{
    if (s_isThere.exchange(true)) {
        throw Failure(fmt::format(
            "{}: this process makes a recording already; close that one first", output()));
    }
}

ProgramRecording::~ProgramRecording()
{
    try {
        close();
    } catch (const std::exception&) {
        // Who wants to know calls close().
    }
}

std::string ProgramRecording::nameOf(std::uint32_t variable) const
{
    std::string name;
    for (const std::string& scope : m_declared[variable].scopes) {
        name += scope + ".";
    }
    return name + m_declared[variable].name;
}

/// What messages call it.
std::string ProgramRecording::output() const
{
    return m_options.output.empty() ? fmt::format("live channel {}", m_options.channel)
                                    : m_options.output;
}

void ProgramRecording::refuse(const VariableRequest& request, const std::string& why) const
{
    throw Failure(fmt::format("{}: {}: {}", output(), inQuotes(request.name), why));
}

void ProgramRecording::check(VariableRequest& request) const
{
    if (m_couldNotBegin) {
        throw Failure(firstFailure());
    }
    if (m_recorder != nullptr || m_isClosed) {
        refuse(request, "variables are declared before the first time and value");
    }
    const auto isBlank = [](const std::string& name) {
        return name.find_first_not_of(' ') == std::string::npos;
    };
    if (isBlank(request.name)) {
        refuse(request, "a variable has a name");
    }
    if (std::any_of(request.scopes.begin(), request.scopes.end(), isBlank)) {
        refuse(request, "each of its scopes has a name");
    }
    if (request.scopes.size() > kMaxScopeDepth) {
        refuse(request, fmt::format("scopes are nested at most {} deep", kMaxScopeDepth));
    }
    if (!isDeclaredWord(request.kind)) {
        refuse(request, "its kind is a word as wire, reg, integer, real, string or event");
    }
    if (request.width < 1 || request.width > kMaxWidth) {
        refuse(request, fmt::format("it has 1 to {} bits", kMaxWidth));
    }
    const auto isFar = [](long long bit) {
        return bit < -VariableRequest::kFarthestBit || bit > VariableRequest::kFarthestBit;
    };
    if (request.hasRange && (isFar(request.left) || isFar(request.right))) {
        refuse(request, fmt::format("the numbers of its bits go from -{0} to {0}",
                                    VariableRequest::kFarthestBit));
    }
    if (request.hasRange &&
        std::abs(request.left - request.right) + 1 != static_cast<long long>(request.width)) {
        refuse(request, fmt::format("its range has as many bits as it, {}", request.width));
    }
    checkValueNames(request);
}

/// Of a type of which one value makes no sense a reader drops all names.
void ProgramRecording::checkValueNames(VariableRequest& request) const
{
    if (!request.valueNames.empty() && !declaredKind(request.kind, request.width).hasBits()) {
        refuse(request, "only values of bits have names");
    }
    std::set<std::string> known;
    for (auto& [letters, name] : request.valueNames) {
        if (name.empty()) {
            refuse(request, fmt::format("the name for its value {} is empty", inQuotes(letters)));
        }
        if (letters.empty() || letters.size() > request.width || !areLetters(letters)) {
            refuse(request, fmt::format("{} is no value for a name; write 1 to {} of the letters "
                                        "0 1 x z u w l h -",
                                        inQuotes(letters), request.width));
        }
        std::string whole = canonicalLetters(letters, request.width);
        whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size() - 1));
        if (!known.insert(whole).second) {
            refuse(request, fmt::format("its value {} has two names", inQuotes(letters)));
        }
        letters = std::move(whole);
    }
}

std::uint32_t ProgramRecording::add(VariableRequest request)
{
    check(request);
    const ValueKind& kind = declaredKind(request.kind, request.width);
    m_kinds.push_back(&kind);
    m_widths.push_back(kind.isLetter() ? 1 : request.width);
    m_bits.push_back(kind.hasBits() ? m_widths.back() : 0);
    m_declared.push_back(std::move(request));
    return static_cast<std::uint32_t>(m_declared.size() - 1);
}

void ProgramRecording::addAlias(std::uint32_t variable, VariableRequest request)
{
    check(request);
    const ValueKind& kind = declaredKind(request.kind, request.width);
    const bool isSameWidth = !kind.hasBits() || request.width == m_widths[variable];
    if (&kind != m_kinds[variable] || !isSameWidth) {
        refuse(request, fmt::format("another name for {} has its kind and width, {} {}",
                                    inQuotes(nameOf(variable)), m_declared[variable].kind,
                                    m_declared[variable].width));
    }
    m_aliases.push_back({{m_declared.size(), variable}, std::move(request)});
}

Declarations ProgramRecording::declare()
{
    DeclarationsBuilder builder(m_version, m_timescale);
    std::vector<std::string> scopes;
    std::map<std::pair<std::string, decltype(VariableRequest::valueNames)>, std::size_t>
        enumerations;
    const auto enter = [&](const VariableRequest& request) {
        const std::vector<std::string>& wanted = request.scopes;
        const auto common = static_cast<std::size_t>(
            std::mismatch(scopes.begin(), scopes.end(), wanted.begin(), wanted.end()).first -
            scopes.begin());
        for (; scopes.size() > common; scopes.pop_back()) {
            builder.closeScope();
        }
        for (std::size_t i = scopes.size(); i < wanted.size(); ++i) {
            builder.openScope(i < request.scopeKinds.size() ? request.scopeKinds[i] : "module",
                              wanted[i]);
            scopes.push_back(wanted[i]);
        }
    };
    const auto describe = [&](const VariableRequest& request) {
        enter(request);
        builder.setDirection(request.direction);
        if (!request.type.empty()) {
            builder.setType(request.type);
        }
        if (request.isSigned) {
            builder.setSigned();
        }
        if (!request.valueNames.empty()) {
            // A type that a thousand variables have stands in the file once.
            const auto [known, isNew] =
                enumerations.try_emplace(std::pair(request.type, request.valueNames), 0);
            if (isNew) {
                known->second = builder.addEnumeration(request.type, request.valueNames);
            }
            builder.setEnumeration(known->second);
        }
    };
    const auto rangeOf = [](const VariableRequest& request) {
        const ValueKind& kind = declaredKind(request.kind, request.width);
        return request.hasRange                ? request.left == request.right
                                                     ? fmt::format("[{}]", request.left)
                                                     : fmt::format("[{}:{}]", request.left, request.right)
                              : isVector(kind, request.width) ? fmt::format("[{}:0]", request.width - 1)
                                               : std::string();
    };
    std::size_t alias = 0;
    for (std::size_t i = 0; i <= m_declared.size(); ++i) {
        for (; alias < m_aliases.size() && m_aliases[alias].first.place == i; ++alias) {
            const VariableRequest& request = m_aliases[alias].second;
            describe(request);
            builder.addAlias(request.kind, request.name, rangeOf(request), request.width,
                             m_aliases[alias].first.variable);
        }
        if (i < m_declared.size()) {
            const VariableRequest& request = m_declared[i];
            describe(request);
            builder.addVariable(request.kind, request.name, rangeOf(request), request.width,
                                *m_kinds[i]);
        }
    }
    return builder.finish();
}

void ProgramRecording::begin()
{
    if (m_recorder != nullptr) {
        return;
    }
    if (m_isClosed) {
        throw Failure(fmt::format("{}: the recording is closed", output()));
    }
    if (m_couldNotBegin) {
        throw Failure(firstFailure());
    }
    m_recorder = std::make_unique<Recorder>(declare(), m_options, [this](const std::string& told) {
        const std::string reason = storageReason(told);
        const std::string line = reason == told ? told : "cannot be written: " + reason;
        const std::lock_guard lock(m_failureMutex);
        if (m_failure.empty()) {
            const bool isNamed = line.find(output()) != std::string::npos;
            m_failure = isNamed ? line : fmt::format("{}: {}", output(), line);
        }
        m_firstFailure = m_firstFailure.empty() ? m_failure : m_firstFailure;
        m_hasFailure = true;
    });
    if (!m_recorder->open()) {
        m_recorder.reset();
        m_couldNotBegin = true;
        s_isThere = false;
        throw Failure(takeFailure());
    }
    m_quickMasks.reserve(m_bits.size());
    for (const unsigned int bits : m_bits) {
        constexpr unsigned int kMost = 32;
        m_quickMasks.push_back(bits > kMost ? 0 : static_cast<std::uint32_t>((1ull << bits) - 1));
    }
    m_quickValues = &m_recorder->values();
    m_quickCount = variables();
}

void ProgramRecording::stepFirst(long long time)
{
    begin();
    if (time < m_time) {
        throw Failure(fmt::format("{}: time goes on, and never back: {} comes behind {}", output(),
                                  time, m_time));
    }
}

void ProgramRecording::setAnyBits(std::uint32_t variable, std::uint64_t a, std::uint64_t b)
{
    begin();
    ValueRecorder& values = m_recorder->values();
    const unsigned int width = m_widths[variable];
    if (width == 1) {
        values.storeScalar(variable, static_cast<std::uint8_t>((a & 1) | (b & 1) << 1));
        return;
    }
    const std::uint64_t mask = width >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << width) - 1;
    a &= mask;
    b &= mask;
    const std::uint32_t groups[] = {static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b),
                                    static_cast<std::uint32_t>(a >> 32),
                                    static_cast<std::uint32_t>(b >> 32)};
    values.storeGroups(variable, reinterpret_cast<const unsigned char*>(groups));
}

void ProgramRecording::setWords(std::uint32_t variable, const std::uint64_t* a,
                                const std::uint64_t* b)
{
    const unsigned int width = m_widths[variable];
    if (width <= 64) {
        setBits(variable, a[0], b[0]);
        return;
    }
    begin();
    std::vector<std::uint32_t> groups((width + 31) / 32 * 2);
    for (unsigned int group = 0; group < groups.size() / 2; ++group) {
        const unsigned int shift = group % 2 * 32;
        const unsigned int left = width - 32 * group;
        const std::uint32_t mask = left >= 32 ? ~0u : (1u << left) - 1;
        groups[2 * group] = static_cast<std::uint32_t>(a[group / 2] >> shift) & mask;
        groups[2 * group + 1] = static_cast<std::uint32_t>(b[group / 2] >> shift) & mask;
    }
    m_recorder->values().storeGroups(variable,
                                     reinterpret_cast<const unsigned char*>(groups.data()));
}

bool ProgramRecording::setLetters(std::uint32_t variable, std::string_view letters)
{
    if (letters.empty() || letters.size() > m_widths[variable] || !areLetters(letters)) {
        return false;
    }
    begin();
    return m_recorder->values().store(variable, ChangeForm::Letters, letters);
}

bool ProgramRecording::setText(std::uint32_t variable, std::string_view text)
{
    if (text.size() > kLongestText || text.find('\0') != std::string_view::npos) {
        return false;
    }
    begin();
    m_recorder->values().store(variable, ChangeForm::Text, text);
    return true;
}

void ProgramRecording::fire(std::uint32_t variable)
{
    begin();
    m_recorder->values().fire(variable, 1);
}

void ProgramRecording::pause()
{
    begin();
    m_recorder->off();
}

void ProgramRecording::resume()
{
    begin();
    m_recorder->on();
}

void ProgramRecording::sync()
{
    begin();
    m_recorder->flush();
}

void ProgramRecording::close()
{
    if (m_isClosed) {
        return;
    }
    begin();
    m_isClosed = true;
    m_quickCount = 0;
    m_recorder->close();
    m_recorder.reset();
    s_isThere = false;
    // Told before or not: the file is not whole.
    takeFailure();
    if (!m_firstFailure.empty()) {
        throw Failure(m_firstFailure);
    }
}

std::string ProgramRecording::firstFailure() const
{
    const std::lock_guard lock(m_failureMutex);
    return m_firstFailure;
}

std::string ProgramRecording::takeFailure()
{
    const std::lock_guard lock(m_failureMutex);
    m_hasFailure = false;
    return std::exchange(m_failure, {});
}

} // namespace tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "FatalError.h"
#include "QsimException.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

namespace Tracewell {
namespace {

template <class E> std::string messageOf(const std::string& text)
{
    try {
        throw E("QSim", "file", "id", 1, text.c_str());
    } catch (const Qsim::Exception& exception) {
        const Qsim::Exception copy(exception);
        EXPECT_STREQ(copy.what(), copy.getMessage().c_str());
        return copy.getMessage();
    }
}

TEST(Exceptions, messagesOfAnyLengthAndContentComeOutAndOnlyDoubledPercentsAreRead)
{
    const std::string big = std::string(8192, 'x') + "%s" + std::string(100000, 'y');
    for (const std::string& text : {std::string("%"), std::string("%s%n%d %500000d 100%"), big}) {
        EXPECT_EQ(messageOf<Qsim::Exception>(text), text);
        EXPECT_EQ(messageOf<Qsim::OpenException>(text), text);
        EXPECT_EQ(messageOf<Qsim::IOException>(text), text);
    }
    EXPECT_EQ(messageOf<Qsim::Exception>("a%%b"), "a%%b");
    EXPECT_EQ(messageOf<Qsim::OpenException>("a%%b%%%s%%%%"), "a%b%%s%%");
    EXPECT_EQ(messageOf<Qsim::IOException>("%%"), "%");
    EXPECT_EQ(Qsim::AssertException("QSim", "file", "id", 1).getMessage(),
              "QSIM assertion failed.\n");
}

TEST(FatalErrorDeathTest, printsOneLineWithTheSystemsReasonAndRunsNothingElse)
{
    EXPECT_EXIT(
        {
            std::atexit([] { std::cerr << "exit handler"; });
            errno = ENOSPC;
            reportFatalError("WDB FATAL ERROR: %s for the following reason: ");
        },
        ::testing::ExitedWithCode(1),
        ::testing::StrEq(
            "WDB FATAL ERROR: %s for the following reason: No space left on device\n"));
}

} // namespace
} // namespace Tracewell

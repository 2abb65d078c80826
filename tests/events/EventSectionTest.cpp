// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"

#include "QsimException.h"

namespace Tracewell {
namespace {

TEST(EventSection, bucketsAreCountedUpAndUnknownTypesAndMissingSectionsTold)
{
    using Database = WdbIEventBlockDatabase;
    EXPECT_EQ(Database::calculateNumberOfBucket(0), 0u);
    EXPECT_EQ(Database::calculateNumberOfBucket(2049), 2u);
    EXPECT_EQ(Database::calculateNumberOfBucket(4096, 0), 2u) << "0 stands for the default";
    EXPECT_EQ(Database::calculateNumberOfBucket(~0ull, 1), 0xffffffffu);

    TestContainer container;
    EXPECT_THROW(Database::getEventSection(container.files()), Qsim::OpenException);
    EXPECT_EQ(container.createDatabase(77, 5000), nullptr);
    EXPECT_EQ(Database::getEventDatabaseTypeId(container.files()), 77);
}

} // namespace
} // namespace Tracewell

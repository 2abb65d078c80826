// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "survey/BlockImage.h"
#include "survey/SurveyContext.h"

#include "WdbEventBlock.h"
#include "WdbEventDatabaseHeader.h"

#include <string>
#include <vector>

namespace tracewell {

/// Reads the stored blocks of events, whatever leads to them, bucket by bucket.
class EventBlockSurvey
{
public:
    /// What is known of the bucket being walked.
    struct Bucket
    {
        long long number = 0;
        long long base = 0;
        /// Its records may reach as far as they like.
        bool isOpenEnded = false;
        unsigned long long blocks = 0;
        /// Whether any event was read, and the latest time of those that were.
        bool hasEnd = false;
        long long end = 0;
        unsigned long long stepsBack = 0;
        Place firstStepBack;
        /// A damage whose loss ends where the next sound block begins.
        Finding* openLoss = nullptr;
    };

    /// Keeps references to both.
    EventBlockSurvey(const SurveyContext& context, const Tracewell::WdbEventDatabaseHeader& header)
        : m_context(context), m_survey(context.survey), m_header(header),
          m_image(header.m_maxEventBlockSize), m_block(header.m_maxEventBlockSize, 0)
    {}

    /// Claims and reads one block. False when something in it is not as it should be.
    bool readBlock(Bucket& bucket, Place place, long long handle, unsigned int size);
    /// The block that was read last, when that was sound.
    const Tracewell::WdbEventBlock& block(const Bucket& bucket);
    void finishBucket(Bucket& bucket);

private:
    bool unpack(Bucket& bucket, const Place& place);
    bool walkRecords(Bucket& bucket, Place place);
    bool checkRecord(Bucket& bucket, const Place& place, const unsigned char* record,
                     std::size_t room);
    void checkTail(Bucket& bucket, const Place& place, std::size_t offset);
    void checkBlockHeader(const Place& place, long long first, long long last);
    void beginLoss(Bucket& bucket, const Place& place, std::string what, const std::string& lost);
    void endLoss(Bucket& bucket, long long until);

    const SurveyContext& m_context;
    Survey& m_survey;
    const Tracewell::WdbEventDatabaseHeader& m_header;
    BlockImage m_image;
    std::vector<unsigned char> m_stored;
    Tracewell::WdbEventBlock m_block;
    /// Where the records of the image end, and whether all of them lie in their bucket.
    std::size_t m_recordsEnd = 0;
    bool m_isInside = true;
    bool m_anyBlock = false;
};

} // namespace tracewell

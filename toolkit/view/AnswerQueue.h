// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "view/ViewAnswers.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace tracewell {

/// A message to a page.
struct PageMessage
{
    std::string bytes;
    bool isText = true;
};

/// The thread that answers what pages ask. A request for a picture makes those of the same page and
/// place that wait before it pointless, so they are left out.
class AnswerQueue
{
public:
    /// Takes an answer, on the thread of the queue.
    using Reply = std::function<void(PageMessage)>;
    /// Takes news for all pages, on the thread of the queue.
    using Broadcast = std::function<void(const std::string&)>;

    AnswerQueue(ViewAnswers& answers, Broadcast broadcast);
    AnswerQueue(const AnswerQueue&) = delete;
    AnswerQueue& operator=(const AnswerQueue&) = delete;
    /// What waits is left out.
    ~AnswerQueue();

    /// `page` tells pages apart. What is no request is answered by what is wrong with it. False
    /// when so many wait that somebody asks without reading the answers.
    bool ask(std::uint64_t page, std::string request, Reply reply);
    /// The page has gone.
    void forget(std::uint64_t page);

private:
    struct Job
    {
        std::uint64_t page = 0;
        /// Of a picture; empty for other requests.
        std::string place;
        std::string request;
        Reply reply;
    };

    void run();

    ViewAnswers& m_answers;
    Broadcast m_broadcast;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Job> m_jobs;
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace tracewell

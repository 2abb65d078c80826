// SPDX-License-Identifier: BSD-3-Clause

#include "view/AnswerQueue.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tracewell {

namespace {

constexpr std::size_t kMostWaiting = 2000;
/// How often pages hear of a run that goes on.
constexpr std::chrono::milliseconds kNewsEvery(100);

} // namespace

AnswerQueue::AnswerQueue(ViewAnswers& answers, Broadcast broadcast)
    : m_answers(answers), m_broadcast(std::move(broadcast)), m_thread([this] { run(); })
{}

AnswerQueue::~AnswerQueue()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_jobs.clear();
    }
    m_wake.notify_one();
    m_thread.join();
}

bool AnswerQueue::ask(std::uint64_t page, std::string request, Reply reply)
{
    Job job{page, ViewAnswers::placeOf(request), std::move(request), std::move(reply)};
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!job.place.empty()) {
            m_jobs.erase(std::remove_if(m_jobs.begin(), m_jobs.end(),
                                        [&](const Job& other) {
                                            return other.page == page && other.place == job.place;
                                        }),
                         m_jobs.end());
        }
        if (m_jobs.size() >= kMostWaiting) {
            return false;
        }
        m_jobs.push_back(std::move(job));
    }
    m_wake.notify_one();
    return true;
}

void AnswerQueue::forget(std::uint64_t page)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_jobs.erase(std::remove_if(m_jobs.begin(), m_jobs.end(),
                                [&](const Job& job) { return job.page == page; }),
                 m_jobs.end());
}

void AnswerQueue::run()
{
    auto nextNews = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isEnding) {
        const auto isReady = [this] { return m_isEnding || !m_jobs.empty(); };
        if (m_answers.isRunning()) {
            m_wake.wait_until(lock, nextNews, isReady);
        } else {
            m_wake.wait(lock, isReady);
        }
        if (m_isEnding) {
            return;
        }
        Job job;
        const bool hasJob = !m_jobs.empty();
        if (hasJob) {
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        lock.unlock();
        if (hasJob) {
            PageMessage message;
            message.bytes = m_answers.answer(job.request, message.isText);
            job.reply(std::move(message));
        }
        if (m_answers.isRunning() && std::chrono::steady_clock::now() >= nextNews) {
            const std::string news = m_answers.news();
            if (!news.empty()) {
                m_broadcast(news);
            }
            nextNews = std::chrono::steady_clock::now() + kNewsEvery;
        }
        lock.lock();
    }
}

} // namespace tracewell

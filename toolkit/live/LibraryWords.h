#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace tracewell {

/// While one exists, what the library says on the standard streams is kept back, to come out in an
/// error of ours. On the only thread.
class LibraryWords
{
public:
    LibraryWords()
        : m_output(std::cout.rdbuf(m_outputText.rdbuf())),
          m_error(std::cerr.rdbuf(m_errorText.rdbuf()))
    {}
    LibraryWords(const LibraryWords&) = delete;
    LibraryWords& operator=(const LibraryWords&) = delete;
    ~LibraryWords()
    {
        std::cout.rdbuf(m_output);
        std::cerr.rdbuf(m_error);
    }

    /// One line: the reason where the library tells one, otherwise what failed.
    std::string text() const
    {
        std::string words = m_errorText.str().empty() ? m_outputText.str() : m_errorText.str();
        const std::string front = "tracewell: ";
        if (words.rfind(front, 0) == 0) {
            words.erase(0, front.size());
        }
        words.erase(words.find_last_not_of(".\n") + 1);
        return words;
    }

private:
    std::ostringstream m_outputText;
    std::ostringstream m_errorText;
    std::streambuf* m_output;
    std::streambuf* m_error;
};

} // namespace tracewell

#include "BlockInflater.h"

#include "WdbIBlockManager.h"

#include <zlib.h>

#include <new>
#include <vector>

namespace Tracewell {

namespace {

/// An inflate state and an input buffer that outlive the single block.
class Inflater
{
public:
    Inflater()
    {
        if (inflateInit(&m_stream) != Z_OK)
            throw std::bad_alloc();
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() { inflateEnd(&m_stream); }

    char* prepareInput(unsigned int size)
    {
        if (m_in.size() < size)
            m_in.resize(size);
        return m_in.data();
    }

    unsigned int inflateInput(unsigned int size, char* out, unsigned int limit)
    {
        inflateReset(&m_stream);
        m_stream.next_in = reinterpret_cast<Bytef*>(m_in.data());
        m_stream.avail_in = size;
        m_stream.next_out = reinterpret_cast<Bytef*>(out);
        m_stream.avail_out = limit;
        inflate(&m_stream, Z_FINISH);
        return limit - m_stream.avail_out;
    }

private:
    z_stream m_stream{};
    std::vector<char> m_in;
};

} // namespace

unsigned int inflateBlock(const WdbIBlockManager& manager, long long handle,
                          unsigned int storedSize, char* out, unsigned int limit)
{
    if (storedSize == 0 || !manager.contains(handle, storedSize))
        return 0;
    static thread_local Inflater inflater;
    manager.getBlock(handle, inflater.prepareInput(storedSize), storedSize);
    return inflater.inflateInput(storedSize, out, limit);
}

} // namespace Tracewell

// SPDX-License-Identifier: BSD-3-Clause

#include "ImageCompressor.h"

#include <zlib.h>

namespace Tracewell {

bool ImageCompressor::compress(const char* image, unsigned int size)
{
    if (size <= FastDeflater::kLargest) {
        m_deflater.compress(image, size);
        if (m_deflater.size() <= size) {
            m_data = m_deflater.data();
            m_size = m_deflater.size();
            return true;
        }
    }
    m_out.resize(size);
    uLongf length = size;
    const int result = compress2(reinterpret_cast<Bytef*>(m_out.data()), &length,
                                 reinterpret_cast<const Bytef*>(image), size, kLevel);
    m_data = m_out.data();
    m_size = static_cast<unsigned int>(length);
    return result == Z_OK;
}

} // namespace Tracewell

// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <atomic>
#include <string>

namespace Tracewell {

/// A binary file behind a descriptor, with a position, typed transfers and two length-prefixed
/// forms of a text. Nothing throws: every failure is an answer, and a closed object fails every
/// transfer. Integers lie in the file as in memory; only reading can swap them, so a file of one
/// byte order is read on another.
class TRACEWELL_API FileIO
{
public:
    enum SerialModes {
        None = 0,
        /// For reading alone; the file must exist.
        Read = 1,
        /// Makes or empties the file; it cannot be read.
        Write = 2,
        /// Makes the file if it is missing, and empties nothing.
        ReadWrite = 3,
    };
    static constexpr long long InvalidOffset = -1;

    FileIO() = default;
    FileIO(const FileIO&) = delete;
    FileIO& operator=(const FileIO&) = delete;
    ~FileIO();

    /// Closes an open file first. False for SerialModes::None, an empty name, or a file that the
    /// system refuses.
    bool open(const std::string& name, SerialModes mode);
    /// In write mode: closes and opens the same name again, which empties it. False otherwise.
    bool reopen();
    /// Commits to the disk what was written in write mode. True when nothing was open.
    bool close();
    /// Commits what was written. True in read mode and when closed.
    bool flush();

    /// The system's error number of the first failure to open, write or commit since the last
    /// open() began; 0 if there was none. Lasts beyond close(). On any thread.
    int getError() const { return m_error.load(std::memory_order_relaxed); }

    /// In bytes; -1 in any mode but read, and when closed.
    long long getFileSize() const;
    /// Whether the position is at the end or behind it. True when closed.
    bool isEOF() const;
    bool isOpen() const { return m_descriptor >= 0; }
    SerialModes getMode() const { return m_mode; }

    /// Where the next byte is read or written; InvalidOffset while no file is open.
    long long getOffset() const;
    bool setOffset(long long offset);
    /// Moves the position, back for a negative count.
    bool skipBytes(long long count);

    /// True when all `size` bytes moved.
    bool readData(void* data, unsigned int size);
    bool writeData(const void* data, unsigned int size);
    /// Reverses the bytes in place when inversion is set.
    bool readEndianData(void* data, unsigned int size);
    void setInvertEndianness(bool invert) { m_invertEndianness = invert; }
    bool getInvertEndianness() const { return m_invertEndianness; }

    bool readInt8(signed char& value) { return readEndianData(&value, sizeof value); }
    bool readUInt8(unsigned char& value) { return readEndianData(&value, sizeof value); }
    bool readInt16(short& value) { return readEndianData(&value, sizeof value); }
    bool readUInt16(unsigned short& value) { return readEndianData(&value, sizeof value); }
    bool readInt32(int& value) { return readEndianData(&value, sizeof value); }
    bool readUInt32(unsigned int& value) { return readEndianData(&value, sizeof value); }
    bool readInt64(long long& value) { return readEndianData(&value, sizeof value); }
    bool readUInt64(unsigned long long& value) { return readEndianData(&value, sizeof value); }
    bool readFloat64(double& value) { return readEndianData(&value, sizeof value); }

    bool writeInt8(signed char value) { return writeData(&value, sizeof value); }
    bool writeUInt8(unsigned char value) { return writeData(&value, sizeof value); }
    bool writeInt16(short value) { return writeData(&value, sizeof value); }
    bool writeUInt16(unsigned short value) { return writeData(&value, sizeof value); }
    bool writeInt32(int value) { return writeData(&value, sizeof value); }
    bool writeUInt32(unsigned int value) { return writeData(&value, sizeof value); }
    bool writeInt64(long long value) { return writeData(&value, sizeof value); }
    bool writeUInt64(unsigned long long value) { return writeData(&value, sizeof value); }
    bool writeFloat64(double value) { return writeData(&value, sizeof value); }

    /// A u32 length and the bytes. The text ends at its first NUL. The length 4294967295 fails,
    /// and so does one beyond the end of the file; the text is then what could be read.
    bool readString(std::string& text);
    /// The same with a u16 length, of which no value is special.
    bool readShortString(std::string& text);
    bool writeString(const std::string& text);
    /// Writes the length modulo 65,536, and that many bytes.
    bool writeShortString(const std::string& text);

    /// Bytes that a text takes in a file.
    static unsigned int diskStringSize(const std::string& text);
    static unsigned int diskShortStringSize(const std::string& text);

private:
    bool readText(std::string& text, unsigned int length);
    bool note(bool isDone);

    int m_descriptor = -1;
    std::atomic<int> m_error{0};
    SerialModes m_mode = None;
    bool m_invertEndianness = false;
    std::string m_name;
};

} // namespace Tracewell

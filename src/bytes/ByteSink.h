// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

namespace bytes {

/** Where bytes are written: a file or memory. */
class ByteSink
{
public:
    ByteSink() = default;
    ByteSink(const ByteSink &) = default;
    ByteSink &operator=(const ByteSink &) = default;
    virtual ~ByteSink() = default;

    /** Appends; false when not everything could be written. */
    virtual bool write(const char *bytes, qint64 size) = 0;
    /** Replaces bytes that are already written. What is appended afterwards still goes to the end.
     */
    virtual bool overwrite(qint64 offset, const QByteArray &bytes) = 0;

    bool write(const QByteArray &bytes) { return write(bytes.constData(), bytes.size()); }
};

/** Writes into memory. */
class BytesSink : public ByteSink
{
public:
    using ByteSink::write;

    bool write(const char *bytes, qint64 size) override
    {
        m_bytes.append(bytes, int(size));
        return true;
    }

    bool overwrite(qint64 offset, const QByteArray &bytes) override
    {
        m_bytes.replace(int(offset), bytes.size(), bytes);
        return true;
    }

    const QByteArray &bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

} // namespace bytes

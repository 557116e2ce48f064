// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <cstdio>
#include <cstdlib>

/** An assertion that release builds have, too. */
inline void require(bool condition)
{
    if (!condition)
        std::abort();
}

/** Discards the standard error of the code under test. Sanitizers still write to the
 *  descriptor. */
inline void silenceStandardError()
{
    static FILE *const nowhere = std::fopen("/dev/null", "w");
    if (nowhere != nullptr)
        stderr = nowhere;
}

/** The bytes of one input, taken from the front. Beyond its end everything is zero or empty. */
class FuzzInput
{
public:
    FuzzInput(const unsigned char *data, size_t size)
        : m_bytes(reinterpret_cast<const char *>(data), int(size))
    {
    }

    bool atEnd() const { return m_next >= m_bytes.size(); }

    quint8 byte() { return atEnd() ? quint8{0} : quint8(m_bytes.at(m_next++)); }

    /** A number from 0 to `count - 1`. */
    int below(int count) { return byte() % count; }

    QByteArray bytes(int count)
    {
        const QByteArray taken = m_bytes.mid(m_next, count);
        m_next += taken.size();
        return taken;
    }

    QByteArray rest() { return bytes(int(m_bytes.size()) - m_next); }

private:
    QByteArray m_bytes;
    int m_next = 0;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace edid {

/**
 * A read-only view of bytes. A byte beyond its end reads as 0, so that a reader can follow any
 * length and offset of a dump without reading outside of it.
 */
class ByteView
{
public:
    ByteView() = default;
    ByteView(const std::uint8_t *bytes, std::size_t size) : m_bytes(bytes), m_size(size) {}

    std::size_t size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    std::uint8_t at(std::size_t index) const
    {
        return index < m_size ? m_bytes[index] : std::uint8_t{0};
    }
    int wordAt(std::size_t index) const { return at(index) | (at(index + 1) << 8); }

    /** At most `count` bytes from `offset` on; fewer where this view ends earlier. */
    ByteView mid(std::size_t offset, std::size_t count) const
    {
        const std::size_t begin = std::min(offset, m_size);
        return {m_bytes + begin, std::min(count, m_size - begin)};
    }
    ByteView from(std::size_t offset) const { return mid(offset, m_size); }

    const std::uint8_t *begin() const { return m_bytes; }
    const std::uint8_t *end() const { return m_bytes + m_size; }

private:
    const std::uint8_t *m_bytes = nullptr;
    std::size_t m_size = 0;
};

} // namespace edid

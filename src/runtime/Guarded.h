// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <mutex>
#include <utility>

namespace runtime {

/**
 * A value that several threads use: it can be reached only while its mutex is locked. What a
 * function returns must not refer to the value. `Mutex` meets the standard's BasicLockable.
 */
template<typename Value, typename Mutex = std::mutex>
class Guarded
{
public:
    template<typename Function>
    auto read(Function function) const
    {
        const std::lock_guard lock(m_mutex);
        return std::invoke(function, m_value);
    }
    template<typename Function>
    auto change(Function function)
    {
        const std::lock_guard lock(m_mutex);
        return std::invoke(function, m_value);
    }

    Value get() const
    {
        return read([](const Value &value) { return value; });
    }
    void set(const Value &value)
    {
        change([&](Value &kept) { kept = value; });
    }

private:
    mutable Mutex m_mutex;
    Value m_value{};
};

} // namespace runtime

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/EngineTexts.h"

#include <QStringList>

#include <atomic>
#include <functional>
#include <utility>

namespace engine {

/**
 * Sends the messages of the engine. A list of one element is a log line, a longer one starts with
 * its key. May also be used from the console's thread.
 */
class EngineOutput
{
public:
    using Sink = std::function<void(const QStringList &list)>;

    explicit EngineOutput(Sink sink) : m_sink(std::move(sink)) {}

    void list(const QStringList &list) const { m_sink(list); }
    void say(const QString &line) const { m_sink({line}); }
    /** A message of a command sequence: a product-information read prepends its key. */
    void inChain(QStringList list) const
    {
        if (m_reading)
            list.prepend(QString::fromLatin1(protocol::key::readProductInfo));
        m_sink(list);
    }
    void inChain(const QString &line) const { inChain(QStringList{line}); }

    /** True while a product-information read runs. */
    bool isReading() const { return m_reading; }
    void setReading(bool reading) { m_reading = reading; }

private:
    Sink m_sink;
    std::atomic<bool> m_reading{false};
};

} // namespace engine

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/EngineTexts.h"

#include <QStringList>

#include <atomic>
#include <functional>
#include <utility>

namespace engine {

/**
 * Where the messages of the engine leave it. A list of one element is a log line, a longer one
 * starts with its key. The console's thread may use it, too.
 */
class EngineOutput
{
public:
    using Sink = std::function<void(const QStringList &list)>;

    explicit EngineOutput(Sink sink) : m_sink(std::move(sink)) {}

    void list(const QStringList &list) const { m_sink(list); }
    void say(const QString &line) const { m_sink({line}); }
    /** A list of the command chain: a product-information read puts its key in front. */
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

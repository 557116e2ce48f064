// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/device/CommandChannel.h"
#include "engine/device/DeviceLinks.h"
#include "engine/device/RunGuard.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunProgress.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "links/CoreCOMQ.h"
#include "protocol/McuFrame.h"

#include <QStringList>

/** A serial link that keeps what is sent, and delivers what a test hands in. */
class RecordingCOMQ : public CoreCOMQ
{
    Q_OBJECT

public:
    using CoreCOMQ::CoreCOMQ;

    bool open(const QString &portName, int, int, int, const QString &) override
    {
        opened += portName;
        m_open = present;
        return m_open;
    }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    void deliver(const QByteArray &bytes) { emit signalReceiveDatas(bytes); }

    bool present = true;
    bool refusesWrites = false;
    QStringList opened;
    QList<QByteArray> sent;

protected:
    qint64 writeBytes(const char *bytes, qint64 length) override
    {
        if (refusesWrites)
            return -1;
        sent += QByteArray(bytes, int(length));
        return length;
    }

private:
    bool m_open = false;
};

/** The parts below the engine's runs, over a link that a test plays. */
struct PartBench
{
    PartBench()
        : output([this](const QStringList &list) { lines += list.join(QLatin1Char('|')); }),
          report([this](const RunEvent &event) { events += event; }),
          progress(rows, output, report, [this](double percent) { percents += percent; }),
          guard(platform.timeOuts.runGuard, &parent),
          links(factory(), output, QStringLiteral("57600"), &parent),
          channel(
              links, guard, [](const Reply &) { return false; }, platform, &parent)
    {
        QObject::connect(&links, &DeviceLinks::received, &channel, &CommandChannel::receive);
        links.open(QStringLiteral("ttyS2"));
        lines.clear();
    }

    static QByteArray reply(quint16 word, const QByteArray &data = {})
    {
        return mcu::buildFrame(mcu::replyStart, {}, word, data);
    }

    QObject parent;
    Platform platform;
    QStringList lines;
    QList<RunEvent> events;
    QList<double> percents;
    RecordingCOMQ *link = nullptr;

    EngineOutput output;
    RunRows rows;
    RunReporter report;
    RunProgress progress;
    RunGuard guard;
    DeviceLinks links;
    CommandChannel channel;

private:
    LinkFactory factory()
    {
        LinkFactory made;
        made.serial = [this](QObject *owner) { return link = new RecordingCOMQ(owner); };
        return made;
    }
};

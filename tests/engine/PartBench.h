// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/device/CommandChannel.h"
#include "engine/device/DeviceLinks.h"
#include "engine/device/RunGuard.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunProgress.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "engine/steps/Steps.h"
#include "links/DeviceLink.h"
#include "links/LinkState.h"
#include "protocol/McuFrame.h"

#include <QStringList>

#include <optional>

/** The result of a step for a reply. */
using FoundEvent = std::optional<engine::Event>;
Q_DECLARE_METATYPE(FoundEvent)

/** A link that records what is sent, and delivers the replies of a test. */
class FakeDeviceLink : public links::DeviceLink
{
    Q_OBJECT

public:
    using links::DeviceLink::DeviceLink;

    const char *label() const override { return "fake"; }
    bool openAt(const QString &address, int number) override
    {
        openedAt += QString("%1 %2").arg(address).arg(number);
        open = present;
        return open;
    }
    void close() override { open = false; }
    bool isOpen() const override { return open; }
    bool send(const QByteArray &frame) override
    {
        links::noteFrame(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
        if (!refusesWrites)
            sent += frame;
        return !refusesWrites;
    }
    void deliver(const QByteArray &bytes) { emit received(bytes); }

    bool present = true;
    bool open = false;
    bool refusesWrites = false;
    QStringList openedAt;
    QList<QByteArray> sent;
};

/** The parts that all others report to, with their recorded reports. */
struct ReportBench
{
    ReportBench()
        : output([this](const QStringList &list) { lines += list.join('|'); }),
          report([this](const engine::RunEvent &event) { events += event; }),
          progress(rows, output, report, [this](double percent) { percents += percent; })
    {
    }

    QStringList lines;
    QList<engine::RunEvent> events;
    QList<double> percents;

    engine::EngineOutput output;
    engine::RunRows rows;
    engine::RunReporter report;
    engine::RunProgress progress;
};

/** The parts below the engine's runs, with a fake link. */
struct PartBench : ReportBench
{
    PartBench()
        : guard(platform.timeOuts.runGuard, &parent),
          links(factory(), output, QString("57600"), &parent),
          channel(
              links, guard, [](const protocol::Reply &) { return false; }, platform, &parent)
    {
        QObject::connect(&links, &engine::DeviceLinks::received, &channel,
                         &engine::CommandChannel::receive);
        links.open(QString("ttyS2"));
        lines.clear();
    }

    static QByteArray reply(quint16 word, const QByteArray &data = {})
    {
        return protocol::mcu::buildFrame(protocol::mcu::replyStart, {}, word, data);
    }

    QObject parent;
    platform::Platform platform;
    FakeDeviceLink *link = nullptr;

    engine::RunGuard guard;
    engine::DeviceLinks links;
    engine::CommandChannel channel;

private:
    engine::LinkFactory factory()
    {
        engine::LinkFactory made;
        made.serial = [this](QObject *owner) { return link = new FakeDeviceLink(owner); };
        return made;
    }
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AnswerWatch.h"
#include "client/TimeEstimate.h"
#include "client/UpgradeOutcome.h"

#include <QStringList>
#include <QVector>

#include <chrono>

/** A run with the lines of a test, one per second. */
struct ScriptedRun
{
    using Kind = client::AgentReply::Kind;
    using ms = std::chrono::milliseconds;

    client::UpgradeModel model;
    client::TimeEstimate estimate;
    client::AnswerWatch watch;
    ms now{0};
    ms step = std::chrono::seconds(1);

    explicit ScriptedRun(const QStringList &names)
    {
        QVector<client::WantedMcu> mcus;
        for (const QString &name : names)
            mcus.append({name.section(':', 0, 0), name.section(':', 1).toInt(), 0, {}});
        model = client::UpgradeModel(mcus);
    }

    ScriptedRun &say(const QStringList &lines)
    {
        for (const QString &line : lines)
            take(Kind::Log, line);
        return *this;
    }

    ScriptedRun &progress(double percent)
    {
        client::AgentReply reply;
        reply.kind = Kind::Progress;
        reply.percent = percent;
        return give(reply);
    }

    ScriptedRun &write(const QString &name)
    {
        return say({"Send 'Enter F/W Upgrade Mode' command to '" + name + "'.",
                    "'" + name + "' Enter 'F/W Update Mode' success.", "Erasing...",
                    "Erase success.", "Writing...", "Write firmware '" + name + "' success."});
    }

    ScriptedRun &end(bool success)
    {
        return take(success ? Kind::UpgradeSuccess : Kind::UpgradeFail, {});
    }

    QStringList results() const
    {
        QStringList names;
        for (const client::McuState &mcu : model.mcus())
            names += client::resultName(mcu.result);
        return names;
    }

    QString cause() const
    {
        return QString::fromLatin1(problemRow(client::outcomeOf(model).cause).id);
    }
    int exitCode() const { return int(client::outcomeOf(model).exit); }

    /** The text about the late answer after this time without lines. */
    QString waitAfter(ms silence) const
    {
        const auto wait = watch.at(now + silence);
        return wait ? client::waitText(*wait) : QString();
    }

private:
    ScriptedRun &give(const client::AgentReply &reply)
    {
        now += step;
        model.take(reply, now);
        estimate.take(reply, now);
        watch.take(reply, now);
        return *this;
    }
    ScriptedRun &take(Kind kind, const QString &text)
    {
        client::AgentReply reply;
        reply.kind = kind;
        reply.text = text;
        return give(reply);
    }
};

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

    /** Three images; the second one is four times as long as the first. */
    static ScriptedRun ofThreeImages()
    {
        ScriptedRun run({});
        run.model = client::UpgradeModel({{"MAIN", 0, 0, "2.0.0", 25'600, false},
                                          {"AUX", 1, 0, "2.0.0", 102'400, false},
                                          {"KEY", 2, 0, "2.0.0", 51'200, false}});
        return run;
    }

    /** Each step is a line of the agent, or one of these: "40 %", the end "success" or "fail", and
     *  "gap", where another client may have received lines; "enter A", the request for the update
     *  mode, "begin A", the request and its answer, and "write A", all lines of an image. */
    ScriptedRun &play(const QStringList &steps)
    {
        for (const QString &one : steps) {
            const QString name = '\'' + one.section(' ', 1) + '\'';
            const QString enter = "Send 'Enter F/W Upgrade Mode' command to " + name + '.';
            const QString entered = name + " Enter 'F/W Update Mode' success.";
            if (one.endsWith(" %"))
                progress(one.section(' ', 0, 0).toDouble());
            else if (one == "success" || one == "fail")
                take(one == "success" ? Kind::UpgradeSuccess : Kind::UpgradeFail, {});
            else if (one == "gap")
                model.expectGap();
            else if (one.startsWith("enter "))
                take(Kind::Log, enter);
            else if (one.startsWith("begin "))
                play({enter, entered});
            else if (one.startsWith("write "))
                play({enter, entered, "Erasing...", "Erase success.", "Writing...",
                      "Write firmware " + name + " success."});
            else
                take(Kind::Log, one);
        }
        return *this;
    }

    ScriptedRun &progress(double percent)
    {
        client::AgentReply reply;
        reply.kind = Kind::Progress;
        reply.percent = percent;
        return give(reply);
    }

    /** Results of the MCUs with their retries, exit status, problem, and the summary. */
    QString verdict() const
    {
        QStringList results;
        for (const client::McuState &mcu : model.mcus())
            results += client::resultName(mcu.result) +
                       (mcu.retries == 0 ? QString() : QString(" +%1").arg(mcu.retries));
        const client::UpgradeOutcome outcome = client::outcomeOf(model);
        return QString("%1; %2 %3; %4")
            .arg(results.join(", "))
            .arg(int(outcome.exit))
            .arg(problemRow(outcome.cause).id, outcome.summary);
    }

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

// SPDX-License-Identifier: Apache-2.0
#include "client/ProgressEvents.h"

#include "client/UpgradeOutcome.h"
#include "common/CommandOutcome.h"

namespace client {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

/** The time between two percentages of the same tenth. */
constexpr milliseconds betweenFigures = 1s;

QJsonObject eventNamed(const char *name)
{
    return {{"event", QString::fromLatin1(name)}};
}

/** For programs: "not-reached". */
QString wordOf(const QString &name)
{
    return QString(name).replace(QLatin1Char(' '), QLatin1Char('-'));
}

QJsonValue problemOf(const McuState &mcu)
{
    return mcu.cause == ProblemId::None ? QJsonValue() : problemJson(Problem{mcu.cause});
}

double eventSeconds(milliseconds time)
{
    return std::chrono::duration<double>(time).count();
}

/** The members that identify the chip of an event. */
void addChip(QJsonObject &event, const McuState &mcu, int row)
{
    event["row"] = row;
    event["name"] = mcu.name;
    if (mcu.chipType < 0)
        return;
    event["chip_type"] = mcu.chipType;
    event["chip_index"] = mcu.chipIndex;
}

int tenthOf(double percent)
{
    constexpr int step = 10;
    return int(percent) / step;
}

} // namespace

QJsonObject chipEvent(const McuState &mcu, int row, milliseconds now)
{
    QJsonObject event = eventNamed("chip");
    addChip(event, mcu, row);
    event["phase"] = phaseName(mcu.phase);
    event["old_version"] = mcu.oldVersion;
    event["new_version"] = mcu.newVersion;
    event["retries"] = mcu.retries;
    if (mcu.seconds(now) >= 0.0)
        event["seconds"] = mcu.seconds(now);
    if (mcu.phase == McuPhase::Finished) {
        event["result"] = wordOf(resultName(mcu.result));
        event["error"] = problemOf(mcu);
    }
    return event;
}

QJsonObject progressEvent(const RunPicture &picture)
{
    const UpgradeModel &model = picture.model;
    QJsonObject event = eventNamed("progress");
    event["percent"] = model.percent();
    event["seconds"] = eventSeconds(picture.now - picture.started);
    const TimeLeft left = picture.estimate.ofRun(model, picture.now);
    event["seconds_left"] = eventSeconds(left.time);
    event["seconds_left_is_whole"] = left.isWhole;
    if (model.current() >= 0) {
        const McuState &mcu = model.mcus().at(model.current());
        addChip(event, mcu, model.current());
        if (mcu.isPercentKnown)
            event["chip_percent"] = mcu.percent;
    }
    return event;
}

QJsonObject waitEvent(const AnswerWait &wait)
{
    QJsonObject event = eventNamed("wait");
    event["waited"] = double(wait.waited.count());
    if (wait.limit.count() > 0) {
        event["limit"] = double(wait.limit.count());
        event["gives_up_in"] = double(wait.givesUp.count());
    }
    if (wait.attempt > 0) {
        event["attempt"] = wait.attempt;
        event["attempts"] = wait.attempts;
    }
    return event;
}

QString phaseWord(RunPhase phase)
{
    return wordOf(phaseName(phase));
}

QJsonObject messageEvent(const UpgradeModel &model, const QString &line)
{
    const LineMeaning meaning = meaningOf(line);
    QJsonObject event = eventNamed("message");
    event["text"] = model.labelled(line);
    if (!meaning.id.isEmpty())
        event["id"] = meaning.id;
    if (meaning.cause != ProblemId::None)
        event["error"] = problemJson(Problem{meaning.cause});
    return event;
}

QJsonObject runEvent(const UpgradeModel &model)
{
    QJsonArray chips;
    for (int i = 0; i < model.mcus().size(); ++i) {
        const McuState &mcu = model.mcus().at(i);
        QJsonObject chip{{"new_version", mcu.newVersion}};
        addChip(chip, mcu, i);
        if (mcu.imageSize >= 0)
            chip["image_size"] = mcu.imageSize;
        chips.append(chip);
    }
    QJsonObject event = eventNamed("run");
    event["chips"] = chips;
    return event;
}

QJsonArray resultJson(const UpgradeModel &model, milliseconds now)
{
    QJsonArray array;
    for (const McuState &mcu : model.mcus()) {
        const QJsonObject object{
            {"name", mcu.name},
            {"chip_type", mcu.chipType < 0 ? QJsonValue() : mcu.chipType},
            {"chip_index", mcu.chipType < 0 ? QJsonValue() : mcu.chipIndex},
            {"old_version", mcu.oldVersion},
            {"new_version", mcu.newVersion},
            {"result", wordOf(resultName(mcu.result))},
            {"retries", mcu.retries},
            {"seconds", mcu.seconds(now) < 0 ? QJsonValue() : mcu.seconds(now)},
            {"error", problemOf(mcu)},
        };
        array.append(object);
    }
    return array;
}

QVector<QJsonObject> ProgressEvents::changes(const RunPicture &picture)
{
    QVector<QJsonObject> events;
    addPhase(events, picture.model);
    addChips(events, picture);
    addProgress(events, picture);
    addWait(events, picture);
    return events;
}

void ProgressEvents::addPhase(QVector<QJsonObject> &events, const UpgradeModel &model)
{
    const bool isNews = model.phase() != m_phase && !model.hasEnded();
    m_phase = model.phase();
    if (!isNews)
        return;
    QJsonObject event = eventNamed("phase");
    event["phase"] = phaseWord(m_phase);
    events += event;
}

void ProgressEvents::addChips(QVector<QJsonObject> &events, const RunPicture &picture)
{
    const auto &mcus = picture.model.mcus();
    m_seen.resize(mcus.size());
    for (int i = 0; i < mcus.size(); ++i) {
        const McuState &mcu = mcus.at(i);
        Seen &seen = m_seen[i];
        if (mcu.retries > seen.retries) {
            QJsonObject event = eventNamed("retry");
            addChip(event, mcu, i);
            event["retries"] = mcu.retries;
            events += event;
        }
        const bool isNewVersion = mcu.oldVersion != seen.oldVersion ||
                                  (!seen.newVersion.isNull() && mcu.newVersion != seen.newVersion);
        if (mcu.phase != seen.phase || mcu.result != seen.result || isNewVersion)
            events += chipEvent(mcu, i, picture.now);
        seen = {mcu.phase, mcu.result, mcu.oldVersion, mcu.newVersion, mcu.retries};
    }
}

void ProgressEvents::addProgress(QVector<QJsonObject> &events, const RunPicture &picture)
{
    const UpgradeModel &model = picture.model;
    const bool isDue = tenthOf(model.percent()) > tenthOf(m_percent) ||
                       picture.now - m_progressAt >= betweenFigures;
    if (model.percent() <= m_percent || !isDue)
        return;
    m_percent = model.percent();
    m_progressAt = picture.now;
    events += progressEvent(picture);
}

void ProgressEvents::addWait(QVector<QJsonObject> &events, const RunPicture &picture)
{
    const bool wasWaiting = m_isWaiting;
    m_isWaiting = picture.wait.has_value();
    if (!m_isWaiting || (wasWaiting && picture.now - m_waitAt < betweenFigures))
        return;
    m_waitAt = picture.now;
    events += waitEvent(*picture.wait);
}

} // namespace client

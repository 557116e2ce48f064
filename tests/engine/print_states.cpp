// SPDX-License-Identifier: Apache-2.0
// Prints the step table: the page docs/develop/architecture-states.md or, with --texts, the texts
// only, as a JSON array. The table that is printed is the one that the engine is linked with.
#include "engine/steps/StepActions.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QStringList>

#include <algorithm>
#include <cstdio>

namespace action = engine::action;
using engine::Action;
using engine::allOf;
using engine::Event;
using engine::findTransition;
using engine::nameOf;
using engine::Step;
using engine::stepTable;
using engine::Transition;

namespace {

struct ActionName
{
    Action action;
    const char *name;
};

#define ACTION(name)                                                                               \
    {                                                                                              \
        action::name, #name                                                                        \
    }
const ActionName actionNames[] = {
    ACTION(wait),
    ACTION(readVirtualVersion),
    ACTION(giveUpVirtualVersion),
    ACTION(readModelName),
    ACTION(takeModelName),
    ACTION(readFirstBootcode),
    ACTION(readNextBootcode),
    ACTION(readBootcode),
    ACTION(takeBootcode),
    ACTION(refuseInvalidRecord),
    ACTION(readProductInfo),
    ACTION(takeProductInfo),
    ACTION(giveUpRow),
    ACTION(stopForMainBootcode),
    ACTION(stopForMainProductInfo),
    ACTION(readFirstVersion),
    ACTION(readVersion),
    ACTION(takeVersion),
    ACTION(giveUpVersion),
    ACTION(finishInfoRead),
    ACTION(chooseMainFirst),
    ACTION(chooseFirst),
    ACTION(chooseNext),
    ACTION(chooseAfterImage),
    ACTION(choose),
    ACTION(sendImage),
    ACTION(repeatImage),
    ACTION(awaitRestart),
    ACTION(pollProductId),
    ACTION(mainMcuIsBack),
    ACTION(sendReboot),
    ACTION(systemIsBack),
    ACTION(setVirtualVersion),
    ACTION(takeVirtualVersionSet),
    ACTION(finishComplete),
    ACTION(finishWithoutVirtualVersion),
    ACTION(finishWithoutImages),
    ACTION(finishQuietly),
    ACTION(failStep),
    ACTION(failLost),
    ACTION(failPackage),
    ACTION(startInfoWrites),
    ACTION(writeInfoAfterRun),
    ACTION(writeInfo),
    ACTION(takeInfoWritten),
    ACTION(giveUpInfoWrite),
    ACTION(finishInfoWrites),
};
#undef ACTION

QString actionName(Action action)
{
    for (const ActionName &entry : actionNames) {
        if (entry.action == action)
            return QString::fromLatin1(entry.name);
    }
    qFatal("an action of the table has no name here");
}

QString label(Step step)
{
    return QStringLiteral("%1 %2").arg(int(step)).arg(QLatin1String(nameOf(step)));
}

QString eventLabel(const Transition &line)
{
    const QString name = QString::fromLatin1(nameOf(line.event));
    return line.attempt == Transition::anyTry
               ? name
               : QStringLiteral("%1 %2").arg(name).arg(line.attempt + 1);
}

bool sameEffect(const Transition &one, const Transition &other)
{
    return one.step == other.step && one.next == other.next && one.action == other.action &&
           one.attempt == other.attempt && QByteArray(one.text) == other.text;
}

/** Lines that hold in every step. */
bool isEverywhere(const Transition &line)
{
    return findTransition(Step::Idle, line.event, 0) != nullptr;
}

/** One line of the page: the events that have the same effect in a step. */
struct Row
{
    Transition line;
    QStringList events;
};

QList<Row> rows()
{
    QList<Row> list;
    for (const Transition &line : stepTable()) {
        if (isEverywhere(line))
            continue;
        if (!list.isEmpty() && sameEffect(list.last().line, line))
            list.last().events += eventLabel(line);
        else
            list.append({line, {eventLabel(line)}});
    }
    return list;
}

void print(const QString &text)
{
    std::fputs(qPrintable(text), stdout);
    std::fputc('\n', stdout);
}

/** Actions after which the run, the read or the write has ended. */
bool endsRun(Action action)
{
    const Action ends[] = {action::finishInfoRead,
                           action::finishComplete,
                           action::finishWithoutVirtualVersion,
                           action::finishQuietly,
                           action::finishWithoutImages,
                           action::failStep,
                           action::failLost,
                           action::failPackage,
                           action::finishInfoWrites,
                           action::refuseInvalidRecord,
                           action::stopForMainBootcode,
                           action::stopForMainProductInfo};
    return std::find(std::begin(ends), std::end(ends), action) != std::end(ends);
}

void printDiagram()
{
    print("```mermaid\nstateDiagram-v2");
    for (const Step step : allOf<Step>())
        print(QStringLiteral("    s%1 : %2").arg(int(step)).arg(label(step)));
    for (const Transition &line : stepTable()) {
        if (line.kind == Transition::Kind::Start && line.step == Step::Idle)
            print(QStringLiteral("    [*] --> s%1 : %2")
                      .arg(int(line.next))
                      .arg(QLatin1String(nameOf(line.event))));
    }
    QStringList arrows;
    QMap<QString, QStringList> events;
    const auto draw = [&](const QString &from, const QString &to, const QStringList &by) {
        const QString arrow = QStringLiteral("    %1 --> %2").arg(from, to);
        if (!arrows.contains(arrow))
            arrows.append(arrow);
        events[arrow] += by;
    };
    const QList<Row> all = rows();
    for (const Row &row : all) {
        const QString from = QStringLiteral("s%1").arg(int(row.line.step));
        const QString to = QStringLiteral("s%1").arg(int(row.line.next));
        const bool ends = endsRun(row.line.action);
        if (!ends || from != to)
            draw(from, to, row.events);
        if (ends)
            draw(to, QStringLiteral("[*]"), from == to ? row.events : QStringList());
    }
    for (const QString &arrow : qAsConst(arrows)) {
        const QString by = events.value(arrow).join(QLatin1String(", "));
        print(by.isEmpty() ? arrow : arrow + QLatin1String(" : ") + by);
    }
    print("```");
}

void printLine(const QString &step, const QString &events, const char *text, const QString &next,
               Action action)
{
    const QString shown = *text == '\0' ? QString() : '"' + QString::fromLatin1(text) + '"';
    print(QStringLiteral("| %1 | %2 | %3 | %4 | %5 |")
              .arg(step, events, shown, next, actionName(action)));
}

void printTable()
{
    print("| step | event | text | next step | action |\n| --- | --- | --- | --- | --- |");
    for (const Transition &line : stepTable()) {
        if (line.step != Step::Idle)
            continue;
        const QString next =
            line.next == Step::Idle ? QStringLiteral("the same") : label(line.next);
        printLine(QStringLiteral("every step"), eventLabel(line), line.text, next, line.action);
    }
    const Transition *inImage = findTransition(Step::MainImage, Event::NoSignOfLife, 0);
    printLine(label(Step::MainImage) + ", " + label(Step::OtherImage), eventLabel(*inImage),
              inImage->text, QStringLiteral("the same"), inImage->action);
    const QList<Row> all = rows();
    for (const Row &row : all)
        printLine(label(row.line.step), row.events.join(QLatin1String(", ")), row.line.text,
                  label(row.line.next), row.line.action);
}

void printPage()
{
    print("# The steps of a run\n");
    print("Printed by `scripts/check state-diagram` from the step table that the engine is linked "
          "with; "
          "do not edit it by hand.\nA test fails when it is out of date.\n");
    print("A step is a state of the engine: what it waits for, or what it has just decided.\n"
          "A number after an event is the attempt that it ends.\n"
          "The mark [*] is the start of a run, a read or a write, which is possible in every step, "
          "and its end.\n");
    printDiagram();
    print("\n## Events\n");
    print("`Answer`, `Refusal` and `ShortAnswer` are replies of the device, and `Silence` is a "
          "time-out.\nThe events that begin with `Start` come from the console, "
          "`ImageWritten` from the image writer, and `NoSignOfLife` from the "
          "run guard.\nAll others are results of an action.\n"
          "An event without a line changes nothing and is logged.\n");
    print("## The table\n");
    print("`%1` is the name of the row that the step works on.\n"
          "In a line without a text, the action itself may send messages.\n");
    printTable();
}

void printTexts()
{
    QStringList texts;
    for (const Transition &line : stepTable()) {
        if (*line.text != '\0')
            texts += QString::fromLatin1(line.text);
    }
    texts.removeDuplicates();
    std::fputs(QJsonDocument(QJsonArray::fromStringList(texts)).toJson().constData(), stdout);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && QByteArray(argv[1]) == "--texts")
        printTexts();
    else
        printPage();
    return 0;
}

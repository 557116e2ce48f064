// SPDX-License-Identifier: Apache-2.0
#include "engine/steps/StepMachine.h"

#include "engine/report/EngineOutput.h"
#include "engine/report/RunReporter.h"
#include "platform/Log.h"

using platform::logEngine;
using protocol::Reply;

namespace engine {

namespace {

bool isFailure(const Transition &line)
{
    return line.kind == Transition::Kind::Retry || line.kind == Transition::Kind::GivenUp;
}

} // namespace

void StepMachine::handle(Event event, const Reply &reply)
{
    for (std::optional<Event> next = event; next;) {
        const Transition *line = findTransition(m_step, *next, m_attempt);
        if (line == nullptr) {
            qCWarning(logEngine) << "unexpected event:" << nameOf(*next) << "in step" << int(m_step)
                                 << nameOf(m_step);
            return;
        }
        next = take(*line, reply);
    }
}

void StepMachine::perform(Action action)
{
    if (const auto next = m_parts.run(action, Reply(QByteArray())))
        handle(*next);
}

std::optional<Event> StepMachine::take(const Transition &line, const Reply &reply)
{
    if (line.kind == Transition::Kind::Start || line.next != line.step)
        m_attempt = 0;
    else if (line.attempt != Transition::anyTry)
        ++m_attempt;
    QString text = QString::fromLatin1(line.text);
    const bool namesRow = text.contains(QLatin1String("%1"));
    const QString name = namesRow || isFailure(line) ? m_parts.rowName(line.step) : QString();
    if (namesRow)
        text = text.arg(name);
    m_step = line.next;
    if (!text.isEmpty())
        m_parts.output.inChain(text);
    reportFailure(line, name, text);
    return m_parts.run(line.action, reply);
}

void StepMachine::reportFailure(const Transition &line, const QString &name, const QString &text)
{
    if (line.kind == Transition::Kind::Retry)
        m_parts.report.retry(name, line.retry, text);
    else if (line.kind == Transition::Kind::GivenUp)
        m_parts.report.giveUp(name, text);
}

} // namespace engine

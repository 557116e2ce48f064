// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/Steps.h"
#include "platform/Log.h"

/** A reply and an expired timer meet the same table; what it does not list changes nothing. */
void ControlCenter::happened(Event event)
{
    const Transition *line = findTransition(m_step, event, m_retryCount);
    if (line == nullptr)
        return;
    const QString name = stepName();
    if (line->count != Transition::anyCount)
        ++m_retryCount;
    m_step = line->next;
    QString text = QString::fromLatin1(line->text);
    if (text.contains(QLatin1String("%1")))
        text = text.arg(name);
    if (!text.isEmpty())
        sayInChain(text);
    if (isTrouble(*line))
        reportTrouble(*line, name, text);
    (this->*line->action)();
}

void ControlCenter::reportTrouble(const Transition &line, const QString &name, const QString &text)
{
    if (const int attempt = retryOf(line))
        m_report.retry(name, attempt, text);
    else
        m_report.giveUp(name, text);
}

void ControlCenter::onTimeOutSendOtherCommand()
{
    qCDebug(logEngine) << "onTimeOutSendOtherCommand" << m_step;
    m_commandTimer->stop();
    m_assembler.reset();
    happened(Event::Silence);
}

void ControlCenter::restartCommandTimer()
{
    m_commandTimer->start();
}

/** The step works on a row of a product-information write, which has an index of its own. */
bool ControlCenter::writesInfo() const
{
    return m_step >= step::writeInfo && m_step <= step::writeInfoGivenUp;
}

/** The name of the row that the step works on. */
QString ControlCenter::stepName() const
{
    return writesInfo() ? getTypeAndIndex(m_productInfoIndex, field::name) : currentName();
}

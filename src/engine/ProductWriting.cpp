// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "platform/Log.h"
#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"

namespace {

/** A row that is to be written needs everything up to its speciality. */
constexpr int fieldsToWrite = field::speciality + 1;

/** A description may come along with the rows, told by its first character. */
QString takeDescription(QStringList &rows)
{
    for (int i = 0; i < rows.size(); ++i) {
        if (rows.at(i).trimmed().startsWith(QLatin1Char('{')))
            return rows.takeAt(i);
    }
    return {};
}

bool rowsAreWritable(const QStringList &rows)
{
    for (const QString &row : rows) {
        if (row.split(QLatin1Char(',')).size() < fieldsToWrite)
            return false;
    }
    return true;
}

} // namespace

void ControlCenter::setProductInfo(QStringList TypeAndIndex)
{
    if (refusesDuringRun("write of product information"))
        return;
    endRun();
    m_run = m_claim.take();
    startInfoWrites(std::move(TypeAndIndex));
}

/** A run in mode 1 ends with the records of the rows it worked on. */
void ControlCenter::writeInfoAfterRun()
{
    QStringList rows;
    {
        const std::lock_guard lock(m_mutex);
        for (int line = 0; line < m_TypeAndIndexs.count(); ++line)
            rows.append(m_TypeAndIndexs.row(line));
    }
    setMcuIndex(0);
    startInfoWrites(rows);
}

void ControlCenter::startInfoWrites(QStringList rows)
{
    if (rows.isEmpty()) {
        say(filled(text::infoEmpty));
        infoWritesDone();
        return;
    }
    const QString given = takeDescription(rows);
    m_infoDescription = productCommand::parse((given.isEmpty() ? package().json : given).toUtf8());
    if (m_infoDescription.isNull() || !rowsAreWritable(rows)) {
        say(filled(text::infoMalformed));
        infoWritesDone();
        return;
    }
    for (QString &row : rows)
        row += QLatin1String(",0,0,0,0");
    qCDebug(logEngine) << "m_TypeAndIndexs:" << rows << "m_productInfos:" << m_productInfos;
    {
        const std::lock_guard lock(m_mutex);
        m_TypeAndIndexs = TypeAndIndexTable(rows);
    }
    say(filled(text::startInfoWrites));
    m_productInfoIndex = 0;
    m_step = step::writeInfo;
    writeProductInformation();
}

QByteArray ControlCenter::getCommandOfProductInformation(int currentLineIndex)
{
    QStringList row;
    {
        const std::lock_guard lock(m_mutex);
        row = m_TypeAndIndexs.fields(currentLineIndex);
    }
    const productCommand::Command command = productCommand::build(row, m_infoDescription);
    if (command.error == productCommand::Error::NotAnObject)
        say(filled(text::badDescription));
    else if (command.error == productCommand::Error::NoMatchingChip)
        say(filled(text::badChips));
    return command.payload;
}

/** Rows that have no record of their own, or none that can be built, are passed over here, one
 *  after the other. */
void ControlCenter::writeProductInformation()
{
    for (;; ++m_productInfoIndex) {
        qCDebug(logEngine) << "m_productInfoIndex:" << m_productInfoIndex;
        if (m_productInfoIndex >= rowCount()) {
            m_commandTimer->stop();
            m_step = step::idle;
            say(filled(text::allInfoWritten));
            infoWritesDone();
            return;
        }
        if (chip::isFpga(getTypeAndIndex(m_productInfoIndex, field::chipType).toInt())) {
            say(filled(text::writeIgnoresFpga, stepName()));
            continue;
        }
        say(filled(text::startInfoWrite, stepName()));
        const QByteArray payload = getCommandOfProductInformation(m_productInfoIndex);
        qCDebug(logEngine) << "sendData.size():" << payload.size();
        if (!payload.isEmpty()) {
            sendProductRecord(payload);
            return;
        }
        reportInfoWrite(QString::fromLatin1(result::failed));
        m_step = step::writeInfo;
    }
}

void ControlCenter::sendProductRecord(const QByteArray &payload)
{
    QList<int> data;
    data.reserve(payload.size());
    for (const char byte : payload)
        data.append(quint8(byte));
    sendWriteStr(command::writeProductInformation, data.size(), data);
    restartCommandTimer();
}

void ControlCenter::takeInfoWritten()
{
    reportInfoWrite(QString::fromLatin1(result::success));
    ++m_productInfoIndex;
    writeProductInformation();
}

void ControlCenter::giveUpInfoWrite()
{
    reportInfoWrite(QString::fromLatin1(result::failed));
    ++m_productInfoIndex;
    m_step = step::writeInfo;
    writeProductInformation();
}

void ControlCenter::reportInfoWrite(const QString &result)
{
    QString row;
    {
        const std::lock_guard lock(m_mutex);
        row = m_TypeAndIndexs.row(m_productInfoIndex);
    }
    emit message({QString::fromLatin1(key::setProductInfoResult), row, result});
}

void ControlCenter::infoWritesDone()
{
    if (m_runActive)
        finishRun(QString::fromLatin1(appStatus::success));
    else
        endRun();
}
